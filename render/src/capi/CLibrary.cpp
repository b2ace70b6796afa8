// The functions of the C interface that need no renderer: errors, version, the cache limit, thumbnails.
#include <lumaro/lumaro_c.h>

#include <lumaro/render/pointcloud/LoadingSettings.h>
#include <lumaro/render/renderables/Thumbnail.h>

#include <lumaro/octree/Location.h>
#include <lumaro/octree/OctreeNodeId.h>
#include <lumaro/octree/RemoteAccess.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include "CallGuard.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace Render::CInterface {

std::string& lastError()
{
    thread_local std::string message;
    return message;
}

std::string describe(const std::exception& error)
{
    std::string text = error.what();
    try {
        std::rethrow_if_nested(error);
    } catch (const std::exception& cause) {
        text += ": " + describe(cause);
    } catch (...) {
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::filesystem::path utf8Path(const char* text, std::string_view name)
{
    const std::string_view utf8(required(text, name));
    if (utf8.empty())
        throw std::invalid_argument(std::string(name) + " must not be empty");
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

Octree::Location utf8Location(const char* text, std::string_view name)
{
    if (Octree::isUrl(required(text, name)))
        return Octree::WebLocation(text);
    return PoTree::FileSystemLocation(utf8Path(text, name));
}

std::size_t pictureSide(std::uint32_t pixels, std::string_view name)
{
    constexpr std::uint32_t largest = 16384; // Direct3D 11's largest texture side
    if (pixels == 0 || pixels > largest)
        throw std::invalid_argument(std::string(name) + " must be 1 to " + std::to_string(largest) + " pixels, not "
                                    + std::to_string(pixels));
    return pixels;
}

} // namespace Render::CInterface

using namespace Render::CInterface;

const char* lumaro_last_error(void)
{
    return lastError().c_str();
}

const char* lumaro_version(void)
{
    lastError().clear();
    return LUMARO_VERSION;
}

int lumaro_set_cache_limit(uint64_t bytes)
{
    return guarded(failure, [&] {
        Render::setNodeCacheLimit(bytes);
        return success;
    });
}

int lumaro_thumbnail(const char* location_utf8, const char* png_path_utf8, uint32_t width, uint32_t height,
                     uint32_t background_rgb, uint32_t max_level)
{
    return guarded(failure, [&] {
        const Octree::Location location = utf8Location(location_utf8, "location_utf8");
        const std::filesystem::path output = utf8Path(png_path_utf8, "png_path_utf8");
        if (background_rgb > 0xFFFFFF)
            throw std::invalid_argument("background_rgb must be 0xRRGGBB, not " + std::to_string(background_rgb));
        if (!location.exists())
            throw std::runtime_error("no point-cloud store at " + location.toString());
        Render::createThumbnail(location, output, pictureSide(width, "width"), pictureSide(height, "height"),
                                Math::Color(static_cast<std::uint8_t>(background_rgb >> 16),
                                            static_cast<std::uint8_t>(background_rgb >> 8),
                                            static_cast<std::uint8_t>(background_rgb), 255),
                                std::min<std::size_t>(max_level, Octree::OctreeNodeId::MAX_REPRESENTABLE_LEVEL));
        return success;
    });
}

int lumaro_set_s3_access(const char* access_key_id, const char* secret_access_key, const char* session_token,
                         const char* region, const char* endpoint_url)
{
    return guarded(failure, [&] {
        if ((access_key_id == nullptr) != (secret_access_key == nullptr))
            throw std::invalid_argument("access_key_id and secret_access_key must both be given or both be NULL");
        Octree::RemoteAccess access = Octree::remoteAccess();
        access.s3Credentials.reset();
        if (access_key_id)
            access.s3Credentials =
                Octree::S3Credentials{access_key_id, secret_access_key, session_token ? session_token : ""};
        access.s3Region = region ? region : "";
        access.s3Endpoint = endpoint_url ? endpoint_url : "";
        Octree::setRemoteAccess(std::move(access));
        return success;
    });
}

int lumaro_set_http_headers(const char* header_lines)
{
    return guarded(failure, [&] {
        std::vector<std::pair<std::string, std::string>> headers;
        const std::string_view text = header_lines ? header_lines : "";
        std::size_t start = 0;
        for (int number = 1; start <= text.size(); ++number) {
            const std::size_t end = std::min(text.find('\n', start), text.size());
            std::string_view line = text.substr(start, end - start);
            while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
                line.remove_suffix(1);
            start = end + 1;
            if (line.empty())
                continue;
            const std::size_t colon = line.find(':');
            if (colon == std::string_view::npos || colon == 0)
                throw std::invalid_argument("header_lines: line " + std::to_string(number)
                                            + " is not a header 'Name: value'");
            std::string_view value = line.substr(colon + 1);
            while (!value.empty() && value.front() == ' ')
                value.remove_prefix(1);
            headers.emplace_back(std::string(line.substr(0, colon)), std::string(value));
        }
        Octree::RemoteAccess access = Octree::remoteAccess();
        access.httpHeaders = std::move(headers);
        Octree::setRemoteAccess(std::move(access));
        return success;
    });
}
