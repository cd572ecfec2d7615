#pragma once

#include <gst/gst.h>

namespace velmor::gstreamer {

/// Registers the element velmormotion: where pixels of video in main memory move.
gboolean registerMotion(GstPlugin* plugin);

} // namespace velmor::gstreamer
