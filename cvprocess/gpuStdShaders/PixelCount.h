#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmor::cvprocess {

/// Sums the values of a picture, tile by tile on the GPU: for a mask of 0 and 1, the number of set pixels.
///
/// The picture is cut into tiles, one point each, whose vertex shader adds up the tile, each texel converted to
/// unsigned integers channel by channel (a value below 1 counts 0). The sum of tile n lands in texel (n, 0) of the
/// destination; getCount() reads the row back and adds the sums of the red channel.
///
/// Tiles: with T requested and k the integer part of its square root, k x k tiles of ceil(W / k) x ceil(H / k) pixels,
/// narrower at the right and lower edge; the number drawn is printed as "Tiles set to: " and replaces the requested
/// one.
///
/// Input: one rectangle texture of float or normalised values, the mask. Output: an unsigned integer texture
/// (RectTexture::R32UI) of the input's size, wider than the number of tiles.
/// Tiles are cropped to the destination's size: in a smaller destination pixels of the mask are missed, in a larger one
/// tiles at the edge reach beyond the mask and count its edge pixels again.
/// Regions of interest are ignored. No parameters beside the number of tiles, 32 unless set.
///
/// Limits: 0 tiles, or not fewer than the destination is wide, are an assertion; from 2^31 on a request counts as
/// negative, passes it, and gets a tile for each pixel, of which the sums beyond the first row are lost. Tiles of more
/// than 65535 pixels on average give a warning on std::cerr. Mesa's llvmpipe ends loops after some 65535 steps in all
/// and may miss pixels of smaller tiles already, seen from 49152 pixels on where a tile's width is no multiple of 4:
/// ask for more tiles. The total wraps at 2^32. The shaders are of the classic dialect (integer varyings of
/// GL_EXT_gpu_shader4).
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
    /// Compiles the program; needs the context.
    PixelCount();

    ~PixelCount() override;

    /// Requests a number of tiles, for the next pass. It allocates nothing.
    void setMaxNofTiles(unsigned int n);

    /// The number of tiles requested, and after a pass the number drawn.
    unsigned int getNofTiles() const { return mNofTiles; }

    /// The total of the last pass. It reads colour attachment 1 of whatever framebuffer is bound: that is this filter's
    /// until something else binds another. After a new request and before its pass it adds up as many texels as were
    /// requested, or as a row has. Before the first pass it is an assertion.
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
