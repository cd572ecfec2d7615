#pragma once

#include <GL/glew.h>

#include <string>

// What a shader holds, and what is compiled in the place of a text that the driver refuses.

namespace velmor::glsupport::adapter {

std::string textOf(GLuint shader);
GLenum typeOf(GLuint shader);

/// Gives a shader a text. Whether the driver takes it.
bool compiles(GLuint shader, const std::string& text);

/// Whether a text stands in the place of an empty geometry stage, which is left out of every link.
bool isPlaceholder(const std::string& text);

// Entry point

void GLAPIENTRY compileShader(GLuint shader);

} // namespace velmor::glsupport::adapter
