// Each filter that draws its destination as one quad: execute() beside a bare draw of the same shader, with the same
// textures and glFinish(), and all state set beforehand. The ratio is what the frame of a pass costs. And a pass with
// the driver adapter beside one without.

#include "bench/Ratio.h"
#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"
#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"
#include "cvprocess/gpuStdShaders/Classify.h"
#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "cvprocess/gpuStdShaders/NonMaxSupression.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/RGB2GRAY.h"
#include "cvprocess/gpuStdShaders/RGB2HSV.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"
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
#include <type_traits>
#include <vector>

namespace velmor::bench {
namespace {

using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

/// A filter that shows its program.
class Measured
{
public:
    virtual ~Measured() = default;
    virtual GpuStdShaders& filter() = 0;
    virtual GLuint program() = 0;
};

template<typename Filter>
class MeasuredFilter : public Measured
{
public:
    template<typename... Arguments>
    explicit MeasuredFilter(Arguments... arguments) : mFilter(arguments...)
    {
    }
    GpuStdShaders& filter() override { return mFilter; }
    GLuint program() override { return mFilter.mProgObj; }

private:
    struct Open : Filter
    {
        using Filter::Filter;
        using Filter::mProgObj;
    };
    Open mFilter;
};

struct FilterCase
{
    const char* name;
    bool twoSources;
    std::unique_ptr<Measured> (*make)();
};

template<typename Filter>
std::unique_ptr<Measured> make()
{
    if constexpr (std::is_default_constructible_v<Filter>)
        return std::make_unique<MeasuredFilter<Filter>>();
    else
        return std::make_unique<MeasuredFilter<Filter>>(nullptr);
}

const FilterCase kFilters[] = {
    {"And", true, make<cvprocess::And>},
    {"Or", true, make<cvprocess::Or>},
    {"Xor", true, make<cvprocess::Xor>},
    {"Not", false, make<cvprocess::Not>},
    {"Subtract", true, make<cvprocess::Subtract>},
    {"BGR2GRAY", false, make<cvprocess::BGR2GRAY>},
    {"RGB2GRAY", false, make<cvprocess::RGB2GRAY>},
    {"BGR2HSV", false, make<cvprocess::BGR2HSV>},
    {"RGB2HSV", false, make<cvprocess::RGB2HSV>},
    {"BayerRG2GRAY", false, make<cvprocess::BayerRG2GRAY>},
    {"BayerRG2RGB", false, make<cvprocess::BayerRG2RGB>},
    {"GRAY2Sobel", false, make<cvprocess::GRAY2Sobel>},
    {"Laplacian", false, make<cvprocess::Laplacian>},
    {"NonMaxSupression", false, make<cvprocess::NonMaxSupression>},
    {"Classify", true, make<cvprocess::Classify>},
};

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
    explicit Textures(const Size& size)
        : source1(size.width, size.height, RectTexture::RGBA8), source2(size.width, size.height, RectTexture::RGBA8),
          destination(size.width, size.height, RectTexture::RGBA8)
    {
        std::mt19937 random(1);
        for (RectTexture* const source : {&source1, &source2}) {
            std::vector<unsigned> texels(static_cast<std::size_t>(size.width) * size.height);
            for (unsigned& texel : texels)
                texel = static_cast<unsigned>(random());
            source->upload(texels.data());
        }
    }

    void prepare(GpuStdShaders& filter, bool twoSources)
    {
        if (twoSources)
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

    RectTexture source1;
    RectTexture source2;
    RectTexture destination;
};

/// Draws as an application without the library would, on state that is in place: the pass leaves framebuffer, viewport
/// and matrices as the draw needs them.
class BareDraw
{
public:
    BareDraw(GLuint program, bool twoSources, const Textures& textures)
        : mProgram(program), mWidth(static_cast<float>(textures.destination.width())),
          mHeight(static_cast<float>(textures.destination.height()))
    {
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, textures.source1.getTexId());
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, twoSources ? textures.source2.getTexId() : 0);
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

/// Makes a filter, and drops what its construction prints.
std::unique_ptr<Measured> makeQuietly(const FilterCase& filterCase)
{
    std::ostringstream dropped;
    std::streambuf* const saved = std::cout.rdbuf(dropped.rdbuf());
    std::unique_ptr<Measured> measured = filterCase.make();
    std::cout.rdbuf(saved);
    return measured;
}

void measureExecute(benchmark::State& state, const FilterCase& filterCase, const Size& size)
{
    const std::unique_ptr<Measured> measured = makeQuietly(filterCase);
    GpuStdShaders& filter = measured->filter();
    Textures textures(size);
    textures.prepare(filter, filterCase.twoSources);
    filter.execute();
    const std::vector<unsigned> expected = textures.result();

    const BareDraw bare(measured->program(), filterCase.twoSources, textures);
    textures.clearResult();
    bare();
    if (textures.result() != expected) {
        state.SkipWithError("the bare draw and the pass give different pictures");
        return;
    }

    compare(
        state, [&] { filter.execute(); }, "bare", bare);
}

void measurePrepare(benchmark::State& state, const FilterCase& filterCase)
{
    const std::unique_ptr<Measured> measured = makeQuietly(filterCase);
    Textures textures(kSizes[0]);
    textures.prepare(measured->filter(), filterCase.twoSources);
    for (auto each : state) {
        (void)each;
        textures.prepare(measured->filter(), filterCase.twoSources);
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
void measureAdapter(benchmark::State& state, const FilterCase& filterCase)
{
    glsupport::DriverAdapter::remove();
    const EntryPoints own;
    glsupport::DriverAdapter::install();
    const EntryPoints adapted;
    {
        const std::unique_ptr<Measured> measured = makeQuietly(filterCase);
        GpuStdShaders& filter = measured->filter();
        Textures textures(kSizes[0]);
        textures.prepare(filter, filterCase.twoSources);
        filter.execute();
        compare(
            state,
            [&] {
                adapted.putInPlace();
                filter.execute();
            },
            "driver",
            [&] {
                own.putInPlace();
                filter.execute();
            });
        adapted.putInPlace();
    }
}

void registerAll()
{
    for (const FilterCase& filterCase : kFilters) {
        for (const Size& size : kSizes)
            benchmark::RegisterBenchmark((std::string(filterCase.name) + "/execute/" + size.name).c_str(),
                                         [&](benchmark::State& state) { measureExecute(state, filterCase, size); })
                ->UseManualTime()
                ->MinTime(1.0)
                ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string(filterCase.name) + "/prepareExecution again").c_str(),
                                     [&](benchmark::State& state) { measurePrepare(state, filterCase); })
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((std::string(filterCase.name) + "/driver adapter").c_str(),
                                     [&](benchmark::State& state) { measureAdapter(state, filterCase); })
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
