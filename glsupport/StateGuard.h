#pragma once

#include "glsupport/Export.h"

#include <memory>

namespace velmor::glsupport {

/// Keeps an application's OpenGL state apart from that of filter passes.
///
/// A pass changes state that it does not put back, and it assumes that nothing alters what it draws. A guard saves the
/// state on construction and makes it neutral, and restores everything on destruction.
///
/// Restored, because passes leave it changed:
///
/// - framebuffers bound for drawing and reading, with their draw buffers and read buffer
/// - program, viewports, projection and model-view matrix
/// - of texture units 0 and 1: the rectangle texture, whether it is enabled, and the current coordinates
/// - current colour, clear colour, polygon mode
/// - factors and equations of blending, of each draw buffer
///
/// Neutral while the guard lives, which means OpenGL's initial value, and restored after it:
///
/// - off: blending and scissor test, of each draw buffer and viewport too; depth, stencil and alpha test, depth bounds,
///   logic operation, face culling, all clip planes, polygon stipple and smoothing, point smoothing, point sprites,
///   size of points by the program, rasteriser discard, primitive restart, alpha to coverage and to one, sample
///   coverage, mask and shading, the sRGB framebuffer, vertex and fragment programs that are not GLSL
/// - colour masks (every channel is written), colour clamps, clip control
/// - size of points, its limits and its attenuation
/// - active texture unit (0) and matrix mode (model-view); of units 0 and 1 the sampler (none), the texture matrix and
///   the generation of coordinates
/// - for reading back: no pixel buffer is bound, pixels are packed as OpenGL does it at first except for the alignment
///   of rows, and scale, bias and colour map of pixel transfer do nothing
/// - a running transform feedback waits
///
/// What a driver lacks is left out. What was deleted while the guard lived is not bound again; its binding is 0 then.
/// The guard uses no entry of OpenGL's attribute stacks, so the application may have filled them.
///
/// Results that come from the framebuffer of the pass (PixelCount::getCount()) must be read before the guard ends. Use
/// a guard on the thread of its context, and end guards in the reverse of the order in which they began.
///
/// Limits:
/// - Between glBeginConditionalRender() and its end, and in feedback and selection mode, passes draw nothing.
/// - A query that runs counts what passes draw.
/// - A program that was deleted before the guard, and lives on only because it is in use, ends with the first pass.
/// - Transform feedback waits where the driver has GL_ARB_transform_feedback2; elsewhere end it before.
///
/// Example:
///
///     {
///         StateGuard guard;
///         filter.prepareExecution(source, destination);
///         filter.execute();
///     } // the application's state is back
class VELMOR_GLSUPPORT_EXPORT StateGuard
{
public:
    /// Saves the state of the current context and makes it neutral.
    StateGuard();
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;

    /// Restores what was saved, the program last, because DriverAdapter then looks at what will be drawn into.
    ~StateGuard();

private:
    struct Saved;
    std::unique_ptr<Saved> mSaved;
};

} // namespace velmor::glsupport
