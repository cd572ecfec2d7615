#include "cvprocess/internal/MovingPixels.h"

#include "cvprocess/MotionSegment.h"
#include "cvprocess/internal/ByteSums.h"
#include "cvprocess/internal/MotionRows.h"

#include <opencv2/core/core_c.h>

#include <cstdint>
#include <cstring>

namespace velmor::cvprocess {

MovingPixels MovingPixels::find(MotionSegment& motion, const core::cvdata::Image& input, core::cvdata::Image& output)
{
    MovingPixels result;
    motion.getMHI(&input, &output, &result);
    return result;
}

void MovingPixels::add(const cv::Mat& moving, int firstRow)
{
    const auto width = static_cast<std::size_t>(moving.cols);
    Bounds bounds;
    for (int y = 0; y < moving.rows; ++y) {
        const std::uint8_t* const row = moving.ptr(y);
        const void* const first = std::memchr(row, 1, width);
        if (first == nullptr)
            continue;
        const void* const last = memrchr(row, 1, width);
        bounds.add(static_cast<int>(static_cast<const std::uint8_t*>(first) - row),
                   static_cast<int>(static_cast<const std::uint8_t*>(last) - row) + 1, y);
    }
    const cv::Rect box = bounds.rectangle();
    if (box.empty())
        return;
    const ByteSums sums = byteSums(cvIplImage(moving(box)));
    mCount += static_cast<unsigned>(sums.all);
    mBox |= box + cv::Point(0, firstRow);
    mSums += cv::Point2d(sums.x + sums.all * box.x, sums.y + sums.all * (box.y + firstRow));
}

} // namespace velmor::cvprocess
