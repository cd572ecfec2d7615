#include "tests/gstreamer/gl/GlHarness.h"

namespace velmor::tests {

void GlHarness::begin(const cv::Size& size, int rate)
{
    GstCaps* const caps =
        gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "RGBA", "width", G_TYPE_INT, size.width, "height",
                            G_TYPE_INT, size.height, "framerate", GST_TYPE_FRACTION, rate, 1, nullptr);
    gst_harness_set_src_caps(get(), caps);
    mSize = size;
}

cv::Mat GlHarness::show(const cv::Mat& picture)
{
    if (picture.size() != mSize)
        begin(picture.size());
    const Owned<GstBuffer> result = filter(bufferOf(picture, GST_VIDEO_FORMAT_RGBA, picture.cols * 4));
    return result ? shown(*this, result.get(), CV_8UC4) : cv::Mat();
}

} // namespace velmor::tests
