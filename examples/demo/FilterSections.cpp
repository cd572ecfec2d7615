#include "cvprocess/gpuStdShaders/GpuStdShaders.h"
#include "examples/demo/Frames.h"
#include "examples/demo/Sections.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Inputs.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::examples {
namespace {

cv::Mat difference(const cv::Mat& a, const cv::Mat& b)
{
    cv::Mat result;
    cv::absdiff(a, b, result);
    return result;
}

/// How many pixels of two pictures of one size and layout are not the same.
/// @param other  what b is
std::string otherPixelsFound(const cv::Mat& a, const cv::Mat& b, const std::string& other)
{
    return percentText(shareSet(difference(a, b))) + " of the pixels differ from " + other;
}

std::string averageFound(const std::string& what, const cv::Mat& values)
{
    return "average " + what + " " + decimalText(cv::mean(values)[0], 3);
}

/// Adds two regions, one left and one right of the middle, apart from each other.
void addTwoRegions(cvprocess::GpuStdShaders& filter, const cv::Size& size)
{
    const auto part = [](int extent, double share) {
        return static_cast<int>(extent * share);
    };
    filter.addROI(part(size.width, 0.08), part(size.height, 0.15), part(size.width, 0.42), part(size.height, 0.65));
    filter.addROI(part(size.width, 0.55), part(size.height, 0.35), part(size.width, 0.92), part(size.height, 0.88));
}

std::string saturationFound(const cv::Mat& hsv)
{
    return "average saturation " + percentText(cv::mean(hsv)[1] / 255); // it is in green
}

constexpr int kDetails = 16; ///< the detail is that much narrower and lower than the frame

/// The small part of a picture where neighbours differ most. It begins on even rows and columns.
cv::Rect busiestPart(const cv::Mat& picture)
{
    const cv::Size size(std::max(1, picture.cols / kDetails), std::max(1, picture.rows / kDetails));
    cv::Mat busy;
    cv::GaussianBlur(picture, busy, {0, 0}, 2);
    cv::absdiff(picture, busy, busy);
    cv::boxFilter(rawOf(busy), busy, CV_32F, size, {0, 0});
    cv::Point corner;
    cv::minMaxLoc(busy(cv::Rect(cv::Point(0, 0), picture.size() - size + cv::Size(1, 1))), nullptr, nullptr, nullptr,
                  &corner);
    return {{corner.x / 2 * 2, corner.y / 2 * 2}, size};
}

/// Values of -1..1 from black to white.
cv::Mat signedPicture(const cv::Mat& values)
{
    return greyPicture(values / 2 + 0.5);
}

void showThinning(const cv::Mat& gradients, Showcase& showcase)
{
    const cv::Mat scaled = strengthAndDirection(gradients);
    showcase.showPicture("Input of NonMaxSupression", colourPicture(scaled),
                         "Strength in red, direction in green and blue");
    const auto source = makeTexture(gradients.size(), RectTexture::RGBA32F);
    const auto result = makeTexture(gradients.size(), RectTexture::RGBA32F);
    source->upload(scaled.data);
    const auto thin = prepared("NonMaxSupression", {source.get()}, *result);
    const auto read = [&result] {
        const cv::Mat kept = channelOf(downloadFloats(*result), 0);
        return Showcase::Reading{greyPicture(kept * 3), percentText(shareSet(kept)) + " of the pixels are kept"};
    };
    showcase.showPass("NonMaxSupression", *thin, read, "Only the strongest line of each edge, x 3");
}

void showSobel(const cv::Mat& frame, Showcase& showcase)
{
    const auto colours = makeTexture(frame);
    const auto greys = makeTexture(frame.size());
    prepared("BGR2GRAY", {colours.get()}, *greys)->execute();

    const auto result = makeTexture(frame.size(), RectTexture::RGBA32F);
    const auto sobel = prepared("GRAY2Sobel", {greys.get()}, *result);
    cv::Mat gradients;
    const auto read = [&] {
        gradients = downloadFloats(*result);
        const cv::Mat strength = channelOf(gradients, STRENGTH);
        return Showcase::Reading{greyPicture(strength / 2), averageFound("strength", strength)};
    };
    showcase.showPass("GRAY2Sobel", *sobel, read, "Strength of the edges, half as bright as it is");
    showcase.showPicture("GRAY2Sobel, level edges", signedPicture(channelOf(gradients, LEVEL)),
                         "Light where it gets brighter downwards, x 1/2");
    showcase.showPicture("GRAY2Sobel, upright edges", signedPicture(channelOf(gradients, UPRIGHT)),
                         "Light where it gets brighter to the left, x 1/2");
    showThinning(gradients, showcase);
}

void showLaplacian(const cv::Mat& frame, Showcase& showcase)
{
    const auto source = makeTexture(frame);
    const auto result = makeTexture(frame.size(), RectTexture::RGBA32F);
    const auto read = [&result] {
        const cv::Mat colours = downloadFloats(*result);
        return Showcase::Reading{colourPicture(colours), averageFound("response", channelOf(colours, 1)) + " in green"};
    };
    const auto showKernel = [&](int kernel, const std::string& title, const std::string& sentence) {
        showcase.showPass(title, *prepared("Laplacian", {source.get()}, *result, {{"kernel", kernel}}), read, sentence);
    };
    showKernel(0, "Laplacian", "How far pixels differ from the eight around them");
    showKernel(1, "Laplacian, four neighbours", "How far they differ from the four beside them");
    showKernel(2, "Laplacian, eight neighbours", "Corners and dots, but no level or upright lines");
}

} // namespace

void showInputs(const Scene& scene, Showcase& showcase)
{
    showcase.showPicture(scene.earlierCaption.title, scene.earlier, scene.earlierCaption.sentence);
    showcase.showPicture(scene.laterCaption.title, scene.later, scene.laterCaption.sentence);
    showcase.showPicture("Mask: moving", scene.moving, "Pixels that changed between both frames");
    showcase.showPicture("Mask: dark", scene.dark, "Pixels below a third of the average brightness");
}

void showLogicFilters(const Scene& scene, Showcase& showcase)
{
    const auto earlier = makeTexture(scene.earlier);
    const auto later = makeTexture(scene.later);
    const auto moving = makeTexture(scene.moving);
    const auto dark = makeTexture(scene.dark);
    const auto result = makeTexture(scene.later.size());

    showcase.showFilter("Subtract", {earlier.get(), later.get()}, *result, movementFound,
                        "What changed between both frames, " + std::to_string(kDifferenceBrightness) + " x brighter",
                        kDifferenceBrightness);
    const Textures masks = {moving.get(), dark.get()};
    showcase.showFilter("Subtract, of the masks", masks, *result, shareFound, "Either moving or dark, but not both");
    showcase.showFilter("And", masks, *result, shareFound, "Moving and dark");
    showcase.showFilter("Or", masks, *result, shareFound, "Moving, or dark, or both");
    showcase.showFilter("Xor, of moving and dark", masks, *result, shareFound, "Dark, but not moving");
    showcase.showFilter("Xor, of dark and moving", {dark.get(), moving.get()}, *result, shareFound,
                        "Moving, but not dark");

    showcase.showFilter("Not", {later.get()}, *result, brightnessFound, "The negative of the later frame");
    upload(scene.later, *result);
    const auto negative = prepared("Not", {later.get()}, *result);
    addTwoRegions(*negative, scene.later.size());
    showcase.showFilter("Not, in two regions", *negative, *result, brightnessFound,
                        "Outside the regions nothing is touched");
}

void showColourFilters(const Scene& scene, Showcase& showcase)
{
    const auto frame = makeTexture(scene.later);
    const auto result = makeTexture(scene.later.size());
    const auto comparedWith = [](const cv::Mat& other, const std::string& name) {
        return [other, name](const cv::Mat& picture) {
            return otherPixelsFound(picture, other, name);
        };
    };

    const Textures frames = {frame.get()};
    showcase.showFilter("BGR2GRAY", frames, *result, brightnessFound, "The luminance of every pixel");
    showcase.showFilter("RGB2GRAY", frames, *result, comparedWith(download(*result), "those of BGR2GRAY"),
                        "The same luminance, under another name");
    showcase.showFilter("BGR2HSV", frames, *result, saturationFound, "Red is value, green saturation, blue hue");
    showcase.showFilter("RGB2HSV", frames, *result, comparedWith(download(*result), "those of BGR2HSV"),
                        "Red and blue exchanged first: other hues");
}

void showBayerFilters(const Scene& scene, Showcase& showcase)
{
    const cv::Mat mosaic = mosaicOf(scene.later);
    const cv::Rect detail = busiestPart(scene.later);
    showcase.showPicture("Bayer mosaic, a detail", mosaic(detail), "What a sensor sees: one colour per pixel");

    const auto raw = makeTexture(rawOf(mosaic));
    const auto colours = makeTexture(scene.later.size());
    const auto distance = [&scene](const cv::Mat& result) {
        const cv::Scalar mean = cv::mean(difference(result, scene.later));
        return "on average " + decimalText((mean[0] + mean[1] + mean[2]) / 3, 1) + " of 255 levels from the frame";
    };
    showcase.showFilter("BayerRG2RGB", {raw.get()}, *colours, distance, "All three colours, made from the mosaic");
    showcase.showPicture("BayerRG2RGB, the same detail", download(*colours)(detail),
                         "Missing colours come from the neighbours");

    const auto greys = makeTexture(scene.later.size(), RectTexture::RGBA32F);
    const auto toGrey = prepared("BayerRG2GRAY", {raw.get()}, *greys);
    const auto readGrey = [&greys] {
        const cv::Mat picture = greyPicture(channelOf(downloadFloats(*greys), 0));
        return Showcase::Reading{picture, brightnessFound(picture)};
    };
    showcase.showPass("BayerRG2GRAY", *toGrey, readGrey, "The luminance, straight from the mosaic");
}

void showEdgeFilters(const Scene& scene, Showcase& showcase)
{
    showSobel(scene.later, showcase);
    showLaplacian(scene.later, showcase);
}

void showViews(const Scene& scene, Showcase& showcase)
{
    const auto earlier = makeTexture(scene.earlier);
    const auto later = makeTexture(scene.later);
    const auto result = makeTexture(scene.later.size());
    const std::string brightness = ", " + std::to_string(kDifferenceBrightness) + " x brighter";
    showcase.showFilter("Classify", {earlier.get(), later.get()}, *result, shareFound,
                        "Where no colour lost, its gain" + brightness, kDifferenceBrightness);
    showcase.showFilter("Classify, backwards", {later.get(), earlier.get()}, *result, shareFound,
                        "Where no colour gained, its loss" + brightness, kDifferenceBrightness);

    const auto flippedBack = [&scene](const cv::Mat& picture) {
        cv::Mat upsideDown;
        cv::flip(picture, upsideDown, 0);
        return otherPixelsFound(upsideDown, scene.later, "the frame when flipped back");
    };
    showcase.showFilter("FlipV", {later.get()}, *result, flippedBack, "The frame upside down");

    const auto integers = makeTexture(scene.later.size(), RectTexture::R16UI);
    integers->upload(deepGrey(scene.later).data);
    const auto floats = makeTexture(scene.later.size(), RectTexture::RGBA32F);
    const auto read = [&floats] {
        const cv::Mat values = channelOf(downloadFloats(*floats), 0);
        return Showcase::Reading{greyPicture(values), "average " + decimalText(cv::mean(values)[0], 3) + " of 1"};
    };
    showcase.showPass("DebugUInt2Float", *prepared("DebugUInt2Float", {integers.get()}, *floats), read,
                      "16-bit integers: white is 65535");
}

} // namespace velmor::examples
