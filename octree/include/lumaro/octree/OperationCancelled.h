#pragma once

#include <stdexcept>

namespace Octree {

// Thrown by reads that noticed a stop request; callers that pass a stop token treat it as a quiet
// end, not as a failure.
class OperationCancelled : public std::runtime_error {
public:
    OperationCancelled() : std::runtime_error("operation cancelled") {}
};

} // namespace Octree
