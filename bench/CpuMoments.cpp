#include "bench/CpuOperators.h"
#include "core/cvdata/Blobs.h"
#include "cvprocess/Moments.h"

#include <memory>

namespace velmor::bench {
namespace {

using core::cvdata::Blobs;
using core::cvdata::Image;

/// What differs from the frame before it by much: pedestrians in pieces.
Image movingParts(const Size& size)
{
    const std::vector<Image> frames = cameraFrames(6, size, Image::GREYSCALE);
    Image mask(size.width, size.height, Image::GREYSCALE);
    cv::Mat pixels = mask.mat();
    cv::absdiff(frames.front().mat(), frames.back().mat(), pixels);
    cv::threshold(pixels, pixels, 20.0, 255.0, cv::THRESH_BINARY);
    cv::rectangle(pixels, {0, 0, pixels.cols, pixels.rows}, 0); // then both find the same contours
    return mask;
}

/// What is brighter than its surroundings: hundreds of regions with rough borders, which cover about half.
Image texture(const Size& size)
{
    Image mask = cameraFrames(1, size, Image::GREYSCALE).front();
    cv::Mat pixels = mask.mat(), mean;
    cv::blur(pixels, mean, {31, 31});
    pixels.setTo(0, pixels <= mean);
    cv::rectangle(pixels, {0, 0, pixels.cols, pixels.rows}, 0);
    return mask;
}

/// Each pixel for itself, half of them foreground.
Image noise(const Size& size)
{
    Image mask(size.width, size.height, Image::GREYSCALE);
    cv::Mat pixels = mask.mat();
    cv::RNG(1).fill(pixels, cv::RNG::UNIFORM, 0, 256);
    pixels.setTo(0, pixels < 128);
    cv::rectangle(pixels, {0, 0, pixels.cols, pixels.rows}, 0);
    return mask;
}

struct Scene
{
    explicit Scene(const Image& source) : mask(source) {}
    void findBlobs() { moments->findBlobs(mask, blobs, -1, 0.0); }
    void opencv()
    {
        cv::findContours(mask.mat(), contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
        found.clear();
        for (const std::vector<cv::Point>& contour : contours)
            found.push_back(cv::moments(contour, true));
    }
    bool agree() const
    {
        std::vector<cv::Moments> withArea;
        for (auto each = found.rbegin(); each != found.rend(); ++each)
            if (each->m00 > 0.0)
                withArea.push_back(*each);
        if (withArea.size() != blobs.blobs.size() || withArea.empty())
            return false;
        for (std::size_t k = 0; k < withArea.size(); ++k)
            if (blobs.blobs[k].x != withArea[k].m10 / withArea[k].m00 ||
                blobs.blobs[k].area != static_cast<unsigned>(withArea[k].m00))
                return false;
        return true;
    }

    Image mask;
    std::unique_ptr<cvprocess::Moments> moments = std::make_unique<cvprocess::Moments>();
    Blobs blobs;
    std::vector<std::vector<cv::Point>> contours;
    std::vector<cv::Moments> found;
};

Comparison besideOpenCv(const Image& mask, double most)
{
    const auto scene = std::make_shared<Scene>(mask);
    scene->findBlobs();
    scene->opencv();
    expect(scene->agree(), "the list of blobs");
    return {{}, [=] { scene->findBlobs(); }, "cv::findContours_and_cv::moments", [=] { scene->opencv(); }, most};
}

} // namespace

void addMoments()
{
    struct Masks
    {
        const char* kind;
        Image (*make)(const Size&);
        double most;
    };
    for (const Size& size : kFrameSizes)
        for (const auto& [kind, make, most] :
             {Masks{"sparse", movingParts, 0.5}, Masks{"dense", texture, 0.9}, Masks{"noise", noise, 0.9}})
            add(std::string("Moments/findBlobs/") + size.name + "/" + kind,
                [size, make = make, most = most] { return besideOpenCv(make(size), most); });
}

} // namespace velmor::bench
