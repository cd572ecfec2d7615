#pragma once

#include "tests/support/NativeTest.h"

namespace velmor::tests {

// What the filters of one or two pictures of one type are to do, whatever their rules are.

/// Every type that they take.
const std::vector<int> kLogicTypes = {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4};

inline void expectOnEveryPairOfBytes(const native::Filter& filter, const PlainLoop& loop)
{
    const BytePairs pairs = allBytePairs();
    expectOn({filter, {}, loop, {CV_8U, CV_32F}}, pairs.first, filter.sources() == 2 ? pairs.second : cv::Mat());
}

inline void expectOnEveryType(const native::Filter& filter, const PlainLoop& loop)
{
    expectEverywhere({filter, kLogicTypes, loop, {-1, CV_8U, CV_32F}});
}

} // namespace velmor::tests
