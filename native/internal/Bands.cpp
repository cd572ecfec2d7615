#include "native/internal/Bands.h"

#include <algorithm>

namespace velmor::native {
namespace {

/// Pixels that keep a thread busy for longer than it takes to wake it.
constexpr std::size_t kPixelsOfThread = std::size_t{1} << 16;

} // namespace

int bandsOf(cv::Size size)
{
    const std::size_t pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    if (pixels < 2 * kPixelsOfThread)
        return 1;
    const auto threads = static_cast<std::size_t>(std::max(cv::getNumThreads(), 1));
    return threads == 1 ? 1 : static_cast<int>(std::min(4 * threads, pixels / kPixelsOfThread));
}

} // namespace velmor::native
