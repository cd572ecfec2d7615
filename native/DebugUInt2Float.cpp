#include "native/DebugUInt2Float.h"

#include "native/internal/Runs.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/DebugUInt2Float.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

using Floats = hn::ScalableTag<float>;
using Integers = hn::RebindToSigned<Floats>;

/// Integers of 0 to 65535 as floats, which is exact.
template<class V>
HWY_ATTR auto floatsOf(V integers)
{
    return hn::ConvertTo(Floats(), hn::BitCast(Integers(), integers));
}

template<class V>
HWY_ATTR auto scaled(V floats)
{
    return hn::Div(floats, hn::Set(Floats(), 65535.0F));
}

struct Scale16
{
    template<class V>
    HWY_ATTR auto operator()(V values) const
    {
        return scaled(hn::ConvertTo(Floats(), hn::PromoteTo(Integers(), values)));
    }
};

struct Scale32
{
    template<class V>
    HWY_ATTR auto operator()(V values) const
    {
        const hn::RebindToUnsigned<Floats> d;
        // No conversion of all unsigned integers is common to the instruction sets. The sum is the only rounding.
        const auto high = floatsOf(hn::ShiftRight<16>(values));
        const auto low = floatsOf(hn::And(values, hn::Set(d, 0xffff)));
        return scaled(hn::Add(hn::Mul(high, hn::Set(Floats(), 65536.0F)), low));
    }
};

template<typename T, class Function>
HWY_ATTR void convertChannels(const Band& band)
{
    const auto channels = static_cast<std::size_t>(band.channels());
    forEachRun<T, float>(band, [&](const T* in, const T*, float* out, std::size_t pixels) HWY_ATTR {
        convertElements(Floats(), in, out, pixels * channels, band.streams, Function());
    });
}

HWY_ATTR void compute(const Band& band)
{
    if (band.sourceDepth() == CV_16U)
        convertChannels<uint16_t, Scale16>(band);
    else
        convertChannels<uint32_t, Scale32>(band);
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(compute);

std::shared_ptr<const Rule> makeRule()
{
    Rule rule;
    rule.name = "DebugUInt2Float";
    rule.channels = {1, 4};
    rule.depths = {CV_16U, CV_32S};
    rule.resultDepths = {CV_32F};
    rule.computed = {{CV_16U, CV_32F}, {CV_32S, CV_32F}};
    rule.compute = [](const Band& band) {
        HWY_DYNAMIC_DISPATCH(compute)(band);
    };
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

DebugUInt2Float::DebugUInt2Float() : Filter(makeRule()) {}

} // namespace velmor::native
#endif
