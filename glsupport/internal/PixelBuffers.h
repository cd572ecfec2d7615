#pragma once

#include <GL/glew.h>

namespace velmor::glsupport {

/// The buffers bound for transfers of pixels. Kept by name, since glPopClientAttrib() does not do: where Mesa gives
/// OpenGL a thread of its own it tells the application afterwards that none is bound.
class PixelBuffers
{
public:
    /// Keeps which are bound.
    void save()
    {
        mSupported = GLEW_VERSION_2_1 || GLEW_ARB_pixel_buffer_object;
        if (mSupported) {
            glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &mPack);
            glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &mUnpack);
        }
    }

    /// Binds those again, and none for one that was deleted: binding its name would make a buffer.
    void restore() const { bind(mPack, mUnpack); }

    /// Binds none.
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
