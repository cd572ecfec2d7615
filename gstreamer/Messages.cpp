#include "gstreamer/Messages.h"

namespace velmor::gstreamer {

GstStructure* describe(const char* name, const GstSegment& segment, GstBuffer* frame)
{
    const GstClockTime timestamp = GST_BUFFER_PTS(frame);
    const bool hasTimes = segment.format == GST_FORMAT_TIME; // some sources count bytes
    const GstClockTime streamTime =
        hasTimes ? gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, timestamp) : GST_CLOCK_TIME_NONE;
    const GstClockTime runningTime =
        hasTimes ? gst_segment_to_running_time(&segment, GST_FORMAT_TIME, timestamp) : GST_CLOCK_TIME_NONE;
    return gst_structure_new(name, "timestamp", G_TYPE_UINT64, timestamp, "stream-time", G_TYPE_UINT64, streamTime,
                             "running-time", G_TYPE_UINT64, runningTime, "duration", G_TYPE_UINT64,
                             GST_BUFFER_DURATION(frame), nullptr);
}

void post(GstElement* element, GstStructure* what)
{
    gst_element_post_message(element, gst_message_new_element(GST_OBJECT(element), what));
}

} // namespace velmor::gstreamer
