#pragma once

#include <array>
#include <vector>

struct _XDisplay; // Xlib's Display; its header defines names that tests use

namespace velmor::tests {

/// Keeps the OpenGL driver of the display loaded to the end of the process, so that a leak report can name it.
void keepDriverLoaded();

/// An X window as the X server shows it.
struct ShownWindow
{
    using Colour = std::array<int, 3>; ///< red, green and blue on 0..255

    _XDisplay* display;
    unsigned long id;
    bool viewable;
    unsigned width;
    unsigned height;

    /// The one that the current OpenGL context draws into.
    static ShownWindow current();

    /// Any one, of another process too.
    static ShownWindow of(_XDisplay* display, unsigned long id);

    /// The window's pixels, the lowest row first, as OpenGL counts. The window lies wholly on the screen.
    /// @throws std::runtime_error  when the X server refuses
    std::vector<Colour> pixels() const;
};

} // namespace velmor::tests
