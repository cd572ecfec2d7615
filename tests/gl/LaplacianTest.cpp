#include "cvprocess/gpuStdShaders/Laplacian.h"

#include "tests/support/PixelTest.h"

#include <cmath>
#include <limits>

using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

using Laplacian = PixelTest;

/// Sums of nine products on -8..8, each rounded by half a unit in the last place of at most 8 (4.8e-7).
constexpr float kRounding = 5e-6f;

/// The kernels by their weights for the centre, the four neighbours that share an edge, and those at the corners.
struct Kernel
{
    double centre, edge, corner;
};

Kernel kernelOf(int kernelType)
{
    switch (kernelType) {
    case 1:
        return {-4.0, 1.0, 0.0};
    case 2:
        return {-4.0, 2.0, -1.0};
    default:
        return {8.0, -1.0, -1.0};
    }
}

Reference edges(int kernelType)
{
    const Kernel kernel = kernelOf(kernelType);
    const auto rule = [kernel](const Picture& picture, const Picture&, int x, int y) {
        Texel result;
        for (std::size_t channel = 0; channel < result.size(); ++channel) {
            const auto at = [&](int dx, int dy) -> double {
                return picture.clamped(x + dx, y + dy)[channel];
            };
            const double edge = at(-1, 0) + at(1, 0) + at(0, -1) + at(0, 1);
            const double corner = at(-1, -1) + at(1, -1) + at(-1, 1) + at(1, 1);
            const double sum = kernel.centre * at(0, 0) + kernel.edge * edge + kernel.corner * corner;
            result[channel] = static_cast<float>(std::abs(sum));
        }
        return result;
    };
    return {rule, kRounding};
}

constexpr int kTypes[] = {0, 1, 2, 3, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};

TEST_F(Laplacian, OfFloatsByEveryKernel)
{
    for (const int type : kTypes) {
        SCOPED_TRACE(type);
        cvprocess::Laplacian::Param param;
        param.kernelType = type;
        const auto filter = makeQuietly<cvprocess::Laplacian>(&param);
        expectPixels(*filter, false, edges(type));
    }
}

TEST_F(Laplacian, OfAFrame)
{
    const auto filter = makeQuietly<cvprocess::Laplacian>(nullptr);
    expectFrame(*filter, edges(0), photograph(Image::RGB));
}

TEST_F(Laplacian, FollowsTheModesOfItsSource)
{
    const auto filter = makeQuietly<cvprocess::Laplacian>(nullptr);
    for (const int type : {0, 1, 2}) {
        SCOPED_TRACE(type);
        filter->params()->kernelType = type;
        expectBorderColour(*filter, edges(type));
        expectLinearFilter(*filter, edges(type));
    }
}

TEST_F(Laplacian, FollowsTheKernelTypeFromPassToPass)
{
    const auto filter = makeQuietly<cvprocess::Laplacian>(nullptr);
    const Picture picture = randomPicture(13, 11, 4);
    for (const int type : {2, 1, 0, -1, 2, 3}) {
        SCOPED_TRACE(type);
        filter->params()->kernelType = type;
        expectPixels(*filter, edges(type), picture);
    }
}

TEST_F(Laplacian, OfAConstantPictureIsZeroByEveryKernel)
{
    const auto filter = makeQuietly<cvprocess::Laplacian>(nullptr);
    for (const int type : kTypes) {
        filter->params()->kernelType = type;
        for (const Texel& texel : run(*filter, Picture(5, 4, {0.25f, 0.5f, 0.75f, 1.0f})).texels)
            expectNear(texel, {0.0f, 0.0f, 0.0f, 0.0f}, 0.0f); // sums of multiples of 0.25 are exact
    }
}

TEST_F(Laplacian, OfADotShowsTheKernel)
{
    const auto filter = makeQuietly<cvprocess::Laplacian>(nullptr);
    Picture dot(5, 5);
    dot.at(2, 2) = {1.0f, 0.5f, 0.25f, 1.0f};
    const auto expectWeights = [&](int type, float centre, float edge, float corner) {
        filter->params()->kernelType = type;
        const Picture result = run(*filter, dot);
        const auto times = [](float weight) {
            return Texel{weight, weight / 2, weight / 4, weight};
        };
        expectNear(result.at(2, 2), times(centre), 0.0f);
        expectNear(result.at(1, 2), times(edge), 0.0f);
        expectNear(result.at(2, 3), times(edge), 0.0f);
        expectNear(result.at(3, 1), times(corner), 0.0f);
        expectNear(result.at(0, 0), times(0.0f), 0.0f);
    };
    expectWeights(0, 8.0f, 1.0f, 1.0f);
    expectWeights(1, 4.0f, 1.0f, 0.0f);
    expectWeights(2, 4.0f, 2.0f, 1.0f);
}

} // namespace
} // namespace velmor::tests
