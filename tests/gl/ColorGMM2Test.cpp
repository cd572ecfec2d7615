#include "cvprocess/gpuStdShaders/ColorGMM2.h"

#include "tests/support/MixtureRules.h"

#include <limits>
#include <random>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;
using Model = velmor::core::cvdata::ColorGMM;

namespace velmor::tests {
namespace {

constexpr Texel kBlack = {0.0f, 0.0f, 0.0f, 0.0f};
constexpr Texel kWhite = {1.0f, 1.0f, 1.0f, 1.0f};

/// A model of so many components, of all sizes and directions. Repeatable by seed.
Model randomModel(int components, unsigned seed)
{
    std::mt19937 random(seed);
    const auto between = [&](double low, double high) {
        return low + (high - low) * static_cast<double>(random() % 65536) / 65535.0;
    };
    std::vector<Gaussian> gaussians;
    for (int i = 0; i < components; ++i) {
        const double red = between(200, 3000), green = between(200, 3000);
        const double covariance = between(-0.9, 0.9) * std::sqrt(red * green);
        gaussians.push_back(gaussian(between(20, 235), between(20, 235), red, covariance, green,
                                     1.0f / static_cast<float>(components)));
    }
    return makeModel(gaussians, 0.0);
}

/// Models of one to nine components.
std::vector<Model> randomModels(int count)
{
    std::vector<Model> models;
    for (int i = 0; i < count; ++i)
        models.push_back(randomModel(1 + i % 9, 100u + static_cast<unsigned>(i)));
    return models;
}

std::unique_ptr<cvprocess::ColorGMM2> makeFilter(std::vector<Model>& models)
{
    std::vector<Model*> pointers;
    for (Model& model : models)
        pointers.push_back(&model);
    return makeQuietly<cvprocess::ColorGMM2>(pointers);
}

// One class

Reference detection(const Model& model)
{
    Reference reference =
        perPixel([&model](const Texel& colour,
                          const Texel&) { return density(model, colour) > model.detectionThreshold ? kWhite : kBlack; },
                 0.0f);
    reference.source = [&model](unsigned width, unsigned height, unsigned seed) {
        return decidedPicture(width, height, seed, [&](const Texel& colour) {
            return apart(density(model, colour), model.detectionThreshold);
        });
    };
    return reference;
}

class ColorGMM2 : public PixelTest
{
protected:
    /// Runs a filter of one class of so many components on all colours, many sizes and a frame.
    void expectDetection(int components)
    {
        SCOPED_TRACE(components);
        std::vector<Model> models = {randomModel(components, static_cast<unsigned>(components))};
        models[0].detectionThreshold = separatingThreshold(models[0], 1e-5);
        const auto filter = makeFilter(models);
        const Picture colours = allColours();
        const auto kept = std::count_if(colours.texels.begin(), colours.texels.end(), [&](const Texel& colour) {
            return density(models[0], colour) > models[0].detectionThreshold;
        });
        EXPECT_GT(kept, 1000);
        EXPECT_LT(kept, 60000);
        expectPixels(*filter, detection(models[0]), colours);
        expectPixels(*filter, false, detection(models[0]));
        expectFrame(*filter, detection(models[0]), photograph(Image::RGB));
    }

    /// Runs a filter of so many classes on many sizes and all colours, and on a frame where that is asked for.
    void expectClassification(int count, bool ofAFrame);
};

using ColorGMM2Sweep = ColorGMM2;

TEST_F(ColorGMM2, OfOneClassOfFiveComponents)
{
    expectDetection(5);
}

TEST_F(ColorGMM2Sweep, OfOneClassOfOneToNineComponents)
{
    for (int components = 1; components <= 9; ++components)
        expectDetection(components);
}

TEST_F(ColorGMM2, OfOneClassRejectsADensityThatEqualsTheThreshold)
{
    std::vector<Model> models = {makeModel({gaussian(60, 70, 400, 0, 300, 0.0f)}, 0.0)}; // density 0 everywhere
    const auto filter = makeFilter(models);
    expectNear(runOne(*filter, {0.25f, 0.5f, 0.75f, 1.0f}), kBlack, 0.0f);
    models[0].detectionThreshold = -1e-30; // just below
    expectNear(runOne(*filter, {0.25f, 0.5f, 0.75f, 1.0f}), kWhite, 0.0f);
}

// Several classes

/// The class of the largest density, the first one on a tie, and whether single precision can tell it from the others.
struct Classification
{
    int best = 0;
    bool decided = false;
};

Classification classify(const std::vector<Model>& models, const Texel& colour)
{
    Classification result;
    double largest = -1.0, second = -1.0;
    for (std::size_t j = 0; j < models.size(); ++j) {
        const double each = density(models[j], colour);
        if (each > largest) {
            second = largest;
            largest = each;
            result.best = static_cast<int>(j);
        } else {
            second = std::max(second, each);
        }
    }
    result.decided = apart(largest, second) && largest > std::numeric_limits<float>::min();
    return result;
}

Reference classification(const std::vector<Model>& models)
{
    Reference reference =
        perPixel([&models](const Texel& colour,
                           const Texel&) { return Texel{static_cast<float>(classify(models, colour).best)}; },
                 0.0f);
    reference.channels = 1;
    reference.source = [&models](unsigned width, unsigned height, unsigned seed) {
        return decidedPicture(width, height, seed,
                              [&](const Texel& colour) { return classify(models, colour).decided; });
    };
    return reference;
}

/// Compares where single precision can tell, which has to be nearly everywhere.
void expectClasses(const Picture& result, const std::vector<Model>& models, const Picture& source)
{
    std::size_t wrong = 0, undecided = 0, outside = 0;
    for (std::size_t i = 0; i < source.texels.size(); ++i) {
        const Classification expected = classify(models, source.texels[i]);
        const float actual = result.texels[i][0];
        undecided += !expected.decided;
        wrong += expected.decided && actual != static_cast<float>(expected.best);
        outside += !(actual >= 0.0f && actual < static_cast<float>(models.size()) && actual == std::floor(actual));
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(outside, 0u);
    EXPECT_LT(undecided, source.texels.size() / 100);
}

void ColorGMM2::expectClassification(int count, bool ofAFrame)
{
    SCOPED_TRACE(count);
    std::vector<Model> models = randomModels(count);
    const auto filter = makeFilter(models);
    const Picture colours = allColours();
    expectPixels(*filter, false, classification(models));
    expectClasses(run(*filter, colours), models, colours);
    if (!ofAFrame)
        return;
    const Image frame = photograph(Image::RGB);
    RectTexture source(frame.width(), frame.height(), RectTexture::RGB8);
    RectTexture destination(frame.width(), frame.height(), RectTexture::R32F);
    source.upload(frame);
    filter->resetROIs(); // for another size
    expectClasses(run(*filter, source, destination), models, pictureOf(frame));
}

TEST_F(ColorGMM2, OfThreeClasses)
{
    expectClassification(3, true);
}

TEST_F(ColorGMM2Sweep, OfTwoToElevenClasses)
{
    for (int count = 2; count <= 11; ++count)
        expectClassification(count, count % 3 == 2); // 2, 5, 8 and 11: the pixels of a frame are many
}

TEST_F(ColorGMM2, UsesEveryClass)
{
    std::vector<Model> models;
    for (int i = 0; i < 11; ++i)
        models.push_back(makeModel({gaussian(10 + 23 * i, 128, 100, 0, 5000, 1.0f)}, 1.0)); // no threshold applies
    const auto filter = makeFilter(models);
    for (int i = 0; i < 11; ++i) {
        const float red = static_cast<float>(10 + 23 * i) / 255.0f;
        EXPECT_EQ(runOne(*filter, {red, 0.5f, 0.0f, 1.0f})[0], static_cast<float>(i));
    }
}

TEST_F(ColorGMM2, GivesTheFirstOfEqualClasses)
{
    const Model one = makeModel({gaussian(100, 100, 900, 0, 900, 1.0f)}, 0.0);
    std::vector<Model> equal = {one, one};
    for (const Texel& texel : run(*makeFilter(equal), allColours()).texels)
        ASSERT_EQ(texel[0], 0.0f);
    const Model none = makeModel({gaussian(100, 100, 900, 0, 900, 0.0f)}, 0.0); // density 0 everywhere
    std::vector<Model> zero = {none, none, none};
    EXPECT_EQ(runOne(*makeFilter(zero), {0.5f, 0.5f, 0.0f, 1.0f})[0], 0.0f);
}

TEST_F(ColorGMM2, FollowsItsModelsFromPassToPass)
{
    std::vector<Model> models = randomModels(3);
    const auto filter = makeFilter(models);
    const Picture colours = allColours();
    expectClasses(run(*filter, colours), models, colours);
    std::swap(models[0], models[2]); // counts of components change places too
    expectClasses(run(*filter, colours), models, colours);
}

} // namespace
} // namespace velmor::tests
