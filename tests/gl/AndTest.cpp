#include "cvprocess/gpuStdShaders/And.h"

#include "glsupport/RectTexture.h"
#include "tests/support/PixelTest.h"

namespace velmor::tests {
namespace {

using And = PixelTest;

/// Channels of 0 and 1 are exact in every format.
constexpr float kExact = 0.0f;

float both(float a, float b)
{
    return a > 0.0f && b > 0.0f ? 1.0f : 0.0f;
}

TEST_F(And, OfFloats)
{
    const auto filter = makeQuietly<cvprocess::And>();
    expectPixels(*filter, true, perChannel(both), kExact);
}

TEST_F(And, OfBytes)
{
    const auto filter = makeQuietly<cvprocess::And>();
    expectBytes(*filter, true, perByte([](int a, int b) { return a && b ? 255 : 0; }));
}

TEST_F(And, CountsEveryValueAboveZeroAsSet)
{
    const auto filter = makeQuietly<cvprocess::And>();
    expectNear(runOne(*filter, {0.5f, 0.0f, 1.0f, 1.0f}, {0.2f, 0.7f, 0.0f, 1.0f}), {1.0f, 0.0f, 0.0f, 1.0f}, kExact);
    expectNear(runOne(*filter, {-0.5f, 3.0f, 1e-30f, 0.0f}, {1.0f, 2.0f, 1.0f, 0.0f}), {0.0f, 1.0f, 1.0f, 0.0f},
               kExact);
}

TEST_F(And, TwoFiltersDoNotDisturbEachOther)
{
    const auto first = makeQuietly<cvprocess::And>();
    const auto second = makeQuietly<cvprocess::And>();
    using velmor::glsupport::RectTexture;
    const float ones[4] = {1, 1, 1, 1}, zeros[4] = {};
    RectTexture set(1, 1, RectTexture::RGBA32F), clear(1, 1, RectTexture::RGBA32F);
    RectTexture result1(1, 1, RectTexture::RGBA32F), result2(1, 1, RectTexture::RGBA32F);
    set.upload(ones);
    clear.upload(zeros);
    first->prepareExecution(set, set, result1);
    second->prepareExecution(set, clear, result2);
    first->execute();
    second->execute();
    float texel1[4], texel2[4];
    result1.download(texel1);
    result2.download(texel2);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(texel1[i], 1.0f);
        EXPECT_EQ(texel2[i], 0.0f);
    }
}

} // namespace
} // namespace velmor::tests
