// Files of any kind as cascades: each is refused or loads, and what has loaded searches a picture.

#include "opencv1/HaarCascade.h"

#include <opencv2/core/core_c.h>

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr int kWidth = 64, kHeight = 48;

/// A bright disc, a slope and noise, so that features differ from place to place.
IplImage picture()
{
    static std::array<std::array<unsigned char, kWidth>, kHeight> pixels = [] {
        std::array<std::array<unsigned char, kWidth>, kHeight> result{};
        std::uint32_t random = 1;
        for (unsigned y = 0; y < kHeight; ++y)
            for (unsigned x = 0; x < kWidth; ++x) {
                random = 1664525 * random + 1013904223;
                const bool isInside = (x - 30) * (x - 30) + (y - 20) * (y - 20) < 150;
                result[y][x] = static_cast<unsigned char>((isInside ? 120 : x) + (random >> 26));
            }
        return result;
    }();
    IplImage image;
    cvInitImageHeader(&image, cvSize(kWidth, kHeight), IPL_DEPTH_8U, 1);
    cvSetData(&image, pixels[0].data(), kWidth);
    return image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const int file = memfd_create("cascade", 0);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    CvHaarClassifierCascade* cascade = static_cast<CvHaarClassifierCascade*>(cvLoad(name.c_str()));
    if (!cascade)
        return 0;
    const IplImage image = picture();
    CvMemStorage* storage = cvCreateMemStorage(0);
    cvHaarDetectObjects(&image, cascade, storage, 1.3, 2);
    cvReleaseMemStorage(&storage);
    cvReleaseHaarClassifierCascade(&cascade);
    return 0;
}
