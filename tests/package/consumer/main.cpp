// Uses something of every library: combines two pictures on a headless context and checks the pixels.

#include "catalogue/CpuOperators.h"
#include "catalogue/GpuFilters.h"
#include "core/cvdata/Image.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"
#include "glsupport/StateGuard.h"
#include "imageio/ImageIo.h"
#include "math/SquareMatrix.h"
#include "math/Vector.h"
#include "native/And.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace {

constexpr unsigned kWidth = 13;
constexpr unsigned kHeight = 7;

unsigned char& pixel(const Image& image, unsigned x, unsigned y)
{
    return image.imageBuffer()[y * image.allocatedWidth() + x];
}

void check(bool right, const std::string& what)
{
    if (!right) {
        std::cerr << "wrong: " << what << '\n';
        std::exit(1);
    }
}

/// A mask that is set where a number divides the column, or the row.
Image stripes(unsigned everyColumn, unsigned everyRow)
{
    Image mask(kWidth, kHeight, Image::GREYSCALE);
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            pixel(mask, x, y) = x % everyColumn == 0 && y % everyRow == 0 ? 255 : 0;
    return mask;
}

Image both(const Image& a, const Image& b)
{
    RectTexture textureA(kWidth, kHeight, RectTexture::GREY8);
    RectTexture textureB(kWidth, kHeight, RectTexture::GREY8);
    RectTexture result(kWidth, kHeight, RectTexture::R32F);
    textureA.upload(a);
    textureB.upload(b);
    {
        const velmor::glsupport::StateGuard guard;
        const auto filter = velmor::catalogue::makeGpu("And");
        filter->prepareExecution(textureA, textureB, result);
        filter->execute();
    }
    Image picture(kWidth, kHeight, Image::GREYSCALE);
    result.download(picture);
    return picture;
}

void run(const std::string& folder)
{
    const velmor::glsupport::HeadlessContext context;
    std::cout << context.description() << '\n';

    const std::string file = folder + "/both.png";
    velmor::imageio::save(both(stripes(2, 1), stripes(1, 3)), file);
    const Image picture = velmor::imageio::load(file, Image::GREYSCALE);
    check(picture.width() == kWidth && picture.height() == kHeight, "size of the picture");
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            check(pixel(picture, x, y) == (x % 2 == 0 && y % 3 == 0 ? 255 : 0),
                  "pixel " + std::to_string(x) + ", " + std::to_string(y));

    cv::Mat sameBoth;
    velmor::native::And().execute(stripes(2, 1), stripes(1, 3), sameBoth);
    check(sameBoth.size() == picture.mat().size(), "size of the picture in main memory");
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            check(pixel(picture, x, y) == sameBoth.ptr(static_cast<int>(y))[x],
                  "pixel in main memory " + std::to_string(x) + ", " + std::to_string(y));

    Image square(kWidth, kHeight, Image::GREYSCALE);
    for (unsigned y = 2; y < 5; ++y)
        for (unsigned x = 2; x < 5; ++x)
            pixel(square, x, y) = 255;
    const auto regions = velmor::catalogue::makeCpu("Moments", {{"least-area", 0}})(square);
    check(regions.blobs.blobs.size() == 1 && regions.blobs.blobs[0].x == 3.0, "the region found");

    velmor::math::SquareMatrix matrix(2), vectors(2);
    velmor::math::Vector values(2);
    matrix[0][0] = 1.0;
    matrix[1][1] = 4.0;
    matrix.eigenSymmetric(vectors, values);
    check(values[0] == 4.0 && values[1] == 1.0, "eigenvalues");
}

} // namespace

int main(int argc, char** argv)
{
    try {
        run(argc > 1 ? argv[1] : ".");
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::cout << "all pixels are right\n";
    return 0;
}
