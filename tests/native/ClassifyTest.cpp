#include "native/Classify.h"

#include "tests/support/NativeTest.h"

#include <limits>

namespace velmor::tests {
namespace {

using native::Classify;

/// The second pixel less the first, or zeros where that is negative in any channel.
template<typename T>
void gain(const T* a, const T* b, T* out, int channels)
{
    bool loses = false;
    for (int c = 0; c < channels; ++c)
        loses = loses || b[c] - a[c] < 0;
    for (int c = 0; c < channels; ++c)
        out[c] = loses ? T{0} : static_cast<T>(b[c] - a[c]);
}

const PlainLoop kLoop = loopOf(gain<uchar>, gain<float>);

TEST(Classify, IsTheRuleForEveryPairOfBytes)
{
    const BytePairs pairs = allBytePairs();
    expectOn({Classify(), {CV_8UC1}, kLoop, {CV_8U, CV_32F}}, pairs.first, pairs.second);
}

TEST(Classify, AnyChannelThatLosesMakesThePixelBlack)
{
    for (const int channels : {3, 4}) {
        // The channels of a pixel gain or lose independently: all patterns of one step up, none and down.
        int patterns = 1;
        for (int c = 0; c < channels; ++c)
            patterns *= 3;
        cv::Mat first(1, patterns, CV_8UC(channels), cv::Scalar::all(100)), second = first.clone();
        for (int pattern = 0, left = 0; pattern < patterns; ++pattern) {
            left = pattern;
            for (int c = 0; c < channels; ++c, left /= 3)
                second.ptr(0)[pattern * channels + c] = static_cast<uchar>(99 + left % 3);
        }
        expectOn({Classify(), {}, kLoop, {CV_8U, CV_32F}}, first, second);
    }
}

TEST(Classify, IsTheRuleEverywhere)
{
    expectEverywhere(
        {Classify(), {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4}, kLoop, {-1, CV_8U, CV_32F}});
}

TEST(Classify, WhatIsNoNumberIsNoLoss)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat first(1, 1, CV_32FC3, cv::Scalar(0.25, nan, 0.5));
    const cv::Mat second(1, 1, CV_32FC3, cv::Scalar(0.5, 0.5, 0.5));
    expectOn({Classify(), {}, kLoop}, first, second);
    expectOn({Classify(), {}, kLoop, {CV_8U}}, first, second);
}

} // namespace
} // namespace velmor::tests
