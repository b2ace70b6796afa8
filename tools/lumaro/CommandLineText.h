#pragma once

// The texts users type on a lumaro command line: how each kind of value is read, and the table
// entry of an option (its name, its default and its help), so that each fact is written once.

#include <lumaro/math/Color.h>

#include <CLI/CLI.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tool {

// Direct3D's largest texture side: the largest picture side the commands take.
inline constexpr std::size_t largestImageSide = 16384;

// An option of a command: its name (with short names, as CLI11 takes them), the text it has when
// it is not given (empty: none, the help says what then), and its help without the default.
struct OptionText {
    std::string name;
    std::string fallback;
    std::string help;
};

// Adds the option, whose text lands in `text` (the fallback until the user gives another); the
// help ends with the default. A list option takes values separated by commas.
CLI::Option* addOption(CLI::App& command, const OptionText& option, std::string& text);
CLI::Option* addOption(CLI::App& command, const OptionText& option, std::vector<std::string>& texts);

// Each throws std::invalid_argument with a message for the user, naming `what`, when the text is
// not valid.
// A whole number from `least` to `most`.
std::size_t parseCount(const std::string& text, std::size_t least, std::size_t most, const std::string& what);
// A finite number.
double parseReal(const std::string& text, const std::string& what);
// A finite number of at least `least` (above it when `strictly`).
float parseNumber(const std::string& text, float least, bool strictly, const std::string& what);
// `count` texts separated by commas, such as "X,Y"; `shape` names them for the message ("X,Y").
std::vector<std::string> splitList(const std::string& text, std::size_t count, const std::string& what,
                                   const std::string& shape);
// "WIDTHxHEIGHT", each side 1 to 16384.
std::pair<std::size_t, std::size_t> parseImageSize(const std::string& text, const std::string& what);
// "RRGGBB" in hexadecimal, opaque.
Math::Color parseColor(const std::string& text, const std::string& what);

} // namespace Tool
