#include "bench/CpuOperators.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourHist2D.h"

#include <memory>

namespace velmor::bench {
namespace {

using core::cvdata::ColourHist2d;
using core::cvdata::Image;

/// What is counted.
struct Case
{
    unsigned char bins; ///< in each channel
    bool masked;
    unsigned side; ///< of the region; 0 for all of the picture but its last row and column
    double most;   ///< largest ratio that is good enough
};

struct Scene
{
    Scene(const Size& size, const Case& what)
        : frame(cameraFrames(1, size, Image::RGB)[0]), mask(size.width, size.height, Image::GREYSCALE),
          histogram(what.bins, what.bins, what.bins), usedMask(what.masked ? &mask : nullptr),
          region(0, 0, static_cast<int>(what.side ? what.side : size.width - 1),
                 static_cast<int>(what.side ? what.side : size.height - 1))
    {
        cv::Mat bytes = frame.mat();
        cv::max(bytes, cv::Scalar(1, 1, 1), bytes); // then both count every pixel
        cv::Mat pixels = mask.mat();
        cv::ellipse(pixels, {pixels.cols / 2, pixels.rows / 2}, {pixels.cols / 3, pixels.rows / 3}, 0, 0, 360, 255,
                    cv::FILLED);
    }

    void compute()
    {
        cvprocess::ColourHist2D::computeHistogram(frame, histogram, 0, 0, static_cast<unsigned>(region.width),
                                                  static_cast<unsigned>(region.height), cvprocess::CvtColour::RGB,
                                                  usedMask);
    }
    void calcHist()
    {
        const cv::Mat part = frame.mat()(region);
        unsigned char b1 = 0, b2 = 0, b3 = 0;
        histogram.getNofBins(b1, b2, b3);
        const int channels[] = {0, 1, 2};
        const int sizes[] = {b1, b2, b3};
        const float range[] = {0, 256};
        const float* ranges[] = {range, range, range};
        cv::calcHist(&part, 1, channels, usedMask ? mask.mat()(region) : cv::Mat(), counts, 3, sizes, ranges);
    }
    bool agree() const
    {
        const double total = cv::sum(counts.reshape(1, counts.size[0]))[0];
        const auto* count = counts.ptr<float>();
        for (unsigned char i = 0; i < counts.size[0]; ++i)
            for (unsigned char j = 0; j < counts.size[1]; ++j)
                for (unsigned char k = 0; k < counts.size[2]; ++k)
                    if (histogram.getValue(i, j, k) != static_cast<double>(*count++) * (1.0 / total))
                        return false;
        return total > 0.0;
    }

    Image frame, mask;
    ColourHist2d histogram;
    Image* usedMask;
    cv::Rect region;
    cv::Mat counts;
};

Comparison besideOpenCv(const Size& size, const Case& what)
{
    const auto scene = std::make_shared<Scene>(size, what);
    scene->compute();
    scene->calcHist();
    expect(scene->agree(), "the histogram");
    return {{}, [=] { scene->compute(); }, "cv::calcHist", [=] { scene->calcHist(); }, what.most};
}

std::string nameOf(const Size& size, const Case& what)
{
    const std::string bins = "/" + std::to_string(what.bins) + " bins a channel";
    const std::string side = std::to_string(what.side);
    if (what.side != 0)
        return "ColourHist2D" + bins + "/region of " + side + " x " + side;
    return std::string("ColourHist2D/") + size.name + bins + (what.masked ? "/under a mask" : "");
}

} // namespace

void addColourHist2D()
{
    std::vector<Case> cases;
    for (const bool masked : {false, true}) {
        cases.push_back({8, masked, 0, 0.25});
        cases.push_back({16, masked, 0, 0.25});
        cases.push_back({32, masked, 0, 0.5});
    }
    for (const unsigned side : {32u, 128u}) {
        cases.push_back({8, false, side, 0.5});
        cases.push_back({16, false, side, 0.5});
        cases.push_back({32, false, side, 0.8});
    }
    for (const Size& size : kFrameSizes)
        for (const Case& what : cases)
            if (what.side == 0 || &size == &kFrameSizes[0]) // a region takes the same time in every picture
                add(nameOf(size, what), [=] { return besideOpenCv(size, what); });
}

} // namespace velmor::bench
