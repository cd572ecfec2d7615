#pragma once

#include "core/cvdata/Image.h"

#include <random>
#include <vector>

namespace velmor::tests {

/// An image of random bytes smaller than `levels`, padding included.
inline core::cvdata::Image randomImage(unsigned width, unsigned height, core::cvdata::Image::ChannelLayout layout,
                                       std::mt19937& random, unsigned levels = 256)
{
    core::cvdata::Image image(width, height, layout);
    std::uniform_int_distribution<unsigned> byte(0, levels - 1);
    for (std::size_t k = 0; k < std::size_t{image.allocatedWidth()} * height; ++k)
        image.imageBuffer()[k] = static_cast<unsigned char>(byte(random));
    return image;
}

/// A side of 1 to 64 pixels.
inline unsigned randomSide(std::mt19937& random)
{
    return std::uniform_int_distribution<unsigned>(1, 64)(random);
}

/// An image with wide padding, as a camera driver may have it, over memory of its own.
class PaddedImage
{
public:
    static constexpr unsigned kPadding = 13;

    /// All bytes, padding included, have the value given.
    PaddedImage(unsigned width, unsigned height, core::cvdata::Image::ChannelLayout layout, unsigned char value)
        : mBytes(std::size_t{stride(width, layout)} * height, value),
          image(width, height, layout, mBytes.data(), stride(width, layout))
    {
    }

    /// Whether every byte of the padding has the value given.
    bool paddingIs(unsigned char value) const
    {
        const unsigned used = image.width() * image.nofChannels();
        for (unsigned y = 0; y < image.height(); ++y)
            for (unsigned x = used; x < image.allocatedWidth(); ++x)
                if (image.imageBuffer()[std::size_t{y} * image.allocatedWidth() + x] != value)
                    return false;
        return true;
    }

private:
    static unsigned stride(unsigned width, core::cvdata::Image::ChannelLayout layout)
    {
        return width * (layout == core::cvdata::Image::GREYSCALE ? 1 : 3) + kPadding;
    }

    std::vector<unsigned char> mBytes;

public:
    core::cvdata::Image image;
};

/// The byte of a channel of a pixel.
inline unsigned char& byteAt(const core::cvdata::Image& image, unsigned x, unsigned y, unsigned channel = 0)
{
    return image
        .imageBuffer()[std::size_t{y} * image.allocatedWidth() + std::size_t{x} * image.nofChannels() + channel];
}

/// Fills a rectangle, columns x0 <= x < x1 and rows y0 <= y < y1, of all channels.
inline void fillRectangle(const core::cvdata::Image& image, unsigned x0, unsigned y0, unsigned x1, unsigned y1,
                          unsigned char value)
{
    for (unsigned y = y0; y < y1; ++y)
        for (unsigned x = x0; x < x1; ++x)
            for (unsigned channel = 0; channel < image.nofChannels(); ++channel)
                byteAt(image, x, y, channel) = value;
}

/// Number of pixels, of all channels, whose bytes differ in two images of one size and layout.
inline unsigned long differences(const core::cvdata::Image& a, const core::cvdata::Image& b)
{
    unsigned long count = 0;
    for (unsigned y = 0; y < a.height(); ++y)
        for (unsigned x = 0; x < a.width(); ++x)
            for (unsigned channel = 0; channel < a.nofChannels(); ++channel)
                count += byteAt(a, x, y, channel) != byteAt(b, x, y, channel) ? 1 : 0;
    return count;
}

} // namespace velmor::tests
