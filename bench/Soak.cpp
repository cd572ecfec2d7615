// Runs each CPU operator for 10,000 calls and prints how much memory stays with each call, and whether a thread was
// started. Fails where something grows that its class does not say.

#include "bench/Frames.h"
#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "math/Vector2.h"

#include <filesystem>
#include <functional>
#include <iostream>

#include <malloc.h>

namespace velmor::bench {
namespace {

using core::cvdata::Image;

constexpr int kCalls = 10000;

/// Bytes of the heap in use, for a program of one thread.
std::size_t bytesInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::ptrdiff_t threadCount()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

/// Prints a line about an operator; whether it grows if and only if it may.
bool soak(const char* name, bool mayGrow, const std::function<void(int)>& call)
{
    for (int k = 0; k < 10; ++k)
        call(k); // what is allocated once
    const std::size_t before = bytesInUse();
    for (int k = 0; k < kCalls; ++k)
        call(k);
    const double growth =
        (static_cast<double>(bytesInUse()) - static_cast<double>(before)) / static_cast<double>(kCalls);
    const bool asStated = mayGrow ? growth > 0.0 : growth == 0.0;
    std::cout << name << ": " << growth << " bytes per call" << (asStated ? "" : "   NOT AS STATED") << std::endl;
    return asStated;
}

bool soakAll()
{
    constexpr Size size{"", 160, 120};
    const std::vector<Image> frames = cameraFrames(50, size, Image::RGB);
    const std::vector<Image> greyFrames = cameraFrames(50, size, Image::GREYSCALE);
    const auto frame = [&](int k) -> const Image& {
        return frames[static_cast<std::size_t>(k) % frames.size()];
    };
    const auto greyFrame = [&](int k) -> const Image& {
        return greyFrames[static_cast<std::size_t>(k) % greyFrames.size()];
    };
    Image output(size.width, size.height, Image::GREYSCALE);

    core::cvdata::ColorGMM model;
    model.train(frame(0), &greyFrames[0], 1);
    cvprocess::ColourDetector::Param params(0);
    cvprocess::ColourDetector detector(&model, &params);
    core::cvdata::ColourHist2d histogram(16, 16, 8);
    cvprocess::MotionSegment motion(static_cast<int>(size.width), static_cast<int>(size.height));
    math::Vector2 centre;
    cvprocess::Moments moments;
    core::cvdata::Blobs blobs;
    cvprocess::FaceDetect faceDetector("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml");
    std::vector<math::Vector4> faces;
    std::vector<CvRect> rectangles;
    Image small(48, 48, Image::GREYSCALE);
    small.mat().setTo(100);

    bool good = true;
    good &= soak("ColourDetector::preProcess", false, [&](int k) { detector.preProcess(frame(k), output); });
    good &= soak("ColourDetector::preProcess, model changing", false, [&](int k) {
        model.detectionThreshold = 1e-6 * (1 + k % 100);
        detector.preProcess(frame(k), output);
    });
    params.useMorphology = true;
    good &= soak("ColourDetector::preProcess, with morphology", false,
                 [&](int k) { detector.preProcess(frame(k), output); });
    good &= soak("ColourHist2D::computeHistogram", false, [&](int k) {
        cvprocess::ColourHist2D::computeHistogram(frame(k), histogram, 0, 0, size.width, size.height,
                                                  cvprocess::CvtColour::RGB, nullptr);
    });
    good &= soak("MotionSegment::getMHI", false, [&](int k) { motion.getMHI(&frame(k), &output); });
    good &= soak("MotionSegment::getMassCenter", false, [&](int k) {
        output = greyFrame(k);
        motion.getMassCenter(&output, &centre);
    });
    good &= soak("FaceDetect::findFaces", false, [&](int) { faceDetector.findFaces(&small, faces); });
    good &= soak("Moments::findBlobs (contours stay until the object goes)", true,
                 [&](int k) { moments.findBlobs(greyFrame(k), blobs, -1, 5.0); });
    good &= soak("MotionSegment, made and deleted (the frame ring stays)", true,
                 [&](int) { cvprocess::MotionSegment another(20, 20); });
    good &= soak("FaceDetect::findFaces, reduced to 24 x 24 (the reduced image stays)", true,
                 [&](int) { faceDetector.findFaces(&small, rectangles, 2); });
    return good;
}

} // namespace
} // namespace velmor::bench

int main()
{
    cv::setNumThreads(1);
    try {
        const std::ptrdiff_t before = velmor::bench::threadCount();
        const bool good = velmor::bench::soakAll();
        const std::ptrdiff_t started = velmor::bench::threadCount() - before;
        std::cout << "threads started: " << started << std::endl;
        return good && started == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
