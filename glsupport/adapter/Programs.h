#pragma once

#include <GL/glew.h>

// The entry points of shaders, programs and uniforms that take the place of GLEW's. What is not of the classic dialect
// goes to the driver as it comes.

namespace velmor::glsupport::adapter {

void GLAPIENTRY compileShader(GLuint shader);
GLuint GLAPIENTRY createProgram();
void GLAPIENTRY deleteProgram(GLuint program);
void GLAPIENTRY linkProgram(GLuint program);
void GLAPIENTRY programParameteri(GLuint program, GLenum name, GLint value);
void GLAPIENTRY useProgram(GLuint program);
void GLAPIENTRY uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w);

} // namespace velmor::glsupport::adapter
