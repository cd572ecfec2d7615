#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmor::cvprocess {

/// Sums the values of a picture, tile by tile on the GPU. For a mask of 0 and 1 the sum is the number of set pixels.
///
/// The picture is cut into tiles, and each tile is drawn as one point. The vertex shader of that point adds up the
/// tile. It first converts each texel to unsigned integers, channel by channel, so a value below 1 counts 0. The sum of
/// tile n lands in texel (n, 0) of the destination. getCount() reads the row back and adds the sums of the red channel.
///
/// Tiles: T is the number requested and k the integer part of its square root. There are k x k tiles of ceil(W / k) x
/// ceil(H / k) pixels; those at the right and lower edge are narrower. The number drawn is printed as "Tiles set to: "
/// and replaces the requested one.
///
/// Input: the mask, one rectangle texture of float or normalised values. Output: an unsigned integer texture
/// (RectTexture::R32UI) of the input's size, wider than the number of tiles.
/// Tiles are cropped to the destination's size. A smaller destination misses pixels of the mask. In a larger one the
/// tiles at the edge reach beyond the mask and count its edge pixels again.
/// Regions of interest are ignored. The only parameter is the number of tiles, 32 unless set.
///
/// Limits: requesting 0 tiles, or as many as the destination is wide or more, is an assertion. A request of 2^31 or
/// more counts as negative and passes that assertion; it gets a tile for each pixel, and the sums beyond the first row
/// are lost. Tiles of more than 65535 pixels on average cause a warning on std::cerr. Mesa's llvmpipe ends loops after
/// some 65535 steps in all and may miss pixels of smaller tiles already, seen from 49152 pixels on where a tile's width
/// is not a multiple of 4: request more tiles. The total wraps at 2^32. The shaders are written in the classic dialect
/// (integer varyings of GL_EXT_gpu_shader4).
///
/// Example:
///
///     PixelCount counter;
///     counter.prepareExecution(mask, sums); // mask: RectTexture::R32F, sums: RectTexture::R32UI
///     counter.execute();
///     const unsigned int set = counter.getCount();
class VELMOR_CVPROCESS_EXPORT PixelCount : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    PixelCount();

    ~PixelCount() override;

    /// Requests a number of tiles for the next pass. Allocates nothing.
    void setMaxNofTiles(unsigned int n);

    /// The number of tiles requested, and after a pass the number drawn.
    unsigned int getNofTiles() const { return mNofTiles; }

    /// The total of the last pass. It is read from colour attachment 1 of the framebuffer that is bound, which is this
    /// filter's until something binds another one. Between a new request and its pass, getCount() adds up as many
    /// texels as were requested, or as many as a row has if those are fewer. Before the first pass it is an assertion.
    unsigned int getCount();

    /// Builds a list of one point per tile.
    void prepareDisplayList() override;

private:
    std::string mFragmentSource;
    std::string mVertexSource;
    std::uint32_t mNofTiles;
    std::unique_ptr<std::uint32_t[]> mCountBuffer; ///< a sum per tile; null until the first list
};

} // namespace velmor::cvprocess
