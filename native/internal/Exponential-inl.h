// The exponential function for vector code; included once for each instruction set, after Highway's headers.

#if defined(VELMOR_NATIVE_EXPONENTIAL_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELMOR_NATIVE_EXPONENTIAL_INL_H
#undef VELMOR_NATIVE_EXPONENTIAL_INL_H
#else
#define VELMOR_NATIVE_EXPONENTIAL_INL_H
#endif

#include <hwy/highway.h>

#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// e to the power of each of the doubles x, with the same bits on every processor, which no library's function
/// promises. The error is below 0.9 units in the last place. Small results become subnormal numbers and then 0, large
/// ones become infinite, and what is not a number stays so.
///
/// x = k ln 2 + r with a whole number k and |r| <= ln 2 / 2. The series of e to the power of r ends at r^13 / 13!,
/// where what is left out is below 2^-57.
template<class D, class V = hn::Vec<D>>
HWY_ATTR V exponential(D d, V x)
{
    const auto set = [d](double value) HWY_ATTR {
        return hn::Set(d, value);
    };
    // Beyond these the result is 0 or infinite.
    x = hn::IfThenElse(hn::Lt(x, set(-746.0)), set(-746.0), x);
    x = hn::IfThenElse(hn::Gt(x, set(710.0)), set(710.0), x);

    // With this number added a small one is rounded to a whole number, which then stands in the lowest bits.
    const V toWhole = set(0x1.8p52);
    const V kAndMore = hn::Add(hn::Mul(x, set(1.4426950408889634)), toWhole);
    const V k = hn::Sub(kAndMore, toWhole);
    // ln 2 in two parts. The first ends in so many zeros that k times it is exact, and so is the difference.
    const V high = hn::Sub(x, hn::Mul(k, set(0x1.62e42feep-1)));
    const V low = hn::Mul(k, set(0x1.a39ef35793c76p-33));
    const V r = hn::Sub(high, low);

    constexpr double kInverseFactorials[] = {1.0 / 479001600, 1.0 / 39916800, 1.0 / 3628800, 1.0 / 362880,
                                             1.0 / 40320,     1.0 / 5040,     1.0 / 720,     1.0 / 120,
                                             1.0 / 24,        1.0 / 6,        1.0 / 2};
    V series = set(1.0 / 6227020800);
    for (const double factor : kInverseFactorials)
        series = hn::Add(hn::Mul(series, r), set(factor));
    // The rounding of r is left out of the largest term.
    series = hn::Add(hn::Add(hn::Sub(hn::Mul(hn::Mul(r, r), series), low), high), set(1.0));

    // 2^k as a product of two, which are normal numbers even where it is not.
    const hn::RebindToUnsigned<D> bits;
    const V halfAndMore = hn::Add(hn::Mul(k, set(0.5)), toWhole);
    const auto bias = hn::Set(bits, std::uint64_t{1023});
    const auto half = hn::BitCast(bits, halfAndMore);
    const auto rest = hn::Sub(hn::BitCast(bits, kAndMore), half);
    const V power1 = hn::BitCast(d, hn::ShiftLeft<52>(hn::Add(half, bias)));
    const V power2 = hn::BitCast(d, hn::ShiftLeft<52>(hn::Add(rest, bias)));
    return hn::Mul(hn::Mul(series, power1), power2);
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
