#include "native/internal/Bands.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>

namespace velmor::native {
namespace {

/// Pixels that keep a thread busy for longer than it takes to wake it.
constexpr std::size_t kPixelsOfThread = std::size_t{1} << 16;

} // namespace

void forEachBand(cv::Size size, const std::function<void(int first, int last)>& function)
{
    const auto threads = static_cast<std::size_t>(std::max(cv::getNumThreads(), 1));
    const std::size_t pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    const std::size_t bands = std::min(4 * threads, pixels / kPixelsOfThread);
    if (threads == 1 || bands < 2)
        return function(0, size.height);
    cv::parallel_for_(
        cv::Range(0, size.height), [&](const cv::Range& rows) { function(rows.start, rows.end); },
        static_cast<double>(bands));
}

} // namespace velmor::native
