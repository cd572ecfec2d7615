#pragma once

#include "native/internal/Rule.h"

namespace velmor::native {

/// Whether a picture has no gaps between its rows.
inline bool isGapless(const cv::Mat& picture)
{
    return picture.empty() || picture.isContinuous();
}

/// Calls a function for each run of pixels that lie side by side in all pictures of a band: each row, or all rows at
/// once. For filters whose pixels depend on their own place alone.
/// @param function  takes the first pixel of each source and of the result, and how many pixels there are; the second
///                  source is null where the filter has one
template<typename Source, typename Result, typename Function>
void forEachRun(const Band& band, const Function& function)
{
    const bool gapless = isGapless(band.sources[0]) && isGapless(band.sources[1]) && isGapless(band.result);
    const int rows = gapless ? band.last - band.first : 1;
    for (int row = band.first; row < band.last; row += rows) {
        const Source* const second = band.sources[1].empty() ? nullptr : band.sources[1].ptr<Source>(row);
        function(band.sources[0].ptr<Source>(row), second, band.result.ptr<Result>(row),
                 static_cast<std::size_t>(rows) * static_cast<std::size_t>(band.result.cols));
    }
}

} // namespace velmor::native
