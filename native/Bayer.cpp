#include "native/BayerRG2GRAY.h"
#include "native/BayerRG2RGB.h"
#include "native/internal/BayerSites.h"
#include "native/internal/Rule.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/Bayer.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/PaddedRows-inl.h"

#include <hwy/highway.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR // one lane cannot hold both an even and an odd column

template<typename T>
void vectorOfColours(const BayerRow<T>& row, int column, T* out)
{
    bayerColour(row, column, out);
}

template<typename T>
void vectorOfGreys(const BayerRow<T>& row, int column, T* out)
{
    bayerGrey(row, column, out);
}

#else

using Bytes = hn::ScalableTag<uint8_t>;
using Shorts = hn::ScalableTag<uint16_t>;
using Integers = hn::ScalableTag<int32_t>;
using Floats = hn::ScalableTag<float>;
using ShortVector = hn::Vec<Shorts>;
using FloatVector = hn::Vec<Floats>;

template<class V>
struct Colours
{
    V red;
    V green;
    V blue;
};

/// The colours of a row's pixels from what they have as their own colour, as the one beside them, and as the one across
/// the rows.
template<class V>
HWY_ATTR HWY_INLINE Colours<V> inOrder(bool oddRow, V own, V side, V across)
{
    const V first = hn::OddEven(side, own);
    const V second = hn::OddEven(own, side);
    return oddRow ? Colours<V>{across, first, second} : Colours<V>{first, second, across};
}

// ---- Bytes. A vector is taken apart into its even and its odd columns, and each of these into its even and odd lanes:
// masks and shifts are enough for that, and all pixels of a part have the same colour.

/// The even or the odd lanes of a vector, in lanes of twice the width.
template<bool odd, class DWide, class V>
HWY_ATTR auto lanesOf(DWide d, V values)
{
    constexpr int kBits = 4 * sizeof(hn::TFromD<DWide>);
    const auto pairs = hn::BitCast(d, values);
    if constexpr (odd)
        return hn::ShiftRight<kBits>(pairs);
    else
        return hn::And(pairs, hn::Set(d, static_cast<hn::TFromD<DWide>>((1U << kBits) - 1)));
}

/// The reverse, for values that fit.
template<class DNarrow, class V>
HWY_ATTR auto joined(DNarrow d, V even, V odd)
{
    return hn::BitCast(d, hn::Or(even, hn::ShiftLeft<8 * sizeof(hn::TFromD<DNarrow>)>(odd)));
}

template<bool odd>
HWY_ATTR auto integersOf(ShortVector values)
{
    return hn::BitCast(Integers(), lanesOf<odd>(hn::RepartitionToWide<Shorts>(), values));
}

template<bool odd>
HWY_ATTR FloatVector floatsOf(ShortVector values)
{
    return hn::ConvertTo(Floats(), integersOf<odd>(values));
}

/// What pixels in the even or the odd columns of a vector depend on. Their own colour is the centre, and their others
/// are side and across, each times 3 centre / (2 sum).
struct Sites
{
    ShortVector centre;
    ShortVector sum;    ///< of the centre and the two pixels next to it that have its colour
    ShortVector own;    ///< the same, but 0 in a black neighbourhood
    ShortVector side;   ///< sum of the two pixels beside the centre
    ShortVector across; ///< sum of the two pixels across the rows
};

template<bool odd>
HWY_ATTR HWY_INLINE Sites sitesOf(const BayerRow<uint8_t>& row, int column)
{
    const Shorts d;
    const auto load = [d](const uint8_t* from) HWY_ATTR {
        return lanesOf<odd>(d, hn::LoadU(Bytes(), from));
    };
    const uint8_t* const here = row.here + column;
    const int aside = odd == row.isOdd ? 1 : 0;
    Sites sites;
    sites.centre = load(here);
    sites.own = hn::Add(hn::Add(load(here - 2), load(here + 2)), sites.centre);
    sites.side = hn::Add(load(here - 1), load(here + 1));
    sites.across = hn::Add(load(row.above + column - aside), load(row.below + column + aside));
    // A black neighbourhood scales nothing: there 3 centre / (2 sum) is to be 1 / 2.
    const auto black = hn::VecFromMask(d, hn::Eq(sites.own, hn::Zero(d)));
    sites.centre = hn::Or(sites.centre, hn::And(black, hn::Set(d, 1)));
    sites.sum = hn::Or(sites.own, hn::And(black, hn::Set(d, 3)));
    return sites;
}

/// Lifts a float by more than its rounding errors, which are 2^-24 five times at most. What is halfway between two
/// integers then goes up when it is rounded to the nearest.
constexpr float kLift = 1.0F + 0x1p-20F;

template<bool odd>
HWY_ATTR FloatVector scaleOf(const Sites& sites, float factor)
{
    return hn::Div(hn::Mul(floatsOf<odd>(sites.centre), hn::Set(Floats(), factor)), floatsOf<odd>(sites.sum));
}

/// Rounds floats of 0 to 65535 to the nearest integers.
HWY_ATTR auto rounded(FloatVector values)
{
    // From 2^23 on a float has no bits for fractions, and its lowest ones are the integer.
    const auto bits = hn::BitCast(Integers(), hn::Add(values, hn::Set(Floats(), 0x1p23F)));
    return hn::And(bits, hn::Set(Integers(), 0xffff));
}

/// One colour. Where it is not halfway between two integers it is away from there by 1 / (2 sum) or more, which is more
/// than it is lifted by, as far as bytes go.
HWY_ATTR HWY_INLINE ShortVector colourOf(ShortVector numerator, FloatVector evenScale, FloatVector oddScale)
{
    const auto even = rounded(hn::Mul(floatsOf<false>(numerator), evenScale));
    const auto odd = rounded(hn::Mul(floatsOf<true>(numerator), oddScale));
    return hn::Min(joined(Shorts(), even, odd), hn::Set(Shorts(), 255));
}

/// The two colours of pixels that are not their own.
struct Interpolated
{
    ShortVector side;
    ShortVector across;
};

template<bool odd>
HWY_ATTR HWY_INLINE Interpolated interpolate(const BayerRow<uint8_t>& row, int column)
{
    const Sites sites = sitesOf<odd>(row, column);
    const FloatVector evenScale = scaleOf<false>(sites, kLift * 3 / 2);
    const FloatVector oddScale = scaleOf<true>(sites, kLift * 3 / 2);
    return {colourOf(sites.side, evenScale, oddScale), colourOf(sites.across, evenScale, oddScale)};
}

HWY_ATTR HWY_INLINE void vectorOfColours(const BayerRow<uint8_t>& row, int column, uint8_t* out)
{
    const Bytes d;
    const Interpolated even = interpolate<false>(row, column);
    const Interpolated odd = interpolate<true>(row, column);
    const auto colours = inOrder(row.isOdd, hn::LoadU(d, row.here + column), joined(d, even.side, odd.side),
                                 joined(d, even.across, odd.across));
    hn::StoreInterleaved3(colours.red, colours.green, colours.blue, d, out);
}

/// Weights of a pixel's colours in millionths of grey.
struct Weights
{
    int32_t own;
    int32_t side;
    int32_t across;
};

HWY_INLINE Weights weightsOf(bool oddRow, bool oddColumn)
{
    const int32_t green = kMillionths[1];
    const int32_t beside = kMillionths[oddRow ? 2 : 0];
    const int32_t across = kMillionths[oddRow ? 0 : 2];
    return oddRow == oddColumn ? Weights{beside, green, across} : Weights{green, beside, across};
}

template<bool odd>
HWY_ATTR HWY_INLINE auto integerGreys(const Sites& sites, const Weights& weights)
{
    const Integers d;
    const auto weighted = [d](ShortVector colour, int32_t weight) HWY_ATTR {
        return hn::Mul(integersOf<odd>(colour), hn::Set(d, weight));
    };
    const auto numerator =
        hn::Add(hn::Add(weighted(sites.own, 2 * weights.own), weighted(sites.side, 3 * weights.side)),
                weighted(sites.across, 3 * weights.across));
    // By floats the grey is found, or the integer above it. The remainder tells: if it is negative, it was the one
    // above. It lies within the divisor on both sides, so that its lowest 32 bits are enough.
    const auto guess = rounded(hn::Mul(hn::ConvertTo(Floats(), numerator), scaleOf<odd>(sites, kLift / 2000000)));
    const auto divisor = hn::Mul(integersOf<odd>(sites.sum), hn::Set(d, 2000000));
    const auto dividend = hn::Add(hn::Mul(numerator, integersOf<odd>(sites.centre)), hn::ShiftRight<1>(divisor));
    const auto remainder = hn::Sub(dividend, hn::Mul(guess, divisor));
    return hn::Add(guess, hn::ShiftRight<31>(remainder));
}

template<bool odd>
HWY_ATTR HWY_INLINE ShortVector greysOf(const BayerRow<uint8_t>& row, int column)
{
    const Sites sites = sitesOf<odd>(row, column);
    const Weights weights = weightsOf(row.isOdd, odd);
    const ShortVector greys = joined(Shorts(), integerGreys<false>(sites, weights), integerGreys<true>(sites, weights));
    return hn::Min(greys, hn::Set(Shorts(), 255));
}

HWY_ATTR HWY_INLINE void vectorOfGreys(const BayerRow<uint8_t>& row, int column, uint8_t* out)
{
    const Bytes d;
    hn::StoreU(joined(d, greysOf<false>(row, column), greysOf<true>(row, column)), d, out);
}

// ---- Floats: the operations of withColours(), in their order

HWY_ATTR HWY_INLINE Colours<FloatVector> coloursOf(const BayerRow<float>& row, int column)
{
    const Floats d;
    const auto load = [d](const float* from) HWY_ATTR {
        return hn::LoadU(d, from);
    };
    const auto sumOf = [d](FloatVector a, FloatVector b) HWY_ATTR {
        return hn::Add(hn::Add(hn::Zero(d), a), b);
    };
    const float* const here = row.here + column;
    const float* const above = row.above + column;
    const float* const below = row.below + column;
    const int oddAside = row.isOdd ? 1 : 0;
    const int evenAside = 1 - oddAside;
    const auto before = hn::OddEven(load(above - oddAside), load(above - evenAside));
    const auto after = hn::OddEven(load(below + oddAside), load(below + evenAside));

    const auto centre = load(here);
    const auto average = hn::Div(hn::Add(sumOf(load(here - 2), load(here + 2)), centre), hn::Set(d, 3.0F));
    const auto contrast = hn::IfThenZeroElse(hn::Eq(average, hn::Zero(d)), hn::Div(hn::Sub(centre, average), average));
    const auto scale = hn::Add(hn::Set(d, 1.0F), contrast);
    const auto half = hn::Set(d, 0.5F);
    const auto own = hn::Mul(average, scale);
    const auto side = hn::Mul(hn::Mul(sumOf(load(here - 1), load(here + 1)), half), scale);
    const auto across = hn::Mul(hn::Mul(sumOf(before, after), half), scale);
    return inOrder(row.isOdd, own, side, across);
}

HWY_ATTR HWY_INLINE void vectorOfColours(const BayerRow<float>& row, int column, float* out)
{
    const Colours<FloatVector> colours = coloursOf(row, column);
    hn::StoreInterleaved3(colours.red, colours.green, colours.blue, Floats(), out);
}

HWY_ATTR HWY_INLINE void vectorOfGreys(const BayerRow<float>& row, int column, float* out)
{
    const Floats d;
    const Colours<FloatVector> colours = coloursOf(row, column);
    const auto red = hn::Mul(colours.red, hn::Set(d, kLuminance[0]));
    const auto green = hn::Mul(colours.green, hn::Set(d, kLuminance[1]));
    const auto blue = hn::Mul(colours.blue, hn::Set(d, kLuminance[2]));
    hn::StoreU(hn::Add(hn::Add(red, green), blue), d, out);
}

#endif

// ---- Rows

/// @param columns  of the row
/// @param vector   computes a vector of a row's pixels
template<int channels, typename T, class Function>
HWY_ATTR HWY_INLINE void computeRow(BayerRow<T> row, int columns, T* out, const Function& vector)
{
    const hn::ScalableTag<T> d;
    const int lanes = static_cast<int>(hn::Lanes(d));
    const int rest = columns % lanes;
    HWY_ALIGN T part[channels * hn::MaxLanes(d)];
    for (int column = 0; column < columns; column += lanes)
        vector(row, column, column < columns - rest ? out + channels * column : part);
    std::copy_n(part, channels * rest, out + channels * (columns - rest));
}

template<int channels, typename T, class Function>
HWY_ATTR void computeRows(const Band& band, const Function& vector)
{
    PaddedRows<T, T> raw(band.sources[0]);
    cv::Mat result = band.result;
    for (int y = band.first; y < band.last; ++y)
        computeRow<channels>(BayerRow<T>{raw.row(y - 1), raw.row(y), raw.row(y + 1), y % 2 != 0}, result.cols,
                             result.ptr<T>(y), vector);
}

template<int channels, class Function>
HWY_ATTR void compute(const Band& band, const Function& vector)
{
    if (band.sourceDepth() == CV_8U)
        computeRows<channels, uint8_t>(band, vector);
    else
        computeRows<channels, float>(band, vector);
}

HWY_ATTR void computeColour(const Band& band)
{
    compute<3>(band, [](const auto& row, int column, auto* out) HWY_ATTR { vectorOfColours(row, column, out); });
}

HWY_ATTR void computeGrey(const Band& band)
{
    compute<1>(band, [](const auto& row, int column, auto* out) HWY_ATTR { vectorOfGreys(row, column, out); });
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(computeColour);
HWY_EXPORT(computeGrey);

std::shared_ptr<const Rule> makeRule(const char* name, int resultChannels, std::function<void(const Band&)> compute)
{
    Rule rule;
    rule.name = name;
    rule.channels = {1};
    rule.resultChannels = resultChannels;
    rule.isPerPixel = false;
    rule.compute = std::move(compute);
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

BayerRG2RGB::BayerRG2RGB()
    : Filter(makeRule("BayerRG2RGB", 3, [](const Band& band) {
          HWY_DYNAMIC_DISPATCH(computeColour)
          (band);
      }))
{
}

BayerRG2GRAY::BayerRG2GRAY()
    : Filter(makeRule("BayerRG2GRAY", 1, [](const Band& band) {
          HWY_DYNAMIC_DISPATCH(computeGrey)
          (band);
      }))
{
}

} // namespace velmor::native
#endif
