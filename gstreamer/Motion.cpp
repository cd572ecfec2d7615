#include "gstreamer/Motion.h"

#include "cvprocess/MotionSegment.h"
#include "gstreamer/Finder.h"
#include "gstreamer/Images.h"
#include "gstreamer/Overlay.h"

#include <opencv2/core/core_c.h>

#include <algorithm>
#include <ctime>
#include <optional>
#include <vector>

namespace velmor::gstreamer {
namespace {

using core::cvdata::Image;

/// Where pixels moved in the last frame.
struct Moved
{
    unsigned count = 0;
    cv::Rect box;
    double sumOfColumns = 0;
    double sumOfRows = 0;
};

bool isBlack(const unsigned char* bytes, int count)
{
    unsigned char all = 0;
    for (int i = 0; i < count; ++i)
        all |= bytes[i];
    return all == 0;
}

/// How many pixels moved along an axis, and where.
struct Along
{
    unsigned count = 0;
    double sum = 0; ///< of their coordinates
    int first = 0;
    int end = 0; ///< behind the last one
};

/// @param counts  of the pixels with each coordinate
Along along(const std::vector<unsigned>& counts)
{
    Along result;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] == 0)
            continue;
        if (result.count == 0)
            result.first = static_cast<int>(i);
        result.end = static_cast<int>(i) + 1;
        result.count += counts[i];
        result.sum += static_cast<double>(i) * counts[i];
    }
    return result;
}

/// Looks for the pixels with a stamp of some time or later.
/// @param shown  is above 0 for each of them
Moved movedSince(float time, const cv::Mat& history, const cv::Mat& shown)
{
    constexpr int most = 128; // pixels at a time: where nothing moves, only their bytes are read
    std::vector<unsigned> inColumns(static_cast<std::size_t>(shown.cols)), inRows(static_cast<std::size_t>(shown.rows));
    for (int y = 0; y < shown.rows; ++y)
        for (int x = 0; x < shown.cols; x += most) {
            const int length = std::min(most, shown.cols - x);
            if (isBlack(shown.ptr(y) + x, length))
                continue;
            const float* const stamps = history.ptr<float>(y) + x;
            unsigned* const columns = &inColumns[static_cast<std::size_t>(x)];
            unsigned count = 0;
            for (int i = 0; i < length; ++i) {
                const unsigned moves = stamps[i] >= time ? 1 : 0;
                columns[i] += moves;
                count += moves;
            }
            inRows[static_cast<std::size_t>(y)] += count;
        }
    Moved result;
    const Along x = along(inColumns), y = along(inRows);
    result.count = x.count;
    result.box = cv::Rect({x.first, y.first}, cv::Point(x.end, y.end));
    result.sumOfColumns = x.sum;
    result.sumOfRows = y.sum;
    return result;
}

Region regionOf(const Moved& moved)
{
    Region result("velmor-motion", moved.box);
    gst_structure_set(result.numbers.get(), "x", G_TYPE_DOUBLE, moved.sumOfColumns / moved.count, "y", G_TYPE_DOUBLE,
                      moved.sumOfRows / moved.count, "number-of-pixels", G_TYPE_UINT, moved.count, nullptr);
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
        // The operator's clock, read before the operator reads it: pixels that move now have this time or a later one.
        const auto before = static_cast<float>(static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
        mMotion->getMHI(&input, &shown);
        const Moved moved = movedSince(before, cv::cvarrToMat(mMotion->getMHIImage()), mask);
        mBox = moved.box;
        Findings result;
        result.count = moved.count;
        if (moved.count > 0)
            result.regions.push_back(regionOf(moved));
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
