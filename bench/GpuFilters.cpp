// Each GPU filter's execute() beside a bare draw: the same shader, the same textures, one quad and glFinish(), with all
// state set beforehand. The ratio is what the frame of a pass costs.

#include "bench/Ratio.h"
#include "core/cvdata/RectTexture.h"
#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"
#include "glsupport/HeadlessContext.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>

namespace velmor::bench {
namespace {

using core::cvdata::RectTexture;
using cvprocess::GpuStdShaders;

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

const FilterCase kFilters[] = {
    {"And", true,
     []() -> std::unique_ptr<Measured> {
         return std::make_unique<MeasuredFilter<cvprocess::And>>();
     }},
    {"Or", true,
     []() -> std::unique_ptr<Measured> {
         return std::make_unique<MeasuredFilter<cvprocess::Or>>(nullptr);
     }},
    {"Xor", true,
     []() -> std::unique_ptr<Measured> {
         return std::make_unique<MeasuredFilter<cvprocess::Xor>>();
     }},
    {"Not", false,
     []() -> std::unique_ptr<Measured> {
         return std::make_unique<MeasuredFilter<cvprocess::Not>>(nullptr);
     }},
    {"Subtract", true,
     []() -> std::unique_ptr<Measured> {
         return std::make_unique<MeasuredFilter<cvprocess::Subtract>>();
     }},
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
