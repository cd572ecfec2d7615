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

using hn::Add;
using hn::Mul;
using hn::Set;
using hn::Sub;

using Doubles = hn::ScalableTag<double>;
using Vector = hn::Vec<Doubles>;

HWY_ATTR Vector densities(const std::vector<Gaussian>& components, Vector c0, Vector c1)
{
    const Doubles d;
    Vector sum = hn::Zero(d);
    for (const Gaussian& component : components) {
        const Vector x = Sub(c0, Set(d, component.mean[0]));
        const Vector y = Sub(c1, Set(d, component.mean[1]));
        const Vector besideX = Add(Mul(x, Set(d, component.form[0][0])), Mul(y, Set(d, component.form[0][1])));
        const Vector besideY = Add(Mul(x, Set(d, component.form[1][0])), Mul(y, Set(d, component.form[1][1])));
        const Vector form = Add(Mul(x, besideX), Mul(y, besideY));
        const Vector density = Mul(Set(d, component.peak), exponential(d, Mul(Set(d, -0.5), form)));
        sum = Add(sum, Mul(Set(d, component.weight), density));
    }
    return sum;
}

/// The numbers of the classes, or 0 or 255 where there is one.
HWY_ATTR Vector answers(const Mixtures& mixtures, Vector c0, Vector c1)
{
    const Doubles d;
    if (mixtures.classes.size() == 1) {
        const auto isKept = hn::Gt(densities(mixtures.classes[0], c0, c1), Set(d, mixtures.threshold));
        return hn::IfThenElseZero(isKept, Set(d, 255.0));
    }
    Vector largest = Set(d, -1.0);
    Vector number = hn::Zero(d);
    for (std::size_t i = 0; i < mixtures.classes.size(); ++i) {
        const Vector density = densities(mixtures.classes[i], c0, c1);
        const auto isLarger = hn::Gt(density, largest);
        largest = hn::IfThenElse(isLarger, density, largest);
        number = hn::IfThenElse(isLarger, Set(d, static_cast<double>(i)), number);
    }
    return number;
}

/// The answers for at most kColoursAtATime colours.
/// @param colours  the two components of each, on 0..255, with room for as many as are asked for at most
HWY_ATTR void answerColours(const Mixtures& mixtures, const double (&colours)[2][kColoursAtATime], std::size_t count,
                            std::uint8_t* out)
{
    const Doubles d;
    HWY_ALIGN double numbers[kColoursAtATime];
    for (std::size_t i = 0; i < count; i += hn::Lanes(d))
        hn::StoreU(answers(mixtures, hn::LoadU(d, colours[0] + i), hn::LoadU(d, colours[1] + i)), d, numbers + i);
    std::transform(numbers, numbers + count, out, [](double number) { return static_cast<std::uint8_t>(number); });
}

} // namespace velmor::native::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace velmor::native {
namespace {

HWY_EXPORT(answerColours);

using Colours = double[2][kColoursAtATime];

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
    return gaussian;
}

Mixtures mixturesOf(const std::string& filter, const core::cvdata::ColorGMM* models, std::size_t count)
{
    Mixtures mixtures;
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<Gaussian>& components = mixtures.classes.emplace_back();
        for (const auto& component : models[i].mixture)
            components.push_back(gaussianOf(filter, *component));
    }
    mixtures.threshold = models[0].detectionThreshold;
    return mixtures;
}

/// Mixtures, and their answers for all pairs of bytes.
class Classifier
{
public:
    explicit Classifier(Mixtures mixtures) : mMixtures(std::move(mixtures)), mAnswers(256 * 256)
    {
        Colours colours;
        static_assert(kColoursAtATime == 256);
        for (std::size_t i = 0; i < 256; ++i)
            colours[0][i] = static_cast<double>(i);
        for (std::size_t second = 0; second < 256; ++second) {
            std::fill_n(colours[1], 256, static_cast<double>(second));
            HWY_DYNAMIC_DISPATCH(answerColours)(mMixtures, colours, 256, &mAnswers[256 * second]);
        }
    }

    /// @param count  at most kColoursAtATime
    template<int channels>
    void answer(const float* pixels, std::size_t count, std::uint8_t* out) const
    {
        Colours colours = {};
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t c = 0; c < 2; ++c)
                colours[c][i] = static_cast<double>(pixels[channels * i + c]) * 255.0;
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

const std::vector<core::cvdata::ColorGMM>& checkedModels(const std::vector<core::cvdata::ColorGMM>& models)
{
    if (models.empty() || models.size() > 256)
        refuse("native::ColorGMM2::ColorGMM2", "1 to 256 models", std::to_string(models.size()));
    return models;
}

} // namespace

ColorGMM::ColorGMM(const core::cvdata::ColorGMM& model, bool binaryOutput)
    : Filter(makeRule("ColorGMM", mixturesOf("ColorGMM", &model, 1), !binaryOutput))
{
}

ColorGMM2::ColorGMM2(const std::vector<core::cvdata::ColorGMM>& models)
    : Filter(makeRule("ColorGMM2", mixturesOf("ColorGMM2", checkedModels(models).data(), models.size()), false))
{
}

} // namespace velmor::native
#endif
