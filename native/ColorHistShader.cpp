#include "native/ColorHistShader.h"

#include "core/cvdata/ColourHist2d.h"
#include "native/internal/Bands.h"
#include "native/internal/Checks.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/ColorHistShader.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <vector>

#ifndef VELMOR_NATIVE_COLOR_HIST_SHADER_CELLS
#define VELMOR_NATIVE_COLOR_HIST_SHADER_CELLS
namespace velmor::native {

/// Counters side by side for each cell, so that a pixel does not wait for an equal one before it.
constexpr std::uint32_t kCounters = 8;

/// The cells of a histogram, and where their counters are.
struct Cells
{
    std::uint32_t bins[3];
    std::uint32_t stride; ///< between the counters of a cell, which pixels use in turn; 0 where each has a single one

    std::size_t count() const { return std::size_t{bins[0]} * bins[1] * bins[2]; }

    std::uint32_t counterOf(std::uint32_t bin1, std::uint32_t bin2, std::uint32_t bin3, std::size_t pixel) const
    {
        return bin1 + bins[0] * (bin2 + bins[1] * bin3) + static_cast<std::uint32_t>(pixel % kCounters) * stride;
    }

    /// Whether numbers of counters, and the factors of countersOfBytes(), have 16 bits.
    bool areFew() const { return stride > 0 && std::max({bins[0], bins[1], bins[2]}) < 255; }
};

/// Counts, where neighbours have different counters. Four numbers are read at once, in whatever order.
/// @param count  divisible by 8, as the lengths of vectors of bytes are
inline void countInTurn(const std::uint16_t* counters, std::size_t count, std::uint32_t* counts)
{
    const auto countFour = [counts](std::uint64_t four) {
        ++counts[four & 0xffff];
        ++counts[four >> 16 & 0xffff];
        ++counts[four >> 32 & 0xffff];
        ++counts[four >> 48];
    };
    for (std::size_t i = 0; i < count; i += 8) {
        std::uint64_t eight[2];
        std::memcpy(eight, counters + i, sizeof(eight));
        countFour(eight[0]);
        countFour(eight[1]);
    }
}

} // namespace velmor::native
#endif

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// ---- Floats

using Floats = hn::ScalableTag<float>;
using Integers = hn::Rebind<std::int32_t, Floats>;

HWY_ATTR hn::Vec<Integers> binsOf(hn::Vec<Floats> values, std::uint32_t count)
{
    const Floats d;
    const auto scaled = hn::Mul(values, hn::Set(d, static_cast<float>(count)));
    // What is not a number is not above 0.
    const auto atLeast0 = hn::IfThenElseZero(hn::Gt(scaled, hn::Zero(d)), scaled);
    return hn::ConvertTo(Integers(), hn::Min(atLeast0, hn::Set(d, static_cast<float>(count - 1))));
}

template<std::size_t channels>
HWY_ATTR void storeCounters(const float* pixels, const Cells& cells, std::uint32_t* counters)
{
    const Floats d;
    const Integers di;
    auto c0 = hn::Zero(d), c1 = c0, c2 = c0, c3 = c0;
    if constexpr (channels == 3)
        hn::LoadInterleaved3(d, pixels, c0, c1, c2);
    else
        hn::LoadInterleaved4(d, pixels, c0, c1, c2, c3);
    const auto set = [di](std::uint32_t value) HWY_ATTR {
        return hn::Set(di, static_cast<std::int32_t>(value));
    };
    const auto turns = hn::Mul(hn::And(hn::Iota(di, 0), set(kCounters - 1)), set(cells.stride));
    const auto plane = hn::Add(binsOf(c0, cells.bins[0]), hn::Mul(set(cells.bins[0]), binsOf(c1, cells.bins[1])));
    const auto cell = hn::Add(plane, hn::Mul(set(cells.bins[0] * cells.bins[1]), binsOf(c2, cells.bins[2])));
    const hn::RebindToUnsigned<Integers> unsignedIntegers;
    hn::StoreU(hn::BitCast(unsignedIntegers, hn::Add(cell, turns)), unsignedIntegers, counters);
}

template<std::size_t channels>
HWY_ATTR void storeCountersOfRun(const float* pixels, std::size_t count, const Cells& cells, std::uint32_t* counters)
{
    const std::size_t lanes = hn::Lanes(Floats());
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        storeCounters<channels>(pixels + channels * i, cells, counters + i);
    if (i < count) {
        float part[channels * hn::MaxLanes(Floats())] = {};
        std::copy(pixels + channels * i, pixels + channels * count, part);
        storeCounters<channels>(part, cells, counters + i);
    }
}

/// The counters of pixels.
/// @param counters  with room for whole vectors
HWY_ATTR void countersOfFloats(const float* pixels, std::size_t count, int channels, const Cells& cells,
                               std::uint32_t* counters)
{
    if (channels == 3)
        storeCountersOfRun<3>(pixels, count, cells, counters);
    else
        storeCountersOfRun<4>(pixels, count, cells, counters);
}

// ---- Bytes

#if HWY_TARGET == HWY_SCALAR

HWY_ATTR std::size_t countBytes(const std::uint8_t*, std::size_t, int, const Cells&, std::uint32_t*)
{
    return 0;
}

#else

using Bytes = hn::ScalableTag<std::uint8_t>;
using Shorts = hn::Repartition<std::uint16_t, Bytes>;

HWY_ATTR hn::Vec<Shorts> binsOf(hn::Vec<Shorts> bytes, std::uint32_t count)
{
    const Shorts d;
    // 65536 / 255 times the bins, rounded up: what is too much stays below 255 / 65536, and so below 1 / 255.
    const auto factor = hn::Set(d, static_cast<std::uint16_t>((65536 * count + 254) / 255));
    return hn::Min(hn::MulHigh(bytes, factor), hn::Set(d, static_cast<std::uint16_t>(count - 1)));
}

HWY_ATTR void storeCounters(hn::Vec<Shorts> c0, hn::Vec<Shorts> c1, hn::Vec<Shorts> c2, const Cells& cells,
                            std::uint16_t* counters)
{
    const Shorts d;
    const auto set = [d](std::uint32_t value) HWY_ATTR {
        return hn::Set(d, static_cast<std::uint16_t>(value));
    };
    const auto turns = hn::Mul(hn::And(hn::Iota(d, 0), set(kCounters - 1)), set(cells.stride));
    const auto plane = hn::Add(binsOf(c0, cells.bins[0]), hn::Mul(set(cells.bins[0]), binsOf(c1, cells.bins[1])));
    const auto cell = hn::Add(plane, hn::Mul(set(cells.bins[0] * cells.bins[1]), binsOf(c2, cells.bins[2])));
    hn::StoreU(hn::Add(cell, turns), d, counters);
}

/// The counters of a vector of pixels, in another order than the pixels.
template<std::size_t channels>
HWY_ATTR void storeCounters(const std::uint8_t* pixels, const Cells& cells, std::uint16_t* counters)
{
    const Bytes d;
    const Shorts shorts;
    auto c0 = hn::Zero(d), c1 = c0, c2 = c0, c3 = c0;
    if constexpr (channels == 3)
        hn::LoadInterleaved3(d, pixels, c0, c1, c2);
    else
        hn::LoadInterleaved4(d, pixels, c0, c1, c2, c3);
    const auto low = hn::Set(shorts, std::uint16_t{255});
    const auto s0 = hn::BitCast(shorts, c0), s1 = hn::BitCast(shorts, c1), s2 = hn::BitCast(shorts, c2);
    storeCounters(hn::And(s0, low), hn::And(s1, low), hn::And(s2, low), cells, counters);
    storeCounters(hn::ShiftRight<8>(s0), hn::ShiftRight<8>(s1), hn::ShiftRight<8>(s2), cells,
                  counters + hn::Lanes(shorts));
}

/// Each vector is counted after the counters of the next one are computed: while the processor counts, which takes
/// longest and leaves the vector units idle, it is never kept waiting for numbers of counters.
template<std::size_t channels>
HWY_ATTR std::size_t countVectors(const std::uint8_t* pixels, std::size_t count, const Cells& cells,
                                  std::uint32_t* counts)
{
    const Bytes d;
    const std::size_t lanes = hn::Lanes(d);
    HWY_ALIGN std::uint16_t counters[2][hn::MaxLanes(d)];
    int next = 0;
    std::size_t i = 0, ready = 0;
    for (; i + lanes <= count; i += lanes) {
        storeCounters<channels>(pixels + channels * i, cells, counters[next]);
        next = 1 - next;
        countInTurn(counters[next], ready, counts);
        ready = lanes;
    }
    countInTurn(counters[1 - next], ready, counts);
    return i;
}

/// Counts as many pixels as whole vectors have, and returns how many.
HWY_ATTR std::size_t countBytes(const std::uint8_t* pixels, std::size_t count, int channels, const Cells& cells,
                                std::uint32_t* counts)
{
    return channels == 3 ? countVectors<3>(pixels, count, cells, counts)
                         : countVectors<4>(pixels, count, cells, counts);
}

#endif

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(countBytes);
HWY_EXPORT(countersOfFloats);

using core::cvdata::ColourHist2d;
using Counts = std::vector<std::uint64_t>;

constexpr const char* kName = "native::colorHistShader";

/// Pixels of floats whose cells are found at a time; a multiple of the length of every vector.
constexpr std::size_t kPixelsAtATime = 1024;

/// Cells that may have several counters: together they stay in the first cache.
constexpr std::size_t kMostCellsOfSeveral = 1024;

Cells cellsOf(const ColourHist2d& histogram)
{
    unsigned char bins1 = 0, bins2 = 0, bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    Cells cells = {{bins1, bins2, bins3}, 0};
    if (cells.count() <= kMostCellsOfSeveral)
        cells.stride = static_cast<std::uint32_t>(cells.count());
    return cells;
}

/// The rule for bytes.
std::uint32_t counterOf(const std::uint8_t* pixel, const Cells& cells, std::size_t index)
{
    const auto binOf = [&](std::size_t channel) {
        return std::min(pixel[channel] * cells.bins[channel] / 255, cells.bins[channel] - 1);
    };
    return cells.counterOf(binOf(0), binOf(1), binOf(2), index);
}

/// Adds the counts of a row, of which 32 bits are enough.
void countRow(const float* pixels, std::size_t count, int channels, const Cells& cells, std::uint32_t* counts)
{
    std::uint32_t counters[kPixelsAtATime];
    for (std::size_t first = 0; first < count; first += kPixelsAtATime) {
        const std::size_t part = std::min(kPixelsAtATime, count - first);
        HWY_DYNAMIC_DISPATCH(countersOfFloats)
        (pixels + static_cast<std::size_t>(channels) * first, part, channels, cells, counters);
        for (std::size_t i = 0; i < part; ++i)
            ++counts[counters[i]];
    }
}

/// The same for bytes.
void countRow(const std::uint8_t* pixels, std::size_t count, int channels, const Cells& cells, std::uint32_t* counts)
{
    std::size_t i = 0;
    if (cells.areFew())
        i = HWY_DYNAMIC_DISPATCH(countBytes)(pixels, count, channels, cells, counts);
    for (; i < count; ++i)
        ++counts[counterOf(pixels + static_cast<std::size_t>(channels) * i, cells, i)];
}

/// The counts of a picture.
Counts countsOf(const cv::Mat& picture, const Cells& cells)
{
    const std::size_t count = cells.count();
    std::vector<std::uint32_t> parts(cells.stride > 0 ? kCounters * count : count);
    Counts counts(count);
    std::uint64_t left = 0; // pixels that are in the parts
    const auto addParts = [&] {
        for (std::size_t i = 0; i < parts.size(); ++i)
            counts[i % count] += parts[i];
        std::fill(parts.begin(), parts.end(), 0);
        left = 0;
    };
    const auto columns = static_cast<std::size_t>(picture.cols);
    for (int row = 0; row < picture.rows; ++row) {
        if (picture.depth() == CV_32F)
            countRow(picture.ptr<float>(row), columns, picture.channels(), cells, parts.data());
        else
            countRow(picture.ptr(row), columns, picture.channels(), cells, parts.data());
        left += columns;
        if (left > std::numeric_limits<std::int32_t>::max())
            addParts();
    }
    addParts();
    return counts;
}

void checkRegion(const cv::Mat& source, const cv::Rect& region)
{
    const std::string sides = std::to_string(region.width) + " x " + std::to_string(region.height);
    if (region.width <= 0 || region.height <= 0)
        refuse(kName, "a region of at least 1 pixel", sides);
    if (region.x < 0 || region.y < 0 || region.width > source.cols - region.x || region.height > source.rows - region.y)
        refuse(kName, "a region within " + sizeText(source) + " pixels",
               sides + " at (" + std::to_string(region.x) + ", " + std::to_string(region.y) + ")");
}

} // namespace

void colorHistShader(const cv::Mat& source, const cv::Rect& region, ColourHist2d& histogram)
{
    checkPicture(kName, source);
    checkType(kName, source.type(), {3, 4}, {CV_8U, CV_32F});
    checkRegion(source, region);

    const Cells cells = cellsOf(histogram);
    const cv::Mat picture = source(region);
    const std::size_t pixels = picture.total();
    Counts counts;
    std::mutex mutex;
    const auto addBand = [&](int first, int last) {
        Counts band = countsOf(picture.rowRange(first, last), cells);
        const std::lock_guard<std::mutex> lock(mutex);
        if (counts.empty())
            counts = std::move(band);
        else
            std::transform(counts.begin(), counts.end(), band.begin(), counts.begin(), std::plus<>());
    };
    // Counters of its own cost each band as much as some pixels.
    if (pixels / 64 > cells.count())
        forEachBand(picture.size(), addBand);
    else
        addBand(0, picture.rows);

    math::Vector& data = histogram.data();
    for (std::size_t i = 0; i < counts.size(); ++i)
        data[static_cast<unsigned>(i)] = static_cast<double>(counts[i]) / static_cast<double>(pixels);
}

} // namespace velmor::native
#endif
