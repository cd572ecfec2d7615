#pragma once

#include "core/cvdata/Image.h"

#include <cstddef>
#include <cstdint>

namespace velmor::tests {

/// Tells by one number whether results are the same (FNV-1a).
class Digest
{
public:
    void add(const void* data, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i)
            mValue = (mValue ^ static_cast<const unsigned char*>(data)[i]) * 1099511628211u;
    }
    template<typename Number>
    void add(Number number)
    {
        add(&number, sizeof(number));
    }
    void add(const core::cvdata::Image& image)
    {
        for (unsigned y = 0; y < image.height(); ++y)
            add(image.imageBuffer() + std::size_t{y} * image.allocatedWidth(), image.width() * image.nofChannels());
    }

    std::uint64_t value() const { return mValue; }

private:
    std::uint64_t mValue = 14695981039346656037u;
};

} // namespace velmor::tests
