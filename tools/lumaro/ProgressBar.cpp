#include "ProgressBar.h"

#include <algorithm>
#include <iostream>

namespace Tool {

void showProgressBar(std::string_view label, double fraction, std::string_view detail, bool done)
{
    constexpr int width = 30;
    fraction = std::clamp(fraction, 0.0, 1.0);
    const int filled = static_cast<int>(fraction * width);
    std::cerr << '\r' << label << " [" << std::string(filled, '#') << std::string(width - filled, ' ') << "] "
              << static_cast<int>(fraction * 100.0) << '%' << detail << (done ? "\n" : "") << std::flush;
}

} // namespace Tool
