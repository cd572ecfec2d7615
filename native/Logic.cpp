#include "native/And.h"
#include "native/Classify.h"
#include "native/Not.h"
#include "native/Or.h"
#include "native/Subtract.h"
#include "native/Xor.h"
#include "native/internal/Runs.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/Logic.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Elements-inl.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

using hn::IfThenElse;
using hn::IfThenElseZero;
using hn::IfThenZeroElse;
using hn::Set;
using hn::Zero;

/// What stands for 1.
template<typename T>
constexpr T kOne = std::is_same_v<T, float> ? T{1} : T{255};

// ---- Rules of bytes and of floats for each channel

struct AndRule
{
    template<class D, class V>
    HWY_ATTR V operator()(D d, V a, V b) const
    {
        if constexpr (std::is_same_v<hn::TFromD<D>, float>)
            return IfThenElseZero(hn::And(hn::Gt(a, Zero(d)), hn::Gt(b, Zero(d))), Set(d, kOne<float>));
        else
            return IfThenZeroElse(hn::Eq(hn::Min(a, b), Zero(d)), Set(d, kOne<uint8_t>));
    }
};

struct OrRule
{
    template<class D, class V>
    HWY_ATTR V operator()(D d, V a, V b) const
    {
        if constexpr (std::is_same_v<hn::TFromD<D>, float>) {
            const V sum = hn::Add(a, b);
            const V positive = IfThenElseZero(hn::Gt(sum, Zero(d)), sum);
            return IfThenElse(hn::Gt(positive, Set(d, kOne<float>)), Set(d, kOne<float>), positive);
        } else {
            return hn::SaturatedAdd(a, b);
        }
    }
};

struct NotRule
{
    template<class D, class V>
    HWY_ATTR V operator()(D d, V a, V) const
    {
        return hn::Sub(Set(d, kOne<hn::TFromD<D>>), a);
    }
};

struct SubtractRule
{
    template<class D, class V>
    HWY_ATTR V operator()(D, V a, V b) const
    {
        if constexpr (std::is_same_v<hn::TFromD<D>, float>)
            return hn::Abs(hn::Sub(a, b));
        else
            return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));
    }
};

template<typename T, class Function>
HWY_ATTR void mapChannelsOf(const Band& band)
{
    const auto channels = static_cast<std::size_t>(band.channels());
    forEachRun<T, T>(band, [&](const T* a, const T* b, T* out, std::size_t pixels) HWY_ATTR {
        mapElements(hn::ScalableTag<T>(), a, b, out, pixels * channels, band.streams, Function());
    });
}

template<class Function>
HWY_ATTR void mapChannels(const Band& band)
{
    if (band.sourceDepth() == CV_8U)
        mapChannelsOf<uint8_t, Function>(band);
    else
        mapChannelsOf<float, Function>(band);
}

HWY_ATTR void computeAnd(const Band& band)
{
    mapChannels<AndRule>(band);
}

HWY_ATTR void computeOr(const Band& band)
{
    mapChannels<OrRule>(band);
}

HWY_ATTR void computeNot(const Band& band)
{
    mapChannels<NotRule>(band);
}

HWY_ATTR void computeSubtract(const Band& band)
{
    mapChannels<SubtractRule>(band);
}

// ---- Gain: the second picture less the first where no channel of a pixel lost, and zeros elsewhere

template<class D, class V>
HWY_ATTR auto isLoss(D d, V a, V b)
{
    if constexpr (std::is_same_v<hn::TFromD<D>, float>)
        return hn::Lt(hn::Sub(b, a), Zero(d));
    else
        return hn::Ne(hn::SaturatedSub(a, b), Zero(d));
}

struct GainOfOne
{
    template<class D, class V>
    HWY_ATTR V operator()(D d, V a, V b) const
    {
        return IfThenZeroElse(isLoss(d, a, b), hn::Sub(b, a));
    }
};

struct GainOfThree
{
    template<class D, class V>
    HWY_ATTR void operator()(D d, V& a0, V& a1, V& a2, V b0, V b1, V b2) const
    {
        const auto lost = hn::Or(hn::Or(isLoss(d, a0, b0), isLoss(d, a1, b1)), isLoss(d, a2, b2));
        a0 = IfThenZeroElse(lost, hn::Sub(b0, a0));
        a1 = IfThenZeroElse(lost, hn::Sub(b1, a1));
        a2 = IfThenZeroElse(lost, hn::Sub(b2, a2));
    }
};

struct GainOfFour
{
    template<class D, class V>
    HWY_ATTR void operator()(D d, V& a0, V& a1, V& a2, V& a3, V b0, V b1, V b2, V b3) const
    {
        const auto lost =
            hn::Or(hn::Or(isLoss(d, a0, b0), isLoss(d, a1, b1)), hn::Or(isLoss(d, a2, b2), isLoss(d, a3, b3)));
        a0 = IfThenZeroElse(lost, hn::Sub(b0, a0));
        a1 = IfThenZeroElse(lost, hn::Sub(b1, a1));
        a2 = IfThenZeroElse(lost, hn::Sub(b2, a2));
        a3 = IfThenZeroElse(lost, hn::Sub(b3, a3));
    }
};

template<typename T>
HWY_ATTR void computeGainOf(const Band& band)
{
    if (band.channels() == 1)
        return mapChannelsOf<T, GainOfOne>(band);
    forEachRun<T, T>(band, [&](const T* a, const T* b, T* out, std::size_t pixels) HWY_ATTR {
        if (band.channels() == 3)
            mapPixelsOfThree(hn::ScalableTag<T>(), a, b, out, pixels, GainOfThree());
        else
            mapPixelsOfFour(hn::ScalableTag<T>(), a, b, out, pixels, GainOfFour());
    });
}

HWY_ATTR void computeGain(const Band& band)
{
    if (band.sourceDepth() == CV_8U)
        computeGainOf<uint8_t>(band);
    else
        computeGainOf<float>(band);
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(computeAnd);
HWY_EXPORT(computeOr);
HWY_EXPORT(computeNot);
HWY_EXPORT(computeSubtract);
HWY_EXPORT(computeGain);

std::shared_ptr<const Rule> makeRule(const char* name, int sources, std::function<void(const Band&)> compute)
{
    Rule rule;
    rule.name = name;
    rule.sources = sources;
    rule.compute = std::move(compute);
    return std::make_shared<const Rule>(std::move(rule));
}

std::shared_ptr<const Rule> makeGainRule(const char* name)
{
    return makeRule(name, 2, [](const Band& band) { HWY_DYNAMIC_DISPATCH(computeGain)(band); });
}

} // namespace

And::And() : Filter(makeRule("And", 2, [](const Band& band) { HWY_DYNAMIC_DISPATCH(computeAnd)(band); })) {}

Or::Or() : Filter(makeRule("Or", 2, [](const Band& band) { HWY_DYNAMIC_DISPATCH(computeOr)(band); })) {}

Not::Not() : Filter(makeRule("Not", 1, [](const Band& band) { HWY_DYNAMIC_DISPATCH(computeNot)(band); })) {}

Subtract::Subtract()
    : Filter(makeRule("Subtract", 2, [](const Band& band) { return HWY_DYNAMIC_DISPATCH(computeSubtract)(band); }))
{
}

// By design the two are the same.
Xor::Xor() : Filter(makeGainRule("Xor")) {}

Classify::Classify() : Filter(makeGainRule("Classify")) {}

} // namespace velmor::native
#endif
