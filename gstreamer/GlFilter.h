#pragma once

#include <gst/gst.h>

namespace velmor::gstreamer {

/// Registers the element velmorglfilter: filters of one source on rectangle textures, in GStreamer's OpenGL context.
///
/// Frames stay on the GPU. They are RGBA in `memory:GLMemory` with `texture-target=rectangle`, as glupload gives them;
/// glcolorconvert makes them of textures of other targets, and back. A frame's red is the filter's red. Filters of one
/// channel read red: a grey picture has it in all colours. So a mosaic comes as GRAY8, whose bytes glcolorconvert
/// keeps.
///
/// What comes out has the size of what comes in. Each colour is the filter's value times the property "scale" plus the
/// property "offset", within 0..1, as a byte. Results that are signed or exceed 1 need these: GRAY2Sobel lies in -4..4,
/// and so `scale=0.125 offset=0.5` shows all of it. The number of a class (ColorGMM2 of several models) is the byte of
/// that value, in all colours; `scale` spreads them. Results of one channel are greys.
///
/// The result is opaque, with whatever transparency a frame comes in: alpha is 1, where a filter would complement it or
/// leave it undefined.
///
/// ColorGMM takes one model of two components, ColorGMM2 1 to 11 models of 1 to 9 components. The files that "models"
/// names are read at the change to PAUSED, or when they are named later.
///
/// Each property may change at any time, and counts from the next frame on. Where the models are not what a new
/// operator takes, or a file cannot be read, a warning says so, and the former ones go on. The context has to offer the
/// compatibility interface of OpenGL. Other elements find OpenGL's state in it as they left it.
///
/// Limits: another operator, kernel, output, model or size is another filter, which takes tens of milliseconds to make
/// and leaves a display list of some hundred bytes in the context. Scale and offset cost a second pass, unless they are
/// 1 and 0, and change at no cost. What glupload uploads from main memory itself is copied once more, because its
/// textures are of two dimensions whatever its caps say; textures from a pool that it has proposed are rectangles.
gboolean registerGlFilter(GstPlugin* plugin);

} // namespace velmor::gstreamer
