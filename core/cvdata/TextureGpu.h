#pragma once

#include "core/Export.h"

namespace velmor::core::cvdata {

using GLenum = unsigned int; ///< OpenGL's, without its headers: a texture is described where there is no OpenGL too
using GLint = int;           ///< OpenGL's too

/// Describes an existing OpenGL texture, which it does not own. Copies describe the same texture.
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

    unsigned int getTexId() const { return mTexId; }                  ///< OpenGL name
    unsigned int width() const { return mWidth; }                     ///< in texels
    unsigned int height() const { return mHeight; }                   ///< in texels
    GLenum getTexDataType() const { return mTexDataType; }            ///< pixel component type
    GLenum getTexChanSeq() const { return mTexChanSeq; }              ///< pixel format
    GLint getTexInternalFormat() const { return mTexInternalFormat; } ///< format that OpenGL stores the texels in
    GLenum getTexTargetType() const { return mTexTargetType; }        ///< texture target

protected:
    unsigned int mTexId;      ///< OpenGL name
    unsigned int mWidth;      ///< in texels
    unsigned int mHeight;     ///< in texels
    GLenum mTexDataType;      ///< pixel component type, as for glReadPixels
    GLenum mTexChanSeq;       ///< pixel format, as for glReadPixels
    GLint mTexInternalFormat; ///< format that OpenGL stores the texels in
    GLenum mTexTargetType;    ///< texture target
};

} // namespace velmor::core::cvdata
