#pragma once

#include "glsupport/Export.h"

#include <string>
#include <vector>

namespace velmor::glsupport {

/// Makes drivers behave as the filters' classic dialect of OpenGL expects.
///
/// The filters' shaders are texts without `#version`, as drivers of the OpenGL 2 era took them, and three filters need
/// more that today's drivers refuse or lack. install() tries each such thing on the current context, by compiling,
/// linking and drawing a few pixels. For what fails it replaces GLEW's entry points by thin ones that translate and
/// pass on; what the driver accepts is not touched. Filters and applications call OpenGL as before.
///
/// Call it once, after GLEW is initialised and before the first filter is made. It serves contexts that are made
/// current later too, with what it found for the last one that it tried; call it again to try another driver's context.
/// glewInit() puts the driver's own entry points back: call install() again after it. HeadlessContext does all this
/// itself.
///
/// Contexts may be used from several threads; install() and remove() may not run beside other OpenGL calls.
///
/// Limits: entry points taken before install(), or other than through GLEW, are not adapted, nor are shaders and
/// programs that were made before. glGetShaderSource() gives the translated text. While a program is in use, colour
/// attachments that are not drawn into and would clip the drawing are off; they come back with glUseProgram(0). Where
/// points on corners are adapted, every program with a vertex shader draws an eighth of a pixel further to the right
/// and up when it draws into a texture.
///
/// Example:
///
///     glewInit();
///     std::cout << DriverAdapter::install();
class VELMOR_GLSUPPORT_EXPORT DriverAdapter
{
public:
    /// What install() found out about one expectation, and did.
    struct Finding
    {
        /// How a trial ended.
        enum Outcome
        {
            Accepted, ///< the driver behaves as expected: nothing is adapted
            Adapted,  ///< it does not, and with the adaptation it does
            Missing   ///< it does not, and the adaptation does not help
        };

        std::string expectation; ///< what the filters expect of the driver
        Outcome outcome;         ///< how its trial ended
        std::string detail;      ///< what the driver said or did instead; empty where it behaves as expected
    };

    /// What install() found, in the order in which it tried.
    struct Report
    {
        std::vector<Finding> findings; ///< one for each expectation

        /// One line for each finding, with its detail on a line below.
        std::string text() const;
    };

    /// What install() adapts.
    enum Mode
    {
        WhereNeeded, ///< adapts what the driver does not do itself
        Always       ///< adapts everything that can be adapted, for tests
    };

    /// Tries the current context and replaces the entry points that need it. Leaves OpenGL's state as it was, the queue
    /// of errors included.
    /// @throws std::runtime_error  when no context is current, or GLEW is not initialised
    static Report install(Mode mode = WhereNeeded);

    /// Puts every entry point back and forgets what was found.
    static void remove();
};

/// Prints a report.
VELMOR_GLSUPPORT_EXPORT std::ostream& operator<<(std::ostream& out, const DriverAdapter::Report& report);

} // namespace velmor::glsupport
