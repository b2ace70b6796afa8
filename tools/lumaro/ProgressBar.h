#pragma once

#include <string>
#include <string_view>

namespace Tool {

// "LABEL [##########          ]  34%DETAIL" on one line of stderr, rewritten in place; `done`
// ends the line.
void showProgressBar(std::string_view label, double fraction, std::string_view detail, bool done = false);

} // namespace Tool
