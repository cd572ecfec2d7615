#pragma once

#include <GL/glew.h>

namespace velmor::glsupport {

/// The buffers bound for transfers of pixels. They are kept by name, because glPopClientAttrib() is not enough: where
/// Mesa runs OpenGL in a thread of its own, it tells the application afterwards that no buffer is bound.
class PixelBuffers
{
public:
    /// Notes which buffers are bound.
    void save()
    {
        mSupported = GLEW_VERSION_2_1 || GLEW_ARB_pixel_buffer_object;
        if (mSupported) {
            glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &mPack);
            glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &mUnpack);
        }
    }

    /// Binds them again. For one that was deleted it binds none, because binding its name would make a new buffer.
    void restore() const { bind(mPack, mUnpack); }

    /// Binds no buffer.
    void release() const { bind(0, 0); }

private:
    void bind(GLint pack, GLint unpack) const
    {
        if (mSupported) {
            bindTo(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(pack));
            bindTo(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(unpack));
        }
    }

    static void bindTo(GLenum target, GLuint buffer)
    {
        glBindBuffer(target, buffer != 0 && glIsBuffer(buffer) ? buffer : 0);
    }

    bool mSupported = false;
    GLint mPack = 0;
    GLint mUnpack = 0;
};

} // namespace velmor::glsupport
