#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include <lumaro/shaders/EmbeddedFiles.h>

#include <system_error>

namespace Render {

namespace {

constexpr std::string_view directory = "shaders";

EmbeddedShaderTable::Map buildTable()
{
    EmbeddedShaderTable::Map table;
    table.emplace(std::string(directory), EmbeddedShaderTable::Entry{});
    for (const Shaders::EmbeddedFile& file : Shaders::embeddedFiles())
        table.emplace(std::string(directory) + "/" + std::string(file.name),
                      EmbeddedShaderTable::Entry{true, file.begin, file.end});
    return table;
}

} // namespace

std::string EmbeddedShaderTable::normalizePath(std::string path)
{
    while (!path.empty() && path.front() == '/')
        path.erase(0, 1);
    while (!path.empty() && path.back() == '/')
        path.pop_back();
    for (auto run = path.find("//"); path.size() >= 2 && run != std::string::npos; run = path.find("//"))
        path.erase(run, 1);
    return path;
}

const EmbeddedShaderTable::Entry* EmbeddedShaderTable::find(const std::string& name)
{
    const Map& table = entries();
    const auto found = table.find(normalizePath(name));
    return found == table.end() ? nullptr : &found->second;
}

std::string EmbeddedShaderTable::fileContent(const std::string& name)
{
    const Entry* entry = find(name);
    if (entry == nullptr || !entry->isFile)
        throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory), name);
    return entry->text();
}

const EmbeddedShaderTable::Map& EmbeddedShaderTable::entries()
{
    static const Map table = buildTable();
    return table;
}

} // namespace Render
