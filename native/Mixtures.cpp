#include "native/internal/Mixtures.h"
#include "core/cvdata/ColorGMM.h"
#include "native/ColorGMM.h"
#include "native/ColorGMM2.h"
#include "native/internal/Checks.h"
#include "native/internal/Runs.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "native/Mixtures.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include "native/internal/Exponential-inl.h"

#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace velmor::native::HWY_NAMESPACE {
namespace {

using hn::Add;
using hn::Mul;
using hn::Set;
using hn::Sub;

using Doubles = hn::ScalableTag<double>;
using Vector = hn::Vec<Doubles>;

HWY_ATTR Vector formOf(const Gaussian& component, Vector c0, Vector c1)
{
    const Doubles d;
    const Vector x = Sub(c0, Set(d, component.mean[0]));
    const Vector y = Sub(c1, Set(d, component.mean[1]));
    const Vector besideX = Add(Mul(x, Set(d, component.form[0][0])), Mul(y, Set(d, component.form[0][1])));
    const Vector besideY = Add(Mul(x, Set(d, component.form[1][0])), Mul(y, Set(d, component.form[1][1])));
    return Add(Mul(x, besideX), Mul(y, besideY));
}

HWY_ATTR Vector densityOf(const MixtureClass& mixture, Vector c0, Vector c1)
{
    const Doubles d;
    Vector sum = hn::Zero(d);
    for (const Gaussian& component : mixture.components) {
        const Vector power = exponential(d, Mul(Set(d, -0.5), formOf(component, c0, c1)));
        sum = Add(sum, Mul(Set(d, component.weight), Mul(Set(d, component.peak), power)));
    }
    return sum;
}

/// The answers by the rule.
HWY_ATTR Vector answersByDensity(const Mixtures& mixtures, Vector c0, Vector c1)
{
    const Doubles d;
    Vector largest = Set(d, mixtures.floor);
    Vector answer = hn::Zero(d);
    for (const MixtureClass& mixture : mixtures.classes) {
        const Vector density = densityOf(mixture, c0, c1);
        const auto isLarger = hn::Gt(density, largest);
        largest = hn::IfThenElse(isLarger, density, largest);
        answer = hn::IfThenElse(isLarger, Set(d, mixture.number), answer);
    }
    return answer;
}

/// 2 to the power of each of the doubles, up to 1000 on both sides, within a thousandth: 2^k e^r with a whole number k
/// and |r| <= ln 2 / 2. Of the series of e^r what is left out is at most r^4 / 24 e^|r|, less than 0.0009 of 1 for
/// positive r; for negative r it is at most r^4 / 24, less than 0.0009 of e^r.
HWY_ATTR Vector roughPowerOf2(Vector x)
{
    const Doubles d;
    const Vector limited = hn::Min(hn::Max(x, Set(d, -1000.0)), Set(d, 1000.0));
    // As in exponential().
    const Vector toWhole = Set(d, 0x1.8p52);
    const Vector kAndMore = Add(limited, toWhole);
    const Vector r = Mul(Sub(limited, Sub(kAndMore, toWhole)), Set(d, 0.6931471805599453));
    const Vector series = Add(Mul(Add(Mul(Add(Mul(r, Set(d, 1.0 / 6)), Set(d, 0.5)), r), Set(d, 1.0)), r), Set(d, 1.0));
    const hn::RebindToUnsigned<Doubles> bits;
    return hn::BitCast(d, Add(hn::BitCast(bits, series), hn::ShiftLeft<52>(hn::BitCast(bits, kAndMore))));
}

/// The density of a class within a thousandth, for usual numbers. Terms below 2^-1000 become that.
HWY_ATTR Vector roughDensityOf(const MixtureClass& mixture, Vector c0, Vector c1)
{
    const Doubles d;
    Vector sum = hn::Zero(d);
    for (const Gaussian& component : mixture.components) {
        const Vector fall = Mul(Set(d, 0.5 * 1.4426950408889634), formOf(component, c0, c1));
        sum = Add(sum, roughPowerOf2(Sub(Set(d, component.log2Peak), fall)));
    }
    return sum;
}

/// The same answers, or kOpen, in less than half of the time. Rough densities decide wherever the largest one is larger
/// than all others by more than their errors, which leaves few colours open however many components there are.
HWY_ATTR Vector answersByRoughDensity(const Mixtures& mixtures, Vector c0, Vector c1)
{
    const Doubles d;
    Vector largest = Set(d, mixtures.floor);
    Vector second = hn::Zero(d), answer = hn::Zero(d);
    for (const MixtureClass& mixture : mixtures.classes) {
        const Vector density = roughDensityOf(mixture, c0, c1);
        answer = hn::IfThenElse(hn::Gt(density, largest), Set(d, mixture.number), answer);
        second = hn::Max(second, hn::Min(density, largest));
        largest = hn::Max(largest, density);
    }
    const auto isClear = hn::Gt(largest, Mul(second, Set(d, kClearRatio)));
    const auto isUsual =
        hn::And(hn::And(hn::Gt(largest, Set(d, kLeastDensity)), hn::Lt(largest, Set(d, kMostDensity))),
                hn::And(hn::Lt(hn::Abs(c0), Set(d, kMostNumber)), hn::Lt(hn::Abs(c1), Set(d, kMostNumber))));
    return hn::IfThenElse(hn::And(isClear, isUsual), answer, Set(d, kOpen));
}

template<class Function>
HWY_ATTR void answer(const Function& function, const Mixtures& mixtures, const Colours& colours, std::size_t count,
                     double* answers)
{
    const Doubles d;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d))
        hn::StoreU(function(mixtures, hn::LoadU(d, colours.c0 + i), hn::LoadU(d, colours.c1 + i)), d, answers + i);
}

/// Replaces each kOpen by the answer.
HWY_ATTR void answerOpen(const Mixtures& mixtures, const Colours& colours, std::size_t count, double* answers)
{
    std::size_t places[kColoursAtATime];
    Colours open;
    std::size_t left = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (answers[i] == kOpen) {
            places[left] = i;
            open.c0[left] = colours.c0[i];
            open.c1[left] = colours.c1[i];
            ++left;
        }
    }
    double exact[kColoursAtATime];
    answer(answersByDensity, mixtures, open, left, exact);
    for (std::size_t i = 0; i < left; ++i)
        answers[places[i]] = exact[i];
}

/// The answers for colours.
HWY_ATTR void answerColours(const Mixtures& mixtures, const Colours& colours, std::size_t count, std::uint8_t* out)
{
    double answers[kColoursAtATime];
    if (mixtures.isUsual) {
        answer(answersByRoughDensity, mixtures, colours, count, answers);
        if (std::find(answers, answers + count, kOpen) != answers + count)
            answerOpen(mixtures, colours, count, answers);
    } else {
        answer(answersByDensity, mixtures, colours, count, answers);
    }
    std::transform(answers, answers + count, out, [](double number) { return static_cast<std::uint8_t>(number); });
}

} // namespace
} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(answerColours);

// ---- Classes

Gaussian gaussianOf(const std::string& filter, const core::cvdata::GM& component)
{
    for (const auto each :
         {static_cast<unsigned>(component.dimension), component.mean.size(), component.invCovariance.rows()})
        if (each != 2)
            refuse("native::" + filter + "::" + filter, "components of 2 dimensions",
                   std::to_string(static_cast<int>(each)));
    constexpr double kTwicePi = 6.2831853; // as the shaders have it
    Gaussian gaussian;
    for (unsigned i = 0; i < 2; ++i) {
        gaussian.mean[i] = component.mean[i];
        for (unsigned j = 0; j < 2; ++j)
            gaussian.form[i][j] = component.invCovariance[i][j];
    }
    gaussian.peak = 1.0 / (kTwicePi * std::sqrt(static_cast<double>(component.determinant)));
    gaussian.weight = component.weight;
    gaussian.log2Peak = std::log2(gaussian.weight) + std::log2(gaussian.peak);
    return gaussian;
}

/// Whether rough densities may stand for those of a component.
bool isUsual(const Gaussian& gaussian)
{
    const auto isSmall = [](double number) {
        return std::abs(number) < kMostNumber;
    };
    // Logarithms of what is negative are not numbers. With a weight of 0 the density is far below all that matter.
    return isSmall(gaussian.mean[0]) && isSmall(gaussian.mean[1]) && isSmall(gaussian.form[0][0]) &&
           isSmall(gaussian.form[0][1]) && isSmall(gaussian.form[1][0]) && isSmall(gaussian.form[1][1]) &&
           std::abs(std::log2(gaussian.peak)) < kMostLog2Peak &&
           (gaussian.weight == 0.0 || std::abs(std::log2(gaussian.weight)) < kMostLog2Peak);
}

/// @param floor  the density that a class has to exceed
Mixtures mixturesOf(const std::string& filter, const core::cvdata::ColorGMM* models, std::size_t count, double floor)
{
    Mixtures mixtures;
    mixtures.floor = floor;
    mixtures.isUsual = floor == kNoFloor || (floor > kLeastDensity && floor < kMostDensity);
    for (std::size_t i = 0; i < count; ++i) {
        MixtureClass& mixture = mixtures.classes.emplace_back();
        mixture.number = static_cast<double>(i);
        for (const auto& component : models[i].mixture) {
            mixture.components.push_back(gaussianOf(filter, *component));
            mixtures.isUsual = mixtures.isUsual && isUsual(mixture.components.back());
        }
    }
    return mixtures;
}

/// A single class, 255, where the density exceeds the threshold of the model.
Mixtures mixtureOf(const std::string& filter, const core::cvdata::ColorGMM& model)
{
    Mixtures mixtures = mixturesOf(filter, &model, 1, model.detectionThreshold);
    mixtures.classes[0].number = 255.0;
    return mixtures;
}

Mixtures mixturesOf(const std::string& filter, const std::vector<core::cvdata::ColorGMM>& models)
{
    if (models.empty() || models.size() > 256)
        refuse("native::" + filter + "::" + filter, "1 to 256 models", std::to_string(models.size()));
    return models.size() == 1 ? mixtureOf(filter, models[0])
                              : mixturesOf(filter, models.data(), models.size(), kNoFloor);
}

/// Mixtures, and their answers for all pairs of bytes.
class Classifier
{
public:
    explicit Classifier(Mixtures mixtures) : mMixtures(std::move(mixtures)), mAnswers(256 * 256)
    {
        Colours colours;
        static_assert(kColoursAtATime == 256);
        for (std::size_t first = 0; first < 256; ++first)
            colours.c0[first] = static_cast<double>(first);
        for (std::size_t second = 0; second < 256; ++second) {
            std::fill_n(colours.c1, 256, static_cast<double>(second));
            HWY_DYNAMIC_DISPATCH(answerColours)(mMixtures, colours, 256, &mAnswers[256 * second]);
        }
    }

    /// @param count  at most kColoursAtATime
    template<int channels>
    void answer(const float* pixels, std::size_t count, std::uint8_t* out) const
    {
        Colours colours;
        for (std::size_t i = 0; i < count; ++i) {
            colours.c0[i] = static_cast<double>(pixels[channels * i]) * 255.0;
            colours.c1[i] = static_cast<double>(pixels[channels * i + 1]) * 255.0;
        }
        HWY_DYNAMIC_DISPATCH(answerColours)(mMixtures, colours, count, out);
    }

    template<int channels>
    void answer(const std::uint8_t* pixels, std::size_t count, std::uint8_t* out) const
    {
        for (std::size_t i = 0; i < count; ++i)
            out[i] = mAnswers[pixels[channels * i] | std::size_t{pixels[channels * i + 1]} << 8];
    }

private:
    Mixtures mMixtures;
    std::vector<std::uint8_t> mAnswers; ///< by the first byte and 256 times the second
};

// ---- Pictures

/// Calls a function with a number of channels that the compiler knows.
template<typename Function>
void withChannels(int channels, const Function& function)
{
    switch (channels) {
    case 2:
        return function(std::integral_constant<int, 2>());
    case 3:
        return function(std::integral_constant<int, 3>());
    default:
        return function(std::integral_constant<int, 4>());
    }
}

/// Calls a function for some pixels at a time: the first of source and result, and how many there are.
template<typename Source, typename Result, typename Function>
void forEachPart(const Band& band, int resultChannels, const Function& function)
{
    forEachRun<Source, Result>(band, [&](const Source* pixels, const Source*, Result* out, std::size_t count) {
        for (std::size_t i = 0; i < count; i += kColoursAtATime)
            function(pixels + static_cast<std::size_t>(band.channels()) * i,
                     out + static_cast<std::size_t>(resultChannels) * i, std::min(kColoursAtATime, count - i));
    });
}

template<typename T>
void computeAnswers(const Classifier& classifier, const Band& band)
{
    withChannels(band.channels(), [&](auto channels) {
        forEachPart<T, std::uint8_t>(band, 1, [&](const T* pixels, std::uint8_t* out, std::size_t count) {
            classifier.answer<channels>(pixels, count, out);
        });
    });
}

template<typename T>
void computeKept(const Classifier& classifier, const Band& band)
{
    withChannels(band.channels(), [&](auto channels) {
        forEachPart<T, T>(band, channels, [&](const T* pixels, T* out, std::size_t count) {
            std::uint8_t isKept[kColoursAtATime];
            classifier.answer<channels>(pixels, count, isKept);
            for (std::size_t i = 0; i < count; ++i)
                for (std::size_t c = 0; c < channels; ++c)
                    out[channels * i + c] = isKept[i] ? pixels[channels * i + c] : T{0};
        });
    });
}

std::shared_ptr<const Rule> makeRule(const std::string& name, Mixtures mixtures, bool keepsColours)
{
    const auto classifier = std::make_shared<const Classifier>(std::move(mixtures));
    Rule rule;
    rule.name = name;
    rule.sources = 1;
    rule.channels = {2, 3, 4};
    if (keepsColours) {
        rule.resultDepths = {Rule::AS_SOURCE};
        rule.compute = [classifier](const Band& band) {
            if (band.sourceDepth() == CV_8U)
                computeKept<std::uint8_t>(*classifier, band);
            else
                computeKept<float>(*classifier, band);
        };
    } else {
        rule.resultChannels = 1;
        rule.resultDepths = {CV_8U};
        rule.computed = {{CV_8U, CV_8U}, {CV_32F, CV_8U}};
        rule.compute = [classifier](const Band& band) {
            if (band.sourceDepth() == CV_8U)
                computeAnswers<std::uint8_t>(*classifier, band);
            else
                computeAnswers<float>(*classifier, band);
        };
    }
    return std::make_shared<const Rule>(std::move(rule));
}

} // namespace

ColorGMM::ColorGMM(const core::cvdata::ColorGMM& model, bool binaryOutput)
    : Filter(makeRule("ColorGMM", mixtureOf("ColorGMM", model), !binaryOutput))
{
}

ColorGMM2::ColorGMM2(const std::vector<core::cvdata::ColorGMM>& models)
    : Filter(makeRule("ColorGMM2", mixturesOf("ColorGMM2", models), false))
{
}

} // namespace velmor::native
#endif
