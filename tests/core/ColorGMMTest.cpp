#include "core/cvdata/ColorGMM.h"

#include "core/cvdata/Image.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"
#include "tests/support/VirtualSlot.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::GM;
using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

boost::shared_ptr<GM> component(double mean0, double mean1, double c00, double c01, double c11, float weight)
{
    math::SquareMatrix covariance(2);
    covariance[0][0] = c00;
    covariance[0][1] = covariance[1][0] = c01;
    covariance[1][1] = c11;
    math::Vector mean(2);
    mean[0] = mean0;
    mean[1] = mean1;
    return GM::fromCovariance(covariance, mean, weight);
}

ColorGMM twoComponents()
{
    ColorGMM model;
    model.mixture = {component(100.0 / 3.0, 41.1, 30.0, 7.0, 21.0, 0.6f),
                     component(200.2, 190.9, 3.0, -1.0, 2.0, 0.4f)};
    model.detectionThreshold = 1e-4 / 3.0;
    return model;
}

template<typename Number>
bool sameBits(Number a, Number b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0; // NOLINT(bugprone-suspicious-memory-comparison): bits are meant
}

void expectSameModel(const ColorGMM& actual, const ColorGMM& expected)
{
    EXPECT_TRUE(sameBits(actual.detectionThreshold, expected.detectionThreshold));
    ASSERT_EQ(actual.mixture.size(), expected.mixture.size());
    for (std::size_t k = 0; k < expected.mixture.size(); ++k) {
        const GM& a = *actual.mixture[k];
        const GM& b = *expected.mixture[k];
        ASSERT_EQ(a.dimension, b.dimension);
        ASSERT_EQ(a.mean.size(), b.mean.size());
        ASSERT_EQ(a.invCovariance.rows(), b.invCovariance.rows());
        EXPECT_TRUE(sameBits(a.determinant, b.determinant)) << a.determinant << " and " << b.determinant;
        EXPECT_TRUE(sameBits(a.weight, b.weight)) << a.weight << " and " << b.weight;
        for (unsigned r = 0; r < b.mean.size(); ++r) {
            EXPECT_TRUE(sameBits(a.mean[r], b.mean[r])) << a.mean[r] << " and " << b.mean[r];
            for (unsigned c = 0; c < b.mean.size(); ++c)
                EXPECT_TRUE(sameBits(a.invCovariance[r][c], b.invCovariance[r][c]))
                    << a.invCovariance[r][c] << " and " << b.invCovariance[r][c];
        }
    }
}

std::string loadError(ColorGMM& model, const std::string& file)
{
    return thrownText<std::runtime_error>([&] { model.load(file); });
}

TEST(ColorGMM, StartsWithoutComponents)
{
    const ColorGMM model;
    EXPECT_EQ(model.nofComponents(), 0);
    EXPECT_EQ(model.detectionThreshold, 1.0 / 65536.0);
}

TEST(ColorGMM, CountsItsComponents)
{
    EXPECT_EQ(twoComponents().nofComponents(), 2);
}

TEST(ColorGMM, ListStandsBeforeTheThresholdAndTheCountIsTheFifthVirtualFunction)
{
    const ColorGMM model;
    EXPECT_TRUE(standInOrder({&model.mixture, &model.detectionThreshold}));
    EXPECT_EQ(virtualSlot(&ColorGMM::nofComponents), 5u);
}

// ---- files

class ColorGMMFile : public testing::TestWithParam<const char*>
{
protected:
    std::string file() const { return folder.file(std::string("model") + GetParam()); }

    const TemporaryFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Formats, ColorGMMFile, testing::Values(".yml", ".yaml", ".xml"),
                         [](const auto& format) { return std::string(format.param + 1); });

TEST_P(ColorGMMFile, BringsBackEveryNumber)
{
    const ColorGMM model = twoComponents();
    model.save(file());
    ColorGMM loaded;
    loaded.load(file());
    expectSameModel(loaded, model);
}

TEST_P(ColorGMMFile, BringsBackAModelWithoutComponents)
{
    ColorGMM().save(file());
    ColorGMM loaded = twoComponents();
    loaded.load(file());
    expectSameModel(loaded, ColorGMM());
}

TEST_P(ColorGMMFile, BringsBackNumbersOfAnySize)
{
    std::mt19937_64 random(1);
    const auto number = [&] {
        const std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof(value));
        return std::isfinite(value) ? value : std::numeric_limits<double>::denorm_min();
    };
    const auto single = [&] {
        const auto bits = static_cast<std::uint32_t>(random());
        float value;
        std::memcpy(&value, &bits, sizeof(value));
        return std::isfinite(value) ? value : std::numeric_limits<float>::infinity();
    };
    ColorGMM model;
    model.detectionThreshold = -std::numeric_limits<double>::infinity();
    for (int k = 0; k < 300; ++k) {
        const int dimension = 1 + k % 3;
        boost::shared_ptr<GM> gm(new GM(dimension));
        gm->weight = single();
        gm->determinant = single();
        for (unsigned r = 0; r < gm->mean.size(); ++r) {
            gm->mean[r] = k % 7 == 0 ? static_cast<double>(static_cast<std::int32_t>(random())) : number();
            for (unsigned c = 0; c < gm->mean.size(); ++c)
                gm->invCovariance[r][c] = number();
        }
        model.mixture.push_back(gm);
    }
    model.save(file());
    ColorGMM loaded;
    loaded.load(file());
    expectSameModel(loaded, model);
}

TEST_P(ColorGMMFile, CutOffAnywhereIsRefusedAndLeavesTheModelAsItWas)
{
    twoComponents().save(file());
    const std::string text = contentOf(file());
    ColorGMM model;
    model.mixture = {component(9.0, 8.0, 7.0, 0.0, 6.0, 0.5f)};
    model.detectionThreshold = 0.125;
    const ColorGMM before = model;
    // What comes behind the last digit is the end of a line and, in XML, of elements.
    const std::size_t lastDigit = text.find_last_of("0123456789");
    for (std::size_t size = 1; size <= lastDigit; ++size) {
        const std::string cut = folder.write(std::string("cut") + GetParam(), text.substr(0, size));
        const std::string error = loadError(model, cut);
        ASSERT_EQ(error.rfind("ColorGMM::load(): cannot load '" + cut + "': ", 0), 0u)
            << "with " << size << " of " << text.size() << " bytes: " << error;
        expectSameModel(model, before);
    }
}

// A byte that changed may leave a model, with another number, or none; never half of one.
TEST_P(ColorGMMFile, WithAnyByteChangedIsEitherReadOrRefusedAsAWhole)
{
    twoComponents().save(file());
    const std::string text = contentOf(file());
    std::mt19937 random(1);
    int refused = 0;
    for (std::size_t place = 0; place < text.size(); ++place) {
        std::string damaged = text;
        damaged[place] = static_cast<char>(random() % 255 + 1);
        const std::string name = folder.write(std::string("damaged") + GetParam(), damaged);
        ColorGMM model;
        model.mixture = {component(9.0, 8.0, 7.0, 0.0, 6.0, 0.5f)};
        model.detectionThreshold = 0.125;
        const ColorGMM before = model;
        const std::string error = loadError(model, name);
        if (error == "no exception") {
            EXPECT_EQ(model.nofComponents(), 2);
        } else {
            ++refused;
            EXPECT_EQ(error.rfind("ColorGMM::load(): cannot load '" + name + "': ", 0), 0u) << error;
            expectSameModel(model, before);
        }
    }
    EXPECT_GT(refused, 0);
}

TEST_P(ColorGMMFile, SavingReplacesAFileAsAWhole)
{
    folder.write(std::string("model") + GetParam(), "something else");
    twoComponents().save(file());
    ColorGMM loaded;
    loaded.load(file());
    expectSameModel(loaded, twoComponents());
}

TEST(ColorGMMFiles, SaysWhatIsWrong)
{
    const TemporaryFolder folder;
    const std::string good = folder.file("good.yml");
    twoComponents().save(good);
    const std::string text = contentOf(good);
    const auto errorWith = [&](const std::string& old, const std::string& replacement) {
        std::string changed = text;
        const std::size_t place = changed.find(old);
        EXPECT_NE(place, std::string::npos) << old << " in " << text;
        changed.replace(place, old.size(), replacement);
        const std::string file = folder.write("bad.yml", changed);
        ColorGMM model;
        const std::string error = loadError(model, file);
        const std::string prefix = "ColorGMM::load(): cannot load '" + file + "': ";
        EXPECT_EQ(error.rfind(prefix, 0), 0u) << error;
        return error.substr(std::min(error.size(), prefix.size()));
    };
    EXPECT_EQ(errorWith("detection_threshold", "threshold"), "it has no detection_threshold");
    EXPECT_EQ(errorWith("components:", "parts:"), "it has no components");
    EXPECT_EQ(errorWith("weight", "width"), "it has no weight");
    EXPECT_EQ(errorWith("determinant", "terminant"), "it has no determinant");
    EXPECT_EQ(errorWith("number_of_components: 2", "number_of_components: 3"),
              "it has another number of components than it says");
    EXPECT_EQ(errorWith("dimension: 2", "dimension: 3"), "its dimension is not the number of elements of a mean");
    EXPECT_EQ(errorWith("dimension: 2", "dimension: two"), "it has something else where a number is expected");
    EXPECT_EQ(errorWith("inverse_covariance: [", "inverse_covariance: [ 1,"),
              "it has another number of elements than 4 in inverse_covariance");
}

TEST(ColorGMMFiles, ErrorsNameTheFileAndTheReason)
{
    const TemporaryFolder folder;
    ColorGMM model = twoComponents();
    const auto reasonFor = [&](const std::string& file) {
        const std::string prefix = "ColorGMM::load(): cannot load '" + file + "': ";
        const std::string error = loadError(model, file);
        EXPECT_EQ(error.rfind(prefix, 0), 0u) << error;
        return error.substr(std::min(error.size(), prefix.size()));
    };
    EXPECT_EQ(reasonFor(folder.file("none.yml")), "No such file or directory");
    EXPECT_EQ(reasonFor(folder.file("")), "it is a folder");
    EXPECT_EQ(reasonFor(folder.write("empty.yml", "")), "it is empty");
    EXPECT_EQ(reasonFor(folder.write("other.yml", "%YAML:1.0\n---\na: 1\n")), "it has no detection_threshold");
    EXPECT_FALSE(reasonFor(folder.write("picture.yml", "\x89PNG\r\n\x1a\n and more")).empty());
    EXPECT_FALSE(reasonFor(folder.write("text.xml", "<?xml version=\"1.0\"?>\n<opencv_storage>\n<a>")).empty());
    expectSameModel(model, twoComponents());

    const auto saveError = [&](const std::string& file) {
        return thrownText<std::runtime_error>([&] { model.save(file); });
    };
    const std::string nowhere = folder.file("nowhere/model.yml");
    EXPECT_EQ(saveError(nowhere), "ColorGMM::save(): cannot save '" + nowhere + "': No such file or directory");
    const std::string unknown = folder.file("model.txt");
    EXPECT_EQ(saveError(unknown),
              "ColorGMM::save(): cannot save '" + unknown + "': no model format has the extension '.txt'");
    EXPECT_EQ(saveError("/dev/full/model.yml").rfind("ColorGMM::save(): cannot save '/dev/full/model.yml': ", 0), 0u);
}

// ---- training

/// An image of random colours of a Gaussian, as bytes.
void fillGaussian(Image& image, unsigned fromRow, unsigned toRow, double mean0, double mean1, double deviation0,
                  double deviation1, unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    const auto byte = [](double value) {
        return static_cast<unsigned char>(std::clamp(std::round(value), 0.0, 255.0));
    };
    for (unsigned y = fromRow; y < toRow; ++y) {
        for (unsigned x = 0; x < image.width(); ++x) {
            unsigned char* const pixel = image.imageBuffer() + y * image.allocatedWidth() + 3 * x;
            pixel[0] = byte(mean0 + deviation0 * normal(random));
            pixel[1] = byte(mean1 + deviation1 * normal(random));
            pixel[2] = static_cast<unsigned char>(random());
        }
    }
}

/// Mean and covariance of the first two channels, and the determinant with 1/12 added to each variance.
struct Statistics
{
    double mean[2] = {0.0, 0.0};
    double covariance[2][2] = {{0.0, 0.0}, {0.0, 0.0}};

    Statistics(const Image& image, unsigned fromRow, unsigned toRow)
    {
        const double count = static_cast<double>(image.width()) * (toRow - fromRow);
        const auto forEach = [&](const auto& visit) {
            for (unsigned y = fromRow; y < toRow; ++y)
                for (unsigned x = 0; x < image.width(); ++x)
                    visit(image.imageBuffer() + y * image.allocatedWidth() + 3 * x);
        };
        forEach([&](const unsigned char* pixel) {
            mean[0] += pixel[0] / count;
            mean[1] += pixel[1] / count;
        });
        forEach([&](const unsigned char* pixel) {
            for (int r = 0; r < 2; ++r)
                for (int c = 0; c < 2; ++c)
                    covariance[r][c] += (pixel[r] - mean[r]) * (pixel[c] - mean[c]) / count;
        });
        covariance[0][0] += 1.0 / 12.0;
        covariance[1][1] += 1.0 / 12.0;
    }

    double determinant() const { return covariance[0][0] * covariance[1][1] - covariance[0][1] * covariance[1][0]; }
};

void expectComponent(const GM& actual, const Statistics& expected, double weight, double relative)
{
    const double determinant = expected.determinant();
    EXPECT_NEAR(actual.mean[0], expected.mean[0], relative * expected.mean[0]);
    EXPECT_NEAR(actual.mean[1], expected.mean[1], relative * expected.mean[1]);
    EXPECT_NEAR(actual.determinant, determinant, relative * determinant);
    EXPECT_NEAR(actual.weight, weight, relative * weight);
    const double inverse[2][2] = {{expected.covariance[1][1] / determinant, -expected.covariance[0][1] / determinant},
                                  {-expected.covariance[1][0] / determinant, expected.covariance[0][0] / determinant}};
    for (unsigned r = 0; r < 2; ++r)
        for (unsigned c = 0; c < 2; ++c)
            EXPECT_NEAR(actual.invCovariance[r][c], inverse[r][c], relative * inverse[r][r]);
}

TEST(ColorGMMTraining, OneComponentIsMeanAndCovarianceOfTheSamples)
{
    Image samples(61, 37, Image::RGB);
    fillGaussian(samples, 0, 37, 120.0, 90.0, 9.0, 4.0, 1);
    ColorGMM model;
    model.detectionThreshold = 0.25;
    model.train(samples, nullptr, 1);
    ASSERT_EQ(model.nofComponents(), 1);
    expectComponent(*model.mixture[0], Statistics(samples, 0, 37), 1.0, 1e-6);
    EXPECT_EQ(model.mixture[0]->dimension, 2);
    EXPECT_EQ(model.detectionThreshold, 0.25);
}

TEST(ColorGMMTraining, FindsGroupsThatLieApart)
{
    Image samples(50, 40, Image::BGR);
    fillGaussian(samples, 0, 10, 40.0, 60.0, 3.0, 5.0, 1);
    fillGaussian(samples, 10, 40, 200.0, 180.0, 6.0, 2.0, 2);
    ColorGMM model;
    model.train(samples, nullptr, 2);
    ASSERT_EQ(model.nofComponents(), 2);
    std::sort(model.mixture.begin(), model.mixture.end(),
              [](const auto& a, const auto& b) { return a->mean[0] < b->mean[0]; });
    expectComponent(*model.mixture[0], Statistics(samples, 0, 10), 0.25, 1e-6);
    expectComponent(*model.mixture[1], Statistics(samples, 10, 40), 0.75, 1e-6);
}

TEST(ColorGMMTraining, ReadsThePixelsUnderTheMaskOnly)
{
    Image samples(50, 40, Image::RGB);
    fillGaussian(samples, 0, 20, 40.0, 60.0, 3.0, 5.0, 1);
    fillGaussian(samples, 20, 40, 200.0, 180.0, 6.0, 2.0, 2);
    Image mask(50, 40, Image::GREYSCALE);
    for (unsigned y = 20; y < 40; ++y)
        std::fill_n(mask.imageBuffer() + y * mask.allocatedWidth(), 50, static_cast<unsigned char>(y));
    ColorGMM model;
    model.train(samples, &mask, 1);
    expectComponent(*model.mixture[0], Statistics(samples, 20, 40), 1.0, 1e-6);
}

TEST(ColorGMMTraining, IsRepeatableAndLeavesTheRandomGeneratorAlone)
{
    Image samples(16, 16, Image::RGB);
    fillGaussian(samples, 0, 16, 120.0, 90.0, 30.0, 40.0, 1);
    ColorGMM first, second;
    first.train(samples, nullptr, 3);
    cv::theRNG() = cv::RNG(4711);
    second.train(samples, nullptr, 3);
    EXPECT_EQ(cv::theRNG().state, cv::RNG(4711).state);
    expectSameModel(second, first);
}

TEST(ColorGMMTraining, ASingleColourMakesAModel)
{
    Image samples(20, 20, Image::RGB);
    std::fill_n(samples.imageBuffer(), samples.height() * samples.allocatedWidth(), static_cast<unsigned char>(77));
    for (const int count : {1, 2, 5}) {
        ColorGMM model;
        model.train(samples, nullptr, count);
        ASSERT_EQ(model.nofComponents(), count);
        double weights = 0.0;
        for (const auto& gm : model.mixture) {
            EXPECT_NEAR(gm->mean[0], 77.0, 1e-9);
            EXPECT_NEAR(gm->mean[1], 77.0, 1e-9);
            EXPECT_NEAR(gm->determinant, 1.0 / 144.0, 1e-8);
            weights += gm->weight;
        }
        EXPECT_NEAR(weights, 1.0, 1e-6);
    }
}

TEST(ColorGMMTraining, TakesAsManyPixelsAsComponents)
{
    Image samples(3, 1, Image::RGB);
    unsigned char* const bytes = samples.imageBuffer();
    bytes[0] = 10;
    bytes[3] = 100;
    bytes[6] = 200;
    ColorGMM model;
    model.train(samples, nullptr, 3);
    std::vector<double> means;
    for (const auto& gm : model.mixture)
        means.push_back(gm->mean[0]);
    std::sort(means.begin(), means.end());
    EXPECT_NEAR(means[0], 10.0, 1e-9);
    EXPECT_NEAR(means[1], 100.0, 1e-9);
    EXPECT_NEAR(means[2], 200.0, 1e-9);

    Image mask(3, 1, Image::GREYSCALE);
    mask.imageBuffer()[1] = 1;
    model.train(samples, &mask, 1); // a single pixel
    ASSERT_EQ(model.nofComponents(), 1);
    EXPECT_EQ(model.mixture[0]->mean[0], 100.0);
    EXPECT_NEAR(model.mixture[0]->determinant, 1.0 / 144.0, 1e-8);
}

TEST(ColorGMMTraining, RefusesWrongArgumentsAndLeavesTheModelAsItWas)
{
    ColorGMM model = twoComponents();
    Image samples(4, 2, Image::RGB);
    Image grey(4, 2, Image::GREYSCALE);
    Image small(3, 2, Image::GREYSCALE);
    const auto argumentError = [&](const Image& image, const Image* mask, int components) {
        return thrownText<std::invalid_argument>([&] { model.train(image, mask, components); });
    };
    EXPECT_EQ(argumentError(grey, nullptr, 1),
              "ColorGMM::train(): expected samples of 3 channels, got 4 x 2 pixels of 1 channels");
    EXPECT_EQ(argumentError(samples, &samples, 1), "ColorGMM::train(): expected a mask of 1 channel of the samples' "
                                                   "size, got 4 x 2 pixels of 3 channels for 4 x 2 pixels of 3 "
                                                   "channels");
    EXPECT_EQ(argumentError(samples, &small, 1),
              "ColorGMM::train(): expected a mask of 1 channel of the samples' size, "
              "got 3 x 2 pixels of 1 channels for 4 x 2 pixels of 3 channels");
    EXPECT_EQ(argumentError(samples, nullptr, 0), "ColorGMM::train(): expected at least 1 component, got 0");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { model.train(samples, nullptr, 9); }),
              "ColorGMM::train(): expected at least a pixel for each of 9 components, got 8");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { model.train(samples, &grey, 1); }),
              "ColorGMM::train(): expected at least a pixel for each of 1 components, got 0");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { model.train(Image(0, 0, Image::RGB), nullptr, 1); }),
              "ColorGMM::train(): expected at least a pixel for each of 1 components, got 0");
    expectSameModel(model, twoComponents());
}

} // namespace
} // namespace velmor::tests
