#pragma once

#include "core/Export.h"

#include <GL/glew.h>

namespace velmor::core::cvdata {

/// Describes an OpenGL texture that exists and belongs to somebody else. Copies describe the same texture.
class VELMOR_CORE_EXPORT TextureGpu
{
public:
    /// @param texId           OpenGL name of the texture
    /// @param width, height   in texels
    /// @param dataType        pixel component type, as for glReadPixels (GL_UNSIGNED_BYTE, GL_FLOAT, ...)
    /// @param chanSeq         pixel format, as for glReadPixels (GL_RGB, GL_RED_INTEGER, ...)
    /// @param internalFormat  format that OpenGL stores the texels in
    /// @param target          texture target; the filters take GL_TEXTURE_RECTANGLE_ARB
    TextureGpu(unsigned texId, unsigned width, unsigned height, GLenum dataType, GLenum chanSeq, GLint internalFormat,
               GLenum target);
    virtual ~TextureGpu();

    unsigned int getTexId() const { return mTexId; }
    unsigned int width() const { return mWidth; }
    unsigned int height() const { return mHeight; }
    GLenum getTexDataType() const { return mTexDataType; }
    GLenum getTexChanSeq() const { return mTexChanSeq; }
    GLint getTexInternalFormat() const { return mTexInternalFormat; }
    GLenum getTexTargetType() const { return mTexTargetType; }

protected:
    unsigned int mTexId;
    unsigned int mWidth;
    unsigned int mHeight;
    GLenum mTexDataType;
    GLenum mTexChanSeq;
    GLint mTexInternalFormat;
    GLenum mTexTargetType;
};

} // namespace velmor::core::cvdata
