#pragma once

#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/GpuStdShaders.h"
#include "glsupport/RectTexture.h"
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

    /// The texel at a place, and outside the picture the one of the edge that is nearest, as RectTexture clamps.
    const Texel& clamped(int x, int y) const;
};

/// Random texels on 0..1, with the corners of the range and equal neighbours well represented. Repeatable by seed.
Picture randomPicture(unsigned width, unsigned height, unsigned seed);

/// Every texel whose channels are 0, 1 or next to them, or 0.5: all ties and all corners of the range.
Picture cornerPicture();

/// What a shader reads of a texture of bytes that a greyscale or RGB image was uploaded to.
Picture pictureOf(const core::cvdata::Image& image);

/// A real photograph.
core::cvdata::Image photograph(core::cvdata::Image::ChannelLayout layout);

/// What a filter of two sources makes of the texels of its sources at one place; filters of one source ignore the
/// second.
using PixelRule = std::function<Texel(const Texel&, const Texel&)>;

/// A rule that treats each channel alike.
PixelRule perChannel(const std::function<float(float, float)>& rule);

/// The same for pixels of three bytes.
using Bytes = std::array<unsigned char, 3>;
using ByteRule = std::function<Bytes(const Bytes&, const Bytes&)>;

/// A rule that treats each channel alike.
ByteRule perByte(const std::function<int(int, int)>& rule);

/// What a filter is to give, computed here, on the CPU. Filters of one source ignore the second.
struct Reference
{
    std::function<Texel(const Picture& first, const Picture& second, int x, int y)> rule;
    float tolerance;          ///< largest difference of a channel
    std::size_t channels = 4; ///< the first so many; the others have no defined value and are not compared
    std::function<Picture(unsigned width, unsigned height, unsigned seed)> source = randomPicture;
    bool mindsRegions = true; ///< false for a filter that draws its whole destination whatever the regions
};

/// The reference of a filter whose output depends on the sources at the same place alone.
Reference perPixel(const PixelRule& rule, float tolerance);

/// Runs filters and compares what they give with a rule that is computed here, on the CPU.
class PixelTest : public GlTest
{
protected:
    /// Runs the filter on pictures of many sizes, with and without regions, and into a destination larger than they.
    void expectPixels(cvprocess::GpuStdShaders& filter, bool twoSources, const Reference& reference);

    /// The same for a filter whose output depends on the sources at the same place alone, and on all corners of the
    /// value range.
    /// @param tolerance  largest difference of a channel
    void expectPixels(cvprocess::GpuStdShaders& filter, bool twoSources, const PixelRule& rule, float tolerance);

    /// Runs a filter of one source on one picture.
    void expectPixels(cvprocess::GpuStdShaders& filter, const Reference& reference, const Picture& source);

    /// Runs a filter of one source, which reads neighbours, on a texture with a border colour.
    void expectBorderColour(cvprocess::GpuStdShaders& filter, const Reference& reference);

    /// Runs a filter of one source, which reads the middles of texels, on a texture that mixes texels in between.
    void expectLinearFilter(cvprocess::GpuStdShaders& filter, const Reference& reference);

    /// Runs a filter of one source on an image, into floats, and into bytes, which clamp and round.
    void expectFrame(cvprocess::GpuStdShaders& filter, const Reference& reference, const core::cvdata::Image& frame);

    /// A rule on bytes: a real photograph in RGB8 textures, its mirror image as second source, compared exactly.
    void expectBytes(cvprocess::GpuStdShaders& filter, bool twoSources, const ByteRule& rule);

    /// One pass over pictures of one size.
    Picture run(cvprocess::GpuStdShaders& filter, bool twoSources, const Picture& first, const Picture& second);
    Picture run(cvprocess::GpuStdShaders& filter, const Picture& source);

    /// One pass of a filter of one source, from one texture into another; what lies in the destination is overwritten.
    Picture run(cvprocess::GpuStdShaders& filter, glsupport::RectTexture& source, glsupport::RectTexture& destination);

    /// One pass over single texels.
    Texel runOne(cvprocess::GpuStdShaders& filter, const Texel& first, const Texel& second);
    Texel runOne(cvprocess::GpuStdShaders& filter, const Texel& source);

private:
    void expectLargerDestination(cvprocess::GpuStdShaders& filter, bool twoSources, const Reference& reference);
    void expectLongestSides(cvprocess::GpuStdShaders& filter, bool twoSources, const Reference& reference);

    Picture run(cvprocess::GpuStdShaders& filter, bool twoSources, glsupport::RectTexture& source1,
                glsupport::RectTexture& source2, glsupport::RectTexture& destination);
};

/// Sets what a shader reads outside a texture of floats: this colour.
void setBorderColour(const glsupport::RectTexture& texture, const Texel& colour);

/// Sets that a shader reads a mean of the nearest texels.
void setLinearFilter(const glsupport::RectTexture& texture);

void expectNear(const Texel& actual, const Texel& expected, float tolerance, std::size_t channels = 4);

} // namespace velmor::tests
