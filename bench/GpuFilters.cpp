// Each filter that draws its destination as one quad: execute() beside a bare draw of the same shader, with the same
// textures and glFinish(), and all state set beforehand. The ratio is what the frame of a pass costs. And a pass with
// the driver adapter beside one without.

#include "catalogue/GpuFilters.h"
#include "bench/Ratio.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/Image.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace velmor::bench {
namespace {

using catalogue::Operator;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

/// Whether an operator is a filter that draws its whole destination as one quad, which shows the source as it lies.
/// What takes integers is left out: it warns each time that it is prepared again.
bool drawsOneQuad(const Operator& each)
{
    return each.kind == catalogue::Kind::FILTER && each.regions == catalogue::Regions::EACH &&
           each.takes != catalogue::Data::INTEGERS;
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

struct Size
{
    const char* name;
    unsigned width;
    unsigned height;
};
constexpr Size kSizes[] = {{"VGA", 640, 480}, {"1080p", 1920, 1080}, {"4K", 3840, 2160}};

/// The textures of a pass, with random content in the sources.
struct Textures
{
    Textures(const Operator& measured, const Size& size)
        : sources(measured.sources), source1(size.width, size.height, RectTexture::RGBA8),
          source2(size.width, size.height, RectTexture::RGBA8), destination(size.width, size.height, RectTexture::RGBA8)
    {
        std::mt19937 random(1);
        for (RectTexture* const source : {&source1, &source2}) {
            std::vector<unsigned> texels(static_cast<std::size_t>(size.width) * size.height);
            for (unsigned& texel : texels)
                texel = static_cast<unsigned>(random());
            source->upload(texels.data());
        }
    }

    void prepare(GpuStdShaders& filter)
    {
        if (sources == 2)
            filter.prepareExecution(source1, source2, destination);
        else
            filter.prepareExecution(source1, destination);
    }

    std::vector<unsigned> result() const
    {
        std::vector<unsigned> texels(static_cast<std::size_t>(destination.width()) * destination.height());
        destination.download(texels.data());
        return texels;
    }

    void clearResult()
    {
        const std::vector<unsigned> zeros(static_cast<std::size_t>(destination.width()) * destination.height(), 0x55u);
        destination.upload(zeros.data());
    }

    int sources;
    RectTexture source1;
    RectTexture source2;
    RectTexture destination;
};

/// Draws as an application without the library would, on state that is in place: the pass leaves framebuffer, viewport
/// and matrices as the draw needs them.
class BareDraw
{
public:
    BareDraw(GLuint program, const Textures& textures)
        : mProgram(program), mWidth(static_cast<float>(textures.destination.width())),
          mHeight(static_cast<float>(textures.destination.height()))
    {
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, textures.source1.getTexId());
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, textures.sources == 2 ? textures.source2.getTexId() : 0);
    }

    void operator()() const
    {
        glUseProgram(mProgram);
        glBegin(GL_QUADS);
        for (const auto& [x, y] :
             {std::pair(0.0f, 0.0f), std::pair(mWidth, 0.0f), std::pair(mWidth, mHeight), std::pair(0.0f, mHeight)}) {
            glTexCoord2f(x, y);
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
};

/// A colour model, for filters that need one. What it is of does not change what a pass costs.
core::cvdata::ColorGMM& anyModel()
{
    static core::cvdata::ColorGMM model = [] {
        core::cvdata::Image samples(32, 32, core::cvdata::Image::RGB);
        cv::Mat pixels = samples.mat();
        cv::randu(pixels, 0, 256);
        core::cvdata::ColorGMM trained;
        trained.train(samples, nullptr, 2);
        return trained;
    }();
    return model;
}

/// Makes a filter, and drops what its construction prints.
std::unique_ptr<GpuStdShaders> makeQuietly(const Operator& measured)
{
    catalogue::Given given;
    given.models = {&anyModel()};
    std::ostringstream dropped;
    std::streambuf* const saved = std::cout.rdbuf(dropped.rdbuf());
    std::unique_ptr<GpuStdShaders> filter = catalogue::makeGpu(measured.name, {}, given);
    std::cout.rdbuf(saved);
    return filter;
}

void measureExecute(benchmark::State& state, const Operator& measured, const Size& size)
{
    const std::unique_ptr<GpuStdShaders> filter = makeQuietly(measured);
    Textures textures(measured, size);
    textures.prepare(*filter);
    filter->execute();
    const std::vector<unsigned> expected = textures.result();

    const BareDraw bare(programOf(*filter), textures);
    textures.clearResult();
    bare();
    if (textures.result() != expected) {
        state.SkipWithError("the bare draw and the pass give different pictures");
        return;
    }

    compare(
        state, [&] { filter->execute(); }, "bare", bare);
}

void measurePrepare(benchmark::State& state, const Operator& measured)
{
    const std::unique_ptr<GpuStdShaders> filter = makeQuietly(measured);
    Textures textures(measured, kSizes[0]);
    textures.prepare(*filter);
    for (auto each : state) {
        (void)each;
        textures.prepare(*filter);
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
        const std::unique_ptr<GpuStdShaders> filter = makeQuietly(measured);
        Textures textures(measured, kSizes[0]);
        textures.prepare(*filter);
        filter->execute();
        compare(
            state,
            [&] {
                adapted.putInPlace();
                filter->execute();
            },
            "driver",
            [&] {
                own.putInPlace();
                filter->execute();
            });
        adapted.putInPlace();
    }
}

void registerAll()
{
    for (const Operator& measured : catalogue::operators()) {
        if (!drawsOneQuad(measured))
            continue;
        for (const Size& size : kSizes)
            benchmark::RegisterBenchmark((measured.name + "/execute/" + size.name).c_str(),
                                         [&](benchmark::State& state) { measureExecute(state, measured, size); })
                ->UseManualTime()
                ->MinTime(1.0)
                ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((measured.name + "/prepareExecution again").c_str(), [&](benchmark::State& state) {
            measurePrepare(state, measured);
        })->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((measured.name + "/driver adapter").c_str(),
                                     [&](benchmark::State& state) { measureAdapter(state, measured); })
            ->UseManualTime()
            ->MinTime(2.0)
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
