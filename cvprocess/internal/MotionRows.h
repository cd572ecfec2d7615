#pragma once

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <climits>
#include <cstdint>

namespace velmor::cvprocess {

/// OpenCV's weights of blue, green and red in a grey value, times 2^15. They add up to 2^15.
constexpr int kBlue = 3735;
constexpr int kGreen = 19235;
constexpr int kRed = 9798;

/// Rows of pictures of one size, and the times that count for them.
struct MotionRows
{
    cv::Mat colours; ///< without data where the frame is there already
    cv::Mat frame;   ///< in grey
    cv::Mat before;  ///< the frame before; becomes what moves, as 1 and 0
    cv::Mat history;
    cv::Mat output;
    float now;
    float oldest; ///< what moved before is forgotten

    /// The weights of blue and red, 7 bits each. In memory, because gcc makes of a product of vectors with a constant
    /// many shifts and additions, which take longer.
    std::int16_t highBlue = kBlue >> 7, highRed = kRed >> 7, lowBlue = kBlue & 0x7f, lowRed = kRed & 0x7f;
};

/// The smallest rectangle around what was added to it.
struct Bounds
{
    int left = INT_MAX;
    int top = INT_MAX;
    int right = 0;
    int bottom = 0;

    void add(int x0, int x1, int y)
    {
        left = std::min(left, x0);
        right = std::max(right, x1);
        top = std::min(top, y);
        bottom = y + 1;
    }

    cv::Rect rectangle() const { return right == 0 ? cv::Rect() : cv::Rect({left, top}, cv::Point(right, bottom)); }
};

/// Grey as OpenCV's cvtColor() has it.
inline std::uint8_t greyOf(const std::uint8_t* pixel)
{
    return static_cast<std::uint8_t>((kBlue * pixel[0] + kGreen * pixel[1] + kRed * pixel[2] + (1 << 14)) >> 15);
}

/// Computes grey, finds what moves, and brings the history up to date. The output becomes black. What may show in it,
/// where the history is not 0, is added to the bounds.
void updateRows(MotionRows& rows, Bounds& bounds);

} // namespace velmor::cvprocess
