#pragma once

#include <opencv2/core/types.hpp>
#include <opencv2/core/utility.hpp>

namespace velmor::native {

/// How many bands a picture is worth cutting into.
int bandsOf(cv::Size size);

/// Calls a function with the first row and the row after the last one of each band of a picture, on the threads that
/// OpenCV has.
template<typename Function>
void forEachBand(cv::Size size, const Function& function)
{
    const int bands = bandsOf(size);
    if (bands < 2)
        function(0, size.height);
    else
        cv::parallel_for_(
            cv::Range(0, size.height), [&](const cv::Range& rows) { function(rows.start, rows.end); }, bands);
}

} // namespace velmor::native
