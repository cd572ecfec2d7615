#pragma once

#include "glsupport/Export.h"

#include <memory>

namespace velmor::glsupport {

/// Keeps an application's OpenGL state apart from that of filter passes.
///
/// A pass changes state that it does not put back, and assumes that nothing alters what it draws. A guard saves on
/// construction, makes the state neutral, and restores everything on destruction:
///
/// - framebuffer bindings, draw and read buffer
/// - program, viewport, projection and model-view matrix, matrix mode
/// - active texture unit; of units 0 and 1 the rectangle texture, whether it is enabled, and the texture matrix
/// - current colour and texture coordinates, clear colour, polygon mode
/// - depth test, blending with its equation and factors, the colour clamps
///
/// Neutral while the guard lives, and restored after it as well:
///
/// - blending, scissor, stencil and alpha test, logic operation, face culling, polygon stipple and smoothing, size and
///   smoothing of points, clip planes 0 to 5: off; every channel is written
/// - texture matrices and coordinate generation of units 0 and 1
/// - for reading back: the pack buffer, the pixel store of packing but for its row alignment
/// - scale, bias and colour map of pixel transfer
///
/// The active unit stays as it is at first, and the matrix mode is that of the model-view matrix.
///
/// Read results back that come from the framebuffer of the pass (PixelCount::getCount()) before the guard ends. A
/// guard is used on the thread of its context, and guards end in the reverse of the order in which they began.
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

    /// Restores what was saved.
    ~StateGuard();

private:
    struct Saved;
    std::unique_ptr<Saved> mSaved;
};

} // namespace velmor::glsupport
