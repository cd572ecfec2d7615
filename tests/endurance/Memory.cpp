// velmor_endurance_memory [frames]: a million frames through each filter in main memory and each operator on images.
// Prints a line for each: calls, seconds, bytes of the heap that stay with a call, and pages that have come. Exits with
// 1 where memory stays or a result differs from the one of the same frame before.

#include "catalogue/CpuOperators.h"
#include "catalogue/NativeFilters.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"
#include "tests/endurance/Frames.h"
#include "tests/support/Models.h"

#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Kind;
using catalogue::Operator;
using catalogue::Values;
using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;
using core::cvdata::Image;

std::vector<cv::Mat> converted(std::vector<cv::Mat> pictures, int depth)
{
    for (cv::Mat& picture : pictures)
        picture.convertTo(picture, depth, depth == CV_32F ? 1.0 / 255.0 : 257.0);
    return pictures;
}

void addRows(Digest& results, const cv::Mat& picture)
{
    for (int y = 0; y < picture.rows; ++y)
        results.add(picture.ptr(y), static_cast<std::size_t>(picture.cols) * picture.elemSize());
}

void addBins(Digest& results, const ColourHist2d& histogram)
{
    for (unsigned k = 0; k < histogram.data().size(); ++k)
        results.add(histogram.data()[k]);
}

class Operators
{
public:
    Operators()
    {
        mGiven.models = {&mModel, &mOther};
        mGiven.size = {kFrameWidth, kFrameHeight};
        mGiven.cascadeFile = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";
    }

    void endure(Endurance& endurance, std::size_t calls)
    {
        for (const Operator& each : catalogue::operators()) {
            if (each.kind == Kind::CPU_OPERATOR)
                endureOnImages(endurance, calls, each);
            else if (catalogue::hasNative(each))
                endureInMemory(endurance, calls, each);
        }
        endureNumbers(endurance, calls);
    }

private:
    const std::vector<cv::Mat>& sourcesFor(const Operator& what) const
    {
        switch (what.takes) {
        case Data::GREY:
        case Data::MOSAIC:
            return mGrey;
        case Data::DIRECTIONS:
            return mFloats;
        case Data::INTEGERS:
            return mIntegers;
        default:
            return mColours;
        }
    }

    catalogue::Given givenFor(const Operator& what) const
    {
        catalogue::Given given = mGiven;
        if (what.need == catalogue::Need::ONE_MODEL)
            given.models.resize(1);
        return given;
    }

    void endureInMemory(Endurance& endurance, std::size_t calls, const Operator& what) const
    {
        const auto filter = catalogue::makeNative(what.name, {}, givenFor(what));
        const std::vector<cv::Mat>& sources = sourcesFor(what);
        cv::Mat result;
        endurance.endure("native::" + what.name, calls, [&](std::size_t k, Digest* results) {
            if (filter->sources() == 1)
                filter->execute(sources[k], result);
            else
                filter->execute(sources[k], sources[(k + 1) % sources.size()], result);
            if (results)
                addRows(*results, result);
        });
    }

    void endureOnImages(Endurance& endurance, std::size_t calls, const Operator& what) const
    {
        Values most;
        for (const catalogue::Parameter& parameter : what.parameters)
            most[parameter.name] = parameter.most;
        endureOnImages(endurance, calls, what, {}, "");
        if (!most.empty())
            endureOnImages(endurance, calls, what, most, ", parameters at their most");
    }

    void endureOnImages(Endurance& endurance, std::size_t calls, const Operator& what, const Values& values,
                        const std::string& note) const
    {
        const catalogue::CpuOperator work = catalogue::makeCpu(what.name, values, givenFor(what));
        const bool takesGrey = what.takes == Data::MASK || what.takes == Data::GREY;
        const bool usesClock = what.name == "MotionSegment"; // its results tell the time
        const std::vector<cv::Mat>& sources = takesGrey ? mGrey : mColours;
        endurance.endure(what.name + note, calls, [&](std::size_t k, Digest* results) {
            const cv::Mat& pixels = sources[k];
            const Image source(kFrameWidth, kFrameHeight, takesGrey ? Image::GREYSCALE : Image::RGB, pixels.data,
                               static_cast<unsigned>(pixels.step));
            const catalogue::CpuResult result = work(source);
            if (results && !usesClock)
                add(*results, result);
        });
    }

    static void add(Digest& results, const catalogue::CpuResult& result)
    {
        if (result.picture)
            results.add(*result.picture);
        if (result.histogram)
            addBins(results, *result.histogram);
        for (const Blobs::BlobInfo& blob : result.blobs.blobs)
            for (const double number : {blob.x, blob.y, blob.majorAxis, blob.minorAxis, blob.angle})
                results.add(number);
        for (const cv::Rect& rectangle : result.rectangles)
            for (const int number : {rectangle.x, rectangle.y, rectangle.width, rectangle.height})
                results.add(number);
    }

    void endureNumbers(Endurance& endurance, std::size_t calls) const
    {
        endurance.endure("native::pixelCount()", calls, [&](std::size_t k, Digest* results) {
            const auto count = native::pixelCount(mGrey[k]);
            if (results)
                results->add(count);
        });
        ColourHist2d histogram(16, 8, 4);
        endurance.endure("native::colorHistShader()", calls, [&](std::size_t k, Digest* results) {
            native::colorHistShader(mColours[k], cv::Rect(0, 0, kFrameWidth, kFrameHeight), histogram);
            if (results)
                addBins(*results, histogram);
        });
    }

    std::vector<cv::Mat> mColours = frames();
    std::vector<cv::Mat> mGrey = greyFrames(mColours);
    std::vector<cv::Mat> mFloats = converted(mColours, CV_32F);
    std::vector<cv::Mat> mIntegers = converted(mGrey, CV_16U);
    mutable ColorGMM mModel = makeModel({{{{0.01, 0}, {0, 0.01}}, 1e4f, {128, 128}, 1.0f}}, 1e-5);
    mutable ColorGMM mOther = makeModel({{{{0.01, 0}, {0, 0.01}}, 1e4f, {90, 80}, 1.0f}}, 1e-5);
    catalogue::Given mGiven;
};

std::ptrdiff_t threadCount()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

} // namespace
} // namespace velmor::tests

int main(int argc, char** argv)
{
    using namespace velmor::tests;
    cv::setNumThreads(1);
    try {
        Endurance endurance;
        const std::ptrdiff_t before = threadCount();
        Operators().endure(endurance, numberOf(argc, argv, 1, 1000000));
        const std::ptrdiff_t started = threadCount() - before;
        std::cout << "threads started: " << started << std::endl;
        return endurance.isGood() && started == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "velmor_endurance_memory: " << error.what() << '\n';
        return 1;
    }
}
