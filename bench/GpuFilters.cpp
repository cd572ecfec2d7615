// Each filter on textures: execute() beside a bare draw of the same shader, with the same textures and glFinish(), and
// all state set beforehand, where the filter draws its destination as one quad. The ratio is what the frame of a pass
// costs. The same with upload and download. And a pass with the driver adapter beside one without.

#include "bench/GpuTextures.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace velmor::bench {
namespace {

using core::cvdata::Image;
using cvprocess::GpuStdShaders;

constexpr int kBins = 4; // the catalogue's

/// Whether an operator is a filter that draws its whole destination as one quad.
bool drawsOneQuad(const Operator& each)
{
    return catalogue::isPicture(each.gives) || each.gives == catalogue::Data::CLASSES;
}

/// The program of a filter.
GLuint programOf(const GpuStdShaders& filter)
{
    struct Open : GpuStdShaders
    {
        using GpuStdShaders::mProgObj;
    };
    return filter.*(&Open::mProgObj);
}

cv::Size sizeOf(const Size& size)
{
    return {static_cast<int>(size.width), static_cast<int>(size.height)};
}

cv::Mat resultOf(const Textures& textures)
{
    cv::Mat texels(static_cast<int>(textures.destination->height()), static_cast<int>(textures.destination->width()),
                   CV_8UC4);
    textures.destination->download(texels.data);
    return texels;
}

void clearResult(const Textures& textures)
{
    cv::Mat texels = resultOf(textures);
    texels.setTo(cv::Scalar::all(0x55));
    textures.destination->upload(texels.data);
}

/// Draws as an application without the library would, on state that is in place: the pass leaves framebuffer, viewport
/// and matrices as the draw needs them.
class BareDraw
{
public:
    /// @param flipped  whether it draws upside down
    BareDraw(GLuint program, const Textures& textures, bool flipped)
        : mProgram(program), mWidth(static_cast<float>(textures.destination->width())),
          mHeight(static_cast<float>(textures.destination->height())), mFlipped(flipped)
    {
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, textures.source1->getTexId());
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, textures.sources == 2 ? textures.source2->getTexId() : 0);
    }

    void operator()() const
    {
        glUseProgram(mProgram);
        glBegin(GL_QUADS);
        for (const auto& [x, y] :
             {std::pair(0.0f, 0.0f), std::pair(mWidth, 0.0f), std::pair(mWidth, mHeight), std::pair(0.0f, mHeight)}) {
            glTexCoord2f(x, mFlipped ? mHeight - y : y);
            glVertex2f(x, y);
        }
        glEnd();
        glFinish();
        glUseProgram(0);
    }

private:
    GLuint mProgram;
    float mWidth;
    float mHeight;
    bool mFlipped;
};

/// A filter that has run once.
struct Pass
{
    Pass(const Operator& measured, const Size& size, const Formats& formats)
        : models(modelsOnTextures(measured)), filter(makeQuietly(measured, sizeOf(size), models)),
          textures(measured, sizeOf(size), formats)
    {
        textures.prepare(*filter);
        const Quiet quiet(std::cout);
        filter->execute();
    }

    Models models;
    std::unique_ptr<GpuStdShaders> filter;
    Textures textures;
};

void measureExecute(benchmark::State& state, const Operator& measured, const Size& size)
{
    const Pass pass(measured, size, Formats::ofPass(measured));
    if (!drawsOneQuad(measured)) {
        std::vector<double> own;
        for (auto each : state) {
            (void)each;
            own.push_back(seconds([&] { pass.filter->execute(); }));
            state.SetIterationTime(own.back());
        }
        state.counters["own_ms"] = 1e3 * median(own);
        return;
    }
    const cv::Mat expected = resultOf(pass.textures);
    const BareDraw bare(programOf(*pass.filter), pass.textures, measured.name == "FlipV");
    clearResult(pass.textures);
    bare();
    if (cv::norm(resultOf(pass.textures), expected, cv::NORM_INF) != 0.0) {
        state.SkipWithError("the bare draw and the pass give different pictures");
        return;
    }
    compare(
        state, [&] { pass.filter->execute(); }, "bare", bare);
}

/// Reads what a filter has made into main memory, as its user would.
class Download
{
public:
    Download(const Operator& measured, const Pass& pass)
        : mGives(measured.gives), mPass(pass),
          mImage(pass.textures.destination->width(), pass.textures.destination->height(),
                 Formats::hasOneChannel(measured.gives) ? Image::GREYSCALE : Image::RGB),
          mHistogram(kBins, kBins, kBins)
    {
    }

    void operator()()
    {
        if (mGives == catalogue::Data::COUNTS)
            benchmark::DoNotOptimize(dynamic_cast<cvprocess::PixelCount&>(*mPass.filter).getCount());
        else if (mGives == catalogue::Data::HISTOGRAM)
            dynamic_cast<cvprocess::ColorHistShader&>(*mPass.filter).copyHistoFromGPU(mHistogram);
        else
            mPass.textures.destination->download(mImage);
    }

private:
    catalogue::Data mGives;
    const Pass& mPass;
    Image mImage;
    core::cvdata::ColourHist2d mHistogram;
};

/// From main memory to main memory.
void measureRoundTrip(benchmark::State& state, const Operator& measured, const Size& size)
{
    const Pass pass(measured, size, Formats::ofRoundTrip(measured));
    const bool grey = Formats::hasOneChannel(measured.takes) || measured.takes == catalogue::Data::INTEGERS;
    const Image frame = cameraFrames(1, size, grey ? Image::GREYSCALE : Image::RGB).front();
    Download download(measured, pass);
    std::vector<double> own;
    for (auto each : state) {
        (void)each;
        own.push_back(seconds([&] {
            pass.textures.source1->upload(frame);
            if (measured.sources == 2)
                pass.textures.source2->upload(frame);
            pass.textures.prepare(*pass.filter);
            pass.filter->execute();
            download();
        }));
        state.SetIterationTime(own.back());
    }
    state.counters["own_ms"] = 1e3 * median(own);
}

void measurePrepare(benchmark::State& state, const Operator& measured)
{
    Pass pass(measured, kFrameSizes[1], Formats::ofPass(measured));
    for (auto each : state) {
        (void)each;
        pass.textures.prepare(*pass.filter);
    }
}

/// The entry points that a pass calls and an adapter replaces.
struct EntryPoints
{
    PFNGLUSEPROGRAMPROC useProgram = __glewUseProgram;
    PFNGLUNIFORM4FPROC uniform4f = __glewUniform4f;
    PFNGLFRAMEBUFFERTEXTURE2DEXTPROC framebufferTexture2D = __glewFramebufferTexture2DEXT;

    void putInPlace() const
    {
        __glewUseProgram = useProgram;
        __glewUniform4f = uniform4f;
        __glewFramebufferTexture2DEXT = framebufferTexture2D;
    }
};

/// A pass with the adapter's entry points in turn with one with the driver's own.
void measureAdapter(benchmark::State& state, const Operator& measured)
{
    glsupport::DriverAdapter::remove();
    const EntryPoints own;
    glsupport::DriverAdapter::install();
    const EntryPoints adapted;
    {
        const Pass pass(measured, kFrameSizes[1], Formats::ofPass(measured));
        compare(
            state,
            [&] {
                adapted.putInPlace();
                pass.filter->execute();
            },
            "driver",
            [&] {
                own.putInPlace();
                pass.filter->execute();
            });
        adapted.putInPlace();
    }
}

void registerAll()
{
    using Measure = void (*)(benchmark::State&, const Operator&, const Size&);
    const auto add = [](const Operator& measured, const std::string& what, const Size& size, Measure measure) {
        const auto run = [&measured, size, measure](benchmark::State& state) {
            measure(state, measured, size);
        };
        benchmark::RegisterBenchmark((measured.name + "/" + what + "/" + size.name).c_str(), run)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    };
    for (const Operator& measured : catalogue::operators()) {
        if (measured.kind != catalogue::Kind::FILTER)
            continue;
        for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]}) {
            add(measured, "execute", size, measureExecute);
            add(measured, "round trip", size, measureRoundTrip);
        }
        if (!drawsOneQuad(measured))
            continue;
        benchmark::RegisterBenchmark((measured.name + "/prepareExecution again").c_str(), [&](benchmark::State& state) {
            measurePrepare(state, measured);
        })->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((measured.name + "/driver adapter").c_str(),
                                     [&](benchmark::State& state) { measureAdapter(state, measured); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}

} // namespace
} // namespace velmor::bench

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const velmor::glsupport::HeadlessContext context;
    std::cerr << context.description() << std::endl;
    velmor::bench::registerAll();
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
