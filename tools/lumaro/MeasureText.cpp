#include "MeasureText.h"

#include "CommandLineText.h"

#include <lumaro/octree/Location.h>
#include <lumaro/octree/Octree.h>

#include <algorithm>
#include <stdexcept>

namespace Tool {

Math::Point<double, 2> parsePlanPoint(const std::string& text, const std::string& what)
{
    const std::vector<std::string> xy = splitList(text, 2, what, "X,Y, such as 637000.5,851200");
    return {parseReal(xy[0], what + "'s X"), parseReal(xy[1], what + "'s Y")};
}

Math::Polygon parsePolygon(const std::string& text, const std::string& what)
{
    const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')) + 1;
    const std::vector<std::string> numbers = splitList(text, count, what, "X1,Y1,X2,Y2,...");
    if (count % 2 != 0)
        throw std::invalid_argument(what + " needs pairs of coordinates X1,Y1,X2,Y2,..., not " + std::to_string(count)
                                    + " numbers");
    std::vector<Math::Point<double, 2>> corners;
    for (std::size_t i = 0; i + 1 < count; i += 2)
        corners.emplace_back(parseReal(numbers[i], what + "'s X" + std::to_string(i / 2 + 1)),
                             parseReal(numbers[i + 1], what + "'s Y" + std::to_string(i / 2 + 1)));
    try {
        return Math::Polygon(corners);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(what + ": " + error.what());
    }
}

Measure::Stores openStores(const std::vector<std::string>& stores)
{
    Measure::Stores opened;
    for (const std::string& store : stores)
        opened.push_back(Octree::Octree::open(Octree::locationOf(store)));
    return opened;
}

} // namespace Tool
