#pragma once

#include "tests/native/Logic.h"

#include <limits>

namespace velmor::tests {

// What Classify and Xor are to give, whose rule is one by design.

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

const PlainLoop kGainLoop = loopOf(gain<uchar>, gain<float>);

/// Channels of a pixel gain or lose independently: all patterns of one step up, none and down.
inline void expectBlackWhereAnyChannelLoses(const native::Filter& filter)
{
    for (const int channels : {3, 4}) {
        int patterns = 1;
        for (int c = 0; c < channels; ++c)
            patterns *= 3;
        cv::Mat first(1, patterns, CV_8UC(channels), cv::Scalar::all(100)), second = first.clone();
        for (int pattern = 0, left = 0; pattern < patterns; ++pattern) {
            left = pattern;
            for (int c = 0; c < channels; ++c, left /= 3)
                second.ptr(0)[pattern * channels + c] = static_cast<uchar>(99 + left % 3);
        }
        expectOn({filter, {}, kGainLoop, {CV_8U, CV_32F}}, first, second);
    }
}

inline void expectNoLossOfWhatIsNoNumber(const native::Filter& filter)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat first(1, 1, CV_32FC3, cv::Scalar(0.25, nan, 0.5));
    const cv::Mat second(1, 1, CV_32FC3, cv::Scalar(0.5, 0.5, 0.5));
    expectOn({filter, {}, kGainLoop, {-1, CV_8U}}, first, second);
}

} // namespace velmor::tests
