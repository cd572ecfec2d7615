#include "core/cvdata/Image.h"

#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>

namespace velmor::core::cvdata {
namespace {

unsigned channelCount(Image::ChannelLayout layout)
{
    return layout == Image::GREYSCALE ? 1 : 3;
}

unsigned long long rowBytes(unsigned width, Image::ChannelLayout layout)
{
    return static_cast<unsigned long long>(width) * channelCount(layout);
}

void checkSize(unsigned width, unsigned height, unsigned long long rowStride)
{
    constexpr unsigned long long limit = std::numeric_limits<int>::max();
    if (width > limit || height > limit || rowStride > limit || rowStride * height > limit)
        throw std::invalid_argument("Image::Image(): expected at most 2 GiB of pixels, got " + std::to_string(width) +
                                    " x " + std::to_string(height) + " pixels in rows of " + std::to_string(rowStride) +
                                    " bytes");
}

unsigned paddedStride(unsigned width, unsigned height, Image::ChannelLayout layout)
{
    // Four bytes is the row alignment of OpenCV's C images and the default of OpenGL's transfers.
    const unsigned long long stride = (rowBytes(width, layout) + 3) / 4 * 4;
    checkSize(width, height, stride);
    return static_cast<unsigned>(stride);
}

} // namespace

Image::Image(unsigned width, unsigned height, ChannelLayout layout)
{
    const unsigned stride = paddedStride(width, height, layout);
    mOwnedPixels = std::make_unique<unsigned char[]>(static_cast<std::size_t>(stride) * height);
    mPixels = mOwnedPixels.get();
    describe(width, height, layout, stride);
}

Image::Image(unsigned width, unsigned height, ChannelLayout layout, unsigned char* pixels, unsigned rowStride)
{
    checkSize(width, height, rowStride);
    if (rowStride < rowBytes(width, layout))
        throw std::invalid_argument("Image::Image(): expected a row stride of at least " +
                                    std::to_string(rowBytes(width, layout)) + " bytes, got " +
                                    std::to_string(rowStride));
    if (!pixels)
        throw std::invalid_argument("Image::Image(): expected the address of the pixels, got null");
    mPixels = pixels;
    describe(width, height, layout, rowStride);
}

Image::Image(const Image& other) : Image(other.width(), other.height(), other.mLayout)
{
    copyPixels(other);
}

Image::~Image()
{
    cvResetImageROI(&mHeader); // frees a region that somebody set on the header
}

void Image::clear()
{
    for (unsigned y = 0; y < height(); ++y)
        std::memset(mPixels + static_cast<std::size_t>(y) * allocatedWidth(), 0, rowBytes(width(), mLayout));
}

Image* Image::clone() const
{
    return new Image(*this);
}

unsigned int Image::nofChannels() const
{
    return channelCount(mLayout);
}

Image& Image::operator=(const Image& other)
{
    if (this == &other)
        return *this;
    const bool fits = width() == other.width() && height() == other.height() && mLayout == other.mLayout;
    if (fits && !overlaps(other)) {
        copyPixels(other);
        return *this;
    }
    Image copy(other); // made before any pixel changes: other may borrow them
    if (fits) {
        copyPixels(copy);
    } else {
        mOwnedPixels.swap(copy.mOwnedPixels);
        mPixels = mOwnedPixels.get();
        describe(copy.width(), copy.height(), copy.mLayout, copy.allocatedWidth());
    }
    return *this;
}

Image::ChannelLayout Image::channels() const
{
    return mLayout;
}

cv::Mat Image::mat() const
{
    return {mHeader.height, mHeader.width, CV_8UC(static_cast<int>(nofChannels())), mPixels,
            static_cast<std::size_t>(mHeader.widthStep)};
}

void Image::describe(unsigned width, unsigned height, ChannelLayout layout, unsigned rowStride)
{
    mLayout = layout;
    cvResetImageROI(&mHeader);
    cvInitImageHeader(&mHeader, cvSize(static_cast<int>(width), static_cast<int>(height)), IPL_DEPTH_8U,
                      static_cast<int>(channelCount(layout)));
    mHeader.widthStep = static_cast<int>(rowStride);
    mHeader.imageSize = static_cast<int>(rowStride * height);
    mHeader.imageData = mHeader.imageDataOrigin = reinterpret_cast<char*>(mPixels);
}

bool Image::overlaps(const Image& other) const
{
    const auto end = [](const Image& image) {
        return image.mPixels + image.mHeader.imageSize;
    };
    const std::less<const unsigned char*> before;
    return before(mPixels, end(other)) && before(other.mPixels, end(*this));
}

void Image::copyPixels(const Image& source)
{
    for (unsigned y = 0; y < height(); ++y)
        std::memcpy(mPixels + static_cast<std::size_t>(y) * allocatedWidth(),
                    source.mPixels + static_cast<std::size_t>(y) * source.allocatedWidth(), rowBytes(width(), mLayout));
}

} // namespace velmor::core::cvdata
