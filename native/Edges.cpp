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

/// The weighted sum of three neighbours in a row, added to a sum.
/// @param row   where the middle one is
/// @param step  from a pixel's channel to the same one of the next pixel
template<int left, int middle, int right, bool finite, class D, class V>
HWY_ATTR V addRow(D d, V sum, const float* row, std::size_t step)
{
    sum = addWeighted<left, finite>(d, sum, hn::LoadU(d, row - step));
    sum = addWeighted<middle, finite>(d, sum, hn::LoadU(d, row));
    return addWeighted<right, finite>(d, sum, hn::LoadU(d, row + step));
}

// ---- Sobel

/// The gradients of a vector of pixels, interleaved.
template<bool finite>
HWY_ATTR void gradients(const Neighbours<float>& rows, std::size_t i, float* out)
{
    const Floats d;
    auto horizontal = addRow<-1, -2, -1, finite>(d, hn::Zero(d), rows.above + i, 1);
    horizontal = addRow<0, 0, 0, finite>(d, horizontal, rows.here + i, 1);
    horizontal = addRow<1, 2, 1, finite>(d, horizontal, rows.below + i, 1);
    auto vertical = addRow<1, 0, -1, finite>(d, hn::Zero(d), rows.above + i, 1);
    vertical = addRow<2, 0, -2, finite>(d, vertical, rows.here + i, 1);
    vertical = addRow<1, 0, -1, finite>(d, vertical, rows.below + i, 1);
    const auto squares = hn::Add(hn::Mul(horizontal, horizontal), hn::Mul(vertical, vertical));
    hn::StoreInterleaved3(horizontal, vertical, hn::Sqrt(squares), d, out);
}

template<bool finite>
HWY_FLATTEN void sobelPixels(const Neighbours<float>& rows, std::size_t count, float* out)
{
    const std::size_t lanes = hn::Lanes(Floats());
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        gradients<finite>(rows, i, out + 3 * i);
    if (i < count) {
        float part[3 * hn::MaxLanes(Floats())];
        gradients<finite>(rows, i, part);
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
        sobelPixels<kFinite>(rows, columns, result.ptr<float>(row));
    }
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

template<class K, bool finite>
HWY_ATTR auto laplacianOfVector(const Neighbours<float>& rows, std::size_t i, std::size_t step)
{
    const Floats d;
    auto sum = addRow<K::corner, K::side, K::corner, finite>(d, hn::Zero(d), rows.above + i, step);
    sum = addRow<K::side, K::middle, K::side, finite>(d, sum, rows.here + i, step);
    return hn::Abs(addRow<K::corner, K::side, K::corner, finite>(d, sum, rows.below + i, step));
}

/// The plain rule.
/// @param left, right  where the neighbours beside a place are, given from there
template<class K>
uint8_t laplacianOfByte(const Neighbours<uint8_t>& rows, std::size_t i, std::size_t left, std::size_t right)
{
    const uint8_t *const above = rows.above + i, *const here = rows.here + i, *const below = rows.below + i;
    const int corners = *(above - left) + above[right] + *(below - left) + below[right];
    const int sides = *above + *(here - left) + here[right] + *below;
    const int sum = K::corner * corners + K::side * sides + K::middle * *here;
    return static_cast<uint8_t>(std::min(std::abs(sum), 255));
}

#if HWY_TARGET != HWY_SCALAR

using Integers = hn::Repartition<int16_t, Bytes>;

/// Of the pixels of a row: each, and the sum of the two beside it, in integers of 16 bits, those at even places and
/// those at odd ones.
struct Triples
{
    hn::Vec<Integers> even[2];
    hn::Vec<Integers> odd[2];

    HWY_ATTR HWY_INLINE Triples(const uint8_t* place, std::size_t step)
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

#endif

/// Some rows of bytes at once, so that the sums of a row serve three of them.
template<class K, int rows>
class LaplacianOfBytes
{
public:
    LaplacianOfBytes(const Band& band, int first)
        : mStep(static_cast<std::size_t>(band.channels())), mCount(static_cast<std::size_t>(band.result.cols) * mStep),
          mIsAligned(band.result.step[0] % kLanes == 0), mStreams(band.streams && mIsAligned)
    {
        const cv::Mat& source = band.sources[0];
        cv::Mat result = band.result;
        for (int k = 0; k < rows + 2; ++k)
            mSource[k] = source.ptr(std::clamp(first + k - 1, 0, source.rows - 1));
        for (int k = 0; k < rows; ++k) {
            mResult[k] = result.ptr(first + k);
            mNext[k] = source.ptr(std::min(first + rows + 1 + k, source.rows - 1));
        }
    }

    HWY_ATTR void compute() const
    {
        const std::size_t last = mCount - mStep;
        if (kLanes == 1 || mStep + kLanes > last)
            return computePlainly(0, mCount);
        computePlainly(0, mStep);
        computeVectors(last);
        computePlainly(last, mCount);
    }

private:
    static constexpr std::size_t kLanes = hn::MaxLanes(Bytes());

    void computePlainly(std::size_t first, std::size_t last) const
    {
        for (int row = 0; row < rows; ++row)
            for (std::size_t i = first; i < last; ++i)
                mResult[row][i] = laplacianOfByte<K>({mSource[row], mSource[row + 1], mSource[row + 2]}, i,
                                                     i < mStep ? 0 : mStep, i + mStep < mCount ? mStep : 0);
    }

#if HWY_TARGET == HWY_SCALAR
    void computeVectors(std::size_t) const {}
#else
    /// Elements between the first and the last pixel. The first and the last vector may overlap others.
    HWY_ATTR void computeVectors(std::size_t last) const
    {
        computeVector(mStep, false);
        std::size_t i = mStep + (mIsAligned ? elementsToAlignment(Bytes(), mResult[0] + mStep) : kLanes);
        for (; i + kLanes <= last; i += kLanes)
            computeVector(i, mStreams);
        computeVector(last - kLanes, false);
    }

    HWY_ATTR HWY_INLINE void computeVector(std::size_t i, bool streams) const
    {
        Triples above(mSource[0] + i, mStep), here(mSource[1] + i, mStep);
        for (int row = 0; row < rows; ++row) {
            hwy::Prefetch(mNext[row] + i);
            const Triples below(mSource[row + 2] + i, mStep);
            const auto even = limitedSum<K>(above.even, here.even, below.even);
            const auto odd = limitedSum<K>(above.odd, here.odd, below.odd);
            const auto bytes = hn::BitCast(Bytes(), hn::Or(even, hn::ShiftLeft<8>(odd)));
            if (streams)
                hn::Stream(bytes, Bytes(), mResult[row] + i);
            else
                hn::StoreU(bytes, Bytes(), mResult[row] + i);
            above = here;
            here = below;
        }
    }
#endif

    std::size_t mStep;  ///< from a pixel's channel to the same one of the next pixel
    std::size_t mCount; ///< elements of a row
    bool mIsAligned;    ///< whether rows lie alike, so that where one is aligned all are
    bool mStreams;
    const uint8_t* mSource[rows + 2]; ///< from the row above on
    uint8_t* mResult[rows];
    const uint8_t* mNext[rows]; ///< rows that are wanted next: fetched early
};

template<class K>
HWY_ATTR void laplacianOfBytes(const Band& band)
{
    constexpr int kRows = 4;
    if (band.last - band.first < kRows)
        for (int row = band.first; row < band.last; ++row)
            LaplacianOfBytes<K, 1>(band, row).compute();
    else // the last rows may be computed twice
        for (int row = band.first; row < band.last; row += kRows)
            LaplacianOfBytes<K, kRows>(band, std::min(row, band.last - kRows)).compute();
    hwy::FlushStream();
}

/// Writes a row a vector at a time, or what is left of one at its ends.
/// @param next  the row of the source that is copied next: it is fetched meanwhile, so that copying does not wait
/// @param at    gives the vector of the elements from a place on; it may be asked for places beyond the end
template<class D, typename Source, class At, typename T = hn::TFromD<D>>
HWY_FLATTEN void writeRow(D d, T* out, std::size_t count, const Source* next, bool streams, const At& at)
{
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t unaligned = streams ? elementsToAlignment(d, out) : 0;
    std::size_t elements = unaligned > 0 ? unaligned : lanes;
    for (std::size_t i = 0; i < count; i += elements, elements = lanes) {
        elements = std::min(elements, count - i);
        hwy::Prefetch(next + i);
        const auto vector = at(i);
        if (elements < lanes) {
            HWY_ALIGN T part[hn::MaxLanes(d)];
            hn::Store(vector, d, part);
            std::copy_n(part, elements, out + i);
        } else if (streams) {
            hn::Stream(vector, d, out + i);
        } else {
            hn::StoreU(vector, d, out + i);
        }
    }
}

template<class K, typename Source>
HWY_ATTR void laplacianOfFloats(const Band& band)
{
    const cv::Mat& source = band.sources[0];
    const auto step = static_cast<std::size_t>(band.channels());
    const auto count = static_cast<std::size_t>(source.cols) * step;
    PaddedRows<Source, float> padded(source);
    cv::Mat result = band.result;
    for (int row = band.first; row < band.last; ++row) {
        const Neighbours<float> rows = around(padded, row);
        const Source* const next = source.ptr<Source>(std::min(row + 2, source.rows - 1));
        writeRow(Floats(), result.ptr<float>(row), count, next, band.streams, [&](std::size_t i) HWY_ATTR {
            return laplacianOfVector<K, std::is_same_v<Source, uint8_t>>(rows, i, step);
        });
    }
    hwy::FlushStream();
}

template<class K>
HWY_ATTR void laplacianBy(const Band& band)
{
    if (band.result.depth() == CV_8U)
        laplacianOfBytes<K>(band);
    else if (band.sourceDepth() == CV_8U)
        laplacianOfFloats<K, uint8_t>(band);
    else
        laplacianOfFloats<K, float>(band);
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
