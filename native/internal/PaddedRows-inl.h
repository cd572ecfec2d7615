// Rows with neighbours beyond their ends, for vector code; included once for each instruction set, after Highway's
// headers.

#if defined(VELMOR_NATIVE_PADDED_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELMOR_NATIVE_PADDED_ROWS_INL_H
#undef VELMOR_NATIVE_PADDED_ROWS_INL_H
#else
#define VELMOR_NATIVE_PADDED_ROWS_INL_H
#endif

#include <hwy/aligned_allocator.h>
#include <hwy/highway.h>
#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Copies of a picture's rows for filters that look at neighbours: the edge is repeated beyond it, and a vector may be
/// read from any place of a row. Bytes that are wanted as floats are divided by 255. Each row is copied once when rows
/// are asked for in order.
/// @tparam kRows  how many are kept
template<typename Source, typename T, int kRows = 3>
class PaddedRows
{
public:
    explicit PaddedRows(const cv::Mat& source)
        : mSource(source), mChannels(static_cast<std::size_t>(source.channels())),
          mCount(static_cast<std::size_t>(source.cols) * mChannels),
          mStep((mCount + 2 * kPadding + kPadding - 1) / kPadding * kPadding),
          mMemory(hwy::AllocateAligned<T>(kRows * mStep))
    {
        if (!mMemory)
            throw std::bad_alloc();
        std::fill_n(mMemory.get(), kRows * mStep, T{});
        std::fill_n(mHeld, kRows, -1);
    }

    /// The first element of a row; it is kept until the row `kRows` further is asked for.
    /// @param row  beyond the edge it is the edge's
    HWY_ATTR const T* row(int row)
    {
        row = std::clamp(row, 0, mSource.rows - 1);
        T* const place = mMemory.get() + static_cast<std::size_t>(row % kRows) * mStep + kPadding;
        int& held = mHeld[row % kRows];
        if (held != row) {
            fill(place, mSource.ptr<Source>(row));
            held = row;
        }
        return place;
    }

private:
    /// How many pixels the edge is repeated for: as far as any filter looks.
    static constexpr std::size_t kReach = 2;

    /// A vector, so that rows are aligned; it holds kReach pixels too.
    static constexpr std::size_t kPadding = std::max<std::size_t>(hn::MaxLanes(hn::ScalableTag<T>()), 16);

    HWY_ATTR void fill(T* row, const Source* source) const
    {
        if constexpr (std::is_same_v<Source, T>)
            std::copy_n(source, mCount, row);
        else
            convert(row, source);
        T* const last = row + mCount - mChannels;
        for (std::size_t c = 0; c < mChannels; ++c) {
            for (std::size_t i = 1; i <= kReach; ++i) {
                *(row + c - i * mChannels) = row[c];
                last[c + i * mChannels] = last[c];
            }
        }
    }

    HWY_ATTR void convert(T* row, const Source* source) const
    {
        const hn::ScalableTag<float> d;
        const std::size_t lanes = hn::Lanes(d);
        std::size_t i = 0;
        for (; i + lanes <= mCount; i += lanes)
            hn::Store(quotient(source + i), d, row + i);
        if (i < mCount) {
            uint8_t part[hn::MaxLanes(d)] = {};
            std::copy_n(source + i, mCount - i, part);
            hn::Store(quotient(part), d, row + i);
        }
    }

    /// A vector of bytes divided by 255. 1 / 255 is the sum of the two factors; the first product is exact, and the
    /// sum rounds to the quotient for each byte. A division takes longer.
    HWY_ATTR static auto quotient(const uint8_t* bytes)
    {
        const hn::ScalableTag<float> d;
        const hn::Rebind<int32_t, decltype(d)> integers;
        const hn::Rebind<uint8_t, decltype(d)> d8;
        const auto value = hn::ConvertTo(d, hn::PromoteTo(integers, hn::LoadU(d8, bytes)));
        return hn::Add(hn::Mul(value, hn::Set(d, 0x1.01p-8F)), hn::Mul(value, hn::Set(d, 0x1.010102p-24F)));
    }

    const cv::Mat& mSource;
    std::size_t mChannels;
    std::size_t mCount; ///< elements of a row
    std::size_t mStep;
    hwy::AlignedFreeUniquePtr<T[]> mMemory;
    int mHeld[kRows]; ///< rows that are there
};

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
