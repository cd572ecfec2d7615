#pragma once

#include <gst/base/gstbasetransform.h>
#include <gst/gst.h>

namespace velmor::gstreamer {

/// A structure for an element message, with when its frame is shown: "timestamp", "stream-time", "running-time" and
/// "duration", in nanoseconds, each G_MAXUINT64 where the stream does not say. The caller owns it.
/// @param segment  that the frame is in
GstStructure* describe(const char* name, const GstSegment& segment, GstBuffer* frame);

/// Sends an element message on the pipeline's bus.
/// @param what  taken
void post(GstElement* element, GstStructure* what);

} // namespace velmor::gstreamer
