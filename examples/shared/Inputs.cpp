#include "examples/shared/Inputs.h"

#include "math/Vector2.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmor::examples {
namespace {

constexpr float kMostGradient = 4; ///< of a direction
constexpr int kPatchesAcross = 12;
constexpr int kSampleSide = 20; ///< so many pixels squared of a patch are learnt: more take long
constexpr int kComponents = 2;

struct Patch
{
    cv::Rect place;
    double brightness;
    double variety;
};

} // namespace

cv::Mat mosaicOf(const cv::Mat& frame)
{
    cv::Mat mosaic(frame.size(), CV_8UC3, cv::Scalar::all(0));
    for (int y = 0; y < frame.rows; ++y)
        for (int x = 0; x < frame.cols; ++x) {
            const int channel = 2 - x % 2 - y % 2;
            mosaic.at<cv::Vec3b>(y, x)[channel] = frame.at<cv::Vec3b>(y, x)[channel];
        }
    return mosaic;
}

cv::Mat rawOf(const cv::Mat& mosaic)
{
    cv::Mat raw;
    cv::transform(mosaic, raw, cv::Matx13f(1, 1, 1));
    return raw;
}

cv::Mat deepGrey(const cv::Mat& frame)
{
    cv::Mat deep;
    frame.convertTo(deep, CV_16U, 257);
    cv::cvtColor(deep, deep, cv::COLOR_BGR2GRAY);
    return deep;
}

cv::Mat strengthAndDirection(const cv::Mat& gradients)
{
    const cv::Mat across = channelOf(gradients, UPRIGHT) / kMostGradient;
    const cv::Mat down = channelOf(gradients, LEVEL) / kMostGradient;
    const cv::Mat strength = channelOf(gradients, STRENGTH) / kMostGradient;
    cv::Mat result;
    cv::merge(std::vector<cv::Mat>{strength, (across + 1) / 2, (down + 1) / 2, cv::Mat::ones(across.size(), CV_32F)},
              result);
    return result;
}

std::array<cv::Rect, 3> calmPatches(const cv::Mat& frame)
{
    const cv::Size grid(std::min(kPatchesAcross, frame.cols), std::min(kPatchesAcross, frame.rows));
    const cv::Size patch(frame.cols / grid.width, frame.rows / grid.height);
    cv::Mat grey;
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    std::vector<Patch> patches;
    for (int row = 0; row < grid.height; ++row)
        for (int column = 0; column < grid.width; ++column) {
            const cv::Rect place(cv::Point(column * patch.width, row * patch.height), patch);
            cv::Scalar mean, deviation;
            cv::meanStdDev(grey(place), mean, deviation);
            patches.push_back({place, mean[0], deviation[0]});
        }
    std::stable_sort(patches.begin(), patches.end(), [](auto& a, auto& b) { return a.variety < b.variety; });
    patches.resize((patches.size() + 1) / 2);
    std::stable_sort(patches.begin(), patches.end(), [](auto& a, auto& b) { return a.brightness < b.brightness; });
    return {patches.front().place, patches[patches.size() / 2].place, patches.back().place};
}

core::cvdata::ColorGMM patchModel(const RectTexture& texture, const cv::Rect& patch)
{
    Image picture(texture.width(), texture.height(), Image::RGB); // red first, as in the texture
    texture.download(picture);
    Image samples(kSampleSide, kSampleSide, Image::RGB);
    cv::Mat pixels = samples.mat();
    cv::resize(picture.mat()(patch), pixels, pixels.size(), 0, 0, cv::INTER_NEAREST);
    core::cvdata::ColorGMM model;
    model.train(samples, nullptr, kComponents);
    return model;
}

MotionHistory::MotionHistory(const cv::Size& frames)
    : mSegment(frames.width, frames.height), mPicture(cv::Mat::zeros(frames, CV_8U))
{
}

void MotionHistory::add(const cv::Mat& frame)
{
    const Image input = imageView(frame);
    Image output = imageView(mPicture);
    mSegment.getMHI(&input, &output);
    if (mIsFirst) {
        // The first frame is compared with black, which makes nearly all of it move.
        const IplImage& history = *mSegment.getMHIImage();
        cv::Mat(history.height, history.width, CV_32F, history.imageData, static_cast<std::size_t>(history.widthStep))
            .setTo(0);
        mPicture.setTo(0);
        mIsFirst = false;
    }
}

std::optional<cv::Point2d> MotionHistory::centre()
{
    Image image = imageView(mPicture);
    math::Vector2 centre;
    mSegment.getMassCenter(&image, &centre);
    if (std::isnan(centre[0]))
        return std::nullopt;
    return cv::Point2d(centre[0], centre[1]);
}

} // namespace velmor::examples
