#pragma once

#include <algorithm>
#include <functional>
#include <initializer_list>

namespace velmor::tests {

/// Whether fields stand in an object in the order given.
inline bool standInOrder(std::initializer_list<const void*> fields)
{
    return std::is_sorted(fields.begin(), fields.end(), std::less<const void*>());
}

} // namespace velmor::tests
