#include "CommandLineText.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace Tool {

namespace {

std::string helpWithDefault(const OptionText& option)
{
    return option.fallback.empty() ? option.help : option.help + " (default " + option.fallback + ")";
}

} // namespace

CLI::Option* addOption(CLI::App& command, const OptionText& option, std::string& text)
{
    text = option.fallback;
    return command.add_option(option.name, text, helpWithDefault(option));
}

CLI::Option* addOption(CLI::App& command, const OptionText& option, std::vector<std::string>& texts)
{
    texts.clear();
    if (!option.fallback.empty())
        texts.emplace_back(option.fallback);
    return command.add_option(option.name, texts, helpWithDefault(option))->delimiter(',');
}

std::size_t parseCount(const std::string& text, std::size_t least, std::size_t most, const std::string& what)
{
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < least || value > most)
        throw std::invalid_argument(what + " must be a whole number from " + std::to_string(least) + " to "
                                    + std::to_string(most) + ", not '" + text + "'");
    return value;
}

double parseReal(const std::string& text, const std::string& what)
{
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        throw std::invalid_argument(what + " must be a number, not '" + text + "'");
    return value;
}

float parseNumber(const std::string& text, float least, bool strictly, const std::string& what)
{
    double value = 0.0;
    try {
        value = parseReal(text, what);
    } catch (const std::invalid_argument&) {
        value = std::nan("");
    }
    const auto single = static_cast<float>(value);
    if (!std::isfinite(single) || single < least || (strictly && single == least))
        throw std::invalid_argument(what + " must be a number " + (strictly ? "above " : "of at least ")
                                    + std::to_string(least) + ", not '" + text + "'");
    return single;
}

std::vector<std::string> splitList(const std::string& text, std::size_t count, const std::string& what,
                                   const std::string& shape)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = text.find(',', start);
        parts.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    if (parts.size() != count)
        throw std::invalid_argument(what + " must be " + shape + ", not '" + text + "'");
    return parts;
}

std::pair<std::size_t, std::size_t> parseImageSize(const std::string& text, const std::string& what)
{
    const std::size_t x = text.find('x');
    if (x == std::string::npos)
        throw std::invalid_argument(what + " must be WIDTHxHEIGHT, such as 1280x720, not '" + text + "'");
    return {parseCount(text.substr(0, x), 1, largestImageSide, "the image width"),
            parseCount(text.substr(x + 1), 1, largestImageSide, "the image height")};
}

Math::Color parseColor(const std::string& text, const std::string& what)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.size() != 6 || error != std::errc() || end != text.data() + text.size())
        throw std::invalid_argument(what + " must be six hexadecimal digits RRGGBB, such as 1a2b3c, not '" + text
                                    + "'");
    return Math::Color(static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
                       static_cast<std::uint8_t>(value), 255);
}

} // namespace Tool
