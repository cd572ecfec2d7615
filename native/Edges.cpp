#include "native/GRAY2Sobel.h"
#include "native/Laplacian.h"
#include "native/internal/Rule.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/Edges.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"
#include "native/internal/PaddedRows-inl.h"

#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

using Floats = hn::ScalableTag<float>;
using Bytes = hn::ScalableTag<uint8_t>;

/// A row, and the ones above and below it.
template<typename T>
struct Neighbours
{
    const T* above;
    const T* here;
    const T* below;
};

template<typename T, typename Source>
Neighbours<T> around(PaddedRows<Source, T>& padded, int row)
{
    return {padded.row(row - 1), padded.row(row), padded.row(row + 1)};
}

// ---- Sums in the order of the shaders: row by row, each sum rounded

/// sum + weight * value. The product is exact.
/// @tparam finite  whether no value is infinite or no number; else a weight of 0 can show
template<int weight, bool finite, class D, class V>
HWY_ATTR V addWeighted(D d, V sum, V value)
{
    if constexpr (weight == 1)
        return hn::Add(sum, value);
    else if constexpr (weight == -1)
        return hn::Sub(sum, value);
    else if constexpr (weight == 0 && finite)
        return sum;
    else
        return hn::Add(sum, hn::Mul(value, hn::Set(d, static_cast<hn::TFromD<D>>(weight))));
}

/// A pixel's channel and the same one of the pixels beside it, for a vector of pixels.
template<class V>
struct Triple
{
    V left;
    V here;
    V right;
};

/// @param toLeft, toRight  from a pixel's channel to the same one of the pixel beside it
template<class D, typename T = hn::TFromD<D>>
HWY_ATTR HWY_INLINE Triple<hn::Vec<D>> tripleAt(D d, const T* place, std::size_t toLeft, std::size_t toRight)
{
    return {hn::LoadU(d, place - toLeft), hn::LoadU(d, place), hn::LoadU(d, place + toRight)};
}

/// The weighted sum of three neighbours in a row, added to a sum.
template<int left, int here, int right, bool finite, class D, class V>
HWY_ATTR HWY_INLINE V addRow(D d, V sum, const Triple<V>& row)
{
    sum = addWeighted<left, finite>(d, sum, row.left);
    sum = addWeighted<here, finite>(d, sum, row.here);
    return addWeighted<right, finite>(d, sum, row.right);
}

// ---- Sobel

/// Writes pixels of three channels.
/// @param streams  whether they had better not go through the caches; then a vector is aligned at their place
template<class V>
HWY_ATTR HWY_INLINE void storePixels(V c0, V c1, V c2, float* out, bool streams)
{
    const Floats d;
    if (!streams)
        return hn::StoreInterleaved3(c0, c1, c2, d, out);
    HWY_ALIGN float pixels[3 * hn::MaxLanes(d)];
    hn::StoreInterleaved3(c0, c1, c2, d, pixels);
    for (std::size_t i = 0; i < 3 * hn::Lanes(d); i += hn::Lanes(d))
        hn::Stream(hn::Load(d, pixels + i), d, out + i);
}

/// The gradients of a vector of pixels, interleaved.
template<bool finite>
HWY_ATTR HWY_INLINE void gradients(const Neighbours<float>& rows, std::size_t i, float* out, bool streams)
{
    const Floats d;
    const auto above = tripleAt(d, rows.above + i, 1, 1);
    const auto here = tripleAt(d, rows.here + i, 1, 1);
    const auto below = tripleAt(d, rows.below + i, 1, 1);
    auto horizontal = addRow<-1, -2, -1, finite>(d, hn::Zero(d), above);
    horizontal = addRow<0, 0, 0, finite>(d, horizontal, here);
    horizontal = addRow<1, 2, 1, finite>(d, horizontal, below);
    auto vertical = addRow<1, 0, -1, finite>(d, hn::Zero(d), above);
    vertical = addRow<2, 0, -2, finite>(d, vertical, here);
    vertical = addRow<1, 0, -1, finite>(d, vertical, below);
    const auto squares = hn::Add(hn::Mul(horizontal, horizontal), hn::Mul(vertical, vertical));
    storePixels(horizontal, vertical, hn::Sqrt(squares), out, streams);
}

template<bool finite>
HWY_FLATTEN void sobelPixels(const Neighbours<float>& rows, std::size_t count, float* out, bool streams)
{
    const std::size_t lanes = hn::Lanes(Floats());
    streams = streams && elementsToAlignment(Floats(), out) == 0;
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        gradients<finite>(rows, i, out + 3 * i, streams);
    if (i < count) {
        float part[3 * hn::MaxLanes(Floats())];
        gradients<finite>(rows, i, part, false);
        std::copy_n(part, 3 * (count - i), out + 3 * i);
    }
}

template<typename Source>
HWY_ATTR void sobelOf(const Band& band)
{
    constexpr bool kFinite = std::is_same_v<Source, uint8_t>;
    const auto columns = static_cast<std::size_t>(band.result.cols);
    PaddedRows<Source, float> padded(band.sources[0]);
    cv::Mat result = band.result;
    for (int row = band.first; row < band.last; ++row) {
        const Neighbours<float> rows = around(padded, row);
        sobelPixels<kFinite>(rows, columns, result.ptr<float>(row), band.streams);
    }
    if (band.streams)
        hwy::FlushStream();
}

HWY_ATTR void computeSobel(const Band& band)
{
    if (band.sourceDepth() == CV_8U)
        sobelOf<uint8_t>(band);
    else
        sobelOf<float>(band);
}

// ---- Laplacian

/// A kernel of 3 x 3: its weights at the corners, beside the middle, and in the middle.
template<int cornerWeight, int sideWeight, int middleWeight>
struct Kernel
{
    static constexpr int corner = cornerWeight;
    static constexpr int side = sideWeight;
    static constexpr int middle = middleWeight;
};

using NegativeLaplacian = Kernel<-1, -1, 8>;
using FourNeighbours = Kernel<0, 1, -4>;
using EightNeighbours = Kernel<-1, 2, -4>;

/// The rule for one channel of a pixel.
/// @param left, right  where the neighbours beside a place are, given from there
template<class K>
HWY_ATTR uint8_t laplacianAt(const Neighbours<uint8_t>& rows, std::size_t i, std::size_t left, std::size_t right)
{
    const uint8_t *const above = rows.above + i, *const here = rows.here + i, *const below = rows.below + i;
    const int corners = *(above - left) + above[right] + *(below - left) + below[right];
    const int sides = *above + *(here - left) + here[right] + *below;
    const int sum = K::corner * corners + K::side * sides + K::middle * *here;
    return static_cast<uint8_t>(std::min(std::abs(sum), 255));
}

template<class K>
HWY_ATTR float laplacianAt(const Neighbours<float>& rows, std::size_t i, std::size_t left, std::size_t right)
{
    const hn::CappedTag<float, 1> d;
    auto sum = addRow<K::corner, K::side, K::corner, false>(d, hn::Zero(d), tripleAt(d, rows.above + i, left, right));
    sum = addRow<K::side, K::middle, K::side, false>(d, sum, tripleAt(d, rows.here + i, left, right));
    sum = addRow<K::corner, K::side, K::corner, false>(d, sum, tripleAt(d, rows.below + i, left, right));
    return hn::GetLane(hn::Abs(sum));
}

#if HWY_TARGET != HWY_SCALAR

using Integers = hn::Repartition<int16_t, Bytes>;

/// Of the pixels of a row: each, and the sum of the two beside it, in integers of 16 bits, those at even places and
/// those at odd ones.
struct Sums
{
    hn::Vec<Integers> even[2];
    hn::Vec<Integers> odd[2];

    HWY_ATTR HWY_INLINE Sums(const uint8_t* place, std::size_t step)
    {
        const hn::Repartition<uint16_t, Bytes> d;
        const auto left = hn::BitCast(d, hn::LoadU(Bytes(), place - step));
        const auto here = hn::BitCast(d, hn::LoadU(Bytes(), place));
        const auto right = hn::BitCast(d, hn::LoadU(Bytes(), place + step));
        const auto low = hn::Set(d, uint16_t{255});
        even[0] = hn::BitCast(Integers(), hn::And(here, low));
        even[1] = hn::BitCast(Integers(), hn::Add(hn::And(left, low), hn::And(right, low)));
        odd[0] = hn::BitCast(Integers(), hn::ShiftRight<8>(here));
        odd[1] = hn::BitCast(Integers(), hn::Add(hn::ShiftRight<8>(left), hn::ShiftRight<8>(right)));
    }
};

/// |sum| limited to a byte, of pixels and of the sums beside them in three rows.
template<class K, class V>
HWY_ATTR HWY_INLINE V limitedSum(const V (&above)[2], const V (&here)[2], const V (&below)[2])
{
    const Integers d;
    auto sum = addWeighted<K::corner, true>(d, hn::Zero(d), hn::Add(above[1], below[1]));
    sum = addWeighted<K::side, true>(d, sum, hn::Add(hn::Add(above[0], below[0]), here[1]));
    sum = addWeighted<K::middle, true>(d, sum, here[0]);
    return hn::Min(hn::Abs(sum), hn::Set(d, int16_t{255}));
}

/// Computes vectors of several rows, so that what is loaded of a row serves three of them.
/// @param source  the rows, the one above them and the one below them
/// @param write   takes the number of a row and its vector
template<class K, bool, int rows, class Write>
HWY_ATTR HWY_INLINE void forEachRow(const uint8_t* const (&source)[rows], std::size_t i, std::size_t step,
                                    const Write& write)
{
    Sums above(source[0] + i, step), here(source[1] + i, step);
    for (int row = 0; row < rows - 2; ++row) {
        const Sums below(source[row + 2] + i, step);
        const auto even = limitedSum<K>(above.even, here.even, below.even);
        const auto odd = limitedSum<K>(above.odd, here.odd, below.odd);
        write(row, hn::BitCast(Bytes(), hn::Or(even, hn::ShiftLeft<8>(odd))));
        above = here;
        here = below;
    }
}

template<class K, bool finite, int rows, class Write>
HWY_ATTR HWY_INLINE void forEachRow(const float* const (&source)[rows], std::size_t i, std::size_t step,
                                    const Write& write)
{
    const Floats d;
    hn::Vec<Floats> sums[rows];
    for (int row = 0; row < rows; ++row) {
        const auto triple = tripleAt(d, source[row] + i, step, step);
        sums[row] = addRow<K::corner, K::side, K::corner, finite>(d, hn::Zero(d), triple);
        if (row >= 1)
            sums[row - 1] = addRow<K::side, K::middle, K::side, finite>(d, sums[row - 1], triple);
        if (row >= 2)
            write(row - 2, hn::Abs(addRow<K::corner, K::side, K::corner, finite>(d, sums[row - 2], triple)));
    }
}

/// The largest of floats that are not negative. What is not finite is larger than all others, as an integer too.
class Largest
{
public:
    HWY_ATTR HWY_INLINE Largest() : mBits(hn::Zero(Bits())) {}

    HWY_ATTR HWY_INLINE void see(hn::Vec<Floats> value) { mBits = hn::Max(mBits, hn::BitCast(Bits(), value)); }

    HWY_ATTR HWY_INLINE bool isFinite() const
    {
        const auto infinity = hn::BitCast(Bits(), hn::Inf(Floats()));
        return hn::AllTrue(Bits(), hn::Lt(mBits, infinity));
    }

private:
    using Bits = hn::RebindToSigned<Floats>;
    hn::Vec<Bits> mBits;
};

#endif

/// Some rows at once.
template<class K, typename Source, typename T, int rows>
class LaplacianOfRows
{
public:
    /// @param rowAt  gives a row of the source as elements of the result's type
    template<class RowAt>
    HWY_ATTR LaplacianOfRows(const Band& band, int first, const RowAt& rowAt)
        : mStep(static_cast<std::size_t>(band.channels())), mCount(static_cast<std::size_t>(band.result.cols) * mStep),
          mIsAligned(rows == 1 || band.result.step[0] % (kLanes * sizeof(T)) == 0), mStreams(band.streams && mIsAligned)
    {
        const cv::Mat& source = band.sources[0];
        cv::Mat result = band.result;
        for (int k = 0; k < rows + 2; ++k)
            mSource[k] = rowAt(std::clamp(first + k - 1, 0, source.rows - 1));
        for (int k = 0; k < rows; ++k) {
            mResult[k] = result.ptr<T>(first + k);
            mNext[k] = source.ptr<Source>(std::min(first + rows + 1 + k, source.rows - 1));
        }
    }

    HWY_ATTR void compute() const
    {
        const std::size_t last = mCount - mStep;
        if (kLanes == 1 || mStep + kLanes > last)
            return computePlainly(0, mCount);
        computePlainly(0, mStep);
        computePlainly(last, mCount);
        computeVectors(last);
    }

private:
    using D = hn::ScalableTag<T>;
    static constexpr std::size_t kLanes = hn::MaxLanes(D());

    /// How far ahead the result is fetched, so that storing does not wait.
    static constexpr std::size_t kAhead = 1024 / sizeof(T);

    /// Whether what is not finite shows under a weight of 0.
    static constexpr bool kCornersMayShow = K::corner == 0 && std::is_same_v<Source, float>;

    HWY_ATTR void computePlainly(std::size_t first, std::size_t last) const
    {
        for (int row = 0; row < rows; ++row)
            for (std::size_t i = first; i < last; ++i)
                mResult[row][i] = laplacianAt<K>({mSource[row], mSource[row + 1], mSource[row + 2]}, i,
                                                 i < mStep ? 0 : mStep, i + mStep < mCount ? mStep : 0);
    }

#if HWY_TARGET == HWY_SCALAR
    void computeVectors(std::size_t) const {}
#else
    /// A corner under a weight of 0 shows where it is infinite or no number. It is above or below some pixel, whose
    /// result is then not finite either: where all results are, no corner shows.
    HWY_ATTR void computeVectors(std::size_t last) const
    {
        bool isFinite = computeVectorsOf<true>(last);
        if constexpr (kCornersMayShow) {
            for (int row = 0; row < rows; ++row)
                for (std::size_t i = 0; i < mStep; ++i)
                    isFinite = isFinite && std::isfinite(mResult[row][i]) && std::isfinite(mResult[row][last + i]);
            if (!isFinite)
                computeVectorsOf<false>(last);
        }
    }

    /// @tparam finite  whether corners under a weight of 0 are left out
    /// @returns        whether results are finite, where it matters
    template<bool finite>
    HWY_ATTR HWY_INLINE bool computeVectorsOf(std::size_t last) const
    {
        const std::size_t aligned = mStep + (mIsAligned ? elementsToAlignment(D(), mResult[0] + mStep) : 0);
        Largest largest;
        if (mStreams) { // nothing is written twice: what was streamed would have to be fetched for it
            const std::size_t end = computeWhole<finite, true>(aligned, last, largest);
            computePart<finite>(mStep, mStep, aligned, largest);
            computePart<finite>(last - kLanes, end, last, largest);
        } else {
            computeWhole<finite, false>(aligned, last, largest);
            computePart<finite>(mStep, mStep, mStep + kLanes, largest);
            computePart<finite>(last - kLanes, last - kLanes, last, largest);
        }
        return largest.isFinite();
    }

    /// @returns  the end of the last whole vector
    template<bool finite, bool streams>
    HWY_ATTR std::size_t computeWhole(std::size_t first, std::size_t last, Largest& largest) const
    {
        const LaplacianOfRows copy = *this; // which nothing points to: what is written cannot change it
        Largest seen = largest;
        std::size_t i = first;
        for (; i + kLanes <= last; i += kLanes)
            copy.template computeVector<finite>(i, seen, [&](int row, auto vector) HWY_ATTR {
                T* const place = copy.mResult[row] + i;
                hwy::Prefetch(copy.mNext[row] + i);
                if constexpr (streams) {
                    hn::Stream(vector, D(), place);
                } else {
                    hwy::Prefetch(place + kAhead);
                    hn::StoreU(vector, D(), place);
                }
            });
        largest = seen;
        return i;
    }

    /// Elements from `first` to `last` of the vectors from a place on.
    template<bool finite>
    HWY_ATTR void computePart(std::size_t i, std::size_t first, std::size_t last, Largest& largest) const
    {
        computeVector<finite>(i, largest, [&](int row, auto vector) HWY_ATTR {
            if (last - first == kLanes)
                return hn::StoreU(vector, D(), mResult[row] + i);
            HWY_ALIGN T part[kLanes];
            hn::Store(vector, D(), part);
            std::copy_n(part + (first - i), last - first, mResult[row] + first);
        });
    }

    template<bool finite, class Write>
    HWY_ATTR HWY_INLINE void computeVector(std::size_t i, Largest& largest, const Write& write) const
    {
        forEachRow<K, finite>(mSource, i, mStep, [&](int row, auto vector) HWY_ATTR {
            if constexpr (kCornersMayShow)
                largest.see(vector);
            write(row, vector);
        });
    }
#endif

    std::size_t mStep;  ///< from a pixel's channel to the same one of the next pixel
    std::size_t mCount; ///< elements of a row
    bool mIsAligned;    ///< whether rows lie alike, so that where one is aligned all are
    bool mStreams;
    const T* mSource[rows + 2]; ///< from the row above on
    T* mResult[rows];
    const Source* mNext[rows]; ///< rows that are wanted next: fetched early
};

constexpr int kRows = 4; ///< that are computed at once

template<class K, typename Source, typename T, class RowAt>
HWY_ATTR void laplacianOfRows(const Band& band, const RowAt& rowAt)
{
    if (band.last - band.first < kRows)
        for (int row = band.first; row < band.last; ++row)
            LaplacianOfRows<K, Source, T, 1>(band, row, rowAt).compute();
    else // the last rows may be computed twice
        for (int row = band.first; row < band.last; row += kRows)
            LaplacianOfRows<K, Source, T, kRows>(band, std::min(row, band.last - kRows), rowAt).compute();
    hwy::FlushStream();
}

/// From elements of the result's type.
template<class K, typename T>
HWY_ATTR void laplacianOf(const Band& band)
{
    laplacianOfRows<K, T, T>(band, [&](int row) { return band.sources[0].ptr<T>(row); });
}

/// From bytes to floats.
template<class K>
HWY_ATTR void laplacianToFloats(const Band& band)
{
    PaddedRows<uint8_t, float, kRows + 2> padded(band.sources[0]);
    laplacianOfRows<K, uint8_t, float>(band, [&](int row) HWY_ATTR { return padded.row(row); });
}

template<class K>
HWY_ATTR void laplacianBy(const Band& band)
{
    if (band.result.depth() == CV_8U)
        laplacianOf<K, uint8_t>(band);
    else if (band.sourceDepth() == CV_32F)
        laplacianOf<K, float>(band);
    else
        laplacianToFloats<K>(band);
}

HWY_ATTR void computeLaplacian(const Band& band, int kernelType)
{
    if (kernelType == 1)
        laplacianBy<FourNeighbours>(band);
    else if (kernelType == 2)
        laplacianBy<EightNeighbours>(band);
    else
        laplacianBy<NegativeLaplacian>(band);
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(computeSobel);
HWY_EXPORT(computeLaplacian);

std::shared_ptr<const Rule> sobelRule()
{
    Rule rule;
    rule.name = "GRAY2Sobel";
    rule.channels = {1};
    rule.resultChannels = 3;
    rule.resultDepths = {CV_32F};
    rule.computed = {{CV_8U, CV_32F}, {CV_32F, CV_32F}};
    rule.isPerPixel = false;
    rule.compute = [](const Band& band) {
        HWY_DYNAMIC_DISPATCH(computeSobel)(band);
    };
    return std::make_shared<const Rule>(std::move(rule));
}

std::shared_ptr<const Rule> laplacianRule(int kernelType)
{
    Rule rule;
    rule.name = "Laplacian";
    rule.resultDepths = {CV_32F, CV_8U};
    rule.computed = {{CV_8U, CV_8U}, {CV_8U, CV_32F}, {CV_32F, CV_32F}};
    rule.isPerPixel = false;
    rule.compute = [kernelType](const Band& band) {
        HWY_DYNAMIC_DISPATCH(computeLaplacian)(band, kernelType);
    };
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

GRAY2Sobel::GRAY2Sobel() : Filter(sobelRule()) {}

Laplacian::Laplacian(int kernelType) : Filter(laplacianRule(kernelType)) {}

} // namespace velmor::native
#endif
