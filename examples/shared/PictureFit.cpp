#include "examples/shared/PictureFit.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace velmor::demo {
namespace {

constexpr double kVisiblePixels = 4; ///< enlarged so much or more, pixels are shown as squares

double fittingScale(const cv::Size& picture, const cv::Size& box)
{
    return std::min(static_cast<double>(box.width) / picture.width, static_cast<double>(box.height) / picture.height);
}

} // namespace

cv::Size fittedSize(const cv::Size& picture, const cv::Size& box)
{
    const double scale = fittingScale(picture, box);
    const auto scaled = [scale](int extent) {
        return std::max(1, static_cast<int>(std::lround(extent * scale)));
    };
    return {scaled(picture.width), scaled(picture.height)};
}

cv::Mat fitted(const cv::Mat& picture, const cv::Size& box)
{
    cv::Mat result;
    if (picture.channels() == 1)
        cv::cvtColor(picture, result, cv::COLOR_GRAY2BGR);
    else
        result = picture;
    const double scale = fittingScale(picture.size(), box);
    const int enlarging = scale < kVisiblePixels ? cv::INTER_LINEAR : cv::INTER_NEAREST;
    cv::resize(result, result, fittedSize(picture.size(), box), 0, 0, scale < 1 ? cv::INTER_AREA : enlarging);
    return result;
}

} // namespace velmor::demo
