#include "cvprocess/ColourHist2D.h"

#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "core/util/internal/AnyBitSet.h"
#include "math/Math.h"

#include <cassert>
#include <cstdint>
#include <cstring>

namespace velmor::cvprocess {
namespace {

using core::cvdata::ColourHist2d;
using core::cvdata::Image;
using math::Math;

/// The part of an image that is counted.
struct Region
{
    const Image& image;
    const Image* mask; ///< null for none
    unsigned x0, x1;   ///< columns x0 <= x < x1
    unsigned y0, y1;

    std::size_t pixelCount() const { return std::size_t{x1 - x0} * (y1 - y0); }
};

/// What each byte of a pixel adds to the index of its bin.
///
/// A byte that keeps a pixel from being counted adds kExcluded, which no index reaches; the rest of the sum is an index
/// all the same, so that a pixel can be handled without asking first.
class BinIndex
{
public:
    static constexpr std::uint32_t kExcluded = 1u << 28;

    BinIndex(unsigned bins1, unsigned bins2, unsigned bins3, CvtColour::ColourFormat format)
    {
        for (unsigned byte = 0; byte < 256; ++byte) {
            mFirst[byte] = byte * bins1 / 256;
            mSecond[byte] = bins1 * (byte * bins2 / 256);
            mThird[byte] = bins1 * bins2 * (byte * bins3 / 256);
        }
        mThird[0] += kExcluded;
        if (format != CvtColour::HSV) {
            mFirst[0] += kExcluded;
            mSecond[0] += kExcluded;
        }
    }

    std::uint32_t operator()(const unsigned char* pixel) const
    {
        return mFirst[pixel[0]] + mSecond[pixel[1]] + mThird[pixel[2]];
    }

private:
    std::uint32_t mFirst[256];
    std::uint32_t mSecond[256];
    std::uint32_t mThird[256];
};

/// The bins of a histogram, which hold two counters each while pixels are counted.
///
/// Neighbours in an image often fall into one bin, and one counter would have to wait for itself: pixels are counted in
/// turns.
class Bins
{
public:
    explicit Bins(math::Vector& bins) : mBytes(reinterpret_cast<unsigned char*>(&bins[0])), mCount(bins.size()) {}

    std::size_t count() const { return mCount; }

    /// Adds a pixel, or nothing if it is excluded.
    /// @param turn  0 or 1
    /// @return      the number of pixels added
    std::uint32_t add(std::uint32_t index, unsigned turn)
    {
        const std::uint32_t added = index < BinIndex::kExcluded ? 1 : 0;
        unsigned char* const place = bin(index) + turn * sizeof(std::uint32_t);
        std::uint32_t counter;
        std::memcpy(&counter, place, sizeof(counter));
        counter += added;
        std::memcpy(place, &counter, sizeof(counter));
        return added;
    }

    /// Replaces the counters of every bin by their sum times a factor.
    void finishAll(double factor)
    {
        unsigned char* place = mBytes;
        std::size_t left = mCount;
        for (; left >= kGroup; left -= kGroup, place += kGroup * sizeof(double))
            if (core::util::isAnyBitSet<kGroup>(place))
                for (std::size_t k = 0; k < kGroup; ++k)
                    finish(place + k * sizeof(double), factor);
        for (; left > 0; --left, place += sizeof(double))
            finish(place, factor);
    }

    /// Does so for a single bin, unless it was done before. No counter may have reached 2^24: as an integer, the bits
    /// of two such counters are less than those of any share that is not zero.
    void finishOnce(std::uint32_t index, double factor)
    {
        constexpr std::uint64_t countersEnd = std::uint64_t{1} << 56;
        if (bitsOf(bin(index)) < countersEnd)
            finish(bin(index), factor);
    }

private:
    static constexpr std::size_t kGroup = 16; ///< bins that are looked at together: most of many bins are 0

    static std::uint64_t bitsOf(const unsigned char* place)
    {
        std::uint64_t bits;
        std::memcpy(&bits, place, sizeof(bits));
        return bits;
    }

    static void finish(unsigned char* place, double factor)
    {
        const std::uint64_t bits = bitsOf(place);
        const auto counted = static_cast<std::int64_t>((bits & 0xffffffffu) + (bits >> 32));
        const double share = static_cast<double>(counted) * factor;
        std::memcpy(place, &share, sizeof(share));
    }

    unsigned char* bin(std::uint32_t index) const
    {
        const std::size_t number = index & (BinIndex::kExcluded - 1);
        return mBytes + number * sizeof(double);
    }

    unsigned char* mBytes;
    std::size_t mCount;
};

/// Visits the pixels of a region, with turns of 0 and 1.
template<bool kMasked, typename Visit>
void visitPixels(const Region& region, const BinIndex& indexOf, Visit visit)
{
    const unsigned channels = region.image.nofChannels();
    for (unsigned y = region.y0; y < region.y1; ++y) {
        const unsigned char* pixel = region.image.imageBuffer() + std::size_t{y} * region.image.allocatedWidth() +
                                     std::size_t{region.x0} * channels;
        const unsigned char* selects = nullptr;
        if constexpr (kMasked)
            selects = region.mask->imageBuffer() + std::size_t{y} * region.mask->allocatedWidth() + region.x0;
        const auto next = [&](unsigned turn) {
            if (!kMasked || *selects != 0)
                visit(indexOf(pixel), turn);
            pixel += channels;
            if constexpr (kMasked)
                ++selects;
        };
        unsigned left = region.x1 - region.x0;
        for (; left >= 2; left -= 2) {
            next(0);
            next(1);
        }
        if (left == 1)
            next(0);
    }
}

void countPixels(const Region& region, const BinIndex& indexOf, Bins bins)
{
    std::uint32_t counted = 0;
    const auto count = [&](std::uint32_t index, unsigned turn) {
        counted += bins.add(index, turn);
    };
    if (region.mask)
        visitPixels<true>(region, indexOf, count);
    else
        visitPixels<false>(region, indexOf, count);

    if (counted == 0)
        return;
    const double factor = 1.0 / counted;
    if (region.pixelCount() < bins.count() / 4) // a small region in many bins: go to those that it has used
        visitPixels<false>(region, indexOf, [&](std::uint32_t index, unsigned) { bins.finishOnce(index, factor); });
    else
        bins.finishAll(factor);
}

} // namespace

void ColourHist2D::computeHistogram(const Image& inImage, ColourHist2d& histogram, unsigned int x, unsigned int y,
                                    unsigned int width, unsigned int height, CvtColour::ColourFormat format,
                                    Image* maskImage)
{
    [[maybe_unused]] const unsigned int nOfChannels = inImage.nofChannels();
    // clang-format off
    assert(nOfChannels >= 3);
    // clang-format on

    histogram.reset();
    unsigned char bins1 = 0;
    unsigned char bins2 = 0;
    unsigned char bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    assert(histogram.data().size() == unsigned{bins1} * bins2 * bins3 &&
           "ERROR: the histogram must have the bins that it says!");

    if (maskImage) {
        // clang-format off
        assert(maskImage->channels() == Image::GREYSCALE && "ERROR: the mask image must have 1 channel only!");
        assert(maskImage->width() == inImage.width() && maskImage->height() == inImage.height() && "ERROR: the mask must have the same size of the input image!");
        // clang-format on
    }
    if (inImage.width() == 0 || inImage.height() == 0)
        return;

    const unsigned lastColumn = inImage.width() - 1;
    const unsigned lastRow = inImage.height() - 1;
    Region region{inImage,
                  maskImage,
                  Math::getCrop(x, 0u, lastColumn),
                  Math::getCrop(x + width, 0u, lastColumn),
                  Math::getCrop(y, 0u, lastRow),
                  Math::getCrop(y + height, 0u, lastRow)};
    if (region.x0 < region.x1 && region.y0 < region.y1)
        countPixels(region, BinIndex(bins1, bins2, bins3, format), Bins(histogram.data()));
}

} // namespace velmor::cvprocess
