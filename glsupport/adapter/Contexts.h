#pragma once

#include "glsupport/adapter/Treatment.h"

#include <GL/glew.h>

#include <map>
#include <set>
#include <vector>

// What is kept of each context: little, and of programs of the classic dialect alone. All else is asked of the driver
// when it is needed, so it cannot be out of date.

namespace velmor::glsupport::adapter {

/// A program of the classic dialect, or one with parameters of a geometry stage.
struct ProgramRecord
{
    GLint inputType = GL_TRIANGLES;
    GLint outputType = GL_TRIANGLE_STRIP;
    GLint verticesOut = 0;
    bool isClassic = false;           ///< as it was linked last
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
    GLuint texture = 0;
    Size size;
};

/// Sources that are off their framebuffer while a program is in use.
struct TakenOff
{
    GLuint program = 0;
    GLuint framebuffer = 0;
    std::map<GLenum, Source> sources; ///< by attachment
};

struct Context
{
    Treatment treatment;
    std::map<GLuint, ProgramRecord> programs;
    std::set<GLuint> deletedInUse; ///< programs that go when they are put away
    TakenOff takenOff;
};

/// The current context, of EGL or GLX; null when there is none.
const void* currentContext();

/// What is kept of the current context. Only the thread that has the context current touches it.
Context& context();

/// What is known of a program; null where it is not one of those above.
ProgramRecord* find(Context& context, GLuint program);

/// Drops what is known of programs that are gone.
void forgetDeleted(Context& context);

/// Sets what is adapted for contexts that are met from now on.
void setTreatmentOfNewContexts(const Treatment& treatment);

/// What any context needs.
unsigned adaptationsInUse();

/// Forgets a context.
void forget(const void* context);

/// Adapts nothing any more and forgets every context but those whose sources are to be put back yet.
/// @return whether there are any of those
bool forgetAll();

} // namespace velmor::glsupport::adapter
