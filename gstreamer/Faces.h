#pragma once

#include <gst/gst.h>

namespace velmor::gstreamer {

/// Registers the element velmorfaces: faces in video in main memory.
gboolean registerFaces(GstPlugin* plugin);

} // namespace velmor::gstreamer
