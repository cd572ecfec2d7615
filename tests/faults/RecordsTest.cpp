// Records when there is no memory: a change of one is made as a whole, or not at all.

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/GM.h"
#include "core/cvdata/Image.h"
#include "core/cvdata/TextureGpu.h"
#include "core/util/AbstractParameter.h"
#include "core/util/ParameterContainer.h"
#include "imageio/ImageIo.h"
#include "math/SquareMatrix.h"
#include "math/Vector.h"
#include "tests/faults/FailingMemory.h"
#include "tests/support/Models.h"
#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace velmor::tests {
namespace {

using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;
using core::cvdata::GM;
using core::cvdata::Image;
using math::Matrix;
using math::SquareMatrix;
using math::Vector;

// ---- what can be seen of each

std::vector<double> numbersOf(const Matrix& matrix)
{
    std::vector<double> numbers = {static_cast<double>(matrix.rows()), static_cast<double>(matrix.cols())};
    numbers.insert(numbers.end(), matrix[0], matrix[0] + std::size_t{matrix.rows()} * matrix.cols());
    return numbers;
}

void append(std::vector<double>& numbers, const std::vector<double>& more)
{
    numbers.insert(numbers.end(), more.begin(), more.end());
}

std::vector<double> numbersOf(const GM& component)
{
    std::vector<double> numbers = {component.determinant, static_cast<double>(component.dimension), component.weight};
    append(numbers, numbersOf(component.mean));
    append(numbers, numbersOf(component.invCovariance));
    return numbers;
}

std::vector<double> numbersOf(const ColorGMM& model)
{
    std::vector<double> numbers = {model.detectionThreshold};
    for (const auto& component : model.mixture)
        append(numbers, numbersOf(*component));
    return numbers;
}

std::vector<double> numbersOf(const ColourHist2d& histogram)
{
    unsigned char bins[3];
    histogram.getNofBins(bins[0], bins[1], bins[2]);
    std::vector<double> numbers(bins, bins + 3);
    append(numbers, numbersOf(histogram.data()));
    return numbers;
}

std::vector<double> numbersOf(const Blobs& blobs)
{
    std::vector<double> numbers;
    for (const Blobs::BlobInfo& blob : blobs.blobs) {
        append(numbers, {blob.majorAxis, blob.x, blob.y, static_cast<double>(blob.area)});
        append(numbers, numbersOf(blob.covariance));
        append(numbers, numbersOf(blob.eigenvectors));
        append(numbers, numbersOf(blob.eigenvalues));
    }
    return numbers;
}

std::vector<unsigned char> bytesOf(const Image& image)
{
    std::vector<unsigned char> bytes = {static_cast<unsigned char>(image.width()),
                                        static_cast<unsigned char>(image.height()),
                                        static_cast<unsigned char>(image.channels())};
    for (unsigned y = 0; y < image.height(); ++y) {
        const unsigned char* const row = image.imageBuffer() + std::size_t{y} * image.allocatedWidth();
        bytes.insert(bytes.end(), row, row + std::size_t{image.width()} * image.nofChannels());
    }
    return bytes;
}

const auto kNumbers = [](const auto& object) {
    return numbersOf(object);
};

std::ptrdiff_t filesIn(const TemporaryFolder& folder)
{
    return std::distance(std::filesystem::directory_iterator(folder.path()), {});
}

// ---- matrices

template<typename Object>
Object filled(Object object, double first)
{
    double* const elements = static_cast<const Matrix&>(object)[0];
    for (unsigned k = 0; k < object.rows() * object.cols(); ++k)
        elements[k] = first + k;
    return object;
}

TEST(Records, MatricesAreAssignedAsAWhole)
{
    const Matrix other = filled(Matrix(3, 4), 100);
    expectChangeIsWholeOrNone([] { return std::make_unique<Matrix>(filled(Matrix(2, 5), 1)); },
                              [&](Matrix& matrix) { matrix = other; }, kNumbers);
    const Vector longer = filled(Vector(9), 100);
    expectChangeIsWholeOrNone([] { return std::make_unique<Vector>(filled(Vector(7), 1)); },
                              [&](Vector& vector) { vector = longer; }, kNumbers);
    const SquareMatrix larger = filled(SquareMatrix(4), 100);
    expectChangeIsWholeOrNone([] { return std::make_unique<SquareMatrix>(filled(SquareMatrix(3), 1)); },
                              [&](SquareMatrix& matrix) { matrix = larger; }, kNumbers);
}

// ---- colours

GM component(int dimension, double first)
{
    GM result(dimension);
    result.determinant = static_cast<float>(first);
    result.weight = static_cast<float>(first + 1);
    result.mean = filled(result.mean, first + 2);
    result.invCovariance = filled(result.invCovariance, first + 50);
    return result;
}

TEST(Records, ComponentsAreAssignedAsAWhole)
{
    const GM other = component(6, 300);
    expectChangeIsWholeOrNone([] { return std::make_unique<GM>(component(5, 100)); },
                              [&](GM& changed) { changed = other; }, kNumbers);
}

std::unique_ptr<ColorGMM> modelBefore()
{
    return std::make_unique<ColorGMM>(makeModel({numbered(1)}, 0.25));
}

TEST(Records, ModelsAreAssignedAsAWhole)
{
    const ColorGMM other = makeModel({numbered(2), numbered(3)}, 0.5);
    expectChangeIsWholeOrNone(
        modelBefore, [&](ColorGMM& model) { model = other; }, kNumbers);
}

TEST(Records, ModelsAreLoadedAsAWhole)
{
    const TemporaryFolder folder;
    for (const char* const name : {"model.yml", "model.xml"}) {
        const std::string file = folder.file(name);
        makeModel({numbered(2), numbered(3)}, 0.5).save(file);
        expectChangeIsWholeOrNone(
            modelBefore, [&](ColorGMM& model) { model.load(file); }, kNumbers);
    }
}

TEST(Records, ModelsAreSavedAsAWhole)
{
    const TemporaryFolder folder;
    for (const char* const name : {"model.yml", "model.xml"}) {
        const std::string file = folder.file(name);
        expectChangeIsWholeOrNone(
            [&] {
                modelBefore()->save(file);
                return std::make_unique<ColorGMM>(makeModel({numbered(2), numbered(3)}, 0.5));
            },
            [&](ColorGMM& model) { model.save(file); }, [&](const ColorGMM&) { return contentOf(file); });
        EXPECT_EQ(filesIn(folder), 1);
        std::filesystem::remove(file);
    }
}

TEST(Records, ModelsAreTrainedAsAWhole)
{
    cv::setNumThreads(1);
    std::mt19937 random(1);
    const Image samples = randomImage(12, 10, Image::RGB, random);
    ColorGMM().train(samples, nullptr, 2); // for what OpenCV allocates once
    expectChangeIsWholeOrNone(
        modelBefore, [&](ColorGMM& model) { model.train(samples, nullptr, 2); }, kNumbers, kLeakOfOpenCv);
}

TEST(Records, HistogramsAreAssignedAsAWhole)
{
    ColourHist2d other(3, 4, 5);
    other.data() = filled(other.data(), 100);
    expectChangeIsWholeOrNone([] { return std::make_unique<ColourHist2d>(2, 2, 2); },
                              [&](ColourHist2d& histogram) { histogram = other; }, kNumbers);
}

// ---- regions

TEST(Records, RegionsAreAddedAsAWhole)
{
    const auto some = [](std::size_t count) {
        Blobs blobs;
        for (std::size_t k = 0; k < count; ++k) {
            blobs.addBlob();
            blobs.blobs[k].x = static_cast<double>(k);
        }
        return blobs;
    };
    expectChangeIsWholeOrNone([&] { return std::make_unique<Blobs>(some(4)); },
                              [](Blobs& blobs) {
                                  if (blobs.blobs.size() == 4)
                                      blobs.addBlob();
                              },
                              kNumbers);
    const Blobs other = some(5);
    expectChangeIsWholeOrNone([&] { return std::make_unique<Blobs>(some(2)); }, [&](Blobs& blobs) { blobs = other; },
                              kNumbers);
}

// ---- pictures

/// Codecs in C jump over the ends of what OpenCV has made for them.
constexpr std::size_t kLeaksOfCodecs = 20;

TEST(Records, PicturesAreAssignedAsAWhole)
{
    std::mt19937 random(1);
    const Image other = randomImage(9, 7, Image::RGB, random), before = randomImage(6, 5, Image::BGR, random);
    expectChangeIsWholeOrNone([&] { return std::make_unique<Image>(before); }, [&](Image& image) { image = other; },
                              bytesOf);
}

TEST(Records, PicturesAreCopiedOrNotThere)
{
    std::mt19937 random(1);
    const Image other = randomImage(9, 7, Image::RGB, random);
    using Holder = std::unique_ptr<Image>;
    expectChangeIsWholeOrNone(
        [] { return std::make_unique<Holder>(); }, [&](Holder& holder) { holder.reset(other.clone()); },
        [](const Holder& holder) { return holder ? bytesOf(*holder) : bytesOf(Image(0, 0, Image::RGB)); });
}

TEST(Records, PictureFilesAreSavedAsAWhole)
{
    const TemporaryFolder folder;
    std::mt19937 random(1);
    const Image before = randomImage(6, 5, Image::RGB, random), after = randomImage(9, 7, Image::RGB, random);
    for (const char* const name : {"picture.bmp", "picture.ppm"}) { // of others the codecs of OpenCV crash
        SCOPED_TRACE(name);
        const std::string file = folder.file(name);
        imageio::save(before, file);
        expectChangeIsWholeOrNone(
            [&] {
                imageio::save(before, file);
                return std::make_unique<Image>(after);
            },
            [&](Image& image) { imageio::save(image, file); }, [&](const Image&) { return contentOf(file); },
            kLeaksOfCodecs);
        EXPECT_EQ(filesIn(folder), 1);
        std::filesystem::remove(file);
    }
}

TEST(Records, PictureFilesAreLoadedAsAWhole)
{
    const TemporaryFolder folder;
    std::mt19937 random(1);
    const Image before = randomImage(6, 5, Image::RGB, random), after = randomImage(9, 7, Image::RGB, random);
    for (const char* const name : {"picture.png", "picture.jpg", "picture.bmp", "picture.ppm"}) {
        SCOPED_TRACE(name);
        const std::string file = folder.file(name);
        imageio::save(after, file);
        imageio::load(file, Image::RGB);
        expectChangeIsWholeOrNone([&] { return std::make_unique<Image>(before); },
                                  [&](Image& image) { image = imageio::load(file, Image::RGB); }, bytesOf,
                                  kLeakOfOpenCv);
    }
}

} // namespace
} // namespace velmor::tests
