#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>
#include <vector>

namespace velmor::core::cvdata {
class ColourHist2d;
class Image;
} // namespace velmor::core::cvdata

namespace velmor::cvprocess {

/// Counts the colours of a region into a histogram of up to 1000 cells, on the GPU.
///
/// With b bins a channel value v on 0..1 falls into bin `min(floor(v b), b - 1)`. The first three channels of a pixel
/// make its cell: `bin1 + b1 (bin2 + b2 bin3)`. The region is cut into square blocks, and each block is drawn as one
/// point. A geometry shader counts the pixels of its block and emits the counts, four cells per point. Blending adds up
/// the points of all blocks in row 0 of the destination. Cell `4 i + c` lands in channel c of texel i.
///
/// Inputs: the source (three channels on 0..1) and a mask. The mask is prepared like a second source but never read:
/// use prepareExecution(source, mask, destination).
/// Destination: a float texture of four channels (RectTexture::RGBA32F), of the source's size. After a pass it holds
/// the counts in row 0 and zeros elsewhere. copyHistoFromGPU() reads them back.
///
/// Region: the whole destination, or the first region of interest. In this filter alone the second corner belongs to
/// the region: addROI(x0, y0, x1, y1) counts x0 <= x <= x1, y0 <= y <= y1. A region that reaches beyond the picture
/// counts the edge pixels again.
///
/// Parameters. Each pass reads them again; only `mNoGeometryShader` is fixed in the constructor.
/// - `mNBins1`, `mNBins2`, `mNBins3` (16, 16, 8): bins per channel. The defaults make 2048 cells, which the constructor
///   refuses: always pass a Param.
/// - `mXres`, `mYres` (1, 1): size of source and destination.
/// - `mBlockSize` (10): side of the blocks, at least 1. Smaller blocks mean more points to draw; a larger block takes
///   longer to count.
/// - `mNoGeometryShader` (false): use an empty geometry shader, for drivers that take one.
/// - `mReserved1`, `mReserved2`: kept, not used.
///
/// Limits: if the number of cells is not divisible by four, the last one to three are not counted (of 27 cells the last
/// three read 0). Cells beyond four times the destination's width, or beyond what the geometry shader may emit, are
/// lost. The filter needs GL_EXT_geometry_shader4: without its entry point the process ends.
///
/// The origin of a block is passed on as the position of its point, a float. Where that is rounded down, the block
/// begins a pixel early: it counts the column or row before it and misses its own last one. At 800 x 600 with blocks of
/// 10 this happens to 20 of 80 columns of blocks. Where width and height are powers of two the counts are exact.
///
/// Example:
///
///     ColorHistShader::Param param;
///     param.mNBins1 = param.mNBins2 = param.mNBins3 = 8;
///     param.mXres = 640;
///     param.mYres = 480;
///     ColorHistShader counter(&param, nullptr);
///     counter.prepareExecution(picture, mask, counts); // counts: RectTexture::RGBA32F
///     counter.execute();
///     core::cvdata::ColourHist2d histogram(8, 8, 8);
///     counter.copyHistoFromGPU(histogram);
class VELMOR_CVPROCESS_EXPORT ColorHistShader : public GpuStdShaders
{
public:
    /// Settings; see the class.
    struct Param
    {
        int mNBins1 = 16;               ///< bins of the first channel
        int mNBins2 = 16;               ///< bins of the second channel
        int mNBins3 = 8;                ///< bins of the third channel
        int mXres = 1;                  ///< width of source and destination
        int mYres = 1;                  ///< height of source and destination
        bool mNoGeometryShader = false; ///< whether the geometry shader is an empty text
        int mReserved1 = 1;             ///< not used
        int mReserved2 = 1;             ///< not used
        int mBlockSize = 10;            ///< side of the blocks in pixels, at least 1
    };

    /// Compiles the program; a context must be current.
    /// @param param  copied; null for the defaults, which fail an assertion
    /// @param image  kept, not used; may be null
    ColorHistShader(Param* param, core::cvdata::Image* image);

    /// Also deletes the display list.
    ~ColorHistShader() override;

    /// The filter's own settings.
    Param* params() { return &mParam; }

    /// Counts into the destination.
    void execute() override;

    /// Reads the counts back and divides them by the number of pixels of the region, or of the destination if there is
    /// no region. Cells that were not counted become 0. Afterwards no framebuffer is bound. A call before the first
    /// preparation is an assertion.
    /// @param[out] hist  a histogram of at least as many cells as the filter counts; fewer are an assertion
    void copyHistoFromGPU(core::cvdata::ColourHist2d& hist);

    /// Builds a list of one black point, which the pass does not use: it draws its points itself.
    void prepareDisplayList() override;

private:
    struct Region
    {
        int x0, y0, x1, y1; ///< the second corner belongs to the region
        int width() const { return x1 - x0 + 1; }
        int height() const { return y1 - y0 + 1; }
    };

    int cells() const;
    Region region() const;
    void drawBlocks(const Region& region) const;

    std::vector<float> mHistBuffer; ///< what is read back
    std::string mVertexSource;
    std::string mGeometrySource;
    std::string mFragmentSource;
    Param mParam;
    [[maybe_unused]] core::cvdata::Image* mImage;
};

} // namespace velmor::cvprocess
