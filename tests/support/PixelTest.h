#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"
#include "tests/gl/GlTest.h"

#include <array>
#include <functional>
#include <vector>

namespace velmor::tests {

using Texel = std::array<float, 4>;

/// A picture of float texels, in the layout of an RGBA32F texture.
struct Picture
{
    unsigned width;
    unsigned height;
    std::vector<Texel> texels;

    Picture(unsigned pictureWidth, unsigned pictureHeight, const Texel& fill = {});
    Texel& at(unsigned x, unsigned y) { return texels[y * width + x]; }
    const Texel& at(unsigned x, unsigned y) const { return texels[y * width + x]; }
};

/// Random texels on 0..1, with the corners of the range and equal neighbours well represented. Repeatable by seed.
Picture randomPicture(unsigned width, unsigned height, unsigned seed);

/// What a filter of two sources makes of the texels of its sources at one place; filters of one source ignore the
/// second.
using PixelRule = std::function<Texel(const Texel&, const Texel&)>;

/// The same for pixels of three bytes.
using Bytes = std::array<unsigned char, 3>;
using ByteRule = std::function<Bytes(const Bytes&, const Bytes&)>;

/// A rule that treats each channel alike.
ByteRule perByte(const std::function<int(int, int)>& rule);

/// Runs filters whose output at a pixel depends on the sources at that pixel alone, and compares with a rule that is
/// computed here, on the CPU.
class PixelTest : public GlTest
{
protected:
    /// Runs the filter on random pictures of many sizes, with and without regions, and on single values.
    /// @param tolerance  largest difference of a channel
    void expectPixels(cvprocess::GpuStdShaders& filter, bool twoSources, const PixelRule& rule, float tolerance);

    /// One pass over pictures of one size.
    Picture run(cvprocess::GpuStdShaders& filter, bool twoSources, const Picture& first, const Picture& second);

    /// One pass over single texels.
    Texel runOne(cvprocess::GpuStdShaders& filter, const Texel& first, const Texel& second);
    Texel runOne(cvprocess::GpuStdShaders& filter, const Texel& source);

    /// A rule on bytes: a real photograph in RGB8 textures, its mirror image as second source, compared exactly.
    void expectBytes(cvprocess::GpuStdShaders& filter, bool twoSources, const ByteRule& rule);
};

void expectNear(const Texel& actual, const Texel& expected, float tolerance);

} // namespace velmor::tests
