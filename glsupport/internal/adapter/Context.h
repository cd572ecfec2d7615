#pragma once

#include "glsupport/internal/adapter/Treatment.h"

#include <GL/glew.h>

#include <array>
#include <cstddef>
#include <map>
#include <vector>

namespace velmor::glsupport::adapter {

/// A program of the classic dialect, or one with parameters of a geometry stage.
struct ProgramRecord
{
    GLint inputType = GL_TRIANGLES;
    GLint outputType = GL_TRIANGLE_STRIP;
    GLint verticesOut = 0;
    bool isClassic = false;           ///< as it was linked last
    bool isDeleted = false;           ///< goes when it is put away
    std::vector<GLint> mat2Locations; ///< of its uniforms, sorted
    GLint shiftLocation = -1;         ///< of the uniform that moves vertices; -1 where there is none
};

struct Size
{
    GLint width = 0;
    GLint height = 0;
};

/// A rectangle texture that a pass may read.
struct Source
{
    GLuint texture = 0; ///< 0: none
    Size size;
};

constexpr std::size_t kColourAttachments = 16; ///< that have names

/// Sources that are off their framebuffer while a program is in use.
struct TakenOff
{
    GLuint program = 0;
    GLuint framebuffer = 0;
    std::array<Source, kColourAttachments> sources; ///< by attachment

    bool isEmpty() const;
};

/// What is kept of a context: little, and of programs of the classic dialect alone. All else is asked of the driver
/// when it is needed, so it cannot be out of date. Only the thread that has the context current touches it.
///
/// Compiling, linking and setting parameters take memory. All else takes none: destructors delete, bind and put away.
struct Context
{
    Treatment treatment;
    std::map<GLuint, ProgramRecord> programs;
    TakenOff takenOff;

    /// What is known of a program; null where it is not one of those above.
    const ProgramRecord* find(GLuint program) const;

    /// What is known of the program in use; null likewise.
    const ProgramRecord* inUse() const;

    /// Drops what is known of programs that are gone.
    void forgetDeleted();
};

/// The name of the program in use; 0 where there is none.
GLuint programInUse();

/// Whether calls go into a display list: what they would do is not done now.
bool isCompilingList();

} // namespace velmor::glsupport::adapter
