#pragma once

#include "cvprocess/Export.h"

#include <GL/glew.h>

#include <cstdint>
#include <iosfwd>
#include <iostream>

namespace velmor::cvprocess {

/// A framebuffer object of GL_EXT_framebuffer_object, which filters render into.
///
/// Operations bind the object only as long as they need it ("guarded" binding). The binding that was found is kept in
/// one slot, and a guarded operation inside another one overwrites it. So after attachTexture(), attachRenderBuffer(),
/// unattach() and unattachAll() this framebuffer stays bound, while the queries and isValid() restore the binding. This
/// is by design: filters attach and then draw. With NDEBUG, attachTexture() and attachRenderBuffer() make no query
/// inside and restore the binding.
///
/// All operations need the object's OpenGL context to be current on the calling thread.
class VELMOR_CVPROCESS_EXPORT GlFbo
{
public:
    /// Generates the framebuffer and binds it once, so that it exists in OpenGL from the start.
    GlFbo();
    GlFbo(const GlFbo&) = delete;
    GlFbo& operator=(const GlFbo&) = delete;

    /// Deletes the framebuffer; what is attached is not touched.
    virtual ~GlFbo();

    /// Attaches a texture, which stays the caller's. With assertions compiled in, a texture that is attached already
    /// (as told by its id alone) gives a warning on std::cerr and is not attached again.
    /// @param texTarget   GL_TEXTURE_1D, GL_TEXTURE_3D, or a target of two dimensions: GL_TEXTURE_2D,
    ///                    GL_TEXTURE_RECTANGLE_ARB, a face of a cube map
    /// @param texId       the texture; 0 takes off what is attached
    /// @param attachment  attachment point
    /// @param mipLevel    level of the texture, 0 for rectangle textures
    /// @param zSlice      slice of a GL_TEXTURE_3D
    virtual void attachTexture(GLenum texTarget, GLuint texId, GLenum attachment = GL_COLOR_ATTACHMENT0_EXT,
                               int mipLevel = 0, int zSlice = 0);

    /// Attaches several textures, each as attachTexture() does.
    /// @param numTextures  length of the arrays
    /// @param texTarget    target of each texture
    /// @param texId        the textures
    /// @param attachment   null: the colour attachments from 0 on
    /// @param mipLevel     null: level 0 for each
    /// @param zSlice       null: slice 0 for each
    virtual void attachTextures(int numTextures, GLenum* texTarget, GLuint* texId, GLenum* attachment = nullptr,
                                int* mipLevel = nullptr, int* zSlice = nullptr);

    /// Attaches a renderbuffer, which stays the caller's. One that is attached already is treated as in
    /// attachTexture().
    virtual void attachRenderBuffer(GLuint buffId, GLenum attachment = GL_COLOR_ATTACHMENT0_EXT);

    /// Attaches several renderbuffers, each as attachRenderBuffer() does.
    /// @param numBuffers  length of the arrays
    /// @param buffId      the renderbuffers
    /// @param attachment  null: the colour attachments from 0 on
    virtual void attachRenderBuffers(int numBuffers, GLuint* buffId, GLenum* attachment = nullptr);

    /// Takes off what is attached at a point, if anything is.
    void unattach(GLenum attachment);

    /// Takes off what is attached at every colour attachment; depth and stencil stay.
    void unattachAll();

    /// Binds this framebuffer for drawing and reading, until another one is bound.
    void bind() { glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFboId); }

    /// Binds the window system's framebuffer.
    static void disable() { glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0); }

    /// Whether the framebuffer is complete; if not, the reason goes to the stream.
    bool isValid(std::ostream& ostr = std::cerr);

    /// Kind of what is attached: GL_TEXTURE, GL_RENDERBUFFER_EXT or GL_NONE.
    GLenum getAttachedType(GLenum attachment);

    /// Id of what is attached; 0 for nothing.
    GLuint getAttachedId(GLenum attachment);

    /// Level of the attached texture. Level, face and slice exist only where a texture is attached. Elsewhere the
    /// result is 0 and OpenGL records an error; the caller drains it with checkGlErrors().
    GLint getAttachedMipLevel(GLenum attachment);

    /// Cube map face of the attached texture, 0 if it is not a cube map; see getAttachedMipLevel() for errors.
    GLint getAttachedCubeFace(GLenum attachment);

    /// Slice of the attached 3-D texture; see getAttachedMipLevel() for errors.
    GLint getAttachedZSlice(GLenum attachment);

    /// Number of colour attachments that the driver offers.
    static int getMaxColorAttachments();

    /// Empties the OpenGL error queue onto std::cerr, one line per error.
    /// @param location  appended to each message after " at "; null for none
    /// @return          whether there was any error
    static bool checkGlErrors(const char* location);

protected:
    /// Binds this framebuffer, and keeps the binding that it found in the slot.
    void _guardedBind();

    /// Restores the binding that is in the slot.
    void _guardedUnbind();

    /// Attaches a texture of one, two or three dimensions, as its target says; see attachTexture().
    void _framebufferTextureND(GLenum attachment, GLenum texTarget, GLuint texId, int mipLevel, int zSlice);

    /// Makes the OpenGL name of a new framebuffer.
    static GLuint _generateFboId();

private:
    GLint attachmentParameter(GLenum attachment, GLenum name);

    std::uint32_t mFboId;
    std::int32_t mSavedFboId; ///< the binding that the last guarded bind found
};

} // namespace velmor::cvprocess
