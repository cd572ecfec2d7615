#pragma once

#include <gst/gst.h>

namespace velmor::gstreamer {

/// Registers the element velmorcolour: regions of a colour in video in main memory.
gboolean registerColour(GstPlugin* plugin);

} // namespace velmor::gstreamer
