#pragma once

#include "core/Export.h"

#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>

#include <memory>

namespace velmor::core::cvdata {

/// A picture in main memory with 8-bit channels.
///
/// Channel k of pixel (x, y) lies at `imageBuffer()[y * allocatedWidth() + x * nofChannels() + k]`; row 0 is the top of
/// the picture. `imageBuffer()`, `iplImage()` and `mat()` are three views of the same memory: a change through one
/// shows in the others. An image either owns its pixels, or borrows them from the caller, who keeps them alive as long
/// as the image. A copy always owns its pixels.
///
/// A const image keeps its size and layout, but its pixels can be written.
class VELMOR_CORE_EXPORT Image
{
public:
    /// Order of the channels of a pixel. Every layout but GREYSCALE has three channels.
    enum ChannelLayout
    {
        GREYSCALE = 0, ///< one byte, the brightness
        BGR = 1,       ///< blue, green, red
        RGB = 2        ///< red, green, blue
    };

    /// Makes a black image that owns its pixels; rows are padded to a multiple of four bytes.
    /// @param width, height  in pixels; either may be 0
    /// @param layout         order of the channels
    /// @throws std::invalid_argument  when the image would exceed 2 GiB, the limit of OpenCV's image header
    Image(unsigned width, unsigned height, ChannelLayout layout);

    /// Makes an image over the caller's pixels, without copying, changing or ever freeing them.
    /// @param width, height  in pixels; either may be 0
    /// @param layout         order of the channels
    /// @param pixels         first byte of row 0
    /// @param rowStride      bytes from one row to the next, at least width * channels
    /// @throws std::invalid_argument  when rowStride is too small, pixels is null, or the image exceeds 2 GiB
    Image(unsigned width, unsigned height, ChannelLayout layout, unsigned char* pixels, unsigned rowStride);

    /// Makes a deep copy. Its row stride is that of a new image of the same size and layout.
    Image(const Image& other);

    virtual ~Image();

    /// Makes every pixel black.
    virtual void clear();

    /// Makes a deep copy, which the caller owns.
    virtual Image* clone() const;

    /// Bytes per pixel: 1 for GREYSCALE, else 3.
    virtual unsigned int nofChannels() const;

    /// Copies size, layout and pixels. When size and layout agree, the pixels go into the memory that is there.
    /// Otherwise the image gets new memory of its own, and borrowed memory stays as it is.
    Image& operator=(const Image& other);

    /// Width in pixels.
    unsigned int width() const { return static_cast<unsigned>(mHeader.width); }

    /// Height in pixels.
    unsigned int height() const { return static_cast<unsigned>(mHeader.height); }

    /// First byte of the pixels.
    unsigned char* imageBuffer() const { return mPixels; }

    /// Bytes from one row to the next, padding included.
    unsigned int allocatedWidth() const { return static_cast<unsigned>(mHeader.widthStep); }

    /// OpenCV's C header over the same pixels; it belongs to the image.
    IplImage* iplImage() const { return &mHeader; }

    /// Order of the channels.
    ChannelLayout channels() const;

    /// OpenCV's C++ header over the same pixels. It must not outlive them.
    cv::Mat mat() const;

private:
    void describe(unsigned width, unsigned height, ChannelLayout layout, unsigned rowStride);
    bool overlaps(const Image& other) const;

    /// Copies the pixels of an image of the same size and layout in other memory.
    void copyPixels(const Image& source);

    ChannelLayout mLayout = GREYSCALE;
    std::unique_ptr<unsigned char[]> mOwnedPixels; ///< null when the pixels are borrowed
    unsigned char* mPixels = nullptr;
    mutable IplImage mHeader{};
};

} // namespace velmor::core::cvdata
