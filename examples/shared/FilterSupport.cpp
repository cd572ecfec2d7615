#include "examples/shared/FilterSupport.h"

#include <GL/glew.h>

#include <stdexcept>

namespace velmor::demo {

void requireFilterSupport(const std::string& context)
{
    for (const char* const name : {"GL_VERSION_2_0", "GL_ARB_texture_rectangle", "GL_EXT_framebuffer_object"})
        if (!glewIsSupported(name))
            throw std::runtime_error("cannot run filters on " + context + ": it lacks " + name);
}

} // namespace velmor::demo
