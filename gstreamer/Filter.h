#pragma once

#include <gst/gst.h>

namespace velmor::gstreamer {

/// Registers the element velmorfilter: filters of one source on video in main memory.
gboolean registerFilter(GstPlugin* plugin);

} // namespace velmor::gstreamer
