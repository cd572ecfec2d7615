#include "examples/shared/PatchModel.h"

#include "core/cvdata/Image.h"
#include "glsupport/RectTexture.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

namespace velmor::demo {
namespace {

using core::cvdata::Image;

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

std::array<cv::Rect, 3> calmPatches(const cv::Mat& picture)
{
    const cv::Size grid(std::min(kPatchesAcross, picture.cols), std::min(kPatchesAcross, picture.rows));
    const cv::Size patch(picture.cols / grid.width, picture.rows / grid.height);
    cv::Mat grey;
    cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
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

core::cvdata::ColorGMM patchModel(const glsupport::RectTexture& texture, const cv::Rect& patch)
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

} // namespace velmor::demo
