#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "examples/demo/Frames.h"
#include "examples/demo/Sections.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Drawing.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Inputs.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace velmor::examples {
namespace {

using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;

/// Shows the pixels of a texture that have the colours of a model.
/// @param output  0 for a mask, 1 for the pixels' own colours
void showKept(const std::string& title, ColorGMM& model, RectTexture& source, double output,
              const std::string& sentence, Showcase& showcase)
{
    const auto result = makeTexture(cv::Size(static_cast<int>(source.width()), static_cast<int>(source.height())));
    catalogue::Given given;
    given.models = {&model};
    const auto filter = prepared("ColorGMM", {&source}, *result, {{"output", output}}, given);
    showcase.showFilter(title, *filter, *result, shareFound, sentence);
}

const char* const kClassNames[kClasses] = {"dark", "middling", "bright"};

std::string classesFound(const cv::Mat& classes)
{
    std::string text;
    for (std::size_t i = 0; i < kClasses; ++i) {
        const double share = cv::countNonZero(classes == static_cast<double>(i)) / static_cast<double>(classes.total());
        text += (i == 0 ? "" : ", ") + percentText(share) + " " + kClassNames[i];
    }
    return text;
}

void showClasses(const cv::Mat& frame, Showcase& showcase)
{
    const auto patches = calmPatches(frame);
    cv::Mat marked = frame.clone();
    for (std::size_t i = 0; i < kClasses; ++i)
        cv::rectangle(marked, patches[i], kClassColours[i], std::max(1, std::max(frame.cols, frame.rows) / 100));
    showcase.showPicture("Learnt patches", marked, "A dark, a middling and a bright one");

    const auto source = makeTexture(frame);
    std::vector<ColorGMM> models;
    for (const cv::Rect& patch : patches)
        models.push_back(patchModel(*source, patch));
    catalogue::Given given;
    given.models = {&models[0], &models[1], &models[2]};

    const auto result = makeTexture(frame.size(), RectTexture::RGBA32F);
    const auto filter = prepared("ColorGMM2", {source.get()}, *result, {}, given);
    const auto read = [&result] {
        const cv::Mat classes = channelOf(downloadFloats(*result), 0);
        return Showcase::Reading{classPicture(classes), classesFound(classes)};
    };
    showcase.showPass("ColorGMM2", *filter, read, "Each pixel shows which patch it is most like");
}

constexpr int kBins = 4; ///< of each colour
constexpr int kCells = kBins * kBins * kBins;

/// The frame, or one whose columns are repeated where it is too narrow for the cells: shares of colours stay.
cv::Mat wideEnough(const cv::Mat& frame)
{
    const int columns = std::max(kCells / 4, (kCells + frame.rows - 1) / frame.rows);
    const int times = (columns + frame.cols - 1) / frame.cols;
    cv::Mat result;
    cv::resize(frame, result, {frame.cols * times, frame.rows}, 0, 0, cv::INTER_NEAREST);
    return result;
}

/// The share of each cell, counted on the CPU.
std::vector<double> sharesOf(const cv::Mat& frame)
{
    cv::Mat counts;
    cv::calcHist(std::vector{frame}, {0, 1, 2}, {}, counts, {kBins, kBins, kBins}, {0, 256, 0, 256, 0, 256});
    std::vector<double> shares(counts.begin<float>(), counts.end<float>());
    for (double& share : shares)
        share /= static_cast<double>(frame.total());
    return shares;
}

/// A bar of its own colour for each cell, with a line across at what it should be.
cv::Mat barPicture(const std::vector<double>& bars, const std::vector<double>& lines)
{
    constexpr int kPitch = 13, kMargin = 30, kHeight = 670;
    cv::Mat picture(kHeight, kCells * kPitch + 2 * kMargin, CV_8UC3, cv::Scalar::all(255));
    const double scale = (kHeight - 2 * kMargin) / *std::max_element(lines.begin(), lines.end());
    const int bottom = kHeight - kMargin;
    for (int i = 0; i < kCells; ++i) {
        const auto cell = static_cast<std::size_t>(i);
        const cv::Vec3i bins(i / (kBins * kBins), i / kBins % kBins, i % kBins);
        const cv::Scalar colour = cv::Scalar(bins[0] + 0.5, bins[1] + 0.5, bins[2] + 0.5) * (255.0 / kBins);
        const int left = kMargin + i * kPitch;
        const int top = bottom - cvRound(bars[cell] * scale);
        const int line = bottom - cvRound(lines[cell] * scale);
        cv::rectangle(picture, cv::Rect(left, top, kPitch - 2, bottom - top), colour, cv::FILLED);
        cv::line(picture, {left - 1, line}, {left + kPitch - 2, line}, cv::Scalar::all(0), 2);
    }
    return picture;
}

std::vector<double> sharesIn(cvprocess::ColorHistShader& counter)
{
    ColourHist2d histogram(kBins, kBins, kBins);
    counter.copyHistoFromGPU(histogram);
    std::vector<double> shares(kCells);
    for (unsigned i = 0; i < kCells; ++i)
        shares[i] = histogram.data()[i];
    return shares;
}

std::string sharesFound(const std::vector<double>& shares, const std::vector<double>& expected)
{
    double off = 0;
    for (std::size_t i = 0; i < shares.size(); ++i)
        off = std::max(off, std::abs(shares[i] - expected[i]));
    return percentText(*std::max_element(shares.begin(), shares.end())) + " of the pixels in the fullest of " +
           std::to_string(kCells) + " cells, at most " + percentText(off) + " off the CPU's counts";
}

void showHistogram(const cv::Mat& frame, Showcase& showcase)
{
    const cv::Mat picture = wideEnough(frame);
    const auto source = makeTexture(picture);
    const auto mask = makeTexture(picture.size());
    const auto counts = makeTexture(picture.size(), RectTexture::RGBA32F);
    cvprocess::ColorHistShader::Param param;
    param.mNBins1 = param.mNBins2 = param.mNBins3 = kBins;
    param.mXres = picture.cols;
    param.mYres = picture.rows;
    cvprocess::ColorHistShader counter(&param, nullptr);
    counter.prepareExecution(*source, *mask, *counts);
    const auto read = [&] {
        const std::vector<double> shares = sharesIn(counter);
        const std::vector<double> expected = sharesOf(frame);
        return Showcase::Reading{barPicture(shares, expected), sharesFound(shares, expected)};
    };
    showcase.showPass("ColorHistShader", counter, read, "Bars: the GPU's counts; lines: the CPU's");
}

constexpr unsigned kMostTiles = 1024;

void showPixelCount(const cv::Mat& mask, Showcase& showcase)
{
    cv::Mat wide; // the sums need a destination that is wider than there are tiles
    cv::copyMakeBorder(mask, wide, 0, 0, 0, 1, cv::BORDER_CONSTANT, cv::Scalar::all(0));
    const auto source = makeTexture(wide);
    RectTexture sums(source->width(), source->height(), RectTexture::R32UI);
    cvprocess::PixelCount counter;
    counter.setMaxNofTiles(std::min(kMostTiles, source->width() - 1));
    counter.prepareExecution(*source, sums);
    counter.execute();
    const std::string count = std::to_string(counter.getCount());
    const auto read = [&] {
        return Showcase::Reading{mask, count + " pixels are set, " + std::to_string(cv::countNonZero(mask)) +
                                           " by the CPU's count"};
    };
    showcase.showPass("PixelCount", counter, read, count + " pixels of this mask are set");
}

} // namespace

void showMixtures(const Scene& scene, Showcase& showcase)
{
    const cv::Rect patch = calmPatches(scene.later)[1];
    cv::Mat marked = scene.later.clone();
    cv::rectangle(marked, patch, {0, 60, 230}, std::max(1, std::max(marked.cols, marked.rows) / 200));
    showcase.showPicture("Learnt patch", marked, "The framed colours are what the models learn");

    const auto frame = makeTexture(scene.later);
    ColorGMM colours = patchModel(*frame, patch);
    showKept("ColorGMM", colours, *frame, 0, "Pixels of such red and green", showcase);
    showKept("ColorGMM, in colour", colours, *frame, 1, "The same pixels, in their own colours", showcase);

    const auto hsv = makeTexture(scene.later.size());
    prepared("BGR2HSV", {frame.get()}, *hsv)->execute();
    ColorGMM tones = patchModel(*hsv, patch);
    showKept("ColorGMM, behind BGR2HSV", tones, *hsv, 0, "Pixels of such value and saturation", showcase);
}

void showCounts(const Scene& scene, Showcase& showcase)
{
    showClasses(scene.later, showcase);
    showHistogram(scene.later, showcase);
    showPixelCount(scene.moving, showcase);
}

} // namespace velmor::examples
