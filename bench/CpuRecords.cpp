#include "bench/CpuOperators.h"
#include "core/cvdata/ColorGMM.h"

#include <opencv2/ml.hpp>

#include <memory>

namespace velmor::bench {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::GM;
using core::cvdata::Image;

constexpr Size kSampleSizes[] = {{"40 x 40", 40, 40}, {"200 x 200", 200, 200}, {"640 x 480", 640, 480}};

/// The middle of a frame of the pedestrian video.
Image patch(const Size& size)
{
    Image result(size.width, size.height, Image::RGB);
    const cv::Mat frame = realPicture(kFrameSizes[0], CV_8UC3);
    const cv::Rect middle((frame.cols - static_cast<int>(size.width)) / 2,
                          (frame.rows - static_cast<int>(size.height)) / 2, static_cast<int>(size.width),
                          static_cast<int>(size.height));
    cv::Mat pixels = result.mat();
    frame(middle).copyTo(pixels);
    return result;
}

/// The largest ellipse that a patch holds, as one marks a face.
Image ellipse(const Image& samples)
{
    Image result(samples.width(), samples.height(), Image::GREYSCALE);
    cv::Mat pixels = result.mat();
    pixels = 0;
    const cv::Point centre(pixels.cols / 2, pixels.rows / 2);
    cv::ellipse(pixels, centre, cv::Size(centre.x - 1, centre.y - 1), 0, 0, 360, 255, cv::FILLED);
    return result;
}

struct Scene
{
    Scene(const Size& size, bool isMasked, int components)
        : samples(patch(size)), mask(ellipse(samples)), count(components), usedMask(isMasked ? &mask : nullptr)
    {
        for (int y = 0; y < samples.mat().rows; ++y)
            for (int x = 0; x < samples.mat().cols; ++x)
                if (!isMasked || mask.mat().at<uchar>(y, x) != 0) {
                    const auto pixel = samples.mat().at<cv::Vec3b>(y, x);
                    colours.push_back(cv::Vec2f(pixel[0], pixel[1]));
                }
        colours = colours.reshape(1);
    }

    void train() { model.train(samples, usedMask, count); }

    /// The same with OpenCV alone, from colours that are there already, in the type that its search for a start takes.
    void trainOpenCv()
    {
        cv::theRNG() = cv::RNG(1); // as train() does: the start is drawn
        estimator = cv::ml::EM::create();
        estimator->setClustersNumber(count);
        estimator->setCovarianceMatrixType(cv::ml::EM::COV_MAT_GENERIC);
        estimator->trainEM(colours);
    }

    bool areTheSame() const
    {
        if (model.nofComponents() != count)
            return false;
        const cv::Mat means = estimator->getMeans(), weights = estimator->getWeights();
        for (int k = 0; k < count; ++k) {
            const GM& component = *model.mixture[static_cast<std::size_t>(k)];
            if (component.mean[0] != means.at<double>(k, 0) || component.mean[1] != means.at<double>(k, 1) ||
                component.weight != static_cast<float>(weights.at<double>(k)))
                return false;
        }
        return true;
    }

    Image samples, mask;
    int count;
    const Image* usedMask;
    cv::Mat colours;
    ColorGMM model;
    cv::Ptr<cv::ml::EM> estimator;
};

Comparison besideOpenCv(const Size& size, bool isMasked, int components)
{
    const auto scene = std::make_shared<Scene>(size, isMasked, components);
    scene->train();
    scene->trainOpenCv();
    expect(scene->areTheSame(), "the mixture that was trained");
    return {{}, [=] { scene->train(); }, "cv::ml::EM", [=] { scene->trainOpenCv(); }, 1.2};
}

} // namespace

void addRecords()
{
    for (const Size& size : kSampleSizes)
        for (const unsigned components : {1u, 3u, 8u})
            for (const bool isMasked : {false, true}) {
                if (size.width * size.height * components > 640 * 480 || (isMasked && size.width > 40))
                    continue; // OpenCV takes long
                const std::string name = std::string("ColorGMM/train/") + size.name + " pixels/" +
                                         std::to_string(components) + (components == 1 ? " component" : " components") +
                                         (isMasked ? "/under a mask" : "");
                add(name, [=] { return besideOpenCv(size, isMasked, static_cast<int>(components)); });
            }
}

} // namespace velmor::bench
