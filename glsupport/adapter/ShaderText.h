#pragma once

#include <string>

// Rewrites shader texts of the classic dialect into texts that stricter drivers take. Nothing here calls OpenGL. No
// rewriting moves a line: the line numbers of compilers' messages stay those of the original.

namespace velmor::glsupport::adapter {

/// Whether a text says by a line of its own which version of the language it is in.
bool hasVersion(const std::string& text);

/// Whether a text holds no code: nothing, white space or comments.
bool isEmptyText(const std::string& text);

/// The text in version 1.20, which converts int to float and has array constructors. Unchanged where it has a version.
std::string inVersion120(const std::string& text);

/// `flat varying out` as `flat varying`, which means the same in a vertex shader.
std::string withoutFlatOut(const std::string& text);

/// With `gl_FragColor` set to 0 first in main(). Unchanged where gl_FragColor is not used.
std::string withInitialColour(const std::string& text);

/// A vertex shader that moves each vertex by the uniform `velmorVertexShift`, in parts of half the picture.
/// Unchanged where there is no main().
std::string withShiftedVertices(const std::string& text);

/// With every coordinate for a rectangle texture a little inside its texel. Unchanged where it has a version.
std::string withInnerTexels(const std::string& text);

/// What a program says of its geometry stage by parameters, in the words of the language.
struct GeometryLayout
{
    std::string input;        ///< such as "points"
    std::string output;       ///< such as "points"
    int vertices;             ///< most vertices that an input gives; 0 where none was set, which no driver links
    int verticesAnInvocation; ///< where vertices are more, several invocations emit so many each; points alone
    bool shifted = false;     ///< whether each vertex is moved by the uniform `velmorEmittedShift`, as above
};

/// Whether a text is written for EXT_geometry_shader4.
bool usesGeometryShader4(const std::string& text);

/// A text for EXT_geometry_shader4 in version 1.50, which has geometry shaders of its own. Its inputs, `gl_VerticesIn`,
/// `gl_PositionIn[i]`, `gl_FrontColorIn[i]` and the like, are those of the newer language.
/// `#extension` lines must not stand between `#if` and `#endif`.
std::string inVersion150(const std::string& text, const GeometryLayout& layout);

} // namespace velmor::glsupport::adapter
