#pragma once

#include <functional>

namespace velmor::demo {

/// How long a piece of work takes: the median over some runs, after one that is not counted.
/// @return  milliseconds of wall-clock time
double medianMilliseconds(const std::function<void()>& work);

} // namespace velmor::demo
