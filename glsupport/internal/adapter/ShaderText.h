#pragma once

#include <string>

// Reads and rewrites shader texts of the classic dialect, in one pass over the text each and without recursion: texts
// are an application's, of any size and with anything in them. Nothing here calls OpenGL, and nothing is kept.

namespace velmor::glsupport::adapter {

/// What a text says of itself. Comments and continued lines are read as a compiler reads them; what stands in branches
/// that are not taken counts, too.
struct TextFacts
{
    bool isEmpty = true;              ///< holds no code: nothing, white space or comments
    bool hasVersion = false;          ///< has a `#version` line
    bool usesGeometryShader4 = false; ///< has an `#extension` line that enables EXT_geometry_shader4
    bool isClassic = false;           ///< is of the filters' dialect, see isClassic()
    std::size_t behindVersion = 0;    ///< where the text goes on behind its `#version` line; 0 where it has none
    std::size_t behindExtensions = 0; ///< likewise behind its last `#extension` line, or else the `#version` line
};

TextFacts factsOf(const std::string& text);

/// Whether a text is of the filters' dialect. It says so by an `#extension` line for rectangle textures,
/// EXT_gpu_shader4, EXT_geometry_shader4 or ARB_color_buffer_float, and has no `#version` or enables
/// EXT_geometry_shader4. So is what the functions below have made of such a text.
bool isClassic(const std::string& text);

// For the compiler. The line numbers of messages stay those of the original.

/// The text in version 1.20, which converts int to float and has array constructors. Unchanged where it has a version.
std::string inVersion120(const std::string& text);

/// `flat varying out` as `flat varying`, which means the same in a vertex shader.
std::string withoutFlatOut(const std::string& text);

/// What a program says of its geometry stage by parameters, in the words of the language.
struct GeometryLayout
{
    std::string input;        ///< such as "points"
    std::string output;       ///< such as "points"
    int vertices;             ///< most vertices that an input gives; 0 where none was set, which no driver links
    int verticesAnInvocation; ///< where vertices are more, several invocations emit so many each; points alone
    bool shifted = false;     ///< whether each vertex is moved by the uniform `velmorEmittedShift`, in parts of half
                              ///< the picture
};

/// A text for EXT_geometry_shader4 in version 1.50, which has geometry shaders of its own. Its inputs, `gl_VerticesIn`,
/// `gl_PositionIn[i]`, `gl_FrontColorIn[i]` and the like, are those of the newer language. The layout is one that takes
/// as many inputs as there can be. `#extension` lines must not stand between `#if` and `#endif`.
std::string inVersion150(const std::string& text);

/// Whether a text is what inVersion150() gives.
bool isInVersion150(const std::string& text);

/// What inVersion150() gave, with the layout of a program.
std::string withLayout(const std::string& text, const GeometryLayout& layout);

// For the link, where the whole program is known. Nobody sees messages about these texts.

/// With `gl_FragColor` set to 0 before main() begins. Unchanged where gl_FragColor does not occur, or gl_FragData does.
std::string withInitialColour(const std::string& text);

/// A vertex shader that moves each vertex by the uniform `velmorVertexShift`, in parts of half the picture. Unchanged
/// where it reads no rectangle texture: it draws areas then, whose smooth colours would change, and no results as
/// points.
std::string withShiftedVertices(const std::string& text);

/// With every coordinate for a rectangle texture that is a corner of texels a little inside the texel beyond. Unchanged
/// where it has a version of its own, or reads no such texture.
std::string withInnerTexels(const std::string& text);

} // namespace velmor::glsupport::adapter
