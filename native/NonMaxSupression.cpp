#include "native/NonMaxSupression.h"

#include "native/internal/Rule.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/NonMaxSupression.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Integers = hn::Rebind<int32_t, Floats>;
using Vector = hn::Vec<Floats>;

constexpr float kFactor = 1.4142F;

/// Pixels that are computed together. Between the vectors' work their neighbours are read one by one: that is faster
/// than the instructions which gather.
constexpr std::size_t kBlock = 256;

struct Block
{
    HWY_ALIGN float magnitudes[kBlock];
    HWY_ALIGN int32_t aheadColumns[kBlock];
    HWY_ALIGN int32_t aheadRows[kBlock];
    HWY_ALIGN int32_t behindColumns[kBlock];
    HWY_ALIGN int32_t behindRows[kBlock];
    HWY_ALIGN float ahead[kBlock];
    HWY_ALIGN float behind[kBlock];
};

/// The pixels that hold coordinates, of so many along the axis. What is not a number becomes the first one.
HWY_ATTR auto pixelsAt(Vector coordinates, int length)
{
    const Floats d;
    const Integers integers;
    const auto positive = hn::IfThenElseZero(hn::Gt(coordinates, hn::Zero(d)), coordinates);
    const auto last = hn::Set(d, static_cast<float>(length - 1));
    const auto within = hn::IfThenElse(hn::Lt(positive, last), positive, last);
    // The last float may be a whole number above the last integer.
    return hn::Min(hn::ConvertTo(integers, within), hn::Set(integers, length - 1));
}

/// Finds out which pixels a vector of pixels is compared with.
/// @param i  place of the first one in the block, and `column` and `row` in the picture
template<int channels>
HWY_ATTR void lookUp(const float* pixels, int column, int row, cv::Size size, std::size_t i, Block& block)
{
    const Floats d;
    const Integers integers;
    const auto half = hn::Set(d, 0.5F), one = hn::Set(d, 1.0F), two = hn::Set(d, 2.0F);
    auto magnitude = hn::Zero(d), across = magnitude, down = magnitude;
    if constexpr (channels == 3) {
        hn::LoadInterleaved3(d, pixels, magnitude, across, down);
    } else {
        auto unused = magnitude;
        hn::LoadInterleaved4(d, pixels, magnitude, across, down, unused);
    }
    const auto length = hn::Mul(magnitude, hn::Set(d, kFactor));
    across = hn::Div(hn::Sub(hn::Mul(across, two), one), length);
    down = hn::Div(hn::Sub(hn::Mul(down, two), one), length);
    const auto x = hn::Add(hn::ConvertTo(d, hn::Iota(integers, column)), half);
    const auto y = hn::Set(d, static_cast<float>(row) + 0.5F);
    hn::Store(magnitude, d, block.magnitudes + i);
    hn::Store(pixelsAt(hn::Add(x, across), size.width), integers, block.aheadColumns + i);
    hn::Store(pixelsAt(hn::Add(y, down), size.height), integers, block.aheadRows + i);
    hn::Store(pixelsAt(hn::Sub(x, across), size.width), integers, block.behindColumns + i);
    hn::Store(pixelsAt(hn::Sub(y, down), size.height), integers, block.behindRows + i);
}

/// Comparisons in the order of the shader, which decides about what is not a number.
HWY_ATTR Vector kept(const Block& block, std::size_t i)
{
    const Floats d;
    const auto magnitude = hn::Load(d, block.magnitudes + i);
    const auto isExceeded =
        hn::Or(hn::Ge(hn::Load(d, block.ahead + i), magnitude), hn::Ge(hn::Load(d, block.behind + i), magnitude));
    const auto isZero = hn::Eq(magnitude, hn::Zero(d));
    return hn::IfThenZeroElse(hn::Or(isExceeded, isZero), hn::Mul(magnitude, hn::Set(d, kFactor)));
}

template<int channels>
float magnitudeAt(const cv::Mat& source, int row, int column)
{
    return source.ptr<float>(row)[std::ptrdiff_t{channels} * column];
}

template<int channels>
HWY_ATTR void thinBlock(const cv::Mat& source, int row, int column, std::size_t count, float* out)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const float* const pixels = source.ptr<float>(row) + static_cast<std::size_t>(column) * channels;
    Block block;
    std::size_t i = 0;
    // The row after the next one will be looked at by single reads, which would wait for memory.
    const float* const toCome =
        source.ptr<float>(std::min(row + 2, source.rows - 1)) + static_cast<std::size_t>(column) * channels;
    for (; i + lanes <= count; i += lanes) {
        for (std::size_t part = 0; part < channels; ++part)
            hwy::Prefetch(toCome + channels * i + part * lanes);
        lookUp<channels>(pixels + channels * i, column + static_cast<int>(i), row, source.size(), i, block);
    }
    if (i < count) {
        float part[channels * hn::MaxLanes(d)] = {};
        std::copy_n(pixels + channels * i, channels * (count - i), part);
        lookUp<channels>(part, column + static_cast<int>(i), row, source.size(), i, block);
    }
    for (i = 0; i < count; ++i) {
        block.ahead[i] = magnitudeAt<channels>(source, block.aheadRows[i], block.aheadColumns[i]);
        block.behind[i] = magnitudeAt<channels>(source, block.behindRows[i], block.behindColumns[i]);
    }
    for (i = 0; i + lanes <= count; i += lanes)
        hn::StoreU(kept(block, i), d, out + i);
    if (i < count) {
        HWY_ALIGN float part[hn::MaxLanes(d)];
        hn::Store(kept(block, i), d, part);
        std::copy_n(part, count - i, out + i);
    }
}

template<int channels>
HWY_ATTR void thin(const Band& band)
{
    constexpr int kStep = kBlock;
    cv::Mat result = band.result;
    for (int row = band.first; row < band.last; ++row) {
        for (int column = 0; column < result.cols; column += kStep) {
            const int count = std::min(kStep, result.cols - column);
            thinBlock<channels>(band.sources[0], row, column, static_cast<std::size_t>(count),
                                result.ptr<float>(row) + column);
        }
    }
}

HWY_ATTR void computeThinned(const Band& band)
{
    if (band.channels() == 3)
        thin<3>(band);
    else
        thin<4>(band);
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(computeThinned);

std::shared_ptr<const Rule> makeRule()
{
    Rule rule;
    rule.name = "NonMaxSupression";
    rule.channels = {3, 4};
    rule.depths = {CV_32F};
    rule.resultChannels = 1;
    rule.resultDepths = {CV_32F};
    rule.computed = {{CV_32F, CV_32F}};
    rule.isPerPixel = false;
    rule.compute = [](const Band& band) {
        HWY_DYNAMIC_DISPATCH(computeThinned)(band);
    };
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

NonMaxSupression::NonMaxSupression() : Filter(makeRule()) {}

} // namespace velmor::native
#endif
