// The operators on images when there is no memory.

#include "catalogue/CpuOperators.h"
#include "core/cvdata/Blobs.h"
#include "core/cvdata/Image.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "math/Vector4.h"
#include "tests/faults/FailingMemory.h"
#include "tests/support/Models.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <memory>
#include <string>
#include <vector>

using namespace velmor::cvprocess;

namespace velmor::tests {
namespace {

using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::Image;

const std::string kCascade = VELMOR_TEST_CASCADES "/haar.xml";

class CpuOperatorsWithoutMemory : public testing::Test
{
protected:
    CpuOperatorsWithoutMemory() { cv::setNumThreads(1); }

    /// Black with some bright squares.
    Image squares(Image::ChannelLayout layout) const
    {
        Image image(61, 47, layout);
        for (unsigned k = 0; k < 5; ++k)
            fillRectangle(image, 3 + 11 * k, 5 + 7 * k, 10 + 11 * k, 11 + 7 * k, 200);
        return image;
    }

    ColorGMM model = makeModel({{{{0.01, 0}, {0, 0.01}}, 1e4f, {200, 200}, 1.0f}}, 1e-6);
};

std::vector<unsigned char> bytesOf(const Image& image)
{
    return {image.imageBuffer(), image.imageBuffer() + std::size_t{image.allocatedWidth()} * image.height()};
}

/// Making an operator, in a place that is empty before.
template<typename Operator, typename Make>
void expectMadeOrNot(const Make& make)
{
    expectChangeIsWholeOrNone([] { return std::make_unique<std::unique_ptr<Operator>>(); },
                              [&](std::unique_ptr<Operator>& place) {
                                  place.reset();
                                  place.reset(make());
                              },
                              [](const std::unique_ptr<Operator>& place) { return place != nullptr; });
}

TEST_F(CpuOperatorsWithoutMemory, ColourDetector)
{
    expectMadeOrNot<ColourDetector>([&] { return new ColourDetector(&model, nullptr); });
    const Image input = squares(Image::RGB);
    ColourDetector::Param params(0);
    for (const bool useMorphology : {false, true}) {
        params.useMorphology = useMorphology;
        expectOperatorBearsFailures([&] { return std::make_unique<ColourDetector>(&model, &params); },
                                    [&](ColourDetector& detector) {
                                        Image output(61, 47, Image::GREYSCALE);
                                        detector.preProcess(input, output);
                                        return bytesOf(output);
                                    });
    }
}

TEST_F(CpuOperatorsWithoutMemory, Moments)
{
    expectMadeOrNot<Moments>([] { return new Moments; });
    const Image input = squares(Image::GREYSCALE);
    expectOperatorBearsFailures([] { return std::make_unique<Moments>(); },
                                [&](Moments& moments) {
                                    Blobs blobs;
                                    moments.findBlobs(input, blobs, -1, 0.0);
                                    std::vector<double> numbers;
                                    for (const Blobs::BlobInfo& blob : blobs.blobs)
                                        numbers.insert(numbers.end(), {blob.x, blob.y, blob.majorAxis, blob.angle});
                                    return numbers;
                                });
}

TEST_F(CpuOperatorsWithoutMemory, MotionSegment)
{
    expectMadeOrNot<MotionSegment>([] { return new MotionSegment(61, 47); });
    // Where a pixel moves, all is 255; what a call that failed had taken over would not move any more.
    const Image input = squares(Image::BGR);
    expectOperatorBearsFailures([] { return std::make_unique<MotionSegment>(61, 47); },
                                [&](MotionSegment& motion) {
                                    Image output(61, 47, Image::GREYSCALE);
                                    motion.getMHI(&input, &output);
                                    return bytesOf(output);
                                });
}

TEST_F(CpuOperatorsWithoutMemory, FaceDetect)
{
    expectMadeOrNot<FaceDetect>([] { return new FaceDetect(kCascade); });
    const Image input = squares(Image::GREYSCALE);
    expectOperatorBearsFailures([] { return std::make_unique<FaceDetect>(kCascade); },
                                [&](FaceDetect& detector) {
                                    std::vector<math::Vector4> faces;
                                    const int count = detector.findFaces(&input, faces);
                                    return std::pair(count, faces.size());
                                });
}

TEST_F(CpuOperatorsWithoutMemory, AllOfTheCatalogue)
{
    catalogue::Given given;
    given.models = {&model};
    given.size = {61, 47};
    given.cascadeFile = kCascade;
    for (const catalogue::Operator& each : catalogue::operators()) {
        if (each.kind != catalogue::Kind::CPU_OPERATOR)
            continue;
        SCOPED_TRACE(each.name);
        const Image input = squares(each.takes == catalogue::Data::MASK ? Image::GREYSCALE : Image::RGB);
        expectOperatorBearsFailures([] { return std::make_unique<int>(); },
                                    [&](int) {
                                        const catalogue::CpuResult result =
                                            catalogue::makeCpu(each.name, {}, given)(input);
                                        std::vector<double> numbers;
                                        if (result.picture)
                                            for (const unsigned char byte : bytesOf(*result.picture))
                                                numbers.push_back(byte);
                                        for (const Blobs::BlobInfo& blob : result.blobs.blobs)
                                            numbers.insert(numbers.end(), {blob.x, blob.y});
                                        if (result.histogram)
                                            numbers.push_back(result.histogram->getValue(6, 6, 6));
                                        return numbers;
                                    });
    }
}

} // namespace
} // namespace velmor::tests
