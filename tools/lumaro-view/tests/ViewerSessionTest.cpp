// lumaro-view used as a person uses it: the test starts the program on a real store, sends its
// window mouse and key messages, asks it for screenshots of what it shows, reads its title bar,
// and closes it.
#include <lumaro/graphics/ColorImage.h>
#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <windows.h>

#include <chrono>
#include <functional>
#include <algorithm>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr ULONG_PTR SCREENSHOT_REQUEST = 0x53484F54; // as in the viewer
constexpr int WIDTH = 320;
constexpr int HEIGHT = 240;

std::wstring windowsPath(std::string path)
{
    if (!path.empty() && path.front() == '/') {
        path = "Z:" + path; // a path of the Linux file system, as Wine shows it
    }
    std::replace(path.begin(), path.end(), '/', '\\');
    return std::wstring(path.begin(), path.end());
}

std::wstring quoted(const std::string& text)
{
    return L"\"" + std::wstring(text.begin(), text.end()) + L"\"";
}

// A running lumaro-view and its window; killed if a test leaves it running.
class ViewerProcess {
public:
    explicit ViewerProcess(const std::vector<std::string>& arguments)
    {
        std::wstring commandLine = L"\"" + windowsPath(LUMARO_VIEWER) + L"\"";
        for (const std::string& argument : arguments) {
            commandLine += L" " + quoted(argument);
        }
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                            &mProcess)) {
            throw std::runtime_error("cannot start lumaro-view (error " + std::to_string(GetLastError()) + ")");
        }
        CloseHandle(mProcess.hThread);
        if (!waitFor([this] { return (mWindow = findWindow()) != nullptr; }, 60s)) {
            throw std::runtime_error("lumaro-view opened no window");
        }
    }
    ~ViewerProcess()
    {
        if (WaitForSingleObject(mProcess.hProcess, 0) == WAIT_TIMEOUT) {
            TerminateProcess(mProcess.hProcess, 99);
        }
        CloseHandle(mProcess.hProcess);
    }
    ViewerProcess(const ViewerProcess&) = delete;
    ViewerProcess& operator=(const ViewerProcess&) = delete;

    std::string title() const
    {
        wchar_t text[1024] = {};
        SendMessageTimeoutW(mWindow, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(text), SMTO_BLOCK, 5000, nullptr);
        const std::wstring wide(text);
        return std::string(wide.begin(), wide.end());
    }

    static bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
    {
        const auto end = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < end) {
            if (condition())
                return true;
            std::this_thread::sleep_for(50ms);
        }
        return condition();
    }

    // Waits until the point count in the title has stayed the same, above zero, for a second.
    void waitUntilLoaded()
    {
        std::string last;
        int stableFor = 0;
        const bool loaded = waitFor(
            [&] {
                std::smatch match;
                const std::string text = title();
                if (!std::regex_search(text, match, std::regex(" - ([0-9]+) / [0-9]+ points")) || match[1] == "0") {
                    return false;
                }
                stableFor = match[1] == last ? stableFor + 1 : 0;
                last = match[1];
                std::this_thread::sleep_for(200ms);
                return stableFor >= 5;
            },
            120s);
        ASSERT_TRUE(loaded) << "still loading: " << title();
    }

    void post(UINT message, WPARAM wParam, int x = 0, int y = 0)
    {
        PostMessageW(mWindow, message, wParam, MAKELPARAM(x, y));
    }

    // A left-button drag from (x0, y0) to (x1, y1) in a few steps.
    void drag(int x0, int y0, int x1, int y1)
    {
        post(WM_LBUTTONDOWN, MK_LBUTTON, x0, y0);
        for (int step = 1; step <= 4; ++step) {
            post(WM_MOUSEMOVE, MK_LBUTTON, x0 + (x1 - x0) * step / 4, y0 + (y1 - y0) * step / 4);
        }
        post(WM_LBUTTONUP, 0, x1, y1);
    }

    Graphics::ColorImage screenshot()
    {
        const std::filesystem::path file = mFolder.path() / ("shot" + std::to_string(mShots++) + ".png");
        const std::string path = file.string();
        COPYDATASTRUCT data{SCREENSHOT_REQUEST, static_cast<DWORD>(path.size()), const_cast<char*>(path.data())};
        DWORD_PTR written = FALSE;
        SendMessageTimeoutW(mWindow, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data), SMTO_BLOCK, 30000, &written);
        if (!written)
            throw std::runtime_error("lumaro-view wrote no screenshot");
        return Graphics::ColorImage::read(file);
    }

    // Resizes the window so that its client area is `width` x `height`.
    void resizeClientArea(int width, int height)
    {
        RECT frame{0, 0, width, height};
        AdjustWindowRect(&frame, static_cast<DWORD>(GetWindowLongW(mWindow, GWL_STYLE)), FALSE);
        SetWindowPos(mWindow, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                     SWP_NOMOVE | SWP_NOZORDER);
    }

    // Closes the window; true when the process ended within `timeout`, with `exitCode`.
    bool closeAndWait(std::chrono::milliseconds timeout, DWORD& exitCode)
    {
        post(WM_CLOSE, 0);
        if (WaitForSingleObject(mProcess.hProcess, static_cast<DWORD>(timeout.count())) != WAIT_OBJECT_0)
            return false;
        return GetExitCodeProcess(mProcess.hProcess, &exitCode) != 0;
    }

private:
    HWND findWindow() const
    {
        struct Search {
            DWORD process;
            HWND found;
        } search{mProcess.dwProcessId, nullptr};
        EnumWindows(
            [](HWND window, LPARAM parameter) -> BOOL {
                auto* s = reinterpret_cast<Search*>(parameter);
                DWORD process = 0;
                GetWindowThreadProcessId(window, &process);
                wchar_t name[64] = {};
                GetClassNameW(window, name, 64);
                if (process == s->process && std::wstring(name) == L"LumaroView") {
                    s->found = window;
                    return FALSE;
                }
                return TRUE;
            },
            reinterpret_cast<LPARAM>(&search));
        return search.found;
    }

    PROCESS_INFORMATION mProcess{};
    HWND mWindow = nullptr;
    TestSupport::TemporaryFolder mFolder;
    int mShots = 0;
};

bool drawn(const Math::Color& c)
{
    return c.r() != 0 || c.g() != 0 || c.b() != 0;
}

struct Census {
    std::size_t drawn = 0;
    std::size_t grey = 0;
};

Census census(const Graphics::ColorImage& image)
{
    Census counts;
    for (std::size_t y = 0; y < image.height(); ++y) {
        for (const Math::Color& c : image.row(y)) {
            if (!drawn(c))
                continue;
            ++counts.drawn;
            counts.grey += c.r() == c.g() && c.g() == c.b();
        }
    }
    return counts;
}

std::size_t differingPixels(const Graphics::ColorImage& a, const Graphics::ColorImage& b)
{
    std::size_t differing = 0;
    for (std::size_t y = 0; y < a.height(); ++y) {
        for (std::size_t x = 0; x < a.width(); ++x) {
            differing += !(a.row(y)[x] == b.row(y)[x]);
        }
    }
    return differing;
}

TEST(ViewerSession, TheCloudAppearsOrbitsRecoloursIsPickedAndTheViewerCloses)
{
    const std::filesystem::path store = TestSupport::testStore("potree2/autzen_trim-brotli");
    ViewerProcess viewer({store.string(), "--size", std::to_string(WIDTH) + "x" + std::to_string(HEIGHT)});
    viewer.waitUntilLoaded();
    const Graphics::ColorImage first = viewer.screenshot();
    ASSERT_EQ(first.width(), static_cast<std::size_t>(WIDTH));
    const Census colours = census(first);
    EXPECT_GT(colours.drawn, static_cast<std::size_t>(WIDTH * HEIGHT / 20)) << "the cloud does not show";
    EXPECT_LT(colours.grey * 2, colours.drawn) << "autzen's own colours are mostly not grey";

    viewer.drag(WIDTH / 2, HEIGHT / 2, WIDTH / 2 + 80, HEIGHT / 2);
    viewer.waitUntilLoaded();
    const Graphics::ColorImage orbited = viewer.screenshot();
    EXPECT_GT(differingPixels(first, orbited), static_cast<std::size_t>(WIDTH * HEIGHT / 20))
        << "the orbit moved nothing";

    viewer.post(WM_KEYDOWN, '2');
    ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.title().find("intensity") != std::string::npos; }, 10s));
    const Census intensities = census(viewer.screenshot());
    EXPECT_GT(intensities.drawn, 0u);
    EXPECT_GT(intensities.grey * 10, intensities.drawn * 9) << "the intensity mode is grey";

    // A control-click picks the point under the cursor: a point of the store, in its coordinates.
    viewer.post(WM_LBUTTONDOWN, MK_LBUTTON | MK_CONTROL, WIDTH / 2, HEIGHT / 2);
    viewer.post(WM_LBUTTONUP, MK_CONTROL, WIDTH / 2, HEIGHT / 2);
    ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.title().find("picked") != std::string::npos; }, 10s));
    std::smatch match;
    const std::string title = viewer.title();
    ASSERT_TRUE(std::regex_search(title, match, std::regex("picked ([-0-9.]+) ([-0-9.]+) ([-0-9.]+)"))) << title;
    const nlohmann::json facts = TestSupport::storeFacts(store);
    for (int axis = 0; axis < 3; ++axis) {
        const double value = std::stod(match[axis + 1]);
        EXPECT_GE(value, facts["tight_bounds"]["min"][axis].get<double>() - 0.01) << title;
        EXPECT_LE(value, facts["tight_bounds"]["max"][axis].get<double>() + 0.01) << title;
    }

    // The measuring tool: M, then two clicks measure a line between two points of the store; P,
    // three clicks and Enter a polygon's area and, in the background, the volume over it.
    viewer.post(WM_KEYDOWN, 'M');
    ASSERT_TRUE(
        ViewerProcess::waitFor([&] { return viewer.title().find("measuring lines") != std::string::npos; }, 10s));
    for (const auto& [x, y] : {std::pair(WIDTH / 2, HEIGHT / 2), std::pair(WIDTH / 2 + 40, HEIGHT / 2 + 10)}) {
        viewer.post(WM_LBUTTONDOWN, MK_LBUTTON, x, y);
        viewer.post(WM_LBUTTONUP, 0, x, y);
    }
    ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.title().find("distance") != std::string::npos; }, 10s))
        << viewer.title();
    const std::string measured = viewer.title();
    ASSERT_TRUE(std::regex_search(measured, match, std::regex("distance ([0-9.]+) horizontal ([0-9.]+)"))) << measured;
    EXPECT_GT(std::stod(match[1]), 0.0);
    EXPECT_GE(std::stod(match[1]), std::stod(match[2]));
    viewer.post(WM_KEYDOWN, 'P');
    for (const auto& [x, y] : {std::pair(WIDTH / 2 - 30, HEIGHT / 2 - 20), std::pair(WIDTH / 2 + 30, HEIGHT / 2 - 20),
                               std::pair(WIDTH / 2, HEIGHT / 2 + 30)}) {
        viewer.post(WM_LBUTTONDOWN, MK_LBUTTON, x, y);
        viewer.post(WM_LBUTTONUP, 0, x, y);
    }
    viewer.post(WM_KEYDOWN, VK_RETURN);
    ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.title().find("volume above") != std::string::npos; }, 30s))
        << viewer.title();
    const std::string area = viewer.title();
    EXPECT_TRUE(std::regex_search(area, std::regex("area [0-9.]+ in plan"))) << area;
    // P again stops measuring, and the highlights go.
    viewer.post(WM_KEYDOWN, 'P');
    ASSERT_TRUE(
        ViewerProcess::waitFor([&] { return viewer.title().find("measuring a polygon") == std::string::npos; }, 10s));

    // E lights by depth: outlines darken, nothing brightens (beyond a point or two that a reload
    // may order differently at one depth).
    const Graphics::ColorImage unlit = viewer.screenshot();
    viewer.post(WM_KEYDOWN, 'E');
    ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.title().find(" - edl") != std::string::npos; }, 10s));
    const Graphics::ColorImage lit = viewer.screenshot();
    std::size_t darker = 0;
    std::size_t brighter = 0;
    for (std::size_t y = 0; y < lit.height(); ++y) {
        for (std::size_t x = 0; x < lit.width(); ++x) {
            darker += lit.row(y)[x].r() + 10 < unlit.row(y)[x].r();
            brighter += lit.row(y)[x].r() > unlit.row(y)[x].r() + 10;
        }
    }
    EXPECT_GT(darker, 100u);
    EXPECT_LT(brighter * 20, darker);
    // 7 colours by class and G hides the ground: autzen's other points are unclassified, light grey.
    viewer.post(WM_KEYDOWN, 'E');
    viewer.post(WM_KEYDOWN, '7');
    viewer.post(WM_KEYDOWN, 'G');
    const auto onlyUnclassified = [&] {
        const Graphics::ColorImage image = viewer.screenshot();
        std::size_t drawnPixels = 0;
        for (std::size_t y = 0; y < image.height(); ++y) {
            for (const Math::Color& c : image.row(y)) {
                if (!drawn(c))
                    continue;
                ++drawnPixels;
                if (c != Math::Color(200, 200, 200, 255))
                    return false;
            }
        }
        return drawnPixels > 0;
    };
    EXPECT_TRUE(ViewerProcess::waitFor(onlyUnclassified, 10s)) << viewer.title();

    // The picture follows the window's size.
    viewer.resizeClientArea(WIDTH + 80, HEIGHT + 60);
    ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.screenshot().width() == WIDTH + 80u; }, 10s));
    const Graphics::ColorImage resized = viewer.screenshot();
    EXPECT_EQ(resized.height(), HEIGHT + 60u);
    EXPECT_GT(census(resized).drawn, 0u);

    DWORD exitCode = 1;
    EXPECT_TRUE(viewer.closeAndWait(1000ms, exitCode)) << "the viewer did not end within a second of closing";
    EXPECT_EQ(exitCode, 0u);
}

TEST(ViewerSession, AStoreThatCannotBeOpenedIsShownAndTheViewerClosesCleanly)
{
    TestSupport::TemporaryFolder folder;
    const std::filesystem::path missing = folder.path() / "no-such-store";
    const std::filesystem::path broken = folder.write("broken.copc.laz", "not a point cloud");
    for (const auto& [store, problem] :
         {std::pair{missing, std::string("not found")}, std::pair{broken, std::string("is not a LAS file")}}) {
        ViewerProcess viewer({store.string()});
        ASSERT_TRUE(ViewerProcess::waitFor([&] { return viewer.title().find("error") != std::string::npos; }, 30s))
            << viewer.title();
        EXPECT_NE(viewer.title().find(problem), std::string::npos) << viewer.title();
        DWORD exitCode = 1;
        EXPECT_TRUE(viewer.closeAndWait(1000ms, exitCode)) << store;
        EXPECT_EQ(exitCode, 0u) << store;
    }
}

} // namespace
