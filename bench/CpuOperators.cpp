// The CPU operators beside what a user would call instead, each on one thread and on frames of a real video. Results
// are compared before they are timed.

#include "bench/Frames.h"
#include "bench/Ratio.h"
#include "catalogue/Catalogue.h"
#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "imageio/ImageIo.h"
#include "math/Vector2.h"

#include <opencv2/objdetect.hpp>
#include <opencv2/optflow/motempl.hpp>

#include <cmath>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <random>
#include <set>

namespace velmor::bench {
namespace {

using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;
using core::cvdata::GM;
using core::cvdata::Image;
using cvprocess::ColourDetector;
using cvprocess::ColourHist2D;
using cvprocess::CvtColour;

void expect(bool holds, const std::string& what)
{
    if (!holds)
        throw std::runtime_error("velmor_bench_cpu: " + what + " is wrong; nothing is timed");
}

/// The operators that have a benchmark.
std::set<std::string> measuredOperators;

/// A benchmark whose objects live until all are run.
/// @param name  begins with the operator's, and a slash
template<typename Code, typename Other>
void add(const std::string& name, Code code, const std::string& otherName, Other other)
{
    measuredOperators.insert(name.substr(0, name.find('/')));
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { compare(state, code, otherName, other); })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

bool equal(const cv::Mat& a, const cv::Mat& b)
{
    return cv::norm(a, b, cv::NORM_INF) == 0.0;
}

Image newFrame(const Size& size, Image::ChannelLayout layout)
{
    return {size.width, size.height, layout};
}

// ---- colour detector

/// Three components for the colours of a patch of a frame.
ColorGMM patchModel(const Image& frame)
{
    Image patch(40, 40, Image::RGB);
    cv::Mat pixels = patch.mat();
    frame.mat()(cv::Rect(static_cast<int>(frame.width()) / 2, static_cast<int>(frame.height()) / 2, 40, 40))
        .copyTo(pixels);
    ColorGMM model;
    model.train(patch, nullptr, 3);
    return model;
}

/// Every pixel evaluated for itself, without anything else.
void plainMask(const ColorGMM& model, const Image& input, Image& output)
{
    for (unsigned y = 0; y < input.height(); ++y) {
        const unsigned char* pixel = input.imageBuffer() + std::size_t{y} * input.allocatedWidth();
        unsigned char* const mask = output.imageBuffer() + std::size_t{y} * output.allocatedWidth();
        for (unsigned x = 0; x < input.width(); ++x, pixel += 3) {
            double p = 0.0;
            for (int k = 0; k < model.nofComponents(); ++k) {
                const GM& component = *model.mixture[static_cast<std::size_t>(k)];
                const double d0 = component.mean[0] - pixel[0];
                const double d1 = component.mean[0] - pixel[1];
                const math::SquareMatrix& m = component.invCovariance;
                const double q = (m[0][0] * d0 + m[1][0] * d1) * d0 + (m[0][1] * d0 + m[1][1] * d1) * d1;
                const double norm = 1.0 / (std::sqrt(static_cast<double>(component.determinant)) * 6.283185307179586);
                p = p + std::exp(q * -0.5) * norm * static_cast<double>(component.weight);
            }
            mask[x] = p > model.detectionThreshold ? 255 : 0;
        }
    }
}

void addColourDetector(const Size& size)
{
    struct Scene
    {
        explicit Scene(const Size& frameSize)
            : frame(cameraFrames(1, frameSize, Image::RGB)[0]), mask(newFrame(frameSize, Image::GREYSCALE)),
              plain(mask), copy(frame), model(patchModel(frame)), detector(&model, nullptr)
        {
        }
        Image frame, mask, plain, copy;
        ColorGMM model;
        ColourDetector detector;
    };
    const auto scene = std::make_shared<Scene>(size);
    const auto detect = [=] {
        scene->detector.preProcess(scene->frame, scene->mask);
    };
    const auto detectWithAChangedModel = [=] {
        scene->model.detectionThreshold = std::nextafter(scene->model.detectionThreshold, 1.0);
        detect();
    };
    const auto plainLoop = [=] {
        plainMask(scene->model, scene->frame, scene->plain);
    };
    const auto copyBytes = [=] {
        std::memcpy(scene->copy.imageBuffer(), scene->frame.imageBuffer(),
                    std::size_t{scene->frame.height()} * scene->frame.allocatedWidth());
    };
    plainLoop();
    for (int k = 0; k < 2; ++k) {
        detect();
        expect(equal(scene->mask.mat(), scene->plain.mat()), "the colour detector's mask");
    }
    const std::string name = std::string("ColourDetector/") + size.name;
    add(name + "/model_changed", detectWithAChangedModel, "plain_loop", plainLoop);
    add(name + "/model_kept", detect, "plain_loop", plainLoop);
    add(name + "/model_kept/copy", detect, "copy", copyBytes);
}

// ---- histogram

void addHistogram(const Size& size, unsigned char bins, bool masked, unsigned side)
{
    struct Scene
    {
        Scene(const Size& frameSize, unsigned char binCount, bool withMask, unsigned regionSide)
            : frame(cameraFrames(1, frameSize, Image::RGB)[0]), mask(newFrame(frameSize, Image::GREYSCALE)),
              histogram(binCount, binCount, binCount), usedMask(withMask ? &mask : nullptr),
              region(0, 0, static_cast<int>(regionSide ? regionSide : frameSize.width - 1),
                     static_cast<int>(regionSide ? regionSide : frameSize.height - 1))
        {
            cv::Mat bytes = frame.mat();
            cv::max(bytes, cv::Scalar(1, 1, 1), bytes); // then both count every pixel
            cv::Mat pixels = mask.mat();
            cv::ellipse(pixels, {pixels.cols / 2, pixels.rows / 2}, {pixels.cols / 3, pixels.rows / 3}, 0, 0, 360, 255,
                        cv::FILLED);
        }

        void compute()
        {
            ColourHist2D::computeHistogram(frame, histogram, 0, 0, static_cast<unsigned>(region.width),
                                           static_cast<unsigned>(region.height), CvtColour::RGB, usedMask);
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
    const auto scene = std::make_shared<Scene>(size, bins, masked, side);
    scene->compute();
    scene->calcHist();
    expect(scene->agree(), "the histogram");
    add(
        std::string("ColourHist2D/") + size.name + "/bins:" + std::to_string(bins) +
            (side ? "/region:" + std::to_string(side) : "") + (masked ? "/mask" : ""),
        [=] { scene->compute(); }, "calcHist", [=] { scene->calcHist(); });
}

// ---- motion

void addMassCentre(const Size& size)
{
    const auto frame = std::make_shared<Image>(cameraFrames(1, size, Image::GREYSCALE)[0]);
    const auto motion = std::make_shared<cvprocess::MotionSegment>(1, 1);
    const auto centre = std::make_shared<math::Vector2>();
    const auto moments = std::make_shared<cv::Moments>();
    const auto getMassCenter = [=] {
        motion->getMassCenter(frame.get(), centre.get());
    };
    const auto opencv = [=] {
        *moments = cv::moments(frame->mat());
    };
    getMassCenter();
    opencv();
    expect((*centre)[0] == moments->m10 / moments->m00 && (*centre)[1] == moments->m01 / moments->m00,
           "the centre of mass");
    add(std::string("MotionSegment/getMassCenter/") + size.name, getMassCenter, "moments", opencv);
}

void addMotionHistory(const Size& size)
{
    struct Scene
    {
        explicit Scene(const Size& frameSize)
            : frames(cameraFrames(10, frameSize, Image::BGR)), output(newFrame(frameSize, Image::GREYSCALE)),
              motion(static_cast<int>(frameSize.width), static_cast<int>(frameSize.height)),
              silhouette(cv::Mat::zeros(output.mat().size(), CV_8U)), history(cv::Mat::zeros(silhouette.size(), CV_32F))
        {
        }
        void getMHI() { motion.getMHI(&frames[own++ % frames.size()], &output); }
        void opencv()
        {
            const double now = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
            cv::cvtColor(frames[other++ % frames.size()].mat(), grey, cv::COLOR_BGR2GRAY);
            cv::absdiff(grey, silhouette, silhouette);
            cv::threshold(silhouette, silhouette, 20.0, 1.0, cv::THRESH_BINARY);
            cv::motempl::updateMotionHistory(silhouette, history, now, 0.4);
            history.convertTo(shown, CV_8U, 255.0 / 0.4, (0.4 - now) * 255.0 / 0.4);
            std::swap(grey, silhouette);
        }
        bool agree()
        {
            // The times of the calls differ a little; what moves in this very call does not.
            return equal(output.mat() == 255, shown == 255) && cv::countNonZero(shown == 255) > 0;
        }

        std::vector<Image> frames;
        Image output;
        cvprocess::MotionSegment motion;
        cv::Mat grey, silhouette, history, shown;
        std::size_t own = 0, other = 0;
    };
    const auto scene = std::make_shared<Scene>(size);
    while (std::clock() < CLOCKS_PER_SEC / 2) {
    } // past the duration, as in any program that has run for a moment
    for (int k = 0; k < 5; ++k) {
        scene->getMHI();
        scene->opencv();
        expect(scene->agree(), "the motion history");
    }
    add(
        std::string("MotionSegment/getMHI/") + size.name, [=] { scene->getMHI(); }, "opencv", [=] { scene->opencv(); });
}

// ---- blobs

/// What differs from the frame before it by much: pedestrians in pieces.
Image movingParts(const Size& size)
{
    const std::vector<Image> frames = cameraFrames(6, size, Image::GREYSCALE);
    Image mask = newFrame(size, Image::GREYSCALE);
    cv::Mat pixels = mask.mat();
    cv::absdiff(frames.front().mat(), frames.back().mat(), pixels);
    cv::threshold(pixels, pixels, 20.0, 255.0, cv::THRESH_BINARY);
    cv::rectangle(pixels, {0, 0, pixels.cols, pixels.rows}, 0); // then both find the same contours
    return mask;
}

void addBlobs(const std::string& name, const Image& image)
{
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
    const auto scene = std::make_shared<Scene>(image);
    scene->findBlobs();
    scene->opencv();
    expect(scene->agree(), "the list of blobs");
    add(
        "Moments/findBlobs/" + name, [=] { scene->findBlobs(); }, "opencv", [=] { scene->opencv(); });
}

// ---- faces

/// @param size   that the photograph is scaled to
/// @param scale  that the search reduces it by
void addFaces(const std::string& name, const cv::Size& size, int scale)
{
    const char* const cascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";
    struct Scene
    {
        Scene(const char* cascadeFile, const cv::Size& size)
            : image(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height), Image::BGR),
              detector(cascadeFile), classifier(cascadeFile)
        {
            cv::Mat pixels = image.mat();
            cv::resize(imageio::load("/usr/share/doc/opencv-doc/examples/data/messi5.jpg", Image::BGR).mat(), pixels,
                       size);
        }
        Image image;
        cvprocess::FaceDetect detector;
        cv::CascadeClassifier classifier;
        std::vector<math::Vector4> faces;
        std::vector<CvRect> rectangles;
        std::vector<cv::Rect> expected;
        cv::Mat reduced;
    };
    const auto scene = std::make_shared<Scene>(cascade, size);
    const auto search = [=] {
        if (scale == 1)
            scene->detector.findFaces(&scene->image, scene->faces);
        else
            scene->detector.findFaces(&scene->image, scene->rectangles, scale);
    };
    const auto opencv = [=] {
        if (scale == 1)
            scene->reduced = scene->image.mat();
        else
            cv::resize(scene->image.mat(), scene->reduced, scene->image.mat().size() / scale);
        scene->classifier.detectMultiScale(scene->reduced, scene->expected, 1.1, 2, 1, {40, 40});
    };
    search();
    opencv();
    expect(scene->faces.size() + scene->rectangles.size() == scene->expected.size() && !scene->expected.empty(),
           "the list of faces");
    add("FaceDetect/" + name, search, "CascadeClassifier", opencv);
}

void addAll()
{
    for (const Size& size : kFrameSizes) {
        addColourDetector(size);
        for (const bool masked : {false, true})
            addHistogram(size, 16, masked, 0);
        addMassCentre(size);
        addMotionHistory(size);
        addBlobs(size.name, movingParts(size));
    }
    for (const int bins : {8, 32})
        for (const bool masked : {false, true})
            addHistogram(kFrameSizes[0], static_cast<unsigned char>(bins), masked, 0);
    for (const unsigned side : {32u, 128u})
        for (const int bins : {16, 32})
            addHistogram(kFrameSizes[0], static_cast<unsigned char>(bins), false, side);
    const cv::Size photograph(548, 342);
    addFaces("548x342", photograph, 1);
    addFaces("1096x684/scale:2", photograph * 2, 2);
    for (const Size& size : {kFrameSizes[1], kFrameSizes[2], kFrameSizes[3]})
        addFaces(size.name, {static_cast<int>(size.width), static_cast<int>(size.height)}, 1);

    for (const catalogue::Operator& each : catalogue::operators())
        if (each.kind == catalogue::Kind::CPU_OPERATOR && measuredOperators.count(each.name) == 0)
            throw std::runtime_error("velmor_bench_cpu: there is no benchmark of " + each.name);
}

} // namespace
} // namespace velmor::bench

int main(int argc, char** argv)
{
    cv::setNumThreads(1);
    try {
        velmor::bench::addAll();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
