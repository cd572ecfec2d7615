#pragma once

#include "glsupport/Export.h"

#include <string>
#include <vector>

namespace velmor::glsupport {

/// Makes drivers behave as the filters' classic dialect of OpenGL expects, and leaves all other programs alone.
///
/// The filters' shaders are texts without `#version`, as drivers of the OpenGL 2 era took them. ColorGMM2,
/// ColorHistShader and PixelCount need more that today's drivers refuse or lack. install() tries each such thing on the
/// current context: it compiles, links and draws a few pixels. Where a trial fails, it replaces GLEW's entry points by
/// thin ones that translate and pass on. What the driver accepts is not touched. Filters and applications call OpenGL
/// as before.
///
/// Call install() once, after GLEW is initialised and before the first filter is made. It also serves contexts that
/// become current later, with what it found on the last context that it tried. To try the context of another driver,
/// call it again. glewInit() puts the driver's own entry points back, so call install() again after it too.
/// HeadlessContext does all this itself.
///
/// A program is adapted if it is of the filters' dialect, and it is if one of its texts says so. Such a text has an
/// `#extension` line that enables GL_ARB_texture_rectangle, GL_EXT_gpu_shader4, GL_EXT_geometry_shader4 or
/// GL_ARB_color_buffer_float, and no `#version` line; or it enables GL_EXT_geometry_shader4 under any version. Any
/// other program that the driver takes behaves with the adapter as it does without, to the pixel, the errors and the
/// memory. If the driver refuses a rewritten text, it gets the text as it was given.
///
/// Contexts may be used from several threads. install() and remove() must not run beside other OpenGL calls. A second
/// install() for a driver that was tried before writes no entry point.
///
/// Limits:
/// - Not adapted are entry points taken before install() or other than through GLEW, shaders and programs made before,
///   and what goes into a display list.
/// - Where a text was translated, glGetShaderSource() gives the translation.
/// - A program is linked with the texts that its shaders hold at that time, so they must be the ones that were
///   compiled.
/// - While a program of the dialect is in use, textures that it may read are taken off its framebuffer if they would
///   clip the drawing. They come back with glUseProgram(0).
/// - Where points on corners are adapted, such a program draws an eighth of a pixel further to the right and up when it
///   draws into a texture, if it has a geometry stage or reads rectangle textures for its vertices. Where corners of
///   texels are adapted, such a read of a linear texture is an eighth of a texel off.
/// - Of contexts that share objects, a program is adapted in the one that linked it.
/// - Where the adapter has no memory, glCompileShader(), glLinkProgram() and glProgramParameteriEXT() throw
///   std::bad_alloc, and can be called again. What puts away, binds, attaches and deletes needs no memory.
/// - The adapter asks EGL for the current context, and so takes an EGL error that the application has not fetched.
///
/// Example:
///
///     glewInit();
///     std::cout << DriverAdapter::install();
class VELMOR_GLSUPPORT_EXPORT DriverAdapter
{
public:
    /// What install() found out about one expectation, and what it did.
    struct Finding
    {
        /// How a trial ended.
        enum Outcome : unsigned
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

    /// Tries the current context and replaces the entry points that need it. OpenGL's state stays as it was, and so
    /// does the queue of errors. Conditional rendering must not be under way; there is no way to ask OpenGL for it.
    /// @throws std::runtime_error  when no context is current, GLEW is not initialised, or a query, a display list,
    ///                             transform feedback, feedback or selection is under way, which would pick up the
    ///                             trials
    static Report install(Mode mode = WhereNeeded);

    /// Puts every entry point back, except those that a third party has wrapped meanwhile, and forgets what was found.
    /// If textures are off a framebuffer of a context that is not current, glUseProgram() and what belongs to it stay
    /// in place, to put the textures back when it is called there.
    static void remove();
};

/// Prints a report.
VELMOR_GLSUPPORT_EXPORT std::ostream& operator<<(std::ostream& out, const DriverAdapter::Report& report);

} // namespace velmor::glsupport
