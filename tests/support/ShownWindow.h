#pragma once

#include <array>
#include <vector>

namespace velmor::tests {

/// Keeps the OpenGL driver of the display loaded to the end of the process, so that a leak report can name it.
void keepDriverLoaded();

/// The X window that the current OpenGL context draws into, as the X server shows it.
struct ShownWindow
{
    using Colour = std::array<int, 3>; ///< red, green and blue on 0..255

    bool viewable;
    unsigned width;
    unsigned height;

    static ShownWindow current();

    /// The window's pixels, the lowest row first, as OpenGL counts. The window lies wholly on the screen.
    /// @throws std::runtime_error  when the X server refuses
    std::vector<Colour> pixels() const;
};

} // namespace velmor::tests
