#include "cvprocess/ColourDetector.h"

#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/Image.h"
#include "core/util/internal/OutOfMemory.h"

#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <typeinfo>

namespace velmor::cvprocess {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::GM;
using core::cvdata::Image;

constexpr unsigned kColourCount = 256 * 256;
constexpr unsigned kBytesPerPixel = 3;

/// Answers for a colour: the byte of the mask, or that nobody asked yet.
constexpr unsigned char kBackground = 0;
constexpr unsigned char kForeground = 255;
constexpr unsigned char kUnknown = 1;

unsigned char maskByte(bool foreground)
{
    return foreground ? kForeground : kBackground;
}

unsigned colourIndex(const unsigned char* pixel)
{
    return static_cast<unsigned>(pixel[0] | pixel[1] << 8);
}

/// The answers for eight pixels, as they lie in memory: one store for all eight takes 0.85 of the time of eight stores.
std::uint64_t eightAnswers(const unsigned char* answers, const unsigned char* pixels)
{
    constexpr bool firstIsLowest = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    std::uint64_t eight = 0;
#pragma GCC unroll 8
    for (unsigned k = 0; k < 8; ++k) {
        const std::uint64_t answer = answers[colourIndex(pixels + kBytesPerPixel * k)];
        eight |= answer << 8 * (firstIsLowest ? k : 7 - k);
    }
    return eight;
}

/// Whether one of eight answers is kUnknown: its lowest and its highest bit differ, those of a mask's byte do not.
bool hasUnknown(std::uint64_t eight)
{
    constexpr std::uint64_t lowestBits = 0x0101010101010101;
    return ((eight ^ eight >> 7) & lowestBits) != 0;
}

} // namespace

/// What the likelihood takes from a component. All are doubles, so that it has no padding and compares byte by byte.
struct ColourDetector::Component
{
    double mean;
    double inverse[2][2];
    double determinant;
    double weight;
    double norm; ///< 1 / (2 pi sqrt(determinant))
};

ColourDetector::Param::Param(unsigned int) : useMorphology(false) {}

ColourDetector::ColourDetector(ColorGMM* model, Param* params)
    : mParams(params), mOwnsParams(!params), mSquaredDistance(0.0), mDifference{}, mPixel{}, mInvCovariance(2),
      mModel(model), mMaskBytes(kColourCount, kUnknown), mRememberedThreshold(0.0)
{
    if (mOwnsParams)
        mParams = new Param(2);
}

ColourDetector::~ColourDetector()
{
    if (mOwnsParams)
        delete mParams;
}

void ColourDetector::preProcess(const Image& input, Image& output)
{
    // clang-format off
    assert(input.height() == output.height() || input.width() == output.width());
    assert(output.channels() == velmor::core::cvdata::Image::GREYSCALE);
    assert(input.channels() == velmor::core::cvdata::Image::RGB);
    // clang-format on
    assert(mModel && "ERROR: the detector has no model!");

    const IplImage& header = *input.iplImage();
    const unsigned width = input.width();
    const unsigned height = input.height();
    const bool isPlainModel = typeid(*mModel) == typeid(ColorGMM);
    if (isPlainModel && width > 0 && height > 0 && rememberModel())
        std::fill(mMaskBytes.begin(), mMaskBytes.end(), kUnknown);
    for (unsigned y = 0; y < height; ++y) {
        const auto* const pixels = reinterpret_cast<const unsigned char*>(header.imageData) +
                                   static_cast<std::ptrdiff_t>(header.widthStep) * y;
        unsigned char* const mask = output.imageBuffer() + std::size_t{output.allocatedWidth()} * y;
        if (isPlainModel)
            lookUpRow(pixels, mask, width);
        else
            for (unsigned x = 0; x < width; ++x)
                mask[x] = evaluateModel(pixels + kBytesPerPixel * x);
    }

    if (mParams->useMorphology) {
        assert(output.width() > 0 && output.height() > 0 && "ERROR: the output image is empty!");
        core::util::orBadAlloc([&] {
            cvErode(output.iplImage(), output.iplImage(), nullptr, 1);
            cvDilate(output.iplImage(), output.iplImage(), nullptr, 1);
        });
    }
}

ColourDetector::Component ColourDetector::readComponent(int k)
{
    const GM& component = *mModel->mixture[static_cast<std::size_t>(k)];
    assert(component.invCovariance.rows() == 2 && "ERROR: the model must have 2 colour components!");
    mInvCovariance.copyFrom(component.invCovariance);
    const auto determinant = static_cast<double>(component.determinant);
    return {component.mean[0],
            {{mInvCovariance[0][0], mInvCovariance[0][1]}, {mInvCovariance[1][0], mInvCovariance[1][1]}},
            determinant,
            static_cast<double>(component.weight),
            1.0 / (std::sqrt(determinant) * 6.283185307179586)};
}

/// Takes down the model; whether it is another one than last time, bit by bit.
bool ColourDetector::rememberModel()
{
    const auto replace = [](auto& remembered, const auto& now) {
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): compares bits; neither type has padding
        const bool differs = std::memcmp(&remembered, &now, sizeof(now)) != 0;
        remembered = now;
        return differs;
    };
    const auto count = static_cast<std::size_t>(mModel->nofComponents());
    bool changed = mRememberedComponents.size() != count;
    mRememberedComponents.resize(count);
    changed |= replace(mRememberedThreshold, mModel->detectionThreshold);
    for (std::size_t k = 0; k < count; ++k)
        changed |= replace(mRememberedComponents[k], readComponent(static_cast<int>(k)));
    return changed;
}

double ColourDetector::likelihoodShare(const Component& component)
{
    // By design the second difference is taken from the mean's first element too.
    mDifference[0] = component.mean - mPixel[0];
    mDifference[1] = component.mean - mPixel[1];
    const auto& m = component.inverse;
    mSquaredDistance = (m[0][0] * mDifference[0] + m[1][0] * mDifference[1]) * mDifference[0] +
                       (m[0][1] * mDifference[0] + m[1][1] * mDifference[1]) * mDifference[1];
    return std::exp(mSquaredDistance * -0.5) * component.norm * component.weight;
}

unsigned char ColourDetector::evaluateModel(const unsigned char* pixel)
{
    mPixel[0] = pixel[0];
    mPixel[1] = pixel[1];
    double likelihood = 0.0;
    for (int k = 0; k < mModel->nofComponents(); ++k) // may change from one component to the next
        likelihood = likelihood + likelihoodShare(readComponent(k));
    return maskByte(likelihood > mModel->detectionThreshold);
}

unsigned char ColourDetector::evaluateRememberedModel(const unsigned char* pixel)
{
    mPixel[0] = pixel[0];
    mPixel[1] = pixel[1];
    double likelihood = 0.0;
    for (const Component& component : mRememberedComponents)
        likelihood = likelihood + likelihoodShare(component);
    return maskByte(likelihood > mRememberedThreshold);
}

void ColourDetector::lookUpRow(const unsigned char* pixels, unsigned char* mask, unsigned width)
{
    unsigned char* const answers = mMaskBytes.data();
    const auto ask = [this, answers](const unsigned char* pixel) {
        unsigned char& answer = answers[colourIndex(pixel)];
        if (answer == kUnknown)
            answer = evaluateRememberedModel(pixel);
        return answer;
    };

    // Eight pixels at a time: a branch for each would take longer than the rest of the work.
    for (; width >= 8; width -= 8, pixels += 8 * kBytesPerPixel, mask += 8) {
        const std::uint64_t eight = eightAnswers(answers, pixels);
        std::memcpy(mask, &eight, sizeof(eight));
        if (hasUnknown(eight))
            for (unsigned k = 0; k < 8; ++k)
                mask[k] = ask(pixels + kBytesPerPixel * k);
    }
    for (; width > 0; --width, pixels += kBytesPerPixel)
        *mask++ = ask(pixels);
}

} // namespace velmor::cvprocess
