#include "tests/gstreamer/gl/GlReference.h"

#include "catalogue/GpuFilters.h"
#include "glsupport/RectTexture.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>

namespace velmor::tests {

using glsupport::RectTexture;

cv::Mat Elsewhere::filter(const std::string& name, const cv::Mat& picture, const catalogue::Values& values,
                          const catalogue::Given& given)
{
    const auto width = static_cast<unsigned>(picture.cols), height = static_cast<unsigned>(picture.rows);
    RectTexture source(width, height, RectTexture::RGBA8);
    RectTexture result(width, height, RectTexture::RGBA32F);
    source.upload(static_cast<const void*>(picture.data));
    const auto made = catalogue::makeGpu(name, values, given);
    made->prepareExecution(source, result);
    made->execute();
    cv::Mat floats(picture.size(), CV_32FC4);
    result.download(static_cast<void*>(floats.data));
    if (name == "BayerRG2GRAY" || name == "ColorGMM2") // whose other colours have no defined value
        cv::mixChannels(floats.clone(), floats, {0, 0, 0, 1, 0, 2});
    return floats;
}

void expectShown(const cv::Mat& bytes, const cv::Mat& floats)
{
    ASSERT_EQ(bytes.size(), floats.size());
    ASSERT_EQ(bytes.type(), CV_8UC4);
    for (int y = 0; y < bytes.rows; ++y)
        for (int x = 0; x < bytes.cols; ++x) {
            const auto& actual = bytes.at<cv::Vec4b>(y, x);
            for (int channel = 0; channel < 3; ++channel) {
                const double exact =
                    255 * std::clamp(static_cast<double>(floats.at<cv::Vec4f>(y, x)[channel]), 0.0, 1.0);
                // half a step, and what computing in floats can add to it
                ASSERT_LE(std::abs(actual[channel] - exact), 0.501)
                    << "channel " << channel << " at " << x << ", " << y;
            }
            ASSERT_EQ(actual[3], 255) << "alpha at " << x << ", " << y;
        }
}

cv::Mat randomPixels(const cv::Size& size, unsigned seed)
{
    cv::Mat result(size, CV_8UC4);
    cv::RNG(seed).fill(result, cv::RNG::UNIFORM, 0, 256);
    return result;
}

} // namespace velmor::tests
