#include "cvprocess/internal/ByteSums.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "cvprocess/internal/ByteSums.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#ifndef VELMOR_CVPROCESS_COLUMN_SUMS
#define VELMOR_CVPROCESS_COLUMN_SUMS
namespace velmor::cvprocess {

/// Sums of columns in 16 bits, those of even columns and of odd ones apart.
struct ColumnSums
{
    static constexpr int kColumns = 4096;       ///< whole vectors of them
    static constexpr int kRows = 0xffff / 0xff; ///< so many fit

    HWY_ALIGN_MAX std::uint16_t even[kColumns / 2];
    HWY_ALIGN_MAX std::uint16_t odd[kColumns / 2];
};

/// A part of an image whose columns' sums fit.
struct Tile
{
    const std::uint8_t* pixels;
    std::ptrdiff_t step;
    int width;
    int height;
};

/// Sums of a tile's bytes, with its own rows and columns.
struct TileSums
{
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    std::uint64_t all = 0;
};

} // namespace velmor::cvprocess
#endif

HWY_BEFORE_NAMESPACE();
namespace velmor::cvprocess::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

std::uint64_t addRow(const std::uint8_t* row, int width, ColumnSums& columns)
{
    std::uint64_t sum = 0;
    for (int x = 0; x < width; ++x) {
        std::uint16_t& column = (x % 2 == 0 ? columns.even : columns.odd)[x / 2];
        column = static_cast<std::uint16_t>(column + row[x]);
        sum += row[x];
    }
    return sum;
}

#else

/// Adds a row to the sums of its columns, and returns the sum of its bytes.
HWY_ATTR std::uint64_t addRow(const std::uint8_t* row, int width, ColumnSums& columns)
{
    const hn::ScalableTag<std::uint8_t> d;
    const hn::Repartition<std::uint16_t, decltype(d)> pairs;
    const hn::Repartition<std::uint64_t, decltype(d)> eights;
    const int lanes = static_cast<int>(hn::Lanes(d));
    auto sum = hn::Zero(eights);
    const auto addVector = [&](const std::uint8_t* pixels, int x) HWY_ATTR {
        const auto bytes = hn::LoadU(d, pixels);
        const auto even = hn::And(hn::BitCast(pairs, bytes), hn::Set(pairs, std::uint16_t{0xff}));
        const auto odd = hn::ShiftRight<8>(hn::BitCast(pairs, bytes));
        hn::Store(hn::Add(hn::Load(pairs, columns.even + x / 2), even), pairs, columns.even + x / 2);
        hn::Store(hn::Add(hn::Load(pairs, columns.odd + x / 2), odd), pairs, columns.odd + x / 2);
        sum = hn::Add(sum, hn::SumsOf8(bytes));
    };
    int x = 0;
    for (; x + lanes <= width; x += lanes)
        addVector(row + x, x);
    if (x < width) {
        std::uint8_t part[hn::MaxLanes(d)] = {};
        std::copy(row + x, row + width, part);
        addVector(part, x);
    }
    return hn::GetLane(hn::SumOfLanes(eights, sum));
}

#endif

HWY_ATTR TileSums sumsOf(const Tile& tile)
{
    ColumnSums columns = {};
    TileSums sums;
    for (int y = 0; y < tile.height; ++y) {
        const std::uint64_t row = addRow(tile.pixels + y * tile.step, tile.width, columns);
        sums.y += static_cast<std::uint64_t>(y) * row;
        sums.all += row;
    }
    for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(tile.width + 1) / 2; ++i)
        sums.x += 2 * i * columns.even[i] + (2 * i + 1) * columns.odd[i];
    return sums;
}

} // namespace
} // namespace velmor::cvprocess::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::cvprocess {
namespace {

HWY_EXPORT(sumsOf);

const std::uint8_t* rowOf(const IplImage& image, int y)
{
    return reinterpret_cast<const std::uint8_t*>(image.imageData) + std::ptrdiff_t{y} * image.widthStep;
}

void addTile(ByteSums& sums, const IplImage& image, int x0, int x1, int y0, int y1)
{
    const TileSums tile = HWY_DYNAMIC_DISPATCH(sumsOf)({rowOf(image, y0) + x0, image.widthStep, x1 - x0, y1 - y0});
    const auto all = static_cast<double>(tile.all);
    sums.x += x0 * all + static_cast<double>(tile.x);
    sums.y += y0 * all + static_cast<double>(tile.y);
    sums.all += all;
}

} // namespace

ByteSums plainByteSums(const IplImage& image)
{
    ByteSums sums;
    for (int x = 0; x < image.width; ++x) {
        for (int y = 0; y < image.height; ++y) {
            const double v = rowOf(image, y)[x];
            sums.x += x * v;
            sums.y += y * v;
            sums.all += v;
        }
    }
    return sums;
}

ByteSums byteSums(const IplImage& image)
{
    ByteSums sums;
    for (int y = 0, nextY = 0; y < image.height; y = nextY) {
        nextY = y + std::min(ColumnSums::kRows, image.height - y);
        for (int x = 0, nextX = 0; x < image.width; x = nextX) {
            nextX = x + std::min(ColumnSums::kColumns, image.width - x);
            addTile(sums, image, x, nextX, y, nextY);
        }
    }
    // Whole numbers below 2^53 are exact in double, whatever their order. Larger sums, which no image of at most 40,000
    // columns and rows has, are rounded, and by the rule in its own order.
    constexpr double limit = 0x1p53;
    return sums.x < limit && sums.y < limit ? sums : plainByteSums(image);
}

} // namespace velmor::cvprocess
#endif
