#include "gstreamer/Colour.h"
#include "gstreamer/Faces.h"
#include "gstreamer/Filter.h"
#include "gstreamer/GlFilter.h"
#include "gstreamer/Mix.h"
#include "gstreamer/Motion.h"

#include <gst/gst.h>

namespace {

gboolean registerElements(GstPlugin* plugin)
{
    using namespace velmor::gstreamer;
    return registerFilter(plugin) && registerMix(plugin) && registerGlFilter(plugin) && registerColour(plugin) &&
           registerMotion(plugin) && registerFaces(plugin);
}

} // namespace

#define PACKAGE "velmor" // which the macro below asks for
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, velmor, "Image operators for visual object tracking",
                  registerElements, VELMOR_VERSION, GST_LICENSE_UNKNOWN, "velmor", "https://velmor.example")
