#include "examples/viewer/Chart.h"

#include "examples/shared/HistogramPicture.h"
#include "examples/shared/PictureFit.h"

#include <algorithm>

namespace velmor::viewer {
namespace {

constexpr double kMostShare = 0.4; ///< of the frame's width and height

} // namespace

cv::Mat withChart(const cv::Mat& frame, const core::cvdata::ColourHist2d& histogram)
{
    const cv::Mat full = demo::histogramPicture(histogram);
    const cv::Size box(std::max(1, std::min(full.cols, static_cast<int>(frame.cols * kMostShare))),
                       std::max(1, std::min(full.rows, static_cast<int>(frame.rows * kMostShare))));
    const cv::Mat chart = demo::fitted(full, box);
    cv::Mat picture = frame.clone();
    chart.copyTo(picture(cv::Rect(cv::Point(frame.cols - chart.cols, 0), chart.size())));
    return picture;
}

} // namespace velmor::viewer
