#include "cvprocess/gpuStdShaders/ColorGMM.h"

#include "tests/support/MixtureRules.h"
#include "tests/support/Pictures.h"

using velmor::core::cvdata::Image;
using Model = velmor::core::cvdata::ColorGMM;

namespace velmor::tests {
namespace {

using ColorGMM = PixelTest;

/// A byte as a float on 0..1, which a driver may round to the neighbouring float.
constexpr float kByteRounding = 6e-8f;
constexpr Texel kBlack = {0.0f, 0.0f, 0.0f, 0.0f};
constexpr Texel kWhite = {1.0f, 1.0f, 1.0f, 1.0f};

struct ModelCase
{
    const char* name;
    Model model; ///< of two components, with a threshold that no colour of bytes is close to
};

ModelCase named(const char* name, Model model, double wishedThreshold)
{
    model.detectionThreshold = separatingThreshold(model, wishedThreshold);
    return {name, model};
}

/// What a part of the photograph is made of.
Model trained()
{
    const Image picture = photograph(Image::RGB);
    Image part(picture.width(), picture.height(), Image::GREYSCALE);
    fillRectangle(part, 200, 50, 260, 110, 1);
    Model model;
    model.train(picture, &part, 2);
    return model;
}

/// Components apart, components across each other, one that outweighs the other, and trained ones.
const std::vector<ModelCase>& models()
{
    static const std::vector<ModelCase> all = {
        named("apart", makeModel({gaussian(60, 70, 400, 0, 300, 0.5f), gaussian(190, 160, 200, 0, 900, 0.5f)}, 0.0),
              1e-5),
        named("across",
              makeModel({gaussian(128, 128, 3000, 2500, 3000, 0.5f), gaussian(120, 140, 3000, -2500, 3000, 0.5f)}, 0.0),
              1e-5),
        named("uneven",
              makeModel({gaussian(40, 200, 5000, 100, 8000, 0.95f), gaussian(220, 30, 30, 5, 20, 0.05f)}, 0.0), 4e-6),
        named("trained", trained(), 1.0 / 65536.0),
    };
    return all;
}

std::unique_ptr<cvprocess::ColorGMM> makeFilter(Model& model, bool binary)
{
    cvprocess::ColorGMM::Param param;
    param.mBinaryOutput = binary;
    return makeQuietly<cvprocess::ColorGMM>(&model, &param);
}

/// What a filter of two components is to give. Where a random colour's density is too close to the threshold, another
/// one takes its place.
Reference detection(const Model& model, bool binary)
{
    const auto rule = [&model, binary](const Texel& colour, const Texel&) {
        return !(density(model, colour) > model.detectionThreshold) ? kBlack : binary ? kWhite : colour;
    };
    Reference reference = perPixel(rule, binary ? 0.0f : kByteRounding);
    reference.source = [&model](unsigned width, unsigned height, unsigned seed) {
        return decidedPicture(width, height, seed, [&](const Texel& colour) {
            return apart(density(model, colour), model.detectionThreshold);
        });
    };
    return reference;
}

TEST_F(ColorGMM, OfRandomColoursInManySizesAndRegions)
{
    for (ModelCase each : models()) {
        for (const bool binary : {true, false}) {
            SCOPED_TRACE(std::string(each.name) + (binary ? ", binary" : ", colour"));
            const auto filter = makeFilter(each.model, binary);
            expectPixels(*filter, false, detection(each.model, binary));
        }
    }
}

TEST_F(ColorGMM, OfAllColoursOfTwoBytes)
{
    const Picture colours = allColours();
    for (ModelCase each : models()) {
        int kept = 0, undecided = 0;
        for (const Texel& colour : colours.texels) {
            const double likelihood = density(each.model, colour);
            kept += likelihood > each.model.detectionThreshold;
            undecided += !apart(likelihood, each.model.detectionThreshold);
        }
        EXPECT_GT(kept, 100) << each.name;
        EXPECT_LT(kept, 60000) << each.name;
        EXPECT_EQ(undecided, 0) << each.name;
        for (const bool binary : {true, false}) {
            SCOPED_TRACE(std::string(each.name) + (binary ? ", binary" : ", colour"));
            const auto filter = makeFilter(each.model, binary);
            expectPixels(*filter, detection(each.model, binary), colours);
        }
    }
}

TEST_F(ColorGMM, OfAFrame)
{
    for (ModelCase each : models()) {
        for (const bool binary : {true, false}) {
            SCOPED_TRACE(std::string(each.name) + (binary ? ", binary" : ", colour"));
            const auto filter = makeFilter(each.model, binary);
            expectFrame(*filter, detection(each.model, binary), photograph(Image::RGB));
        }
    }
}

TEST_F(ColorGMM, RejectsADensityThatEqualsTheThreshold)
{
    // Without weight the density is exactly 0 everywhere.
    Model model = makeModel({gaussian(60, 70, 400, 0, 300, 0.0f), gaussian(190, 160, 200, 0, 900, 0.0f)}, 0.0);
    const auto filter = makeFilter(model, true);
    const Texel colour = {0.25f, 0.5f, 0.75f, 1.0f};
    expectNear(runOne(*filter, colour), kBlack, 0.0f);
    model.detectionThreshold = -1e-30; // just below
    expectNear(runOne(*filter, colour), kWhite, 0.0f);
}

TEST_F(ColorGMM, FollowsItsModelFromPassToPass)
{
    Model model = models().front().model;
    const auto filter = makeFilter(model, false);
    const Picture colours = allColours();
    for (const ModelCase& each : models()) {
        SCOPED_TRACE(each.name);
        model = each.model;
        expectPixels(*filter, detection(model, false), colours);
    }
}

TEST_F(ColorGMM, OfOneAndOfThreeComponentsHasNoShaderThatCompiles)
{
    for (const std::size_t components : {1u, 3u}) {
        Model model = makeModel(std::vector<Gaussian>(components, gaussian(60, 70, 400, 0, 300, 0.5f)), 1e-5);
        EXPECT_EXIT((cvprocess::ColorGMM{&model, nullptr}), testing::ExitedWithCode(255),
                    "^ERROR: Unable to compile shader Id: [0-9]+\n$");
    }
}

} // namespace
} // namespace velmor::tests
