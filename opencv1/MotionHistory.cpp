#include "opencv1/MotionHistory.h"

#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>

namespace {

void updateRow(const unsigned char* __restrict silhouette, float* __restrict history, int width, float now,
               float oldest)
{
    for (int x = 0; x < width; ++x) {
        const float kept = history[x] < oldest ? 0.0f : history[x];
        history[x] = silhouette[x] != 0 ? now : kept;
    }
}

} // namespace

void cvUpdateMotionHistory(const CvArr* silhouette, CvArr* mhi, double timestamp, double duration)
{
    const cv::Mat moving = cv::cvarrToMat(silhouette);
    cv::Mat history = cv::cvarrToMat(mhi);
    for (int y = 0; y < history.rows; ++y)
        updateRow(moving.ptr(y), history.ptr<float>(y), history.cols, static_cast<float>(timestamp),
                  static_cast<float>(timestamp - duration));
}
