#include "native/PixelCount.h"

#include "native/internal/Bands.h"
#include "native/internal/Checks.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/PixelCount.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

#include <algorithm>
#include <atomic>
#include <numeric>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// How many bytes are 255.
HWY_ATTR std::uint64_t countBytes(const std::uint8_t* bytes, std::size_t count)
{
    const hn::ScalableTag<std::uint8_t> d;
    const auto full = hn::Set(d, std::uint8_t{255});
    std::uint64_t total = 0;
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d))
        total += hn::CountTrue(d, hn::Eq(hn::LoadU(d, bytes + i), full));
    return total + static_cast<std::uint64_t>(std::count(bytes + i, bytes + count, 255));
}

/// The sum of the whole parts of floats.
HWY_ATTR std::uint64_t sumFloats(const float* floats, std::size_t count)
{
    using Doubles = hn::ScalableTag<double>;
    using Vector = hn::Vec<Doubles>;
    const Doubles d;
    const hn::Rebind<float, Doubles> asFloats;
    constexpr std::size_t kLanes = hn::MaxLanes(d);
    // So many of the largest numbers have a sum that a double holds exactly.
    constexpr std::size_t kAtATime = std::size_t{1} << 20;

    const auto wholePart = [&](const float* place) HWY_ATTR {
        const Vector value = hn::PromoteTo(d, hn::LoadU(asFloats, place));
        const Vector atLeast1 = hn::IfThenElseZero(hn::Ge(value, hn::Set(d, 1.0)), value);
        return hn::Floor(hn::Min(atLeast1, hn::Set(d, 4294967295.0)));
    };
    const auto sumOf = [&](Vector sums) HWY_ATTR {
        double lanes[kLanes];
        hn::StoreU(sums, d, lanes);
        return static_cast<std::uint64_t>(std::accumulate(lanes, lanes + hn::Lanes(d), 0.0));
    };

    std::uint64_t total = 0;
    std::size_t i = 0;
    while (i + 2 * hn::Lanes(d) <= count) {
        const std::size_t end = std::min(count, i + kAtATime);
        Vector sums = hn::Zero(d), others = sums;
        for (; i + 2 * hn::Lanes(d) <= end; i += 2 * hn::Lanes(d)) {
            sums = hn::Add(sums, wholePart(floats + i));
            others = hn::Add(others, wholePart(floats + i + hn::Lanes(d)));
        }
        total += sumOf(hn::Add(sums, others));
    }
    for (; i < count; i += hn::Lanes(d)) {
        float part[kLanes] = {};
        std::copy(floats + i, floats + std::min(count, i + hn::Lanes(d)), part);
        total += sumOf(wholePart(part));
    }
    return total;
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(countBytes);
HWY_EXPORT(sumFloats);

std::uint64_t sumOfRun(const cv::Mat& mask, int row, std::size_t pixels)
{
    if (mask.depth() == CV_8U)
        return HWY_DYNAMIC_DISPATCH(countBytes)(mask.ptr(row), pixels);
    return HWY_DYNAMIC_DISPATCH(sumFloats)(mask.ptr<float>(row), pixels);
}

} // namespace

std::uint64_t pixelCount(const cv::Mat& mask)
{
    const char* const name = "native::pixelCount";
    checkPicture(name, mask);
    checkType(name, mask.type(), {1}, {CV_8U, CV_32F});
    std::atomic<std::uint64_t> total{0};
    forEachBand(mask.size(), [&](int first, int last) {
        const int rows = mask.isContinuous() ? last - first : 1;
        std::uint64_t sum = 0;
        for (int row = first; row < last; row += rows)
            sum += sumOfRun(mask, row, static_cast<std::size_t>(rows) * static_cast<std::size_t>(mask.cols));
        total += sum;
    });
    return total;
}

} // namespace velmor::native
#endif
