#pragma once

#include <gst/gst.h>

namespace velmor::gstreamer {

/// Registers the element velmormix: filters of two sources on video in main memory.
gboolean registerMix(GstPlugin* plugin);

} // namespace velmor::gstreamer
