#pragma once

#include "bench/Comparison.h"
#include "native/Filter.h"

#include <cstring>
#include <memory>

namespace velmor::bench {

/// What a copy of memory has to be faster by: a filter is good enough at 0.8 of its speed.
constexpr double kMostBesideMemory = 1 / 0.8;

inline std::size_t bytesOf(const cv::Mat& picture)
{
    return picture.total() * picture.elemSize();
}

inline void execute(const native::Filter& filter, const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result)
{
    if (filter.sources() == 1)
        filter.execute(source1, result);
    else
        filter.execute(source1, source2, result);
}

/// Bytes that are read and written in a second beside those of memcpy(), on pictures that no cache holds.
inline Comparison besideMemory(const std::shared_ptr<const native::Filter>& filter, int type)
{
    constexpr int kWidth = 4096;
    constexpr int kBytes = 96 << 20;
    const int height = kBytes / kWidth / static_cast<int>(CV_ELEM_SIZE(type));
    const cv::Mat source1(height, kWidth, type, cv::Scalar::all(0));
    const cv::Mat source2(height, kWidth, type, cv::Scalar::all(1));
    const cv::Mat result(height, kWidth, filter->resultType(type), cv::Scalar::all(0));
    const double moved =
        static_cast<double>(static_cast<unsigned>(filter->sources()) * bytesOf(source1) + bytesOf(result));
    Comparison comparison;
    comparison.own = [=] {
        cv::Mat into = result;
        execute(*filter, source1, source2, into);
    };
    comparison.beside = "memcpy";
    comparison.other = [=] {
        std::memcpy(source2.data, source1.data, bytesOf(source1));
    };
    comparison.ownWork = moved / static_cast<double>(2 * bytesOf(source1));
    comparison.most = kMostBesideMemory;
    return comparison;
}

} // namespace velmor::bench
