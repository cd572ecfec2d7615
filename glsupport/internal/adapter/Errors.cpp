#include "glsupport/internal/adapter/Errors.h"

#include "glsupport/internal/Integer.h"

#include <initializer_list>
#include <limits>

namespace velmor::glsupport::adapter {
namespace {

struct MatrixStack
{
    GLenum mode;
    GLenum depth;
    GLenum mostDepth;
};

constexpr MatrixStack kMatrixStacks[] = {
    {GL_PROJECTION, GL_PROJECTION_STACK_DEPTH, GL_MAX_PROJECTION_STACK_DEPTH},
    {GL_MODELVIEW, GL_MODELVIEW_STACK_DEPTH, GL_MAX_MODELVIEW_STACK_DEPTH},
    {GL_TEXTURE, GL_TEXTURE_STACK_DEPTH, GL_MAX_TEXTURE_STACK_DEPTH},
};

/// Pushes until there is no room, and takes away what it has pushed.
void overflow()
{
    const MatrixStack& stack = kMatrixStacks[0];
    const GLint mode = integer(GL_MATRIX_MODE);
    glMatrixMode(stack.mode);
    const GLint depth = integer(stack.depth);
    for (GLint i = depth; i <= integer(stack.mostDepth); ++i)
        glPushMatrix();
    for (GLint i = integer(stack.depth); i > depth; --i)
        glPopMatrix();
    glMatrixMode(static_cast<GLenum>(mode));
}

/// Pops from a stack of one matrix, where there is such a stack.
void underflow()
{
    const GLint mode = integer(GL_MATRIX_MODE);
    for (const MatrixStack& stack : kMatrixStacks) {
        glMatrixMode(stack.mode);
        if (integer(stack.depth) == 1) {
            glPopMatrix();
            break;
        }
    }
    glMatrixMode(static_cast<GLenum>(mode));
}

/// Clears a framebuffer without attachments.
void useIncompleteFramebuffer()
{
    const auto bound = static_cast<GLuint>(integer(GL_FRAMEBUFFER_BINDING_EXT));
    const auto boundToRead = GLEW_VERSION_3_0 ? static_cast<GLuint>(integer(GL_READ_FRAMEBUFFER_BINDING_EXT)) : bound;
    GLuint framebuffer = 0;
    glGenFramebuffersEXT(1, &framebuffer);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, bound);
    if (boundToRead != bound)
        glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, boundToRead);
    glDeleteFramebuffersEXT(1, &framebuffer);
}

/// Asks for a buffer larger than any memory.
void runOutOfMemory()
{
    const auto bound = static_cast<GLuint>(integer(GL_ARRAY_BUFFER_BINDING));
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, std::numeric_limits<GLsizeiptr>::max(), nullptr, GL_STATIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, bound);
    glDeleteBuffers(1, &buffer);
}

} // namespace

void raise(GLenum error)
{
    switch (error) {
    case GL_INVALID_ENUM:
        integer(GL_INVALID_ENUM); // an error's name is no state
        break;
    case GL_INVALID_VALUE:
        glGenLists(-1);
        break;
    case GL_INVALID_OPERATION:
        glEnd();
        break;
    case GL_STACK_OVERFLOW:
        overflow();
        break;
    case GL_STACK_UNDERFLOW:
        underflow();
        break;
    case GL_INVALID_FRAMEBUFFER_OPERATION_EXT:
        useIncompleteFramebuffer();
        break;
    case GL_OUT_OF_MEMORY:
        runOutOfMemory();
        break;
    default: // nothing else can be raised without side effects
        break;
    }
}

} // namespace velmor::glsupport::adapter
