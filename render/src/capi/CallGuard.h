#pragma once

// What every function of the C interface shares: the thread's last error, the guard that turns
// exceptions into a status and a message, and the checks of pointer arguments.

#include <lumaro/octree/Location.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Render::CInterface {

// The thread's last message ("" after a success).
std::string& lastError();

// The text of an exception, with the causes it nests, on one line.
std::string describe(const std::exception& error);

constexpr int success = 0;
constexpr int failure = -1;

// Runs `body` (which returns the status, or a pointer for the functions that return one); an
// exception becomes `failed` with its message kept. The message is cleared first, so that a
// success leaves none; a positive status may leave one of its own.
template <typename Result, typename Body>
Result guarded(Result failed, Body&& body) noexcept
{
    lastError().clear();
    try {
        return body();
    } catch (const std::exception& error) {
        lastError() = describe(error);
    } catch (...) {
        lastError() = "an unknown error";
    }
    return failed;
}

// Throws std::invalid_argument "NAME must not be NULL" for a null pointer.
template <typename Pointer>
Pointer* required(Pointer* pointer, std::string_view name)
{
    if (pointer == nullptr)
        throw std::invalid_argument(std::string(name) + " must not be NULL");
    return pointer;
}

// A UTF-8 path as the file system spells it (wide on Windows).
std::filesystem::path utf8Path(const char* text, std::string_view name);

// The store a user's UTF-8 text names: a URL, or a path on disk.
Octree::Location utf8Location(const char* text, std::string_view name);

// A side of a picture: 1 to 16384 pixels.
std::size_t pictureSide(std::uint32_t pixels, std::string_view name);

} // namespace Render::CInterface
