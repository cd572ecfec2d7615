// The motion history beside the function of OpenCV that it stands for.

#include "opencv1/MotionHistory.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>
#include <opencv2/optflow/motempl.hpp>

#include <cstring>
#include <limits>

namespace velmor::tests {
namespace {

void update(const cv::Mat& silhouette, cv::Mat& history, double timestamp, double duration)
{
    const IplImage silhouetteHeader = cvIplImage(silhouette);
    IplImage historyHeader = cvIplImage(history);
    cvUpdateMotionHistory(&silhouetteHeader, &historyHeader, timestamp, duration);
}

TEST(MotionHistory, IsBitForBitThatOfOpenCv)
{
    cv::RNG random(1);
    for (int k = 0; k < 10000; ++k) {
        // Views of larger images, so that rows are padded.
        cv::Mat silhouetteRows(random.uniform(1, 65), random.uniform(1, 65) + 3, CV_8U);
        cv::Mat historyRows(silhouetteRows.size(), CV_32F);
        random.fill(silhouetteRows, cv::RNG::UNIFORM, 0, random.uniform(1, 4));
        random.fill(historyRows, cv::RNG::UNIFORM, -1.0f, 3.0f);
        historyRows.setTo(0.0f, historyRows < 0.0f);
        const cv::Mat silhouette = silhouetteRows.colRange(0, silhouetteRows.cols - 3);
        cv::Mat history = historyRows.colRange(0, silhouette.cols);
        cv::Mat expected = history.clone();
        const double timestamp = random.uniform(0.0, 4.0);
        const double duration = random.uniform(0.01, 3.0);
        const cv::Mat padding = historyRows.colRange(silhouette.cols, historyRows.cols).clone();

        cv::motempl::updateMotionHistory(silhouette, expected, timestamp, duration);
        update(silhouette, history, timestamp, duration);
        for (int y = 0; y < history.rows; ++y)
            ASSERT_EQ(std::memcmp(history.ptr(y), expected.ptr(y), static_cast<std::size_t>(history.cols) * 4), 0)
                << "image " << k << ", row " << y;
        ASSERT_EQ(cv::countNonZero(historyRows.colRange(silhouette.cols, historyRows.cols) != padding), 0);
    }
}

// A time that is exactly timestamp - duration stays.
TEST(MotionHistory, ForgetsWhatIsOlderThanTheDuration)
{
    cv::Mat silhouette = (cv::Mat_<unsigned char>(1, 5) << 0, 0, 0, 255, 1);
    const float limit = 1.5f;
    cv::Mat history = (cv::Mat_<float>(1, 5) << limit, std::nextafter(limit, 0.0f), 2.0f, 0.0f, 1.9f);
    update(silhouette, history, 2.0, 0.5);
    EXPECT_EQ(history.at<float>(0), limit);
    EXPECT_EQ(history.at<float>(1), 0.0f);
    EXPECT_EQ(history.at<float>(2), 2.0f);
    EXPECT_EQ(history.at<float>(3), 2.0f);
    EXPECT_EQ(history.at<float>(4), 2.0f);
}

} // namespace
} // namespace velmor::tests
