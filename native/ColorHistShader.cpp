#include "native/ColorHistShader.h"

#include "core/cvdata/ColourHist2d.h"
#include "native/internal/Bands.h"
#include "native/internal/Checks.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/ColorHistShader.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#ifndef VELMOR_NATIVE_COLOR_HIST_CELLS
#define VELMOR_NATIVE_COLOR_HIST_CELLS
namespace velmor::native {

/// Bins of each channel.
using Bins = std::array<std::uint32_t, 3>;

/// Whether cellsOfBytes() has so many bins: its factors and the numbers of its cells have 16 bits.
inline bool hasShortCells(const Bins& bins)
{
    return std::max({bins[0], bins[1], bins[2]}) < 255 && bins[0] * bins[1] * bins[2] <= 65536;
}

} // namespace velmor::native
#endif

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

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
HWY_ATTR void storeCells(const float* pixels, const Bins& bins, std::uint32_t* cells)
{
    const Floats d;
    const Integers di;
    auto c0 = hn::Zero(d), c1 = c0, c2 = c0, c3 = c0;
    if constexpr (channels == 3)
        hn::LoadInterleaved3(d, pixels, c0, c1, c2);
    else
        hn::LoadInterleaved4(d, pixels, c0, c1, c2, c3);
    const auto strideOf2 = hn::Set(di, static_cast<std::int32_t>(bins[0]));
    const auto strideOf3 = hn::Set(di, static_cast<std::int32_t>(bins[0] * bins[1]));
    const auto plane = hn::Add(binsOf(c0, bins[0]), hn::Mul(strideOf2, binsOf(c1, bins[1])));
    const auto cell = hn::Add(plane, hn::Mul(strideOf3, binsOf(c2, bins[2])));
    hn::StoreU(hn::BitCast(hn::RebindToUnsigned<Integers>(), cell), hn::RebindToUnsigned<Integers>(), cells);
}

// ---- Bytes

using Shorts = hn::ScalableTag<std::uint16_t>;
using Bytes = hn::Rebind<std::uint8_t, Shorts>;

HWY_ATTR hn::Vec<Shorts> binsOf(hn::Vec<Bytes> values, std::uint32_t count)
{
    const Shorts d;
    // 65536 / 255 times the bins, rounded up: what is too much stays below 255 / 65536, and so below 1 / 255.
    const auto factor = hn::Set(d, static_cast<std::uint16_t>((65536 * count + 254) / 255));
    return hn::Min(hn::MulHigh(hn::PromoteTo(d, values), factor), hn::Set(d, static_cast<std::uint16_t>(count - 1)));
}

template<std::size_t channels>
HWY_ATTR void storeCells(const std::uint8_t* pixels, const Bins& bins, std::uint32_t* cells)
{
    const Bytes d;
    const Shorts shorts;
    auto c0 = hn::Zero(d), c1 = c0, c2 = c0, c3 = c0;
    if constexpr (channels == 3)
        hn::LoadInterleaved3(d, pixels, c0, c1, c2);
    else
        hn::LoadInterleaved4(d, pixels, c0, c1, c2, c3);
    const auto strideOf2 = hn::Set(shorts, static_cast<std::uint16_t>(bins[0]));
    const auto strideOf3 = hn::Set(shorts, static_cast<std::uint16_t>(bins[0] * bins[1]));
    const auto plane = hn::Add(binsOf(c0, bins[0]), hn::Mul(strideOf2, binsOf(c1, bins[1])));
    HWY_ALIGN std::uint16_t cell[hn::MaxLanes(shorts)];
    hn::Store(hn::Add(plane, hn::Mul(strideOf3, binsOf(c2, bins[2]))), shorts, cell);
    std::copy_n(cell, hn::Lanes(shorts), cells);
}

// ---- Rows

/// The cells of pixels.
/// @param cells  with room for whole vectors
template<std::size_t channels, class D, typename T>
HWY_ATTR void findCells(D d, const T* pixels, std::size_t count, const Bins& bins, std::uint32_t* cells)
{
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        storeCells<channels>(pixels + channels * i, bins, cells + i);
    if (i < count) {
        T part[channels * hn::MaxLanes(d)] = {};
        std::copy(pixels + channels * i, pixels + channels * count, part);
        storeCells<channels>(part, bins, cells + i);
    }
}

HWY_ATTR void cellsOfFloats(const float* pixels, std::size_t count, int channels, const Bins& bins,
                            std::uint32_t* cells)
{
    if (channels == 3)
        findCells<3>(Floats(), pixels, count, bins, cells);
    else
        findCells<4>(Floats(), pixels, count, bins, cells);
}

HWY_ATTR void cellsOfBytes(const std::uint8_t* pixels, std::size_t count, int channels, const Bins& bins,
                           std::uint32_t* cells)
{
    if (channels == 3)
        findCells<3>(Shorts(), pixels, count, bins, cells);
    else
        findCells<4>(Shorts(), pixels, count, bins, cells);
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(cellsOfBytes);
HWY_EXPORT(cellsOfFloats);

using core::cvdata::ColourHist2d;
using Counts = std::vector<std::uint64_t>;

constexpr const char* kName = "native::colorHistShader";

/// Pixels whose cells are found at a time; a multiple of the length of every vector.
constexpr int kPixelsAtATime = 256;

/// Counters side by side for each cell, so that a pixel does not wait for an equal one before it; and how many cells
/// may have them: together they stay in the first cache.
constexpr std::size_t kCounters = 4;
constexpr std::size_t kMostCellsOfCounters = 1024;

/// The cells of bytes for any number of bins.
void cellsOfAnyBytes(const std::uint8_t* pixels, std::size_t count, int channels, const Bins& bins,
                     std::uint32_t* cells)
{
    const auto binOf = [](std::uint32_t byte, std::uint32_t number) {
        return std::min(byte * number / 255, number - 1);
    };
    for (std::size_t i = 0; i < count; ++i, pixels += channels)
        cells[i] =
            binOf(pixels[0], bins[0]) + bins[0] * (binOf(pixels[1], bins[1]) + bins[1] * binOf(pixels[2], bins[2]));
}

void findCells(const cv::Mat& picture, int row, int first, std::size_t count, const Bins& bins, std::uint32_t* cells)
{
    const int channels = picture.channels();
    const uchar* const pixels = picture.ptr(row, first);
    if (picture.depth() == CV_32F)
        HWY_DYNAMIC_DISPATCH(cellsOfFloats)(picture.ptr<float>(row, first), count, channels, bins, cells);
    else if (hasShortCells(bins))
        HWY_DYNAMIC_DISPATCH(cellsOfBytes)(pixels, count, channels, bins, cells);
    else
        cellsOfAnyBytes(pixels, count, channels, bins, cells);
}

/// The counts of a picture.
Counts countsOf(const cv::Mat& picture, const Bins& bins)
{
    const std::size_t cellCount = std::size_t{bins[0]} * bins[1] * bins[2];
    const std::size_t counters = cellCount <= kMostCellsOfCounters ? kCounters : 1;
    Counts counts(counters * cellCount);
    // Where there is one counter for each cell, they all are the same.
    std::uint64_t* of[kCounters];
    for (std::size_t k = 0; k < kCounters; ++k)
        of[k] = counts.data() + k % counters * cellCount;

    std::uint32_t cells[kPixelsAtATime];
    for (int row = 0; row < picture.rows; ++row) {
        for (int first = 0; first < picture.cols; first += kPixelsAtATime) {
            const auto count = static_cast<std::size_t>(std::min(kPixelsAtATime, picture.cols - first));
            findCells(picture, row, first, count, bins, cells);
            std::size_t i = 0;
            for (; i + kCounters <= count; i += kCounters)
                for (std::size_t k = 0; k < kCounters; ++k)
                    ++of[k][cells[i + k]];
            for (; i < count; ++i)
                ++of[0][cells[i]];
        }
    }
    for (std::size_t i = cellCount; i < counts.size(); ++i)
        counts[i % cellCount] += counts[i];
    counts.resize(cellCount);
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

    unsigned char bins1 = 0, bins2 = 0, bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    const Bins bins = {bins1, bins2, bins3};
    const cv::Mat picture = source(region);
    const std::size_t pixels = picture.total();
    Counts counts;
    std::mutex mutex;
    const auto addBand = [&](int first, int last) {
        Counts band = countsOf(picture.rowRange(first, last), bins);
        const std::lock_guard<std::mutex> lock(mutex);
        if (counts.empty())
            counts = std::move(band);
        else
            std::transform(counts.begin(), counts.end(), band.begin(), counts.begin(), std::plus<>());
    };
    // Counters of its own cost each band as much as some pixels.
    if (pixels / 64 > std::size_t{bins1} * bins2 * bins3)
        forEachBand(picture.size(), addBand);
    else
        addBand(0, picture.rows);

    math::Vector& data = histogram.data();
    for (std::size_t i = 0; i < counts.size(); ++i)
        data[static_cast<unsigned>(i)] = static_cast<double>(counts[i]) / static_cast<double>(pixels);
}

} // namespace velmor::native
#endif
