// Filters, made by name: each is of the class of its name, has the settings asked for, and runs.

#include "catalogue/GpuFilters.h"

#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/RectTexture.h"
#include "tests/gl/GlTest.h"
#include "tests/support/Models.h"
#include "tests/support/ThrownText.h"

#include <boost/core/demangle.hpp>

#include <algorithm>
#include <vector>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Given;
using catalogue::Operator;
using catalogue::Values;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

constexpr unsigned kWidth = 512, kHeight = 16; // wider than there are tiles

class GpuFilters : public GlTest
{
protected:
    Given given()
    {
        Given result;
        result.models = {&model};
        result.size = {kWidth, kHeight};
        return result;
    }

    std::unique_ptr<GpuStdShaders> make(const std::string& name, const Values& values = {})
    {
        std::unique_ptr<GpuStdShaders> filter;
        const Output output = capture([&] { filter = catalogue::makeGpu(name, values, given()); });
        EXPECT_EQ(output.err, "");
        return filter;
    }

    template<typename Filter>
    std::unique_ptr<Filter> makeOf(const std::string& name, const Values& values = {})
    {
        return std::unique_ptr<Filter>(dynamic_cast<Filter*>(make(name, values).release()));
    }

    core::cvdata::ColorGMM model = makeModel(
        {{{{1e-4, 0}, {0, 1e-4}}, 1e8f, {128, 128}, 0.5f}, {{{1e-4, 0}, {0, 1e-4}}, 1e8f, {64, 64}, 0.5f}}, 1e-8);
};

/// Runs a filter from black to white columns, and tells whether all that it wrote has taken the place of what was
/// there.
bool runs(GpuStdShaders& filter, const Operator& made)
{
    const bool ofIntegers = made.takes == Data::INTEGERS;
    RectTexture source(kWidth, kHeight, ofIntegers ? RectTexture::RGBA16UI : RectTexture::RGBA8);
    RectTexture other(kWidth, kHeight, RectTexture::RGBA8);
    std::vector<std::uint64_t> columns(std::size_t{kWidth} * kHeight); // as many bytes as either needs, and more
    for (std::size_t i = 0; i < columns.size(); ++i)
        columns[i] = i % 2 == 0 ? 0 : ~std::uint64_t{0};
    source.upload(columns.data());

    const bool toIntegers = made.gives == Data::COUNTS;
    RectTexture destination(kWidth, kHeight, toIntegers ? RectTexture::R32UI : RectTexture::RGBA32F);
    std::vector<float> sentinel(std::size_t{kWidth} * kHeight * 4, -7.0f); // no filter writes it
    destination.upload(sentinel.data());
    if (made.sources == 2)
        filter.prepareExecution(source, other, destination);
    else
        filter.prepareExecution(source, destination);
    filter.execute();
    std::vector<float> result = sentinel;
    destination.download(result.data());
    return result != sentinel;
}

TEST_F(GpuFilters, EachIsMadeAndRuns)
{
    for (const Operator& each : catalogue::operators()) {
        if (each.kind != catalogue::Kind::FILTER)
            continue;
        SCOPED_TRACE(each.name);
        const auto filter = make(each.name);
        const GpuStdShaders& made = *filter;
        EXPECT_EQ(boost::core::demangle(typeid(made).name()), "velmor::cvprocess::" + each.name);
        EXPECT_TRUE(runs(*filter, each));
        expectNoGlError("the pass");
    }
}

TEST_F(GpuFilters, TakeTheirParameters)
{
    using namespace cvprocess;
    EXPECT_EQ(makeOf<Laplacian>("Laplacian")->params()->kernelType, 0);
    EXPECT_EQ(makeOf<Laplacian>("Laplacian", {{"kernel", 2}})->params()->kernelType, 2);
    EXPECT_TRUE(makeOf<ColorGMM>("ColorGMM")->params()->mBinaryOutput);
    EXPECT_FALSE(makeOf<ColorGMM>("ColorGMM", {{"output", 1}})->params()->mBinaryOutput);
    EXPECT_EQ(makeOf<PixelCount>("PixelCount")->getNofTiles(), 256u);
    EXPECT_EQ(makeOf<PixelCount>("PixelCount", {{"tiles", 17}})->getNofTiles(), 17u);

    const auto histogram = makeOf<ColorHistShader>("ColorHistShader", {{"bins", 6}, {"block", 5}});
    const ColorHistShader::Param& param = *histogram->params();
    for (const int bins : {param.mNBins1, param.mNBins2, param.mNBins3})
        EXPECT_EQ(bins, 6);
    EXPECT_EQ(param.mBlockSize, 5);
    EXPECT_EQ(param.mXres, static_cast<int>(kWidth));
    EXPECT_EQ(param.mYres, static_cast<int>(kHeight));
}

std::string refusal(const std::string& name, const Values& values = {}, const Given& what = {})
{
    return thrownText<std::invalid_argument>([&] { catalogue::makeGpu(name, values, what); });
}

TEST_F(GpuFilters, SayWhatDoesNotFit)
{
    const std::string expected = "catalogue::makeGpu(): expected ";
    EXPECT_EQ(refusal("Bogus"), expected + "the name of a filter, got 'Bogus'");
    EXPECT_EQ(refusal("Moments"), expected + "the name of a filter, got 'Moments'");
    EXPECT_EQ(refusal("Not", {{"kernel", 1}}), expected + "no parameter of Not, got 'kernel'");
    EXPECT_EQ(refusal("Laplacian", {{"tiles", 1}}), expected + "a parameter of Laplacian (kernel), got 'tiles'");
    EXPECT_EQ(refusal("Laplacian", {{"kernel", 3}}), expected + "kernel of Laplacian on 0..2, got 3");
    EXPECT_EQ(refusal("Laplacian", {{"kernel", 0.5}}), expected + "kernel of Laplacian to be a whole number, got 0.5");
    EXPECT_EQ(refusal("ColorGMM"), expected + "one model for ColorGMM, got 0");
    EXPECT_EQ(refusal("ColorGMM2"), expected + "at least one model for ColorGMM2, got 0");
    EXPECT_EQ(refusal("ColorHistShader"), expected + "the size of the pictures for ColorHistShader, got 0 x 0");
}

} // namespace
} // namespace velmor::tests
