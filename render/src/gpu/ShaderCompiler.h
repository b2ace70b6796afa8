#pragma once

#include <filesystem>
#include <string>

namespace Render::ShaderCompiler {

// Where compilation starts: the function and the shader model profile ("vs_5_0", ...).
struct EntryPoint {
    const char* function;
    const char* profile;
};

// Compiles the embedded source `name` (includes resolve in the embedded table) and returns the
// byte code. Throws std::system_error when the table has no such file and std::runtime_error
// with the compiler's messages when compilation fails.
std::string compileEmbedded(const std::string& name, EntryPoint entryPoint);

// Compiles an HLSL file from disk (includes resolve relative to it) and returns the byte code.
std::string compileFile(const std::filesystem::path& path, EntryPoint entryPoint);

} // namespace Render::ShaderCompiler
