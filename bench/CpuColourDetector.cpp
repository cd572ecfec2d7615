#include "bench/CpuOperators.h"
#include "core/cvdata/ColorGMM.h"
#include "cvprocess/ColourDetector.h"

#include <cmath>
#include <cstring>
#include <memory>

namespace velmor::bench {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::GM;
using core::cvdata::Image;

/// Three components for the colours of a patch of a frame.
ColorGMM patchModel(const Image& frame)
{
    Image patch(40, 40, Image::RGB);
    cv::Mat pixels = patch.mat();
    frame.mat()(cv::Rect(static_cast<int>(frame.width()) / 2, static_cast<int>(frame.height()) / 2, 40, 40))
        .copyTo(pixels);
    ColorGMM model;
    model.train(patch, nullptr, 3);
    return model;
}

/// Every pixel evaluated for itself, without anything else.
void plainMask(const ColorGMM& model, const Image& input, Image& output)
{
    for (unsigned y = 0; y < input.height(); ++y) {
        const unsigned char* pixel = input.imageBuffer() + std::size_t{y} * input.allocatedWidth();
        unsigned char* const mask = output.imageBuffer() + std::size_t{y} * output.allocatedWidth();
        for (unsigned x = 0; x < input.width(); ++x, pixel += 3) {
            double p = 0.0;
            for (int k = 0; k < model.nofComponents(); ++k) {
                const GM& component = *model.mixture[static_cast<std::size_t>(k)];
                const double d0 = component.mean[0] - pixel[0];
                const double d1 = component.mean[0] - pixel[1];
                const math::SquareMatrix& m = component.invCovariance;
                const double q = (m[0][0] * d0 + m[1][0] * d1) * d0 + (m[0][1] * d0 + m[1][1] * d1) * d1;
                const double norm = 1.0 / (std::sqrt(static_cast<double>(component.determinant)) * 6.283185307179586);
                p = p + std::exp(q * -0.5) * norm * static_cast<double>(component.weight);
            }
            mask[x] = p > model.detectionThreshold ? 255 : 0;
        }
    }
}

struct Scene
{
    explicit Scene(const Size& size)
        : frame(cameraFrames(1, size, Image::RGB)[0]), mask(size.width, size.height, Image::GREYSCALE), plain(mask),
          copy(frame), model(patchModel(frame)), detector(&model, nullptr)
    {
    }
    void detect() { detector.preProcess(frame, mask); }
    void detectWithAChangedModel()
    {
        model.detectionThreshold = std::nextafter(model.detectionThreshold, 1.0);
        detect();
    }
    void plainLoop() { plainMask(model, frame, plain); }
    void copyBytes()
    {
        std::memcpy(copy.imageBuffer(), frame.imageBuffer(), std::size_t{frame.height()} * frame.allocatedWidth());
    }

    Image frame, mask, plain, copy;
    ColorGMM model;
    cvprocess::ColourDetector detector;
};

/// A scene whose masks were found to be right.
std::shared_ptr<Scene> checkedScene(const Size& size)
{
    const auto scene = std::make_shared<Scene>(size);
    scene->plainLoop();
    for (int k = 0; k < 2; ++k) {
        scene->detect();
        expect(equal(scene->mask.mat(), scene->plain.mat()), "the colour detector's mask");
    }
    return scene;
}

} // namespace

void addColourDetector()
{
    for (const Size& size : kFrameSizes) {
        const std::string name = std::string("ColourDetector/") + size.name;
        add(name + "/model changed", [=] {
            const auto scene = checkedScene(size);
            return Comparison{{},
                              [=] { scene->detectWithAChangedModel(); },
                              "plain_loop",
                              [=] {
                                  scene->plainLoop();
                              }};
        });
        add(name + "/model kept", [=] {
            const auto scene = checkedScene(size);
            return Comparison{{},
                              [=] { scene->detect(); },
                              "plain_loop",
                              [=] {
                                  scene->plainLoop();
                              }};
        });
        add(name + "/model kept/speed", [=] {
            const auto scene = checkedScene(size);
            Comparison comparison = {{},
                                     [=] { scene->detect(); },
                                     "memcpy",
                                     [=] {
                                         scene->copyBytes();
                                     }};
            comparison.pixels = static_cast<double>(size.width) * size.height;
            comparison.least = 2.8;
            return comparison;
        });
    }
}

} // namespace velmor::bench
