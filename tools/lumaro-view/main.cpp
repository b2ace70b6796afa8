// lumaro-view: a small interactive host of the library. It owns a window and a swap chain on the
// renderer's own device, copies each finished frame to the back buffer on the GPU, draws only
// when the renderer asks for it, and lets the point clouds load on their own threads.
#include "OrbitNavigator.h"

#include "../lumaro/ErrorText.h"
#include "../lumaro/RenderOptions.h"
#include "../lumaro/StoreScene.h"

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include <CLI/CLI.hpp>

#include <windows.h>
#include <windowsx.h>

#include <d3d11.h>
#include <dxgi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cwchar>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace {

using Render::Coloring;

constexpr wchar_t WINDOW_CLASS[] = L"LumaroView";
// Posted by the loading threads after each published node set.
constexpr UINT WM_NODES_PUBLISHED = WM_APP + 1;
// WM_COPYDATA tag of a screenshot request: the data are the UTF-8 path of the PNG to write.
constexpr ULONG_PTR SCREENSHOT_REQUEST = 0x53484F54; // "SHOT"
constexpr std::size_t PICK_TOLERANCE = 8;

struct ColoringKey {
    char key;
    Coloring coloring;
};
constexpr ColoringKey COLORING_KEYS[] = {
    {'1', Coloring::Rgb},     {'2', Coloring::Intensity}, {'3', Coloring::Elevation},
    {'4', Coloring::Normal}, {'5', Coloring::Uniform},   {'6', Coloring::Tomographic},
};

std::wstring widen(const std::string& text)
{
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
    return wide;
}

template <typename T>
struct Released {
    void operator()(T* object) const
    {
        if (object) object->Release();
    }
};
template <typename T>
using Owned = std::unique_ptr<T, Released<T>>;

class Viewer {
public:
    explicit Viewer(Tool::RenderOptions options) : m_options(std::move(options)) {}

    int run(HINSTANCE instance)
    {
        createWindow(instance);
        try {
            m_scene = std::make_unique<Tool::StoreScene>(m_options);
            createSwapChain();
            m_navigator.frame(m_scene->box());
            m_renderer().setAutoAdjustZRange(true);
            applyCamera();
            m_scene->color(m_coloring);
            for (const auto& cloud : m_scene->clouds()) {
                cloud->setRestartLoadingAfterCameraChange(true);
                // Runs on the loading thread: only a message crosses to the window's thread.
                const HWND window = m_window;
                cloud->startAsyncReload([window] { PostMessageW(window, WM_NODES_PUBLISHED, 0, 0); }, m_options.maxLevel);
            }
        } catch (const std::exception& error) {
            m_error = Tool::explain(error);
            std::cerr << "lumaro-view: " << m_error << "\n";
            m_scene.reset();
            updateTitle();
            InvalidateRect(m_window, nullptr, TRUE);
        }
        return loop();
    }

private:
    Render::Renderer& m_renderer() { return m_scene->renderer(); }

    void createWindow(HINSTANCE instance)
    {
        WNDCLASSEXW windowClass{};
        windowClass.cbSize = sizeof windowClass;
        windowClass.style = CS_HREDRAW | CS_VREDRAW;
        windowClass.lpfnWndProc = &Viewer::windowProcedure;
        windowClass.hInstance = instance;
        windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)); // IDC_ARROW
        windowClass.hbrBackground = reinterpret_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
        windowClass.lpszClassName = WINDOW_CLASS;
        RegisterClassExW(&windowClass);
        RECT frame{0, 0, static_cast<LONG>(m_options.width), static_cast<LONG>(m_options.height)};
        AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
        m_window = CreateWindowExW(0, WINDOW_CLASS, L"lumaro-view", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
                                   frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr, instance, this);
        if (!m_window) {
            throw std::runtime_error("cannot create the window (error " + std::to_string(GetLastError()) + ")");
        }
        ShowWindow(m_window, SW_SHOW);
    }

    // A swap chain of the window on the renderer's device, in the renderer's output format so
    // that a frame is one GPU copy.
    void createSwapChain()
    {
        IDXGIDevice* dxgiDevice = nullptr;
        IDXGIAdapter* adapter = nullptr;
        IDXGIFactory* factory = nullptr;
        if (FAILED(m_renderer().device()->QueryInterface(__uuidof(IDXGIDevice), reinterpret_cast<void**>(&dxgiDevice)))) {
            throw std::runtime_error("the renderer's device is no DXGI device");
        }
        const Owned<IDXGIDevice> ownedDevice(dxgiDevice);
        if (FAILED(dxgiDevice->GetAdapter(&adapter))) {
            throw std::runtime_error("the renderer's device has no adapter");
        }
        const Owned<IDXGIAdapter> ownedAdapter(adapter);
        if (FAILED(adapter->GetParent(__uuidof(IDXGIFactory), reinterpret_cast<void**>(&factory)))) {
            throw std::runtime_error("the renderer's adapter has no factory");
        }
        const Owned<IDXGIFactory> ownedFactory(factory);
        DXGI_SWAP_CHAIN_DESC description{};
        description.BufferDesc.Width = static_cast<UINT>(m_options.width);
        description.BufferDesc.Height = static_cast<UINT>(m_options.height);
        description.BufferDesc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        description.SampleDesc.Count = 1;
        description.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
        description.BufferCount = 1;
        description.OutputWindow = m_window;
        description.Windowed = TRUE;
        description.SwapEffect = DXGI_SWAP_EFFECT_DISCARD;
        IDXGISwapChain* swapChain = nullptr;
        if (FAILED(factory->CreateSwapChain(m_renderer().device().Get(), &description, &swapChain))) {
            throw std::runtime_error("cannot create a swap chain for the window");
        }
        m_swapChain.reset(swapChain);
        factory->MakeWindowAssociation(m_window, DXGI_MWA_NO_ALT_ENTER);
    }

    int loop()
    {
        MSG message{};
        while (true) {
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                if (message.message == WM_QUIT) {
                    return static_cast<int>(message.wParam);
                }
                TranslateMessage(&message);
                DispatchMessageW(&message);
            }
            if (m_scene && m_renderer().needsRedraw()) {
                drawFrame();
            } else {
                // Sleeps until input or a loading thread's message; the timeout catches redraws
                // that no message announces.
                MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
            }
        }
    }

    void drawFrame()
    {
        const auto start = std::chrono::steady_clock::now();
        m_renderer().render();
        ID3D11Texture2D* backBuffer = nullptr;
        if (SUCCEEDED(m_swapChain->GetBuffer(0, __uuidof(ID3D11Texture2D), reinterpret_cast<void**>(&backBuffer)))) {
            const Owned<ID3D11Texture2D> owned(backBuffer);
            m_renderer().deviceContext()->CopyResource(backBuffer, m_renderer().outputColorTexture().get());
        }
        m_swapChain->Present(0, 0);
        m_frameMilliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        updateTitle();
    }

    void updateTitle()
    {
        std::ostringstream title;
        title << "lumaro-view";
        if (!m_error.empty()) {
            title << " - error: " << m_error;
        } else if (m_scene) {
            std::size_t points = 0;
            for (const auto& cloud : m_scene->clouds()) {
                points += cloud->numVisiblePoints();
            }
            title << " - " << points << " / " << m_options.budget << " points - " << static_cast<int>(m_frameMilliseconds + 0.5)
                  << " ms - " << coloringName();
            if (!m_status.empty()) {
                title << " - " << m_status;
            }
        }
        SetWindowTextW(m_window, widen(title.str()).c_str());
    }

    std::string_view coloringName() const { return Render::nameOf(m_coloring); }

    void applyCamera()
    {
        m_renderer().setCameraPose(m_navigator.eye(), m_navigator.pivot(), m_navigator.up());
        const float distance = (m_navigator.pivot() - m_navigator.eye()).norm();
        m_renderer().setPerspective(Tool::OrbitNavigator::FIELD_OF_VIEW_DEGREES, distance * 1e-3f, distance * 1e3f, 0.0f, 0.0f);
    }

    // The drawn point under the cursor (within a few pixels), in scene coordinates.
    bool pointUnder(int x, int y, Math::Point<float, 3>& point)
    {
        if (x < 0 || y < 0) return false;
        return m_renderer().pickClosestPointWithTolerance(static_cast<std::size_t>(x), static_cast<std::size_t>(y),
                                                          PICK_TOLERANCE, point);
    }

    void report(const std::string& line)
    {
        m_status = line;
        std::cout << line << std::endl;
        updateTitle();
    }

    void pickAt(int x, int y, bool withPlane)
    {
        Math::Point<float, 3> point;
        if (!pointUnder(x, y, point)) {
            report("picked nothing");
            return;
        }
        const Eigen::Vector3d store = m_scene->storeCoordinates(point);
        char text[160];
        std::snprintf(text, sizeof text, "picked %.4f %.4f %.4f", store.x(), store.y(), store.z());
        std::string line = text;
        if (withPlane) {
            Math::NPlane<float, 3> plane(Eigen::Vector3f::UnitZ(), 0.0f);
            Math::Point<float, 3> onPlane;
            if (m_renderer().pickPlane(static_cast<std::size_t>(x), static_cast<std::size_t>(y), PICK_TOLERANCE, plane,
                                       onPlane, 0.05)) {
                const Eigen::Vector3f n = plane.normal();
                std::snprintf(text, sizeof text, " plane normal %.4f %.4f %.4f", n.x(), n.y(), n.z());
                line += text;
            } else {
                line += " no plane";
            }
        }
        report(line);
    }

    // A node or hierarchy chunk that could not be read costs only itself; say which store.
    void reportLoadingErrors()
    {
        for (const auto& cloud : m_scene->clouds()) {
            try {
                cloud->isAsyncReloadHealthy(true);
            } catch (const std::exception& error) {
                m_status = cloud->name() + ": " + Tool::explain(error);
            }
        }
    }

    void onMouseDown(int x, int y, WPARAM keys, bool orbiting)
    {
        SetCapture(m_window);
        m_lastMouse = {x, y};
        if (orbiting && (keys & (MK_CONTROL | MK_SHIFT))) {
            pickAt(x, y, (keys & MK_SHIFT) != 0);
            return;
        }
        m_orbiting = orbiting;
        m_panning = !orbiting;
        Math::Point<float, 3> point;
        if (orbiting && pointUnder(x, y, point)) {
            m_navigator.setPivot(point);
        }
    }

    void onMouseMove(int x, int y)
    {
        const float dx = static_cast<float>(x - m_lastMouse.x);
        const float dy = static_cast<float>(y - m_lastMouse.y);
        m_lastMouse = {x, y};
        const float height = static_cast<float>(m_options.height);
        if (m_orbiting) {
            m_navigator.orbit(dx, dy, height);
        } else if (m_panning) {
            m_navigator.pan(dx, dy, height);
        } else {
            return;
        }
        applyCamera();
    }

    void onWheel(int x, int y, int delta)
    {
        Math::Point<float, 3> target = m_navigator.pivot();
        Math::Point<float, 3> point;
        if (pointUnder(x, y, point)) {
            target = point;
        }
        m_navigator.zoomToward(target, 0.2f * static_cast<float>(delta) / WHEEL_DELTA);
        applyCamera();
    }

    void onKey(WPARAM key)
    {
        const bool shift = (GetKeyState(VK_SHIFT) & 0x8000) != 0;
        if (key == 'F') {
            m_navigator.frame(m_scene->box());
            applyCamera();
        } else if (key == 'C') {
            const auto maps = Render::colorMapNames();
            const auto current = std::find_if(maps.begin(), maps.end(),
                                              [&](const auto& map) { return map.value == m_renderer().colorMap(); });
            m_options.colorMap = current == maps.end() || current + 1 == maps.end() ? maps.front().value : (current + 1)->value;
            m_renderer().setColorMap(m_options.colorMap);
        } else if (key == VK_ADD || key == VK_OEM_PLUS || key == VK_SUBTRACT || key == VK_OEM_MINUS) {
            const bool more = key == VK_ADD || key == VK_OEM_PLUS;
            if (shift) {
                m_options.budget = more ? m_options.budget * 2 : std::max<std::size_t>(m_options.budget / 2, 1000);
                if (const auto prioritizer = m_scene->clouds().empty() ? nullptr : m_scene->clouds().front()->nodePrioritizer()) {
                    prioritizer->setTotalMaxPointCount(m_options.budget);
                }
                for (const auto& cloud : m_scene->clouds()) {
                    cloud->clearVisibleOctreeNodes();
                }
            } else {
                for (const auto& cloud : m_scene->clouds()) {
                    cloud->setMaxPointSize(std::clamp(cloud->maxPointSize() + (more ? 1.0f : -1.0f), 1.0f, 64.0f));
                }
            }
        } else {
            for (const ColoringKey& entry : COLORING_KEYS) {
                if (static_cast<WPARAM>(entry.key) == key) {
                    m_coloring = entry.coloring;
                    m_scene->color(m_coloring);
                }
            }
        }
        updateTitle();
    }

    void onResize(UINT width, UINT height)
    {
        if (width == 0 || height == 0 || (width == m_options.width && height == m_options.height)) {
            return;
        }
        m_options.width = width;
        m_options.height = height;
        if (!m_scene || !m_swapChain) {
            return;
        }
        m_swapChain->ResizeBuffers(0, width, height, DXGI_FORMAT_UNKNOWN, 0);
        m_renderer().setViewport(width, height);
        applyCamera();
    }

    // Writes the picture of the last frame (drawn first when a redraw is due) as a PNG.
    void screenshot(const std::string& path)
    {
        if (!m_scene) return;
        if (m_renderer().needsRedraw()) drawFrame();
        Graphics::ColorImage image;
        m_renderer().getColorImage(image);
        image.writePng(path);
    }

    void paintError()
    {
        PAINTSTRUCT paint;
        HDC context = BeginPaint(m_window, &paint);
        RECT area;
        GetClientRect(m_window, &area);
        FillRect(context, &area, reinterpret_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
        SetTextColor(context, RGB(255, 255, 255));
        SetBkMode(context, TRANSPARENT);
        InflateRect(&area, -16, -16);
        const std::wstring text = widen("lumaro-view cannot show this scene:\n\n" + m_error);
        DrawTextW(context, text.c_str(), -1, &area, DT_LEFT | DT_WORDBREAK);
        EndPaint(m_window, &paint);
    }

    // Stops every loading thread before the window and the renderer go.
    void shutDown()
    {
        if (m_scene) {
            for (const auto& cloud : m_scene->clouds()) {
                cloud->stopAsyncReload();
            }
        }
        m_swapChain.reset();
        m_scene.reset();
    }

    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam)
    {
        const int x = GET_X_LPARAM(lParam);
        const int y = GET_Y_LPARAM(lParam);
        if (!m_scene) {
            switch (message) {
            case WM_PAINT:
                if (!m_error.empty()) {
                    paintError();
                    return 0;
                }
                break;
            case WM_DESTROY:
                PostQuitMessage(0);
                return 0;
            default:
                break;
            }
            return DefWindowProcW(m_window, message, wParam, lParam);
        }
        switch (message) {
        case WM_NODES_PUBLISHED:
            reportLoadingErrors();
            updateTitle();
            return 0;
        case WM_LBUTTONDOWN:
            onMouseDown(x, y, wParam, true);
            return 0;
        case WM_RBUTTONDOWN:
        case WM_MBUTTONDOWN:
            onMouseDown(x, y, wParam, false);
            return 0;
        case WM_LBUTTONUP:
        case WM_RBUTTONUP:
        case WM_MBUTTONUP:
            m_orbiting = m_panning = false;
            ReleaseCapture();
            return 0;
        case WM_MOUSEMOVE:
            onMouseMove(x, y);
            return 0;
        case WM_MOUSEWHEEL: {
            POINT cursor{x, y};
            ScreenToClient(m_window, &cursor);
            onWheel(cursor.x, cursor.y, GET_WHEEL_DELTA_WPARAM(wParam));
            return 0;
        }
        case WM_KEYDOWN:
            onKey(wParam);
            return 0;
        case WM_SIZE:
            onResize(LOWORD(lParam), HIWORD(lParam));
            return 0;
        case WM_COPYDATA: {
            const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
            if (data->dwData != SCREENSHOT_REQUEST) break;
            try {
                screenshot(std::string(static_cast<const char*>(data->lpData), data->cbData));
                return TRUE;
            } catch (const std::exception& error) {
                std::cerr << "lumaro-view: " << Tool::explain(error) << "\n";
                return FALSE;
            }
        }
        case WM_DESTROY:
            shutDown();
            PostQuitMessage(0);
            return 0;
        default:
            break;
        }
        return DefWindowProcW(m_window, message, wParam, lParam);
    }

    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_NCCREATE) {
            auto* viewer = static_cast<Viewer*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
            viewer->m_window = window;
            SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(viewer));
        }
        auto* viewer = reinterpret_cast<Viewer*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (!viewer) {
            return DefWindowProcW(window, message, wParam, lParam);
        }
        try {
            return viewer->handle(message, wParam, lParam);
        } catch (const std::exception& error) {
            // A failure while handling input ends nothing: it is shown, and the viewer goes on.
            viewer->report("error: " + Tool::explain(error));
            return 0;
        }
    }

    Tool::RenderOptions m_options;
    HWND m_window = nullptr;
    std::unique_ptr<Tool::StoreScene> m_scene;
    Owned<IDXGISwapChain> m_swapChain;
    Tool::OrbitNavigator m_navigator;
    Coloring m_coloring = Coloring::Rgb;
    std::string m_error;
    std::string m_status;
    double m_frameMilliseconds = 0.0;
    POINT m_lastMouse{0, 0};
    bool m_orbiting = false;
    bool m_panning = false;
};

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("lumaro-view: shows point-cloud stores, meshes and panoramas in a window");
    Tool::RenderOptions options;
    // Paths such as /data/scan are paths, not Windows-style options (Wine passes Linux paths).
    app.allow_windows_style_options(false);
    Tool::SceneCommandLine sceneOptions(app, options);
    try {
        app.parse(argc, argv);
        sceneOptions.finish();
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::cerr << "lumaro-view: " << Tool::explain(error) << "\n";
        return 2;
    }
    try {
        Viewer viewer(options);
        return viewer.run(GetModuleHandleW(nullptr));
    } catch (const std::exception& error) {
        std::cerr << "lumaro-view: " << Tool::explain(error) << "\n";
        return 1;
    }
}
