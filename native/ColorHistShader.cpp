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
#include <cstring>
#include <mutex>
#include <vector>

#ifndef VELMOR_NATIVE_COLOR_HIST_CELLS
#define VELMOR_NATIVE_COLOR_HIST_CELLS
namespace velmor::native {

/// Bins of each channel.
using Bins = std::array<int, 3>;

} // namespace velmor::native
#endif

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Integers = hn::Rebind<std::int32_t, Floats>;

HWY_ATTR hn::Vec<Integers> binsOf(hn::Vec<Floats> values, int count)
{
    const Floats d;
    const auto scaled = hn::Mul(values, hn::Set(d, static_cast<float>(count)));
    // What is not a number is not above 0.
    const auto atLeast0 = hn::IfThenElseZero(hn::Gt(scaled, hn::Zero(d)), scaled);
    return hn::ConvertTo(Integers(), hn::Min(atLeast0, hn::Set(d, static_cast<float>(count - 1))));
}

HWY_ATTR void storeCells(const float* pixels, std::size_t channels, const Bins& bins, std::int32_t* cells)
{
    const Floats d;
    auto c0 = hn::Zero(d), c1 = c0, c2 = c0, c3 = c0;
    if (channels == 3)
        hn::LoadInterleaved3(d, pixels, c0, c1, c2);
    else
        hn::LoadInterleaved4(d, pixels, c0, c1, c2, c3);
    const Integers di;
    const auto plane = hn::Add(binsOf(c1, bins[1]), hn::Mul(hn::Set(di, bins[1]), binsOf(c2, bins[2])));
    hn::StoreU(hn::Add(binsOf(c0, bins[0]), hn::Mul(hn::Set(di, bins[0]), plane)), di, cells);
}

/// The cells of pixels.
/// @param cells  with room for whole vectors
HWY_ATTR void cellsOfFloats(const float* pixels, std::size_t count, std::size_t channels, const Bins& bins,
                            std::int32_t* cells)
{
    const std::size_t lanes = hn::Lanes(Floats());
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        storeCells(pixels + channels * i, channels, bins, cells + i);
    if (i < count) {
        float part[4 * hn::MaxLanes(Floats())] = {};
        std::copy(pixels + channels * i, pixels + channels * count, part);
        storeCells(part, channels, bins, cells + i);
    }
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(cellsOfFloats);

using core::cvdata::ColourHist2d;
using Counts = std::vector<std::uint64_t>;

constexpr const char* kName = "native::colorHistShader";

/// Pixels whose cells are found at a time; a multiple of the length of every vector.
constexpr std::size_t kPixelsAtATime = 256;

/// Counters side by side for each cell, so that a pixel does not wait for an equal one before it; and how many cells
/// may have them: together they stay in the first cache.
constexpr std::size_t kCounters = 4;
constexpr std::size_t kMostCellsOfCounters = 1024;

/// Where the cells of bytes begin, by channel and byte.
using CellTables = std::array<std::array<std::uint32_t, 256>, 3>;

CellTables cellTables(const Bins& bins)
{
    CellTables tables;
    std::uint32_t stride = 1;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto count = static_cast<std::uint32_t>(bins[c]);
        for (std::uint32_t byte = 0; byte < 256; ++byte)
            tables[c][byte] = stride * std::min(byte * count / 255, count - 1);
        stride *= count;
    }
    return tables;
}

/// Counts pixels of one kind in cells.
class Counter
{
public:
    explicit Counter(const Bins& bins)
        : mBins(bins), mTables(cellTables(bins)),
          mCells(static_cast<std::size_t>(bins[0]) * static_cast<std::size_t>(bins[1]) *
                 static_cast<std::size_t>(bins[2]))
    {
    }

    std::size_t cells() const { return mCells; }

    /// The counts of a picture.
    Counts count(const cv::Mat& picture) const
    {
        const std::size_t counters = mCells <= kMostCellsOfCounters ? kCounters : 1;
        Counts counts(counters * mCells);
        for (int row = 0; row < picture.rows; ++row) {
            if (picture.depth() == CV_32F)
                countFloats(picture, row, counters, counts.data());
            else if (picture.channels() == 3)
                countBytes<3>(picture, row, counters, counts.data());
            else
                countBytes<4>(picture, row, counters, counts.data());
        }
        for (std::size_t i = mCells; i < counts.size(); ++i)
            counts[i % mCells] += counts[i];
        counts.resize(mCells);
        return counts;
    }

private:
    template<std::size_t channels>
    void countBytes(const cv::Mat& picture, int row, std::size_t counters, std::uint64_t* counts) const
    {
        const std::uint8_t* pixel = picture.ptr(row);
        const auto countNext = [&](std::size_t counter) {
            ++counts[counter * mCells + mTables[0][pixel[0]] + mTables[1][pixel[1]] + mTables[2][pixel[2]]];
            pixel += channels;
        };
        const auto pixels = static_cast<std::size_t>(picture.cols);
        std::size_t i = 0;
        if (counters == kCounters)
            for (; i + kCounters <= pixels; i += kCounters)
                for (std::size_t k = 0; k < kCounters; ++k)
                    countNext(k);
        for (; i < pixels; ++i)
            countNext(0);
    }

    void countFloats(const cv::Mat& picture, int row, std::size_t counters, std::uint64_t* counts) const
    {
        const auto pixels = static_cast<std::size_t>(picture.cols);
        const auto channels = static_cast<std::size_t>(picture.channels());
        std::int32_t cells[kPixelsAtATime];
        for (std::size_t i = 0; i < pixels; i += kPixelsAtATime) {
            const std::size_t count = std::min(kPixelsAtATime, pixels - i);
            HWY_DYNAMIC_DISPATCH(cellsOfFloats)(picture.ptr<float>(row) + channels * i, count, channels, mBins, cells);
            for (std::size_t k = 0; k < count; ++k)
                ++counts[k % counters * mCells + static_cast<std::size_t>(cells[k])];
        }
    }

    Bins mBins;
    CellTables mTables;
    std::size_t mCells;
};

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
    const Counter counter({bins1, bins2, bins3});
    const cv::Mat picture = source(region);
    const std::size_t pixels = picture.total();
    Counts counts(counter.cells());
    std::mutex mutex;
    const auto addBand = [&](int first, int last) {
        const Counts band = counter.count(picture.rowRange(first, last));
        const std::lock_guard<std::mutex> lock(mutex);
        std::transform(counts.begin(), counts.end(), band.begin(), counts.begin(), std::plus<>());
    };
    // Counters of its own cost each band as much as some pixels.
    if (pixels / 64 > counter.cells())
        forEachBand(picture.size(), addBand);
    else
        addBand(0, picture.rows);

    math::Vector& data = histogram.data();
    for (std::size_t i = 0; i < counts.size(); ++i)
        data[static_cast<unsigned>(i)] = static_cast<double>(counts[i]) / static_cast<double>(pixels);
}

} // namespace velmor::native
#endif
