#include "gstreamer/Motion.h"

#include "cvprocess/MotionSegment.h"
#include "cvprocess/internal/MovingPixels.h"
#include "gstreamer/Finder.h"
#include "gstreamer/Images.h"
#include "gstreamer/Overlay.h"

#include <optional>

namespace velmor::gstreamer {
namespace {

using core::cvdata::Image;
using cvprocess::MovingPixels;

Region regionOf(const MovingPixels& moving)
{
    Region result("velmor-motion", moving.box());
    gst_structure_set(result.numbers.get(), "x", G_TYPE_DOUBLE, moving.centre().x, "y", G_TYPE_DOUBLE,
                      moving.centre().y, "number-of-pixels", G_TYPE_UINT, moving.count(), nullptr);
    return result;
}

/// Tells where pixels moved last.
class MotionFinder : public Finder
{
public:
    void begin(const cv::Size& size) override { mMotion.emplace(size.width, size.height); }

    Findings find(const Parameters&, const cv::Mat& picture, const Format& format, cv::Mat& mask) override
    {
        const cv::Mat colours = coloursOf(picture, format, true, mColours); // as the operator reads them
        const Image input = imageOver(colours, Image::BGR);
        Image shown = imageOver(mask, Image::GREYSCALE);
        const auto moving = MovingPixels::find(*mMotion, input, shown);
        mBox = moving.box();
        Findings result;
        result.count = moving.count();
        if (moving.count() > 0)
            result.regions.push_back(regionOf(moving));
        return result;
    }

    void draw(cv::Mat& picture, const cv::Mat& mask) const override
    {
        drawGlow(picture, mask);
        if (!mBox.empty())
            drawBox(picture, mBox);
    }

private:
    std::optional<cvprocess::MotionSegment> mMotion;
    cv::Mat mColours;
    cv::Rect mBox;
};

} // namespace

gboolean registerMotion(GstPlugin* plugin)
{
    static const GEnumValue kOutputs[] = {
        {MASK, "When each pixel moved last, in GRAY8: 255 for now, fading to 0", "history"},
        {OVERLAY, "The picture, where pixels that moved glow, and a box is drawn around those that move now",
         "overlay"},
        {PICTURE, "The picture as it comes in", "picture"},
        {0, nullptr, nullptr}};
    static const FinderElement kElement = {
        "velmormotion",
        "VelmorMotion",
        "Motion",
        "Shows where pixels moved last. What moved fades with the time that the process spends computing, not with "
        "the stream's",
        colourFormats(),
        {*catalogue::find("MotionSegment")},
        nullptr,
        nullptr,
        kOutputs,
        "how many pixels moved from the frame before the last one to the last",
        "regions",
        "the box and the centre of the pixels that moved to the last frame; empty where none did",
        [] {
            return std::unique_ptr<Finder>(new MotionFinder);
        }};
    return registerFinder(plugin, kElement);
}

} // namespace velmor::gstreamer
