#include "MeasureText.h"

#include "CommandLineText.h"

#include <lumaro/octree/Location.h>
#include <lumaro/octree/Octree.h>

namespace Tool {

Math::Point<double, 2> parsePlanPoint(const std::string& text, const std::string& what)
{
    const std::vector<std::string> xy = splitList(text, 2, what, "X,Y, such as 637000.5,851200");
    return {parseReal(xy[0], what + "'s X"), parseReal(xy[1], what + "'s Y")};
}

Measure::Stores openStores(const std::vector<std::string>& stores)
{
    Measure::Stores opened;
    for (const std::string& store : stores)
        opened.push_back(Octree::Octree::open(Octree::locationOf(store)));
    return opened;
}

} // namespace Tool
