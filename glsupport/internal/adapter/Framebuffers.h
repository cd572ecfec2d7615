#pragma once

#include "glsupport/internal/adapter/Context.h"

// Adaptations of what programs of the classic dialect draw into.

namespace velmor::glsupport::adapter {

/// Takes the sources off the framebuffer that would make the drawing smaller: textures that are bound to be read, are
/// attached without being drawn into, and are smaller than what is drawn into.
/// @param program  that is in use
void takeSourcesOff(Context& context, GLuint program);

/// Puts back what was taken off.
void putSourcesBack(Context& context);

/// Moves what the program in use draws into textures by an eighth of a pixel to the right and up. The pixels of areas
/// stay: their middles are far from the edges. A point on a corner gets inside a pixel, also where the driver rounds.
void shiftVertices(const ProgramRecord& program);

/// Has it draw where it draws without us.
void shiftVerticesBack(const ProgramRecord& program);

// Entry points

void GLAPIENTRY framebufferTexture2DExt(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture,
                                        GLint level);
void GLAPIENTRY framebufferTexture2D(GLenum target, GLenum attachment, GLenum textureTarget, GLuint texture,
                                     GLint level);
void GLAPIENTRY bindFramebufferExt(GLenum target, GLuint framebuffer);
void GLAPIENTRY bindFramebuffer(GLenum target, GLuint framebuffer);
void GLAPIENTRY deleteFramebuffersExt(GLsizei count, const GLuint* framebuffers);
void GLAPIENTRY deleteFramebuffers(GLsizei count, const GLuint* framebuffers);

} // namespace velmor::glsupport::adapter
