// The filters on textures when our libraries and OpenCV have no memory.

#include "catalogue/GpuFilters.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"
#include "glsupport/RectTexture.h"
#include "tests/faults/OurFailures.h"
#include "tests/support/Models.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Operator;
using core::cvdata::ColourHist2d;
using cvprocess::ColorHistShader;
using cvprocess::GpuStdShaders;
using cvprocess::PixelCount;
using glsupport::RectTexture;

constexpr unsigned kWidth = 24, kHeight = 16;

/// Lets the driver have no messages about shaders and programs: without memory for one the process ends by design.
class NoMessages
{
public:
    NoMessages()
    {
        driverGetShaderiv = __glewGetShaderiv;
        driverGetProgramiv = __glewGetProgramiv;
        __glewGetShaderiv = [](GLuint shader, GLenum name, GLint* value) {
            name == GL_INFO_LOG_LENGTH ? void(*value = 0) : driverGetShaderiv(shader, name, value);
        };
        __glewGetProgramiv = [](GLuint program, GLenum name, GLint* value) {
            name == GL_INFO_LOG_LENGTH ? void(*value = 0) : driverGetProgramiv(program, name, value);
        };
    }
    NoMessages(const NoMessages&) = delete;
    NoMessages& operator=(const NoMessages&) = delete;
    ~NoMessages()
    {
        __glewGetShaderiv = driverGetShaderiv;
        __glewGetProgramiv = driverGetProgramiv;
    }

private:
    static inline PFNGLGETSHADERIVPROC driverGetShaderiv = nullptr;
    static inline PFNGLGETPROGRAMIVPROC driverGetProgramiv = nullptr;
};

class GpuFiltersWithoutMemory : public GlTest
{
protected:
    GpuFiltersWithoutMemory()
    {
        given.models = {&model};
        given.size = {kWidth, kHeight};
        for (std::size_t k = 0; k < texels.size(); ++k)
            texels[k] = static_cast<unsigned char>(k * 37 % 251);
    }

    std::unique_ptr<GpuStdShaders> make(const Operator& each) const
    {
        catalogue::Values values;
        if (each.gives == Data::COUNTS)
            values = {{"tiles", 16}}; // fewer than its destination is wide
        return catalogue::makeGpu(each.name, values, given);
    }

    /// What a filter draws; where it counts, that too.
    std::vector<float> drawn(const Operator& each, GpuStdShaders& filter) const
    {
        RectTexture source(kWidth, kHeight, each.takes == Data::INTEGERS ? RectTexture::RGBA16UI : RectTexture::RGBA8);
        RectTexture other(kWidth, kHeight, RectTexture::RGBA8);
        RectTexture destination(kWidth, kHeight,
                                each.gives == Data::COUNTS ? RectTexture::R32UI : RectTexture::RGBA32F);
        source.upload(texels.data());
        other.upload(texels.data() + 100);
        filter.resetROIs();
        filter.addROI(0, 0, kWidth, kHeight);
        if (each.sources == 2)
            filter.prepareExecution(source, other, destination);
        else
            filter.prepareExecution(source, destination);
        filter.execute();
        std::vector<float> numbers(std::size_t{kWidth} * kHeight * 4);
        destination.download(numbers.data());
        if (auto* const counting = dynamic_cast<PixelCount*>(&filter))
            numbers.push_back(static_cast<float>(counting->getCount()));
        if (auto* const counting = dynamic_cast<ColorHistShader*>(&filter)) {
            ColourHist2d histogram(4, 4, 4);
            counting->copyHistoFromGPU(histogram);
            const math::Vector& cells = histogram.data();
            std::transform(&cells[0], &cells[0] + cells.size(), std::back_inserter(numbers),
                           [](double cell) { return static_cast<float>(cell); });
        }
        return numbers;
    }

    void expectMakingBearsFailures(const Operator& each) const
    {
        const NoMessages none;
        std::unique_ptr<GpuStdShaders> filter = make(each);
        const std::vector<float> expected = drawn(each, *filter);
        expectBearsFailures(
            [&] {
                filter.reset();
                filter = make(each);
            },
            [&](bool hasReturned) {
                EXPECT_EQ(filter != nullptr, hasReturned);
                EXPECT_TRUE(!filter || drawn(each, *filter) == expected);
            });
        EXPECT_TRUE(drawn(each, *make(each)) == expected);
    }

    void expectDrawingBearsFailures(const Operator& each) const
    {
        const std::unique_ptr<GpuStdShaders> filter = make(each);
        const std::vector<float> expected = drawn(each, *filter);
        std::vector<float> result;
        expectBearsFailures([&] { result = drawn(each, *filter); },
                            [&](bool hasReturned) {
                                if (hasReturned) {
                                    EXPECT_TRUE(result == expected);
                                }
                                EXPECT_TRUE(drawn(each, *filter) == expected);
                            });
    }

    cvprocess::Silence silence;
    core::cvdata::ColorGMM model = makeModel(
        {{{{1e-4, 0}, {0, 1e-4}}, 1e8f, {128, 128}, 0.5f}, {{{1e-4, 0}, {0, 1e-4}}, 1e8f, {64, 64}, 0.5f}}, 1e-8);
    catalogue::Given given;
    std::vector<unsigned char> texels = std::vector<unsigned char>(std::size_t{kWidth} * kHeight * 8 + 100);
};

TEST_F(GpuFiltersWithoutMemory, FiltersAreMadeOrNot)
{
    for (const Operator& each : catalogue::operators()) {
        SCOPED_TRACE(each.name);
        if (each.kind == catalogue::Kind::FILTER)
            expectMakingBearsFailures(each);
    }
}

TEST_F(GpuFiltersWithoutMemory, FiltersDrawAllOrCanDrawAgain)
{
    for (const Operator& each : catalogue::operators()) {
        SCOPED_TRACE(each.name);
        if (each.kind == catalogue::Kind::FILTER)
            expectDrawingBearsFailures(each);
    }
}

} // namespace
} // namespace velmor::tests
