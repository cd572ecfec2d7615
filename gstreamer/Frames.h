#pragma once

#include <gst/base/gstbasetransform.h>
#include <gst/video/video.h>
#include <opencv2/core/mat.hpp>

#include <vector>

/// The operators as elements of GStreamer.
namespace velmor::gstreamer {

/// How the pixels of a video format lie in memory.
struct Format
{
    GstVideoFormat format = GST_VIDEO_FORMAT_UNKNOWN;
    int type = 0;             ///< of a `cv::Mat` with its pixels, such as CV_8UC3
    bool isBlueFirst = false; ///< whether channel 0 is blue, and channel 2 red
    bool hasAlpha = false;    ///< whether the fourth channel says how opaque a pixel is
};

/// The formats that elements take and give: greys, and colours of three and four channels.
const std::vector<Format>& formats();

/// Those of formats() that have colours, of three channels first.
const std::vector<Format>& colourFormats();

/// What is known of a format; its type is 0 where it is none of formats().
Format formatOf(GstVideoFormat format);

/// Caps of video in system memory in some formats, of any size and rate. The caller owns them.
GstCaps* capsOf(const std::vector<Format>& formats);

/// Says of a structure of caps that its format is one of some words.
void setFormats(GstStructure& structure, const std::vector<const char*>& words);

/// Whether a buffer has the memory of the frame that caps promise. GStreamer takes it for granted.
///
/// A GstVideoMeta of another format or a smaller size does not agree with the caps, nor does a GstVideoCropMeta that
/// does not name a part of the caps' size within the frame.
bool isAsTheCaps(const GstVideoInfo& info, GstBuffer* buffer);

/// What is told of a frame that is not.
constexpr const char* kNotAsTheCaps = "it is smaller than its caps or its GstVideoMeta say, or cropped otherwise";

/// A video frame in memory while it is worked on.
class MappedFrame
{
public:
    /// Maps a buffer, if it isAsTheCaps(). Stride and offset are those of its GstVideoMeta, if it has one, otherwise
    /// those of the caps. The buffer outlives this, and stays writable if it is.
    MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags);
    MappedFrame(const MappedFrame&) = delete;
    MappedFrame& operator=(const MappedFrame&) = delete;
    ~MappedFrame();

    /// Whether the memory could be mapped, and holds what the caps promise.
    explicit operator bool() const { return mIsMapped; }

    /// What the frame shows, of the caps' size, without a copy.
    cv::Mat picture();

private:
    GstVideoFrame mFrame;
    cv::Size mSize;
    bool mIsMapped;
};

/// Where the part begins that a buffer's GstVideoCropMeta names, (0, 0) if it has none.
cv::Point originOf(GstBuffer* buffer);

/// What a mapped frame shows, as a view of its memory: the part that its GstVideoCropMeta names, if it has one.
/// @param size  of the caps, which the frame's buffer agrees with: see isAsTheCaps()
cv::Mat pictureOf(const GstVideoFrame& frame, const cv::Size& size);

/// Adds to the answer to an allocation query that rows may be padded, and that the frame may be a part of a picture.
void acceptPaddingAndCrops(GstQuery* query);

/// Asks for memory that begins with a line of the cache, where vector units are fastest.
void alignToCache(GstQuery* query);

/// Whether a result that shows the same scene at the same size keeps what is known of the frame that it is made of,
/// such as regions of interest and time codes. It does not keep where a crop lay.
bool isKept(const GstMeta& meta);

/// Moves the regions of interest of a result to where they are now. Those that are not seen any more go.
/// @param source        whose GstVideoCropMeta, if it has one, named the part that became the result
/// @param size          of the result
/// @param isUpsideDown  whether the result is the source upside down
void moveRegions(GstBuffer* result, GstBuffer* source, const cv::Size& size, bool isUpsideDown = false);

/// A frame of its own that shows the part that a frame's GstVideoCropMeta names, with what isKept(). The caller owns
/// it.
/// @return null where the frame is not as its caps say
GstBuffer* cutOut(GstBaseTransform* base, const GstVideoInfo& info, GstBuffer* frame);

} // namespace velmor::gstreamer
