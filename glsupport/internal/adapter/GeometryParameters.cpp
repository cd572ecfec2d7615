#include "glsupport/internal/adapter/GeometryParameters.h"

#include "glsupport/internal/Integer.h"
#include "glsupport/internal/adapter/Errors.h"
#include "glsupport/internal/adapter/Process.h"

#include <algorithm>
#include <initializer_list>

namespace velmor::glsupport::adapter {
namespace {

std::string layoutName(GLint primitive)
{
    switch (primitive) {
    case GL_POINTS:
        return "points";
    case GL_LINES:
        return "lines";
    case GL_LINES_ADJACENCY_EXT:
        return "lines_adjacency";
    case GL_TRIANGLES:
        return "triangles";
    case GL_TRIANGLES_ADJACENCY_EXT:
        return "triangles_adjacency";
    case GL_LINE_STRIP:
        return "line_strip";
    default:
        return "triangle_strip";
    }
}

/// Keeps a parameter of the geometry stage; false when the value is none that it may have.
bool keepParameter(ProgramRecord& program, GLenum name, GLint value)
{
    const auto isOneOf = [value](std::initializer_list<GLint> values) {
        return std::find(values.begin(), values.end(), value) != values.end();
    };
    switch (name) {
    case GL_GEOMETRY_INPUT_TYPE_EXT:
        program.inputType = value;
        return isOneOf({GL_POINTS, GL_LINES, GL_LINES_ADJACENCY_EXT, GL_TRIANGLES, GL_TRIANGLES_ADJACENCY_EXT});
    case GL_GEOMETRY_OUTPUT_TYPE_EXT:
        program.outputType = value;
        return isOneOf({GL_POINTS, GL_LINE_STRIP, GL_TRIANGLE_STRIP});
    default:
        program.verticesOut = value;
        return 0 <= value && value <= integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT);
    }
}

} // namespace

GeometryLayout layoutOf(const ProgramRecord& program, int verticesAnInvocation, bool shifted)
{
    return {layoutName(program.inputType), layoutName(program.outputType), program.verticesOut, verticesAnInvocation,
            shifted};
}

void GLAPIENTRY programParameteri(GLuint program, GLenum name, GLint value)
{
    Context& current = process().context();
    const bool ofGeometry = name == GL_GEOMETRY_INPUT_TYPE_EXT || name == GL_GEOMETRY_OUTPUT_TYPE_EXT ||
                            name == GL_GEOMETRY_VERTICES_OUT_EXT;
    const bool isOurs = current.treatment.includes(kGeometryShaders) && ofGeometry;
    if (driver().programParameteri) // for geometry stages that are none of the dialect
        driver().programParameteri(program, name, value);
    else if (!isOurs)
        raise(GL_INVALID_ENUM);
    if (!isOurs)
        return;
    if (!glIsProgram(program)) {
        if (!driver().programParameteri)
            raise(GL_INVALID_VALUE);
        return;
    }
    const ProgramRecord* const known = current.find(program);
    ProgramRecord changed = known ? *known : ProgramRecord();
    if (keepParameter(changed, name, value))
        current.programs[program] = changed;
    else if (!driver().programParameteri)
        raise(GL_INVALID_VALUE);
}

} // namespace velmor::glsupport::adapter
