#include "core/cvdata/Image.h"

#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using velmor::core::cvdata::Image;

static_assert(std::has_virtual_destructor_v<Image>);

namespace velmor::tests {
namespace {

constexpr unsigned char kPadding = 0xEE;
constexpr Image::ChannelLayout kLayouts[] = {Image::GREYSCALE, Image::BGR, Image::RGB};

unsigned char* pixel(const Image& image, unsigned x, unsigned y)
{
    return image.imageBuffer() + y * image.allocatedWidth() + x * image.nofChannels();
}

/// A byte that tells its place and the picture that it belongs to.
unsigned char valueAt(unsigned x, unsigned y, unsigned channel, unsigned seed)
{
    return static_cast<unsigned char>(seed + 50 * y + 5 * x + channel);
}

void fill(const Image& image, unsigned seed)
{
    for (unsigned y = 0; y < image.height(); ++y)
        for (unsigned x = 0; x < image.width(); ++x)
            for (unsigned channel = 0; channel < image.nofChannels(); ++channel)
                pixel(image, x, y)[channel] = valueAt(x, y, channel, seed);
}

void expectFilled(const Image& image, unsigned seed)
{
    for (unsigned y = 0; y < image.height(); ++y)
        for (unsigned x = 0; x < image.width(); ++x)
            for (unsigned channel = 0; channel < image.nofChannels(); ++channel)
                ASSERT_EQ(pixel(image, x, y)[channel], valueAt(x, y, channel, seed))
                    << "x " << x << ", y " << y << ", channel " << channel;
}

void expectShape(const Image& image, unsigned width, unsigned height, Image::ChannelLayout layout)
{
    EXPECT_EQ(image.width(), width);
    EXPECT_EQ(image.height(), height);
    EXPECT_EQ(image.channels(), layout);
    EXPECT_EQ(image.nofChannels(), layout == Image::GREYSCALE ? 1u : 3u);
    const IplImage* const header = image.iplImage();
    EXPECT_EQ(header->width, static_cast<int>(width));
    EXPECT_EQ(header->height, static_cast<int>(height));
    EXPECT_EQ(header->nChannels, static_cast<int>(image.nofChannels()));
    EXPECT_EQ(header->depth, IPL_DEPTH_8U);
    EXPECT_EQ(header->widthStep, static_cast<int>(image.allocatedWidth()));
    EXPECT_EQ(header->imageSize, static_cast<int>(image.allocatedWidth() * height));
    EXPECT_EQ(header->imageData, reinterpret_cast<char*>(image.imageBuffer()));
}

/// Memory of a caller, with an image over it: rows of `stride` bytes, all of them set to kPadding.
struct Borrowed
{
    Borrowed(unsigned width, unsigned height, Image::ChannelLayout layout, unsigned stride)
        : memory(stride * height, kPadding), image(width, height, layout, memory.data(), stride)
    {
    }

    void expectPaddingUntouched() const
    {
        const unsigned rowBytes = image.width() * image.nofChannels();
        for (unsigned y = 0; y < image.height(); ++y)
            for (unsigned i = rowBytes; i < image.allocatedWidth(); ++i)
                ASSERT_EQ(memory[y * image.allocatedWidth() + i], kPadding) << "row " << y << ", byte " << i;
    }

    std::vector<unsigned char> memory;
    Image image;
};

TEST(Image, OwnsBlackPixelsInRowsOfAMultipleOfFourBytes)
{
    for (const auto layout : kLayouts) {
        for (const unsigned width : {1u, 2u, 3u, 4u, 5u, 8u, 641u}) {
            const Image image(width, 3, layout);
            expectShape(image, width, 3, layout);
            const unsigned rowBytes = width * image.nofChannels();
            EXPECT_EQ(image.allocatedWidth() % 4, 0u);
            EXPECT_GE(image.allocatedWidth(), rowBytes);
            EXPECT_LT(image.allocatedWidth(), rowBytes + 4);
            const unsigned char* const begin = image.imageBuffer();
            EXPECT_TRUE(std::all_of(begin, begin + 3 * image.allocatedWidth(), [](unsigned char b) { return b == 0; }));
        }
    }
}

TEST(Image, MayHaveNoPixels)
{
    for (const auto layout : kLayouts) {
        for (const auto& [width, height] : {std::pair{0u, 0u}, {0u, 5u}, {5u, 0u}}) {
            Image image(width, height, layout);
            expectShape(image, width, height, layout);
            EXPECT_TRUE(image.mat().empty());
            image.clear();
            const Image copy(image);
            expectShape(copy, width, height, layout);
            Image target(2, 2, Image::RGB);
            target = image;
            expectShape(target, width, height, layout);
            target = Image(3, 4, Image::BGR);
            expectShape(target, 3, 4, Image::BGR);
        }
    }
}

TEST(Image, BorrowsPixelsWithAnyRowStride)
{
    for (const auto layout : kLayouts) {
        for (const unsigned extra : {0u, 1u, 2u, 7u}) {
            const unsigned stride = 5 * (layout == Image::GREYSCALE ? 1 : 3) + extra;
            const Borrowed borrowed(5, 4, layout, stride);
            expectShape(borrowed.image, 5, 4, layout);
            EXPECT_EQ(borrowed.image.imageBuffer(), borrowed.memory.data());
            EXPECT_EQ(borrowed.image.allocatedWidth(), stride);
            EXPECT_TRUE(std::all_of(borrowed.memory.begin(), borrowed.memory.end(),
                                    [](unsigned char b) { return b == kPadding; }));
        }
    }
}

TEST(Image, HasOneMemoryBehindItsThreeViews)
{
    for (const auto layout : kLayouts) {
        const Image owned(5, 4, layout);
        const Borrowed borrowed(5, 4, layout, 23);
        for (const Image* const image : {&owned, &borrowed.image}) {
            const auto atHeader = [image](unsigned x, unsigned y, unsigned channel) -> unsigned char& {
                const IplImage* const header = image->iplImage();
                return reinterpret_cast<unsigned char&>(
                    header->imageData[static_cast<int>(y) * header->widthStep +
                                      static_cast<int>(x) * header->nChannels + static_cast<int>(channel)]);
            };
            cv::Mat mat = image->mat();
            ASSERT_EQ(mat.cols, 5);
            ASSERT_EQ(mat.rows, 4);
            ASSERT_EQ(mat.type(), CV_8UC(static_cast<int>(image->nofChannels())));
            const unsigned last = image->nofChannels() - 1;
            unsigned char* const atMat = mat.ptr(2) + 3 * mat.channels() + last;

            pixel(*image, 3, 2)[last] = 11;
            EXPECT_EQ(atHeader(3, 2, last), 11);
            EXPECT_EQ(*atMat, 11);
            atHeader(3, 2, last) = 22;
            EXPECT_EQ(pixel(*image, 3, 2)[last], 22);
            EXPECT_EQ(*atMat, 22);
            *atMat = 33;
            EXPECT_EQ(pixel(*image, 3, 2)[last], 33);
            EXPECT_EQ(atHeader(3, 2, last), 33);
        }
    }
}

TEST(Image, ViewsKeepTheirMemoryWhenTheImageIsFilledAgain)
{
    Image image(5, 4, Image::RGB);
    const cv::Mat mat = image.mat();
    const Image other(5, 4, Image::RGB);
    fill(other, 9);
    image = other;
    EXPECT_EQ(mat.data, image.imageBuffer());
    EXPECT_EQ(mat.ptr(1)[4], valueAt(1, 1, 1, 9));
}

TEST(Image, CopiesAreDeepAndOwnTheirPixels)
{
    for (const auto layout : kLayouts) {
        const Borrowed borrowed(5, 4, layout, 23);
        fill(borrowed.image, 3);
        const Image copy(borrowed.image);
        const std::unique_ptr<Image> clone(borrowed.image.clone());
        for (const Image* const each : {&copy, static_cast<const Image*>(clone.get())}) {
            expectShape(*each, 5, 4, layout);
            EXPECT_EQ(each->allocatedWidth(), Image(5, 4, layout).allocatedWidth());
            EXPECT_NE(each->imageBuffer(), borrowed.image.imageBuffer());
            EXPECT_NE(each->iplImage(), borrowed.image.iplImage());
        }
        fill(borrowed.image, 100);
        expectFilled(copy, 3);
        expectFilled(*clone, 3);
        fill(copy, 50);
        expectFilled(borrowed.image, 100);
        borrowed.expectPaddingUntouched();
    }
}

TEST(Image, ClearBlackensThePixelsAndLeavesBorrowedPaddingAlone)
{
    for (const auto layout : kLayouts) {
        Borrowed borrowed(5, 4, layout, 23);
        fill(borrowed.image, 3);
        borrowed.image.clear();
        for (unsigned y = 0; y < 4; ++y) {
            const unsigned char* const row = pixel(borrowed.image, 0, y);
            EXPECT_TRUE(std::all_of(row, row + 5 * borrowed.image.nofChannels(), [](auto b) { return b == 0; }));
        }
        borrowed.expectPaddingUntouched();
    }
}

TEST(Image, AssignmentOfTheSameSizeAndLayoutKeepsOwnMemory)
{
    for (const auto layout : kLayouts) {
        Borrowed source(5, 4, layout, 23);
        fill(source.image, 3);
        Image target(5, 4, layout);
        const unsigned char* const memory = target.imageBuffer();
        const unsigned stride = target.allocatedWidth();
        EXPECT_EQ(&(target = source.image), &target);
        EXPECT_EQ(target.imageBuffer(), memory);
        EXPECT_EQ(target.allocatedWidth(), stride);
        expectShape(target, 5, 4, layout);
        expectFilled(target, 3);
        fill(source.image, 100);
        expectFilled(target, 3);
    }
}

TEST(Image, AssignmentOfTheSameSizeAndLayoutFillsBorrowedMemory)
{
    for (const auto layout : kLayouts) {
        const Image source(5, 4, layout);
        fill(source, 3);
        Borrowed target(5, 4, layout, 23);
        target.image = source;
        EXPECT_EQ(target.image.imageBuffer(), target.memory.data());
        EXPECT_EQ(target.image.allocatedWidth(), 23u);
        expectFilled(target.image, 3);
        target.expectPaddingUntouched();
    }
}

TEST(Image, AssignmentOfAnotherSizeOrLayoutMakesNewMemory)
{
    struct Shape
    {
        unsigned width, height;
        Image::ChannelLayout layout;
    };
    for (const auto [width, height, layout] :
         {Shape{6, 4, Image::RGB}, {5, 3, Image::RGB}, {5, 4, Image::BGR}, {5, 4, Image::GREYSCALE}}) {
        const Image source(width, height, layout);
        fill(source, 3);

        Image owner(5, 4, Image::RGB);
        owner = source;
        expectShape(owner, width, height, layout);
        expectFilled(owner, 3);
        EXPECT_NE(owner.imageBuffer(), source.imageBuffer());

        Borrowed borrower(5, 4, Image::RGB, 23);
        borrower.image = source;
        expectShape(borrower.image, width, height, layout);
        expectFilled(borrower.image, 3);
        EXPECT_NE(borrower.image.imageBuffer(), borrower.memory.data());
        EXPECT_NE(borrower.image.imageBuffer(), source.imageBuffer());
        EXPECT_TRUE(std::all_of(borrower.memory.begin(), borrower.memory.end(), [](auto b) { return b == kPadding; }));
    }
}

TEST(Image, SelfAssignmentChangesNothing)
{
    Image owner(5, 4, Image::RGB);
    Borrowed borrower(5, 4, Image::RGB, 23);
    for (Image* const image : {&owner, &borrower.image}) {
        fill(*image, 3);
        const unsigned char* const memory = image->imageBuffer();
        const Image& same = *image;
        *image = same; // cppcheck-suppress selfAssignment ; what is tested
        EXPECT_EQ(image->imageBuffer(), memory);
        expectShape(*image, 5, 4, Image::RGB);
        expectFilled(*image, 3);
    }
    borrower.expectPaddingUntouched();
}

TEST(Image, AssignmentTakesAPartOfItsOwnPixels)
{
    Image image(5, 4, Image::RGB);
    fill(image, 3);
    image = Image(2, 3, Image::RGB, pixel(image, 1, 1), image.allocatedWidth());
    expectShape(image, 2, 3, Image::RGB);
    for (unsigned y = 0; y < 3; ++y)
        for (unsigned x = 0; x < 2; ++x)
            EXPECT_EQ(pixel(image, x, y)[2], valueAt(x + 1, y + 1, 2, 3));
}

TEST(Image, AssignmentTakesPixelsThatOverlapItsOwn)
{
    // One memory, read with one row stride and written with another, from below and from above.
    for (const auto& [sourceStart, sourceStride, targetStart, targetStride] :
         {std::array{0u, 5u, 0u, 8u}, {0u, 8u, 0u, 5u}, {0u, 5u, 5u, 5u}, {5u, 5u, 0u, 5u}, {3u, 6u, 0u, 7u}}) {
        std::vector<unsigned char> memory(40);
        const Image source(5, 4, Image::GREYSCALE, memory.data() + sourceStart, sourceStride);
        Image target(5, 4, Image::GREYSCALE, memory.data() + targetStart, targetStride);
        fill(source, 3);
        target = source;
        SCOPED_TRACE(testing::Message() << sourceStart << " " << sourceStride << " to " << targetStart << " "
                                        << targetStride);
        expectFilled(target, 3);
    }
}

TEST(Image, ARegionOnTheHeaderIsNeitherCopiedNorLost)
{
    Image image(5, 4, Image::RGB);
    cvSetImageROI(image.iplImage(), cvRect(1, 1, 2, 2));
    const Image copy(image);
    EXPECT_EQ(copy.iplImage()->roi, nullptr);
    EXPECT_NE(image.iplImage()->roi, nullptr);
    EXPECT_EQ(image.mat().cols, 5);
    image = Image(2, 2, Image::RGB);
    EXPECT_EQ(image.iplImage()->roi, nullptr);
    cvSetImageROI(image.iplImage(), cvRect(0, 0, 1, 1)); // the destructor frees it
}

TEST(Image, RefusesPixelsBeyondTwoGiB)
{
    constexpr const char* expected = "Image::Image(): expected at most 2 GiB of pixels, got ";
    unsigned char byte = 0;
    EXPECT_EQ(thrownText<std::invalid_argument>([] { Image(46341, 46341, Image::GREYSCALE); }),
              std::string(expected) + "46341 x 46341 pixels in rows of 46344 bytes");
    EXPECT_EQ(thrownText<std::invalid_argument>([] { Image(4294967295, 1, Image::RGB); }),
              std::string(expected) + "4294967295 x 1 pixels in rows of 12884901888 bytes");
    EXPECT_EQ(thrownText<std::invalid_argument>([] { Image(0, 2147483648, Image::RGB); }),
              std::string(expected) + "0 x 2147483648 pixels in rows of 0 bytes");
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { Image(1, 3, Image::RGB, &byte, 1000000000); }),
              std::string(expected) + "1 x 3 pixels in rows of 1000000000 bytes");
}

TEST(Image, RefusesARowStrideThatIsTooSmall)
{
    unsigned char bytes[20] = {};
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { Image(5, 1, Image::RGB, bytes, 14); }),
              "Image::Image(): expected a row stride of at least 15 bytes, got 14");
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { Image(5, 1, Image::GREYSCALE, bytes, 0); }),
              "Image::Image(): expected a row stride of at least 5 bytes, got 0");
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { Image(5, 1, Image::RGB, bytes, 15); }), "no exception");
}

TEST(Image, RefusesToBorrowFromNowhere)
{
    EXPECT_EQ(thrownText<std::invalid_argument>([] { Image(5, 4, Image::RGB, nullptr, 16); }),
              "Image::Image(): expected the address of the pixels, got null");
}

} // namespace
} // namespace velmor::tests
