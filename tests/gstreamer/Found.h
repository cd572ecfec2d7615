#pragma once

#include "tests/gstreamer/Harness.h"

#include <string>
#include <vector>

namespace velmor::tests {

/// A region as a buffer's GstVideoRegionOfInterestMeta has it, with the numbers that were found for it.
struct Found
{
    cv::Rect box;
    std::shared_ptr<GstStructure> numbers; ///< null where the meta has none
};

/// The regions of a type that a buffer has, in the order in which they were added.
std::vector<Found> regionsOf(GstBuffer* buffer, const std::string& type);

/// A number of a structure, of whatever type; not a number where there is none of that name.
double numberOf(const GstStructure* structure, const char* name);

/// What the elements of a harness send on the bus.
class Bus
{
public:
    explicit Bus(Harness& harness);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// The next element message, as its structure; null where there is none.
    std::shared_ptr<GstStructure> next();

    /// The text of the next error, with its domain's name and its code in front; empty where there is none.
    std::string error();

private:
    Owned<GstElement> mElement;
    GstBus* mBus;
};

/// The error with which an element does not come up, as Bus::error() has it.
/// @param launch  as gst-launch-1.0 takes it
std::string refusalOf(const std::string& launch);

/// A picture of red, green and blue in a format. The fourth byte is 77 where there is one.
cv::Mat inFormat(const cv::Mat& colours, GstVideoFormat format);

/// All formats with colours.
extern const std::vector<GstVideoFormat> kColourFormats;

/// A picture of one colour.
cv::Mat plain(const cv::Size& size, const cv::Vec3b& colour);

/// Sends a picture of colours in a format, with padded rows, through a harness.
Owned<GstBuffer> pass(Harness& harness, const cv::Mat& colours, GstVideoFormat format, GstClockTime time = 0);

/// Says that pictures of a format and size come in.
void expectPictures(Harness& harness, GstVideoFormat format, const cv::Size& size);

} // namespace velmor::tests
