#include "glsupport/internal/adapter/MatrixUniforms.h"

#include "glsupport/internal/adapter/Process.h"

#include <algorithm>
#include <string>

namespace velmor::glsupport::adapter {

std::vector<GLint> mat2LocationsOf(GLuint program)
{
    std::vector<GLint> locations;
    GLint count = 0;
    GLint longestName = 0;
    glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
    glGetProgramiv(program, GL_ACTIVE_UNIFORM_MAX_LENGTH, &longestName);
    std::string buffer(static_cast<std::size_t>(std::max(longestName, 1)), '\0');
    for (GLint i = 0; i < count; ++i) {
        GLsizei length = 0;
        GLint elements = 0;
        GLenum type = 0;
        glGetActiveUniform(program, static_cast<GLuint>(i), longestName, &length, &elements, &type, buffer.data());
        if (type != GL_FLOAT_MAT2)
            continue;
        std::string name = buffer.substr(0, static_cast<std::size_t>(length));
        if (name.size() > 3 && name.compare(name.size() - 3, 3, "[0]") == 0)
            name.resize(name.size() - 3);
        locations.push_back(glGetUniformLocation(program, name.c_str()));
        for (GLint element = 1; element < elements; ++element)
            locations.push_back(glGetUniformLocation(program, (name + "[" + std::to_string(element) + "]").c_str()));
    }
    std::sort(locations.begin(), locations.end());
    return locations;
}

void GLAPIENTRY uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w)
{
    Context& current = process().context();
    const ProgramRecord* const program = current.inUse();
    const bool isMat2 = location >= 0 && program &&
                        std::binary_search(program->mat2Locations.begin(), program->mat2Locations.end(), location);
    if (isMat2 && !isCompilingList()) {
        const GLfloat columns[] = {x, y, z, w};
        glUniformMatrix2fv(location, 1, GL_FALSE, columns);
    } else {
        driver().uniform4f(location, x, y, z, w);
    }
}

} // namespace velmor::glsupport::adapter
