// How the time of each operator grows: with pixels, components, classes, regions, tiles, the size of blocks and blobs.
// bench/report.py fits the slopes, and compares each with the one that the work has.

#include "bench/GpuTextures.h"
#include "catalogue/CpuOperators.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/HeadlessContext.h"

#include <cstring>
#include <iostream>

namespace velmor::bench {
namespace {

using catalogue::Need;
using core::cvdata::Image;

constexpr Size kSizes[] = {{"64x64", 64, 64},         {"128x128", 128, 128},    {"256x256", 256, 256},
                           {"640x480", 640, 480},     {"1280x720", 1280, 720},  {"1920x1080", 1920, 1080},
                           {"3840x2160", 3840, 2160}, {"7680x4320", 7680, 4320}};
constexpr Size kLargeSize{"1920x1080", 1920, 1080};

cv::Size sizeOf(const Size& size)
{
    return {static_cast<int>(size.width), static_cast<int>(size.height)};
}

double pixelsOf(const Size& size)
{
    return static_cast<double>(size.width) * size.height;
}

using Code = std::function<void()>;

/// Registers the measurement of one place of a curve.
/// @param curve  what grows with what, such as "pixels/native/Not"
/// @param work   the slope of the work on logarithmic axes: 1 where it is proportional to n
/// @param make   says what to time
void add(const std::string& curve, double n, double work, const std::function<Code()>& make)
{
    const std::string name = curve + "/n:" + std::to_string(static_cast<long>(n));
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) {
                                     const Code code = make();
                                     code();
                                     for (auto each : state) {
                                         (void)each;
                                         code();
                                     }
                                     state.counters["n"] = n;
                                     state.counters["work"] = work;
                                 })
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

// ---- in main memory

/// A picture for an operator; the one of the last call is kept, as the same is asked for again and again.
cv::Mat keptPicture(const Operator& what, const Size& size)
{
    static std::pair<catalogue::Data, unsigned> kept;
    static cv::Mat picture;
    if (picture.empty() || kept != std::make_pair(what.takes, size.width)) {
        picture = pictureFor(what, size);
        kept = {what.takes, size.width};
    }
    return picture;
}

void addNativePixels()
{
    for (const Operator& what : catalogue::operators())
        for (const Size& size : kSizes)
            if (isNative(what))
                add("pixels/native/" + what.name, pixelsOf(size), 1, [&what, size] {
                    Models models(3, 3);
                    return nativeWork(what, keptPicture(what, size), models).run;
                });
    // What memory itself does as pictures leave the caches.
    for (const Size& size : kSizes)
        add("pixels/native/memcpy", pixelsOf(size), 1, [size] {
            const cv::Mat from(sizeOf(size), CV_8UC3, cv::Scalar::all(1));
            const cv::Mat to(sizeOf(size), CV_8UC3, cv::Scalar::all(2));
            return [=] {
                std::memcpy(to.data, from.data, bytesOfPixels(from));
            };
        });
}

/// A native mixture: how long it takes to make, and to run on bytes and on floats.
/// @param curve  such as "components/native"
void addNativeMixture(const std::string& curve, const Operator& what, double n, int classes, int components)
{
    if (!isNative(what))
        return;
    const auto models = std::make_shared<Models>(classes, components);
    add(curve + "/" + what.name + ", made", n, 1, [=, &what] {
        return [=, &what] {
            catalogue::makeNative(what.name, {}, models->given(what, {}));
        };
    });
    for (const int type : {CV_8UC3, CV_32FC3})
        add(curve + "/" + what.name + (type == CV_8UC3 ? ", bytes" : ", floats"), n, type == CV_8UC3 ? 0 : 1,
            [=, &what] { return nativeWork(what, realPicture(kFrameSizes[1], type), *models).run; });
}

// ---- on textures

/// A pass that is prepared.
struct Pass
{
    Pass(const Operator& what, const Size& size, std::shared_ptr<Models> given, const catalogue::Values& values = {})
        : models(std::move(given)), filter(makeQuietly(what, sizeOf(size), *models, values)),
          textures(what, sizeOf(size), Formats::ofPass(what))
    {
        textures.prepare(*filter);
    }

    std::shared_ptr<Models> models;
    std::unique_ptr<cvprocess::GpuStdShaders> filter;
    Textures textures;
};

/// Runs a pass. The first time is not timed: it makes a display list, which says something.
Code passOf(const std::shared_ptr<Pass>& pass)
{
    const Quiet quiet(std::cout);
    pass->filter->execute();
    return [pass] {
        pass->filter->execute();
    };
}

/// A number of tiles that a row of the destination has room for.
catalogue::Values valuesFor(const Operator& what, const Size& size)
{
    if (what.name != "PixelCount")
        return {};
    return {{"tiles", std::min(1024u, size.width / 32 * 16)}};
}

void addTexturePixels()
{
    for (const Operator& what : catalogue::operators())
        for (const Size& size : kSizes)
            if (what.kind == catalogue::Kind::FILTER)
                add("pixels/textures/" + what.name, pixelsOf(size), 1, [&what, size] {
                    const auto models = std::make_shared<Models>(modelsOnTextures(what));
                    return passOf(std::make_shared<Pass>(what, size, models, valuesFor(what, size)));
                });
}

void addTextureMixture(const std::string& curve, const Operator& what, double n, int classes, int components)
{
    const auto models = std::make_shared<Models>(classes, components);
    add(curve + "/" + what.name + ", made", n, 1, [=, &what] {
        return [=, &what] {
            makeQuietly(what, sizeOf(kFrameSizes[1]), *models);
        };
    });
    add(curve + "/" + what.name, n, 1,
        [=, &what] { return passOf(std::make_shared<Pass>(what, kFrameSizes[1], models)); });
}

void addRegions(Pass& pass, int count)
{
    constexpr int kSide = 8, kColumns = 50;
    for (int k = 0; k < count; ++k) {
        const int x = k % kColumns * (kSide + 2), y = k / kColumns * (kSide + 2);
        pass.filter->addROI(x, y, x + kSide, y + kSide);
    }
}

void addRegions()
{
    for (const Operator& what : catalogue::operators()) {
        if (what.kind != catalogue::Kind::FILTER || what.regions != catalogue::Regions::EACH)
            continue;
        for (const int count : {1, 3, 10, 30, 100, 300, 1000})
            add("regions/textures/" + what.name, count, 1, [&what, count] {
                const auto models = std::make_shared<Models>(modelsOnTextures(what));
                const auto pass = std::make_shared<Pass>(what, kFrameSizes[1], models);
                addRegions(*pass, count);
                return passOf(pass);
            });
    }
    // A list of regions that changes with each frame. By design each change leaves a display list behind.
    const Operator& plain = *catalogue::find("Not");
    for (const int count : {1, 3, 10, 30, 100, 300, 1000})
        add("regions/textures/Not, new regions each time", count, 1, [&plain, count]() -> Code {
            const auto pass = std::make_shared<Pass>(plain, kFrameSizes[1], std::make_shared<Models>(1, 2));
            return [=] {
                pass->filter->resetROIs();
                addRegions(*pass, count);
                pass->filter->execute();
            };
        });
}

void addTilesAndBlocks()
{
    const Operator& counter = *catalogue::find("PixelCount");
    for (const int tiles : {64, 100, 144, 225, 400, 576, 900}) // each a multiple of 16 wide, which is counted fastest
        add("tiles/textures/PixelCount", tiles, 0, [&counter, tiles] {
            return passOf(std::make_shared<Pass>(counter, kLargeSize, std::make_shared<Models>(1, 1),
                                                 catalogue::Values{{"tiles", tiles}}));
        });
    const Operator& histogram = *catalogue::find("ColorHistShader");
    for (const int block : {1, 2, 5, 10, 20, 50, 100})
        add("block size/textures/ColorHistShader", block, 0, [&histogram, block] {
            return passOf(std::make_shared<Pass>(histogram, kFrameSizes[1], std::make_shared<Models>(1, 1),
                                                 catalogue::Values{{"block", block}}));
        });
}

// ---- the operators on images

/// Calls an operator with a frame.
Code callOf(const Operator& what, const Size& size, const std::shared_ptr<Models>& models)
{
    catalogue::Given given = models->given(what, sizeOf(size));
    given.cascadeFile = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";
    const catalogue::CpuOperator call = catalogue::makeCpu(what.name, {}, given);
    const bool takesMask = what.takes == catalogue::Data::MASK;
    auto frame = std::make_shared<Image>(cameraFrames(1, size, takesMask ? Image::GREYSCALE : Image::RGB).front());
    if (takesMask) {
        cv::Mat pixels = frame->mat();
        cv::threshold(pixels, pixels, 127.0, 255.0, cv::THRESH_BINARY);
    }
    return [call, frame, models] {
        call(*frame);
    };
}

void addImagePixels()
{
    for (const Operator& what : catalogue::operators()) {
        if (what.kind != catalogue::Kind::CPU_OPERATOR)
            continue;
        for (const Size& size : kSizes)
            if (what.need != Need::CASCADE || pixelsOf(size) <= pixelsOf(kSizes[4])) // larger ones take seconds
                add("pixels/images/" + what.name, pixelsOf(size), 1,
                    [&what, size] { return callOf(what, size, std::make_shared<Models>(1, 3)); });
    }
    const Operator& detector = *catalogue::find("ColourDetector");
    for (const int components : {1, 2, 3, 4, 5, 6, 7, 8, 9}) {
        const auto models = std::make_shared<Models>(1, components);
        add("components/images/ColourDetector", components, 0,
            [=, &detector] { return callOf(detector, kFrameSizes[1], models); });
        add("components/images/ColourDetector, model changed", components, 1, [=, &detector]() -> Code {
            const Code call = callOf(detector, kFrameSizes[1], models);
            return [=] {
                double& threshold = models->models.front().detectionThreshold;
                threshold = std::nextafter(threshold, 1.0);
                call();
            };
        });
    }
}

void addBlobs()
{
    const Operator& what = *catalogue::find("Moments");
    for (const int count : {1, 10, 100, 1000, 3000, 10000, 30000, 100000})
        add("blobs/images/Moments", count, 1, [&what, count]() -> Code {
            constexpr int kSide = 4, kColumns = 320;
            const auto mask = std::make_shared<Image>(2048, 2048, Image::GREYSCALE);
            cv::Mat pixels = mask->mat();
            for (int k = 0; k < count; ++k)
                pixels(cv::Rect(2 + k % kColumns * (kSide + 2), 2 + k / kColumns * (kSide + 2), kSide, kSide)) = 255;
            const catalogue::CpuOperator call = catalogue::makeCpu(what.name, {{"least-area", 0}});
            expect(call(*mask).blobs.blobs.size() == static_cast<std::size_t>(count), "the number of blobs");
            return [=] {
                call(*mask);
            };
        });
}

void addAll()
{
    const Operator& one = *catalogue::find("ColorGMM");
    const Operator& several = *catalogue::find("ColorGMM2");
    addNativePixels();
    addTexturePixels();
    addImagePixels();
    for (const int components : {1, 2, 3, 4, 5, 6, 7, 8, 9}) {
        addNativeMixture("components/native", one, components, 1, components);
        addNativeMixture("components/native", several, components, 3, components);
        addTextureMixture("components/textures", several, components, 3, components);
    }
    for (const int classes : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}) {
        addNativeMixture("classes/native", several, classes, classes, 3);
        addTextureMixture("classes/textures", several, classes, classes, 3);
    }
    addRegions();
    addTilesAndBlocks();
    addBlobs();
}

} // namespace
} // namespace velmor::bench

int main(int argc, char** argv)
{
    cv::setNumThreads(1);
    benchmark::Initialize(&argc, argv);
    const velmor::glsupport::HeadlessContext context;
    std::cerr << context.description() << std::endl;
    try {
        velmor::bench::addAll();
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::cerr << "velmor_bench_growth: " << error.what() << '\n';
        return 1;
    }
}
