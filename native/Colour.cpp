#include "native/BGR2GRAY.h"
#include "native/BGR2HSV.h"
#include "native/RGB2GRAY.h"
#include "native/RGB2HSV.h"
#include "native/internal/GreyOfBlueFirst.h"
#include "native/internal/Runs.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/Colour.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

using hn::BitCast;
using hn::IfThenElse;
using hn::Set;
using hn::Zero;

// ---- Runs of pixels whose result has another number of channels

/// Calls a function for as many pixels as a vector has elements, with where they lie in the source and in the result.
/// Fewer pixels go through a buffer. The call stands in one place, so that the compiler puts the function there and
/// keeps its constants in registers.
/// @param beyond  how many pixels behind its own the function may read
/// @param first   how many pixels to compute first, up to the first whole vector; 0 for none
template<std::size_t channels, std::size_t resultChannels, std::size_t beyond, class D, class Function,
         typename T = hn::TFromD<D>>
HWY_ATTR void mapPixels(D, const T* in, T* out, std::size_t pixels, std::size_t first, const Function& function)
{
    constexpr std::size_t kStep = hn::MaxLanes(D());
    HWY_ALIGN T source[channels * (kStep + beyond)] = {};
    HWY_ALIGN T result[resultChannels * kStep];
    std::size_t step = first > 0 ? first : kStep;
    for (std::size_t i = 0; i < pixels; i += step, step = kStep) {
        const bool isWhole = step == kStep && i + kStep + beyond <= pixels;
        const std::size_t count = std::min(step, pixels - i);
        if (!isWhole)
            std::copy_n(in + channels * i, channels * count, source);
        function(isWhole ? in + channels * i : source, isWhole ? out + resultChannels * i : result);
        if (!isWhole)
            std::copy_n(result, resultChannels * count, out + resultChannels * i);
    }
}

/// mapPixels() for results of one channel.
/// @param function  takes where pixels lie, and gives a vector
/// @param streams   whether the result had better not go through the caches
template<std::size_t channels, std::size_t beyond, class D, class Function, typename T = hn::TFromD<D>>
HWY_ATTR void mapToOne(D d, const T* in, T* out, std::size_t pixels, bool streams, const Function& function)
{
    const std::size_t first = streams ? elementsToAlignment(d, out) : 0;
    mapPixels<channels, 1, beyond>(d, in, out, pixels, first, [&](const T* source, T* result) HWY_ATTR {
        const auto vector = function(source);
        if (streams)
            hn::Stream(vector, d, result);
        else
            hn::StoreU(vector, d, result);
    });
    if (streams)
        hwy::FlushStream();
}

/// The channels of a vector of pixels; the fourth stays as it is where there is none.
template<std::size_t channels, class D, class V, typename T = hn::TFromD<D>>
HWY_ATTR HWY_INLINE void loadChannels(D d, const T* in, V& c0, V& c1, V& c2, V& c3)
{
    if constexpr (channels == 3)
        hn::LoadInterleaved3(d, in, c0, c1, c2);
    else
        hn::LoadInterleaved4(d, in, c0, c1, c2, c3);
}

// ---- Grey

#if HWY_TARGET == HWY_SCALAR

template<std::size_t channels, bool redLast>
void greyOfBytes(const uint8_t* in, uint8_t* out, std::size_t pixels, bool)
{
    constexpr std::size_t red = redLast ? 2 : 0, blue = 2 - red;
    for (; pixels > 0; --pixels, in += channels)
        *out++ = static_cast<uint8_t>((212671 * in[red] + 715160 * in[1] + 72169 * in[blue] + 500000) / 1000000);
}

#else

// The exact grey is a multiple of a millionth. Weights are integers here, rounded up, in units of 2^-32: a sum of them
// is too large by less than 3 * 255 / 2^32, a fifth of a millionth. So with a half added it has the whole part of the
// exact one. Each weight has two digits of 16 bits, for products of 16 bits; that of green is halved, since its high
// digit leaves no room for a sign.

constexpr int64_t unitsOf(int64_t millionths)
{
    return ((millionths << 32) + 999999) / 1000000;
}

constexpr int16_t lowDigit(int64_t units)
{
    return static_cast<int16_t>((units & 0xffff) - ((units & 0x8000) << 1));
}

constexpr int16_t highDigit(int64_t units)
{
    return static_cast<int16_t>((units - lowDigit(units)) >> 16);
}

constexpr int64_t kRed = unitsOf(212671), kGreen = unitsOf(715160), kBlue = unitsOf(72169);
constexpr int64_t kHalfOfGreen = kGreen / 2, kRestOfGreen = kGreen - kHalfOfGreen;

/// Two numbers of 16 bits in each lane.
template<class D16>
HWY_ATTR hn::Vec<D16> setPairs(D16 d16, int16_t even, int16_t odd)
{
    return hn::OddEven(Set(d16, odd), Set(d16, even));
}

/// sum + a[2i] b[2i] + a[2i + 1] b[2i + 1]
template<class D32, class V16, class V32>
HWY_ATTR V32 addProductsOfPairs(D32 d32, V16 a, V16 b, V32 sum)
{
    V32 otherSum = Zero(d32);
    sum = hn::ReorderWidenMulAccumulate(d32, a, b, sum, otherSum);
    return hn::RearrangeToOddPlusEven(sum, otherSum);
}

/// Greys of as many pixels as there are lanes of 32 bits, in the high half of each.
template<std::size_t channels, bool redLast>
struct GreySums
{
    using Bytes = hn::ScalableTag<uint8_t>;
    using Words = hn::Repartition<int16_t, Bytes>;
    using Sums = hn::Repartition<int32_t, Bytes>;

    /// Pixels, four in each 16 bytes.
    HWY_ATTR hn::Vec<Bytes> load(const uint8_t* in) const
    {
        const auto bytes = hn::LoadU(Bytes(), in);
        if constexpr (channels == 3 && hn::MaxLanes(Bytes()) > 16) {
            HWY_ALIGN static constexpr int32_t kFourPixels[] = {0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11, 12};
            const auto indices = hn::SetTableIndices(Sums(), kFourPixels);
            return BitCast(Bytes(), hn::TableLookupLanes(BitCast(Sums(), bytes), indices));
        } else {
            return bytes;
        }
    }

    HWY_ATTR hn::Vec<Sums> operator()(const uint8_t* in) const
    {
        constexpr uint8_t n = channels, Z = 0x80, r = redLast ? 2 : 0, b = 2 - r;
        HWY_ALIGN static constexpr uint8_t kRedGreen[16] = {r,         Z, 1,         Z, n + r,     Z, n + 1,     Z,
                                                            2 * n + r, Z, 2 * n + 1, Z, 3 * n + r, Z, 3 * n + 1, Z};
        HWY_ALIGN static constexpr uint8_t kBlueGreen[16] = {b,         Z, 1,         Z, n + b,     Z, n + 1,     Z,
                                                             2 * n + b, Z, 2 * n + 1, Z, 3 * n + b, Z, 3 * n + 1, Z};
        const Words d16;
        const Sums d32;
        const auto pixels = load(in);
        const auto redGreen = BitCast(d16, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(Bytes(), kRedGreen)));
        const auto blueGreen = BitCast(d16, hn::TableLookupBytesOr0(pixels, hn::LoadDup128(Bytes(), kBlueGreen)));

        auto low = Zero(d32);
        low = addProductsOfPairs(d32, redGreen, setPairs(d16, lowDigit(kRed), lowDigit(kHalfOfGreen)), low);
        low = addProductsOfPairs(d32, blueGreen, setPairs(d16, lowDigit(kBlue), lowDigit(kRestOfGreen)), low);
        auto high = Set(d32, 1 << 15);
        high = addProductsOfPairs(d32, redGreen, setPairs(d16, highDigit(kRed), highDigit(kHalfOfGreen)), high);
        high = addProductsOfPairs(d32, blueGreen, setPairs(d16, highDigit(kBlue), highDigit(kRestOfGreen)), high);
        return hn::Add(high, hn::ShiftRight<16>(low));
    }
};

template<std::size_t channels, bool redLast>
HWY_ATTR void greyOfBytes(const uint8_t* in, uint8_t* out, std::size_t pixels, bool streams)
{
    using Sums = GreySums<channels, redLast>;
    const typename Sums::Bytes d8;
    const hn::Repartition<uint16_t, typename Sums::Bytes> d16;
    constexpr std::size_t kQuarter = hn::MaxLanes(typename Sums::Sums());
    constexpr std::size_t kBeyond = channels == 3 ? 6 : 0; // a load reads 16 bytes behind its pixels
    const Sums sums;
    mapToOne<channels, kBeyond>(d8, in, out, pixels, streams, [&](const uint8_t* source) HWY_ATTR {
        const auto sums0 = BitCast(d16, sums(source));
        const auto sums1 = BitCast(d16, sums(source + channels * kQuarter));
        const auto sums2 = BitCast(d16, sums(source + channels * 2 * kQuarter));
        const auto sums3 = BitCast(d16, sums(source + channels * 3 * kQuarter));
        const auto firstHalf = BitCast(d8, hn::ConcatOdd(d16, sums1, sums0));
        const auto secondHalf = BitCast(d8, hn::ConcatOdd(d16, sums3, sums2));
        return hn::ConcatEven(d8, secondHalf, firstHalf);
    });
}

#endif

template<std::size_t channels, bool redLast>
HWY_ATTR void greyOfFloats(const float* in, float* out, std::size_t pixels, bool streams)
{
    const hn::ScalableTag<float> d;
    mapToOne<channels, 0>(d, in, out, pixels, streams, [&](const float* source) HWY_ATTR {
        auto c0 = Zero(d), c1 = c0, c2 = c0, c3 = Set(d, 1.0F); // as for a texture without alpha
        loadChannels<channels>(d, source, c0, c1, c2, c3);
        auto grey = hn::Mul(Set(d, 0.212671F), redLast ? c2 : c0);
        grey = hn::Add(grey, hn::Mul(Set(d, 0.715160F), c1));
        grey = hn::Add(grey, hn::Mul(Set(d, 0.072169F), redLast ? c0 : c2));
        return hn::Add(grey, hn::Mul(Zero(d), c3));
    });
}

template<std::size_t channels, bool redLast>
HWY_ATTR void greyOf(const Band& band)
{
    if (band.sourceDepth() == CV_8U)
        forEachRun<uint8_t, uint8_t>(band, [&](const uint8_t* in, const uint8_t*, uint8_t* out, std::size_t pixels) {
            greyOfBytes<channels, redLast>(in, out, pixels, band.streams);
        });
    else
        forEachRun<float, float>(band, [&](const float* in, const float*, float* out, std::size_t pixels) {
            greyOfFloats<channels, redLast>(in, out, pixels, band.streams);
        });
}

HWY_ATTR void computeGrey(const Band& band, bool redLast)
{
    if (band.channels() == 3)
        redLast ? greyOf<3, true>(band) : greyOf<3, false>(band);
    else
        redLast ? greyOf<4, true>(band) : greyOf<4, false>(band);
}

// ---- Value, saturation and hue

#if HWY_TARGET == HWY_SCALAR

/// Value, saturation and hue in place of the colour.
template<class V>
void toHsv(hn::ScalableTag<uint8_t> d, V& redLane, V& greenLane, V& blueLane)
{
    const int red = hn::GetLane(redLane), green = hn::GetLane(greenLane), blue = hn::GetLane(blueLane);
    const int largest = std::max({red, green, blue});
    const int range = largest - std::min({red, green, blue});
    int sixths = 0; // of the circle, times the range
    if (largest == red)
        sixths = green - blue + (green < blue ? 6 * range : 0);
    else if (largest == green)
        sixths = blue - red + 2 * range;
    else
        sixths = red - green + 4 * range;
    redLane = Set(d, static_cast<uint8_t>(largest));
    greenLane = Set(d, static_cast<uint8_t>(largest == 0 ? 0 : (510 * range + largest) / (2 * largest)));
    blueLane = Set(d, static_cast<uint8_t>(range == 0 ? 0 : (85 * sixths + range) / (2 * range)));
}

#else

// Saturation is 255 range / largest, rounded half up. Hue is 42.5 (a - b) / range, rounded half up, after a third of
// the circle, 85, for each of red, green and blue; with 85 more that number is positive. So both are
// 42.5 n / (largest * range), where n is 6 range * range or (a - b + 2 range) * largest. All integers here are exact in
// floats, and division and product err by less than 2^-22 of the number. A number that is no half is at least 1 / 510
// away from one. So the quotient is made larger by 2^-19: that lifts a half, which then goes up, and lifts no number
// below a half that far.

constexpr float kQuotient = 42.5F * (1 + 1.0F / (1 << 19));

/// Where the unit of floats is 1, a sum is rounded and its low bits are the integer.
constexpr float kRoundsToInteger = 1 << 23;

/// Of 16 bits in each lane of 32: the low ones, or the high ones.
template<bool odd, class D16, class V16>
HWY_ATTR V16 halfOfPairs(D16 d16, V16 pairs)
{
    return odd ? hn::OddEven(pairs, Zero(d16)) : hn::OddEven(Zero(d16), pairs);
}

/// Saturation and hue of the even or odd lanes of 16 bits, in the low byte of lanes of 32 bits.
template<bool odd, class V16, class V32>
HWY_ATTR HWY_INLINE void divide(V16 largest, V16 range, V16 sixRanges, V16 hueInRanges, V32& saturation, V32& hue)
{
    const hn::DFromV<V16> d16;
    const hn::DFromV<V32> d32;
    const hn::RebindToFloat<hn::DFromV<V32>> df;
    const auto largestHere = halfOfPairs<odd>(d16, largest);
    const auto rangeHere = halfOfPairs<odd>(d16, range);
    const auto product = [&](V16 a, V16 b) HWY_ATTR {
        return hn::ConvertTo(df, addProductsOfPairs(d32, a, b, Zero(d32)));
    };
    const auto quotient = hn::Div(Set(df, kQuotient), product(largestHere, range));
    const auto round = [&](auto n) HWY_ATTR {
        return BitCast(d32, hn::Add(hn::Mul(n, quotient), Set(df, kRoundsToInteger)));
    };
    saturation = round(product(rangeHere, sixRanges));
    hue = round(product(largestHere, hueInRanges));
}

/// Joins even and odd lanes that were computed in lanes of twice the width, in their low halves.
template<class D, class V>
HWY_ATTR hn::Vec<D> join(D d, V even, V odd)
{
    return hn::OddEven(BitCast(d, hn::ShiftLeft<8 * sizeof(hn::TFromD<D>)>(odd)), BitCast(d, even));
}

/// Saturation and hue of the even or odd bytes, in the low bytes of lanes of 16 bits.
template<bool odd, class V8, class V16>
HWY_ATTR HWY_INLINE void divideBytes(V8 largest, V8 range, V8 a, V8 b, V16& saturation, V16& hue)
{
    const hn::DFromV<V16> d16;
    const hn::RebindToUnsigned<hn::DFromV<V16>> du16;
    const auto widen = [&](V8 bytes) HWY_ATTR {
        const auto pairs = BitCast(du16, bytes);
        return BitCast(d16, odd ? hn::ShiftRight<8>(pairs) : hn::And(pairs, Set(du16, 0xff)));
    };
    const auto range16 = widen(range);
    const auto largest16 = widen(largest);
    const auto twoRanges = hn::Add(range16, range16);
    const auto sixRanges = hn::Add(twoRanges, hn::Add(twoRanges, twoRanges));
    const auto hueInRanges = hn::Add(hn::Sub(widen(a), widen(b)), twoRanges);

    const hn::RepartitionToWide<hn::DFromV<V16>> d32;
    auto evenSaturation = Zero(d32), oddSaturation = evenSaturation, evenHue = evenSaturation, oddHue = evenSaturation;
    divide<false>(largest16, range16, sixRanges, hueInRanges, evenSaturation, evenHue);
    divide<true>(largest16, range16, sixRanges, hueInRanges, oddSaturation, oddHue);
    saturation = join(d16, evenSaturation, oddSaturation);
    hue = join(d16, evenHue, oddHue);
}

/// Value, saturation and hue in place of the colours.
template<class V>
HWY_ATTR HWY_INLINE void toHsv(hn::ScalableTag<uint8_t> d, V& red, V& green, V& blue)
{
    const auto largest = hn::Max(hn::Max(red, green), blue);
    const auto range = hn::Sub(largest, hn::Min(hn::Min(red, green), blue));
    const auto isRed = hn::Eq(largest, red);
    const auto isGreen = hn::Eq(largest, green);
    const auto a = IfThenElse(isRed, green, IfThenElse(isGreen, blue, red));
    const auto b = IfThenElse(isRed, blue, IfThenElse(isGreen, red, green));

    const hn::Repartition<int16_t, decltype(d)> d16;
    auto evenSaturation = Zero(d16), oddSaturation = evenSaturation, evenHue = evenSaturation, oddHue = evenSaturation;
    divideBytes<false>(largest, range, a, b, evenSaturation, evenHue);
    divideBytes<true>(largest, range, a, b, oddSaturation, oddHue);
    const auto saturation = join(d, evenSaturation, oddSaturation);
    const auto hue = join(d, evenHue, oddHue);

    // Sums of bytes leave out what goes beyond them. A mask is a whole circle, 255, where a hue would be negative.
    const auto circle = hn::VecFromMask(d, hn::Lt(green, blue));
    const auto start = IfThenElse(isRed, circle, IfThenElse(isGreen, Set(d, 85), Set(d, 170)));
    const auto isGrey = hn::Eq(range, Zero(d)); // the quotient was no number
    red = largest;
    green = hn::IfThenZeroElse(isGrey, saturation);
    blue = hn::IfThenZeroElse(isGrey, hn::Sub(hn::Add(start, hue), Set(d, 85)));
}

#endif

/// The shader's operations in its order.
template<class V>
HWY_ATTR HWY_INLINE void toHsv(hn::ScalableTag<float> d, V& red, V& green, V& blue)
{
    // Of what is no number the shader's max and min give the first, which Highway's need not.
    const auto maxOf = [](V a, V b) HWY_ATTR {
        return IfThenElse(hn::Lt(a, b), b, a);
    };
    const auto minOf = [](V a, V b) HWY_ATTR {
        return IfThenElse(hn::Lt(b, a), b, a);
    };
    const auto largest = maxOf(maxOf(red, green), blue);
    const auto range = hn::Sub(largest, minOf(minOf(red, green), blue));
    const auto isRed = hn::Eq(largest, red);
    const auto isGreen = hn::Eq(largest, green);
    const auto a = IfThenElse(isRed, green, IfThenElse(isGreen, blue, red));
    const auto b = IfThenElse(isRed, blue, IfThenElse(isGreen, red, green));
    const auto offset = hn::Div(hn::Mul(Set(d, 60.0F), hn::Sub(a, b)), range);
    const auto start = IfThenElse(isGreen, Set(d, 120.0F), Set(d, 240.0F));
    auto hue = IfThenElse(isRed, offset, hn::Add(start, offset));
    hue = hn::IfThenZeroElse(hn::Eq(range, Zero(d)), hue);
    hue = IfThenElse(hn::Lt(hue, Zero(d)), hn::Add(hue, Set(d, 360.0F)), hue);
    red = largest;
    green = hn::IfThenZeroElse(hn::Eq(largest, Zero(d)), hn::Div(range, largest));
    blue = hn::Div(hue, Set(d, 360.0F));
}

template<std::size_t channels, bool redLast, typename T>
HWY_ATTR void hsvOfRun(const T* in, const T*, T* out, std::size_t pixels)
{
    const hn::ScalableTag<T> d;
    mapPixels<channels, 3, 0>(d, in, out, pixels, 0, [&](const T* source, T* result) HWY_ATTR {
        auto c0 = Zero(d), c1 = c0, c2 = c0, c3 = c0;
        loadChannels<channels>(d, source, c0, c1, c2, c3);
        auto& red = redLast ? c2 : c0;
        auto& blue = redLast ? c0 : c2;
        toHsv(d, red, c1, blue);
        hn::StoreInterleaved3(red, c1, blue, d, result);
    });
}

template<std::size_t channels, bool redLast>
HWY_ATTR void hsvOf(const Band& band)
{
    if (band.sourceDepth() == CV_8U)
        forEachRun<uint8_t, uint8_t>(band, hsvOfRun<channels, redLast, uint8_t>);
    else
        forEachRun<float, float>(band, hsvOfRun<channels, redLast, float>);
}

HWY_ATTR void computeHsv(const Band& band, bool redLast)
{
    if (band.channels() == 3)
        redLast ? hsvOf<3, true>(band) : hsvOf<3, false>(band);
    else
        redLast ? hsvOf<4, true>(band) : hsvOf<4, false>(band);
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(computeGrey);
HWY_EXPORT(computeHsv);

std::shared_ptr<const Rule> makeRule(const char* name, int resultChannels, std::function<void(const Band&)> compute)
{
    Rule rule;
    rule.name = name;
    rule.channels = {3, 4};
    rule.resultChannels = resultChannels;
    rule.compute = std::move(compute);
    return std::make_shared<const Rule>(std::move(rule));
}

std::shared_ptr<const Rule> makeGreyRule(const char* name, bool redLast)
{
    return makeRule(name, 1, [redLast](const Band& band) { HWY_DYNAMIC_DISPATCH(computeGrey)(band, redLast); });
}

std::shared_ptr<const Rule> makeHsvRule(const char* name, bool redLast)
{
    return makeRule(name, 3, [redLast](const Band& band) { HWY_DYNAMIC_DISPATCH(computeHsv)(band, redLast); });
}

} // namespace

// By design the two are the same.
BGR2GRAY::BGR2GRAY() : Filter(makeGreyRule("BGR2GRAY", false)) {}

RGB2GRAY::RGB2GRAY() : Filter(makeGreyRule("RGB2GRAY", false)) {}

GreyOfBlueFirst::GreyOfBlueFirst() : Filter(makeGreyRule("GreyOfBlueFirst", true)) {}

// The names tell the order in which channels are read, and by design it is the other one.
BGR2HSV::BGR2HSV() : Filter(makeHsvRule("BGR2HSV", false)) {}

RGB2HSV::RGB2HSV() : Filter(makeHsvRule("RGB2HSV", true)) {}

} // namespace velmor::native
#endif
