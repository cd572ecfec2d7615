// Compiled without access control, to see fields.

#include "cvprocess/ColourDetector.h"

#include "core/cvdata/ColorGMM.h"
#include "imageio/ImageIo.h"
#include "tests/support/DeathText.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/GuardedMemory.h"
#include "tests/support/Pictures.h"
#include "tests/support/Rounds.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>

using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::GM;
using velmor::core::cvdata::Image;
using velmor::cvprocess::ColourDetector;

namespace velmor::tests {
namespace {

/// The likelihood as it is stated, step by step.
double likelihood(const ColorGMM& model, unsigned char c0, unsigned char c1)
{
    double p = 0.0;
    for (const boost::shared_ptr<GM>& component : model.mixture) {
        const double d0 = component->mean[0] - c0;
        const double d1 = component->mean[0] - c1;
        const math::SquareMatrix& m = component->invCovariance;
        const double q = (m[0][0] * d0 + m[1][0] * d1) * d0 + (m[0][1] * d0 + m[1][1] * d1) * d1;
        const double norm = 1.0 / (std::sqrt(static_cast<double>(component->determinant)) * 6.283185307179586);
        p = p + std::exp(q * -0.5) * norm * static_cast<double>(component->weight);
    }
    return p;
}

/// The plain loop: every pixel evaluated for itself.
Image plainMask(const ColorGMM& model, const Image& input)
{
    Image mask(input.width(), input.height(), Image::GREYSCALE);
    for (unsigned y = 0; y < input.height(); ++y) {
        for (unsigned x = 0; x < input.width(); ++x) {
            const double p = likelihood(model, byteAt(input, x, y, 0), byteAt(input, x, y, 1));
            byteAt(mask, x, y) = p > model.detectionThreshold ? 255 : 0;
        }
    }
    return mask;
}

unsigned long wrongPixels(ColourDetector& detector, const ColorGMM& model, const Image& input)
{
    Image mask(input.width(), input.height(), Image::GREYSCALE);
    mask.imageBuffer()[0] = 77;
    detector.preProcess(input, mask);
    return differences(mask, plainMask(model, input));
}

/// A component around a colour, with any fields, not only those of a covariance.
boost::shared_ptr<GM> randomComponent(std::mt19937& random)
{
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    boost::shared_ptr<GM> component(new GM);
    component->mean[0] = uniform(0.0, 255.0);
    component->mean[1] = uniform(0.0, 255.0);
    component->invCovariance[0][0] = uniform(0.0, 0.01);
    component->invCovariance[0][1] = uniform(-0.003, 0.003);
    component->invCovariance[1][0] = uniform(-0.003, 0.003);
    component->invCovariance[1][1] = uniform(0.0, 0.01);
    component->determinant = static_cast<float>(uniform(1.0, 1000.0));
    component->weight = static_cast<float>(uniform(0.0, 1.0));
    return component;
}

/// A model whose threshold is the likelihood of some colour, so that masks are mixed and equality occurs.
ColorGMM randomModel(std::mt19937& random, unsigned componentCount)
{
    ColorGMM model;
    for (unsigned k = 0; k < componentCount; ++k)
        model.mixture.push_back(randomComponent(random));
    model.detectionThreshold =
        likelihood(model, static_cast<unsigned char>(random()), static_cast<unsigned char>(random()));
    return model;
}

/// One component, wide enough that colours around 100 are foreground and those far away are not.
ColorGMM wideModel()
{
    ColorGMM model;
    boost::shared_ptr<GM> component(new GM);
    component->mean[0] = 100.0;
    component->mean[1] = 100.0;
    component->invCovariance[0][0] = component->invCovariance[1][1] = 1.0 / 64.0;
    component->determinant = 4096.0f;
    component->weight = 1.0f;
    model.mixture = {component};
    model.detectionThreshold = 1e-4;
    return model;
}

/// All pairs of bytes, in a random third one.
Image everyColour()
{
    std::mt19937 random(1);
    Image image = randomImage(256, 256, Image::RGB, random);
    for (unsigned y = 0; y < 256; ++y) {
        for (unsigned x = 0; x < 256; ++x) {
            byteAt(image, x, y, 0) = static_cast<unsigned char>(x);
            byteAt(image, x, y, 1) = static_cast<unsigned char>(y);
        }
    }
    return image;
}

// ---- random cases

/// A model of a class of its own, which answers as the plain one does but is asked for every pixel.
class DerivedModel : public ColorGMM
{
};

/// Random models and images, which change or stay from case to case. Rows are padded, and the last one ends where
/// memory does.
class RandomCases
{
public:
    /// Runs so many cases, or those up to the first one that differs from the plain loop.
    void expectPlainLoop(int cases)
    {
        for (int k = 0; k < cases && !testing::Test::HasFailure(); ++k) {
            changeModel();
            changeImage();
            runCase(mPlainDetector, k);
            if (k % 8 == 0)
                runCase(mDerivedDetector, k);
        }
        EXPECT_GT(mForeground, mPixels / 10); // the comparison was one of mixed masks
        EXPECT_LT(mForeground, mPixels - mPixels / 10);
    }

private:
    static constexpr unsigned kMostWidth = 40, kMostHeight = 3, kMostPadding = 9;
    static constexpr unsigned kMostStride = 3 * kMostWidth + kMostPadding;
    static constexpr unsigned char kUntouched = 77;

    unsigned upTo(unsigned most) { return static_cast<unsigned>(mRandom() % (most + 1)); }

    void changeModel()
    {
        switch (mModel.mixture.empty() ? 0 : upTo(6)) {
        case 0:
            mModel = randomModel(mRandom, upTo(4));
            break;
        case 1:
            mModel.detectionThreshold = likelihood(mModel, anyByte(), anyByte());
            break;
        case 2:
            mModel.mixture[upTo(static_cast<unsigned>(mModel.mixture.size()) - 1)] = randomComponent(mRandom);
            break;
        case 3:
            mModel.mixture.pop_back();
            break;
        default: // stays
            break;
        }
        static_cast<ColorGMM&>(mDerivedModel) = mModel;
    }

    /// The same colours come back in one image and in the next, so that some are known and some are not.
    void changeImage()
    {
        mWidth = 1 + upTo(kMostWidth - 1);
        mHeight = 1 + upTo(kMostHeight - 1);
        mStride = 3 * mWidth + upTo(kMostPadding);
        const unsigned levels = 1u << (1 + upTo(7));
        mInput = mInputMemory.picture({static_cast<int>(mStride * (mHeight - 1) + 3 * mWidth), 1}, CV_8U);
        for (int k = 0; k < mInput.cols; ++k)
            mInput.data[k] = static_cast<unsigned char>(mRandom() % levels * (256 / levels));
    }

    unsigned char anyByte() { return static_cast<unsigned char>(mRandom()); }

    void runCase(ColourDetector& detector, int k)
    {
        const Image input(mWidth, mHeight, Image::RGB, mInput.data, mStride);
        const unsigned stride = mWidth + upTo(kMostPadding);
        cv::Mat bytes = mOutputMemory.picture({static_cast<int>(stride * (mHeight - 1) + mWidth), 1}, CV_8U);
        bytes = kUntouched;
        Image output(mWidth, mHeight, Image::GREYSCALE, bytes.data, stride);
        detector.preProcess(input, output);
        for (unsigned place = 0; place < static_cast<unsigned>(bytes.cols); ++place) {
            const unsigned x = place % stride, y = place / stride;
            const unsigned char* const pixel = mInput.data + mStride * y + 3 * x;
            const bool isForeground = x < mWidth && likelihood(mModel, pixel[0], pixel[1]) > mModel.detectionThreshold;
            const unsigned expected = x >= mWidth ? kUntouched : isForeground ? 255 : 0;
            ASSERT_EQ(bytes.data[place], expected)
                << "case " << k << ", " << mWidth << " x " << mHeight << ", pixel " << x << ", " << y;
            mForeground += isForeground ? 1 : 0;
        }
        mPixels += mWidth * mHeight;
    }

    std::mt19937 mRandom{1};
    ColorGMM mModel;
    DerivedModel mDerivedModel;
    ColourDetector mPlainDetector{&mModel, nullptr};
    ColourDetector mDerivedDetector{&mDerivedModel, nullptr};
    const GuardedMemory mInputMemory{kMostStride * kMostHeight};
    const GuardedMemory mOutputMemory{kMostStride * kMostHeight};
    cv::Mat mInput;
    unsigned mWidth = 0, mHeight = 0, mStride = 0;
    unsigned long mForeground = 0, mPixels = 0;
};

TEST(ColourDetector, MatchesThePlainLoopWhateverIsKnown)
{
    RandomCases().expectPlainLoop(2 * randomRounds());
}

TEST(ColourDetectorSweep, MatchesThePlainLoopWhateverIsKnown)
{
    RandomCases().expectPlainLoop(1000000);
}

// ---- arithmetic

TEST(ColourDetector, MatchesThePlainLoopOnRandomImagesAndModels)
{
    std::mt19937 random(1);
    ColorGMM model;
    ColourDetector detector(&model, nullptr);
    unsigned long foreground = 0, pixels = 0;
    for (int k = 0, rounds = randomRounds(); k < rounds; ++k) {
        if (k % 3 != 1) // so that some images meet the model that was there before
            model = randomModel(random, static_cast<unsigned>(k % 5));
        const unsigned levels = k % 2 == 0 ? 256u : 8u;
        const Image input = randomImage(randomSide(random), randomSide(random), Image::RGB, random, levels);
        Image mask(input.width(), input.height(), Image::GREYSCALE);
        detector.preProcess(input, mask);
        ASSERT_EQ(differences(mask, plainMask(model, input)), 0u)
            << "image " << k << ", " << input.width() << " x " << input.height();
        foreground += static_cast<unsigned long>(cv::countNonZero(mask.mat()));
        pixels += static_cast<unsigned long>(input.width()) * input.height();
    }
    EXPECT_GT(foreground, pixels / 10); // the comparison was one of mixed masks
    EXPECT_LT(foreground, pixels - pixels / 10);
}

TEST(ColourDetector, MatchesThePlainLoopOnEveryColour)
{
    std::mt19937 random(2);
    const Image input = everyColour();
    for (unsigned count = 0; count < 6; ++count) {
        ColorGMM model = randomModel(random, count);
        ColourDetector detector(&model, nullptr);
        EXPECT_EQ(wrongPixels(detector, model, input), 0u) << count << " components";
    }
}

TEST(ColourDetector, MatchesThePlainLoopOnAPhotograph)
{
    const Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::RGB);
    ColorGMM model;
    Image patch(20, 20, Image::RGB);
    for (unsigned y = 0; y < 20; ++y)
        for (unsigned x = 0; x < 20; ++x)
            for (unsigned channel = 0; channel < 3; ++channel)
                byteAt(patch, x, y, channel) = byteAt(photograph, 200 + x, 60 + y, channel);
    model.train(patch, nullptr, 3);
    ColourDetector detector(&model, nullptr);
    EXPECT_EQ(wrongPixels(detector, model, photograph), 0u);
    EXPECT_EQ(wrongPixels(detector, model, photograph), 0u); // every colour is known now
}

TEST(ColourDetector, MatchesThePlainLoopWhereNumbersAreExtreme)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const Image input = everyColour();
    ColorGMM model = wideModel();
    GM& component = *model.mixture[0];
    ColourDetector detector(&model, nullptr);
    for (const double value : {0.0, -0.0, -1.0, 1e-300, 1e300, infinity, -infinity, notANumber}) {
        const auto expectPlain = [&](const char* field) {
            EXPECT_EQ(wrongPixels(detector, model, input), 0u) << field << " is " << value;
        };
        const ColorGMM wide = wideModel();
        model.detectionThreshold = value;
        expectPlain("threshold");
        model.detectionThreshold = wide.detectionThreshold;
        component.determinant = static_cast<float>(value);
        expectPlain("determinant");
        component.determinant = wide.mixture[0]->determinant;
        component.weight = static_cast<float>(value);
        expectPlain("weight");
        component.weight = wide.mixture[0]->weight;
        component.mean[0] = value;
        expectPlain("mean");
        component.mean[0] = wide.mixture[0]->mean[0];
        component.invCovariance[0][1] = value;
        expectPlain("inverse covariance");
        component.invCovariance[0][1] = 0.0;
    }
}

// At the mean itself, q is 0 and p is norm times weight: 1 / (sqrt(4096) 2 pi).
TEST(ColourDetector, ALikelihoodEqualToTheThresholdIsBackground)
{
    ColorGMM model = wideModel();
    ColourDetector detector(&model, nullptr);
    Image input(1, 1, Image::RGB);
    fillRectangle(input, 0, 0, 1, 1, 100);
    Image mask(1, 1, Image::GREYSCALE);
    const double peak = 1.0 / (64.0 * 6.283185307179586);

    model.detectionThreshold = peak;
    detector.preProcess(input, mask);
    EXPECT_EQ(byteAt(mask, 0, 0), 0);
    model.detectionThreshold = std::nextafter(peak, 0.0);
    detector.preProcess(input, mask);
    EXPECT_EQ(byteAt(mask, 0, 0), 255);
    model.mixture[0]->weight = std::numeric_limits<float>::quiet_NaN();
    model.detectionThreshold = -1.0;
    detector.preProcess(input, mask);
    EXPECT_EQ(byteAt(mask, 0, 0), 0); // p is not a number
}

TEST(ColourDetector, AModelWithoutComponentsGivesALikelihoodOfZero)
{
    ColorGMM model;
    ColourDetector detector(&model, nullptr);
    std::mt19937 random(1);
    const Image input = randomImage(17, 9, Image::RGB, random);
    Image mask(17, 9, Image::GREYSCALE);
    for (const double threshold : {0.0, 1e-9, -1e-9}) {
        model.detectionThreshold = threshold;
        fillRectangle(mask, 0, 0, 17, 9, 77);
        detector.preProcess(input, mask);
        EXPECT_EQ(cv::countNonZero(mask.mat() == (threshold < 0.0 ? 255 : 0)), 17 * 9);
    }
}

TEST(ColourDetector, ThirdByteAndSecondMeanHaveNoPart)
{
    ColorGMM model = wideModel();
    ColourDetector detector(&model, nullptr);
    std::mt19937 random(1);
    Image input = randomImage(40, 30, Image::RGB, random);
    Image before(40, 30, Image::GREYSCALE), after(40, 30, Image::GREYSCALE);
    detector.preProcess(input, before);
    EXPECT_GT(cv::countNonZero(before.mat()), 0);

    for (unsigned y = 0; y < 30; ++y)
        for (unsigned x = 0; x < 40; ++x)
            byteAt(input, x, y, 2) = static_cast<unsigned char>(~byteAt(input, x, y, 2));
    model.mixture[0]->mean[1] = -5000.0;
    detector.preProcess(input, after);
    EXPECT_EQ(differences(before, after), 0u);
    EXPECT_EQ(wrongPixels(detector, model, input), 0u);
}

// ---- what is read anew in each call

TEST(ColourDetector, SeesEveryChangeOfTheModel)
{
    const Image input = everyColour();
    ColorGMM model = wideModel();
    ColourDetector detector(&model, nullptr);
    Image last(256, 256, Image::GREYSCALE);
    detector.preProcess(input, last);
    const auto expectChange = [&](const char* what) {
        Image mask(256, 256, Image::GREYSCALE);
        detector.preProcess(input, mask);
        EXPECT_EQ(differences(mask, plainMask(model, input)), 0u) << what;
        EXPECT_GT(differences(mask, last), 0u) << what;
        last = mask;
    };
    GM& component = *model.mixture[0];
    component.mean[0] = 120.0;
    expectChange("mean");
    component.invCovariance[0][0] = 1.0 / 100.0;
    expectChange("element 0, 0");
    component.invCovariance[0][1] = 1.0 / 500.0;
    expectChange("element 0, 1");
    component.invCovariance[1][0] = -1.0 / 300.0;
    expectChange("element 1, 0");
    component.invCovariance[1][1] = 1.0 / 30.0;
    expectChange("element 1, 1");
    component.determinant = 3000.0f;
    expectChange("determinant");
    component.weight = 0.5f;
    expectChange("weight");
    model.detectionThreshold *= 1.5;
    expectChange("threshold");
    model.mixture.push_back(wideModel().mixture[0]);
    expectChange("one component more");
    const boost::shared_ptr<GM> first = model.mixture[0];
    model.mixture.erase(model.mixture.begin());
    expectChange("one component less");
    model.mixture[0] = first;
    expectChange("another component");
    model = wideModel();
    expectChange("another model in the same place");
}

// All that is left of the model is as it was: only the number of components tells.
TEST(ColourDetector, SeesThatTheLastComponentIsGone)
{
    const Image input = everyColour();
    ColorGMM model = wideModel();
    model.mixture.push_back(wideModel().mixture[0]);
    model.mixture[1]->mean[0] = 200.0;
    ColourDetector detector(&model, nullptr);
    Image both(256, 256, Image::GREYSCALE), first(256, 256, Image::GREYSCALE);
    detector.preProcess(input, both);
    model.mixture.pop_back();
    detector.preProcess(input, first);
    EXPECT_EQ(differences(first, plainMask(model, input)), 0u);
    EXPECT_GT(differences(first, both), 0u);
}

TEST(ColourDetector, KeepsNothingOfAModelThatIsGone)
{
    const Image input = everyColour();
    std::mt19937 random(1);
    ColorGMM model; // the place where one model after another is made
    ColourDetector detector(&model, nullptr);
    for (int k = 0; k < 20; ++k) {
        model.~ColorGMM();
        new (&model) ColorGMM(randomModel(random, 2));
        EXPECT_EQ(wrongPixels(detector, model, input), 0u);
    }
}

/// Changes its mind from one question to the next.
class FickleModel : public ColorGMM
{
public:
    int nofComponents() const override { return asked++ % 3 == 0 ? 1 : 0; }

    mutable unsigned long asked = 0;
};

// For each pixel: "is 0 less than 1?" yes, "is 1 less than 0?" no; then "is 0 less than 0?" no; and so on.
TEST(ColourDetector, AsksAModelOfADerivedClassForEveryPixelAndComponent)
{
    FickleModel model;
    static_cast<ColorGMM&>(model) = wideModel();
    ColourDetector detector(&model, nullptr);
    Image input(8, 5, Image::RGB);
    fillRectangle(input, 0, 0, 8, 5, 100);
    Image mask(8, 5, Image::GREYSCALE);
    detector.preProcess(input, mask);
    for (unsigned k = 0; k < 40; ++k)
        EXPECT_EQ(byteAt(mask, k % 8, k / 8), k % 2 == 0 ? 255 : 0) << "pixel " << k;
    EXPECT_EQ(model.asked, 20u * 2u + 20u);
}

/// Counts how often it is asked.
class CountingModel : public ColorGMM
{
public:
    int nofComponents() const override
    {
        ++asked;
        return ColorGMM::nofComponents();
    }

    mutable unsigned long asked = 0;
};

TEST(ColourDetector, GivesAModelOfADerivedClassThePlainLoop)
{
    std::mt19937 random(1);
    CountingModel model;
    ColourDetector detector(&model, nullptr);
    for (int k = 0; k < 100; ++k) {
        static_cast<ColorGMM&>(model) = randomModel(random, 3);
        const Image input = randomImage(randomSide(random), randomSide(random), Image::RGB, random);
        model.asked = 0;
        EXPECT_EQ(wrongPixels(detector, model, input), 0u);
        EXPECT_EQ(model.asked, 4ul * input.width() * input.height());
    }
}

// ---- images

TEST(ColourDetector, FollowsTheRowsOfPaddedImages)
{
    ColorGMM model = wideModel();
    ColourDetector detector(&model, nullptr);
    PaddedImage input(11, 7, Image::RGB, 100);
    PaddedImage output(11, 7, Image::GREYSCALE, 33);
    byteAt(input.image, 10, 6, 0) = 0;
    detector.preProcess(input.image, output.image);
    EXPECT_EQ(differences(output.image, plainMask(model, input.image)), 0u);
    EXPECT_EQ(byteAt(output.image, 9, 6), 255);
    EXPECT_EQ(byteAt(output.image, 10, 6), 0);
    EXPECT_TRUE(output.paddingIs(33));
}

TEST(ColourDetector, WritesTheSizeOfTheInputWhereOneDimensionOfTheOutputIsLarger)
{
    ColorGMM model = wideModel();
    ColourDetector detector(&model, nullptr);
    Image input(6, 4, Image::RGB);
    fillRectangle(input, 0, 0, 6, 4, 100);
    for (const auto& [width, height] : {std::pair{6u, 9u}, std::pair{13u, 4u}}) {
        Image output(width, height, Image::GREYSCALE);
        fillRectangle(output, 0, 0, width, height, 7);
        detector.preProcess(input, output);
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x)
                EXPECT_EQ(byteAt(output, x, y), x < 6 && y < 4 ? 255 : 7);
    }
}

TEST(ColourDetector, LeavesImagesWithoutPixelsAlone)
{
    ColorGMM model;
    model.mixture.resize(1); // a null pointer, which nobody follows
    ColourDetector detector(&model, nullptr);
    for (const auto& [width, height] : {std::pair{0u, 0u}, std::pair{5u, 0u}, std::pair{0u, 5u}}) {
        Image input(width, height, Image::RGB), output(width, height, Image::GREYSCALE);
        detector.preProcess(input, output);
        Image larger(5, 5, Image::GREYSCALE);
        if (width == 5 || height == 5) {
            fillRectangle(larger, 0, 0, 5, 5, 7);
            detector.preProcess(input, larger);
            EXPECT_EQ(cv::countNonZero(larger.mat() == 7), 25);
        }
    }
}

// ---- morphology

TEST(ColourDetector, MorphologyRemovesSinglePixelsAndKeepsRegions)
{
    ColorGMM model = wideModel();
    ColourDetector::Param params(0);
    params.useMorphology = true;
    ColourDetector detector(&model, &params);
    Image input(30, 20, Image::RGB);
    byteAt(input, 3, 3, 0) = byteAt(input, 3, 3, 1) = 100;
    fillRectangle(input, 10, 5, 25, 15, 100);
    Image mask(30, 20, Image::GREYSCALE);
    detector.preProcess(input, mask);
    for (unsigned y = 0; y < 20; ++y)
        for (unsigned x = 0; x < 30; ++x)
            EXPECT_EQ(byteAt(mask, x, y), x >= 10 && x < 25 && y >= 5 && y < 15 ? 255 : 0) << x << ", " << y;
}

TEST(ColourDetector, MorphologyIsOneErosionAndOneDilation)
{
    std::mt19937 random(1);
    ColorGMM model = wideModel();
    ColourDetector::Param params(0);
    ColourDetector detector(&model, &params);
    const cv::Mat element = cv::Mat::ones(3, 3, CV_8U);
    for (int k = 0; k < 300; ++k) {
        const Image input = randomImage(randomSide(random), randomSide(random), Image::RGB, random, 130);
        Image mask(input.width(), input.height(), Image::GREYSCALE);
        params.useMorphology = false; // the record is the caller's: changes count from the next call on
        detector.preProcess(input, mask);
        cv::Mat expected;
        cv::erode(mask.mat(), expected, element);
        cv::dilate(expected, expected, element);
        params.useMorphology = true;
        detector.preProcess(input, mask);
        ASSERT_EQ(cv::countNonZero(mask.mat() != expected), 0);
    }
}

TEST(ColourDetector, DoesNotUseMorphologyByDefault)
{
    EXPECT_FALSE(ColourDetector::Param(0).useMorphology);
    EXPECT_FALSE(ColourDetector::Param(2).useMorphology);
    ColorGMM model = wideModel();
    ColourDetector detector(&model, nullptr);
    Image input(9, 9, Image::RGB);
    byteAt(input, 4, 4, 0) = byteAt(input, 4, 4, 1) = 100;
    Image mask(9, 9, Image::GREYSCALE);
    detector.preProcess(input, mask);
    EXPECT_EQ(cv::countNonZero(mask.mat()), 1);
}

// ---- objects

TEST(ColourDetector, OwnsTheRecordOnlyIfItMadeIt)
{
    ColorGMM model = wideModel();
    const ColourDetector with(&model, nullptr);
    EXPECT_TRUE(with.mOwnsParams);
    ColourDetector::Param params(0);
    {
        const ColourDetector without(&model, &params);
        EXPECT_FALSE(without.mOwnsParams);
        EXPECT_EQ(without.mParams, &params);
    }
    params.useMorphology = true; // still there; a leak checker sees both cases
    EXPECT_EQ(with.mSquaredDistance, 0.0);
}

TEST(ColourDetector, FieldsStandInTheOrderStated)
{
    ColorGMM model;
    const ColourDetector detector(&model, nullptr);
    EXPECT_TRUE(standInOrder({&detector, &detector.mParams, &detector.mOwnsParams, &detector.mSquaredDistance,
                              &detector.mDifference, &detector.mPixel, &detector.mInvCovariance, &detector.mModel,
                              &detector.mMaskBytes}));
    EXPECT_EQ(detector.mInvCovariance.rows(), 2u);
    static_assert(std::has_virtual_destructor_v<ColourDetector>);
}

// ---- misuse

#ifndef NDEBUG
class ColourDetectorDeathTest : public testing::Test
{
protected:
    void expectDeath(const Image& from, Image& into, const std::string& expression)
    {
        EXPECT_DEATH(detector.preProcess(from, into), assertion("cvprocess/ColourDetector.cpp", expression));
    }

    ColorGMM model = wideModel();
    ColourDetector detector{&model, nullptr};
    Image input{6, 4, Image::RGB};
    Image output{6, 4, Image::GREYSCALE};
};

const char* const kSizes = "input.height() == output.height() || input.width() == output.width()";
const char* const kOutputLayout = "output.channels() == velmor::core::cvdata::Image::GREYSCALE";
const char* const kInputLayout = "input.channels() == velmor::core::cvdata::Image::RGB";

TEST_F(ColourDetectorDeathTest, BothDimensionsDiffer)
{
    Image other(7, 5, Image::GREYSCALE);
    expectDeath(input, other, kSizes);
}

TEST_F(ColourDetectorDeathTest, OutputIsNotGrey)
{
    Image colour(6, 4, Image::RGB);
    expectDeath(input, colour, kOutputLayout);
}

TEST_F(ColourDetectorDeathTest, InputIsNotRgb)
{
    const Image bgr(6, 4, Image::BGR), grey(6, 4, Image::GREYSCALE);
    expectDeath(bgr, output, kInputLayout);
    expectDeath(grey, output, kInputLayout);
}

TEST_F(ColourDetectorDeathTest, SizesComeFirstThenTheOutputThenTheInput)
{
    const Image grey(6, 4, Image::GREYSCALE);
    Image colour(6, 4, Image::RGB), otherColour(7, 5, Image::RGB);
    expectDeath(grey, otherColour, kSizes);
    expectDeath(grey, colour, kOutputLayout);
}

TEST_F(ColourDetectorDeathTest, ANullComponent)
{
    model.mixture.resize(2);
    EXPECT_DEATH(detector.preProcess(input, output), escaped("Assertion `px != 0' failed."));
    CountingModel derived;
    derived.mixture.resize(1);
    ColourDetector plain(&derived, nullptr);
    EXPECT_DEATH(plain.preProcess(input, output), escaped("Assertion `px != 0' failed."));
}

TEST_F(ColourDetectorDeathTest, AComponentOfAnotherDimension)
{
    model.mixture[0] = boost::shared_ptr<GM>(new GM(3));
    expectDeath(input, output,
                "component.invCovariance.rows() == 2 && \"ERROR: the model must have 2 colour components!\"");
}

TEST_F(ColourDetectorDeathTest, NoModel)
{
    ColourDetector without(nullptr, nullptr);
    EXPECT_DEATH(without.preProcess(input, output),
                 assertion("cvprocess/ColourDetector.cpp", "mModel && \"ERROR: the detector has no model!\""));
}

TEST_F(ColourDetectorDeathTest, MorphologyOfNothing)
{
    ColourDetector::Param params(0);
    params.useMorphology = true;
    ColourDetector morphological(&model, &params);
    const Image noColours(0, 4, Image::RGB);
    Image nothing(0, 4, Image::GREYSCALE);
    EXPECT_DEATH(morphological.preProcess(noColours, nothing),
                 assertion("cvprocess/ColourDetector.cpp",
                           "output.width() > 0 && output.height() > 0 && \"ERROR: the output image is empty!\""));
}
#endif

} // namespace
} // namespace velmor::tests
