#include "OutputFile.h"

#include <exception>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Tool {

void writeWhole(const std::filesystem::path& path,
                const std::function<void(const std::filesystem::path& temporary)>& write)
{
    // The same extension, so that writers that choose their format by it choose the right one.
    std::filesystem::path temporary = path;
    temporary.replace_filename(path.stem().string() + ".part-" + std::to_string(std::random_device()() % 1000000)
                               + path.extension().string());
    try {
        write(temporary);
        std::filesystem::rename(temporary, path);
    } catch (const std::exception&) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        std::throw_with_nested(std::runtime_error("cannot write " + path.string()));
    }
}

} // namespace Tool
