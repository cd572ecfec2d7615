#include "cvprocess/gpuStdShaders/GlFbo.h"

#include <GL/glu.h>

#include <iterator>

namespace velmor::cvprocess {

GlFbo::GlFbo() : mFboId(_generateFboId()), mSavedFboId(0)
{
    _guardedBind();
    _guardedUnbind();
}

GlFbo::~GlFbo()
{
    glDeleteFramebuffersEXT(1, &mFboId);
}

void GlFbo::attachTexture(GLenum texTarget, GLuint texId, GLenum attachment, int mipLevel, int zSlice)
{
    _guardedBind();
#ifndef NDEBUG
    if (getAttachedId(attachment) == texId) {
        std::cerr << "GlFbo::AttachTexture PERFORMANCE WARNING:\n"
                  << "\tRedundant bind of texture (id = " << texId << ").\n"
                  << "\tHINT : Compile with -DNDEBUG to remove this warning.\n";
    } else
#endif
    {
        _framebufferTextureND(attachment, texTarget, texId, mipLevel, zSlice);
    }
    _guardedUnbind();
}

void GlFbo::attachTextures(int numTextures, GLenum* texTarget, GLuint* texId, GLenum* attachment, int* mipLevel,
                           int* zSlice)
{
    for (int i = 0; i < numTextures; ++i)
        attachTexture(texTarget[i], texId[i],
                      attachment ? attachment[i] : GL_COLOR_ATTACHMENT0_EXT + static_cast<GLenum>(i),
                      mipLevel ? mipLevel[i] : 0, zSlice ? zSlice[i] : 0);
}

void GlFbo::attachRenderBuffer(GLuint buffId, GLenum attachment)
{
    _guardedBind();
#ifndef NDEBUG
    if (getAttachedId(attachment) == buffId) {
        // No full stop behind the parenthesis here, unlike in the warning for textures.
        std::cerr << "GlFbo::AttachRenderBuffer PERFORMANCE WARNING:\n"
                  << "\tRedundant bind of Renderbuffer (id = " << buffId << ")\n"
                  << "\tHINT : Compile with -DNDEBUG to remove this warning.\n";
    } else
#endif
    {
        glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, attachment, GL_RENDERBUFFER_EXT, buffId);
    }
    _guardedUnbind();
}

void GlFbo::attachRenderBuffers(int numBuffers, GLuint* buffId, GLenum* attachment)
{
    for (int i = 0; i < numBuffers; ++i)
        attachRenderBuffer(buffId[i], attachment ? attachment[i] : GL_COLOR_ATTACHMENT0_EXT + static_cast<GLenum>(i));
}

void GlFbo::unattach(GLenum attachment)
{
    _guardedBind();
    switch (getAttachedType(attachment)) {
    case GL_TEXTURE:
        attachTexture(GL_TEXTURE_2D, 0, attachment, 0, 0);
        break;
    case GL_RENDERBUFFER_EXT:
        attachRenderBuffer(0, attachment);
        break;
    case GL_NONE:
        break;
    default:
        std::cerr << "GlFbo::unbind_attachment ERROR: Unknown attached resource type\n";
    }
    _guardedUnbind();
}

void GlFbo::unattachAll()
{
    const int count = getMaxColorAttachments();
    for (int i = 0; i < count; ++i)
        unattach(GL_COLOR_ATTACHMENT0_EXT + static_cast<GLenum>(i));
}

bool GlFbo::isValid(std::ostream& ostr)
{
    // Indexed from GL_FRAMEBUFFER_COMPLETE_EXT; null marks a value that no status has.
    static const char* const texts[] = {
        "",
        "GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT_EXT\n",
        "GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT\n",
        nullptr,
        "GL_FRAMEBUFFER_INCOMPLETE_DIMENSIONS_EXT\n",
        "GL_FRAMEBUFFER_INCOMPLETE_FORMATS_EXT\n",
        "GL_FRAMEBUFFER_INCOMPLETE_DRAW_BUFFER_EXT\n",
        "GL_FRAMEBUFFER_INCOMPLETE_READ_BUFFER_EXT\n",
        "GL_FRAMEBUFFER_UNSUPPORTED_EXT\n",
    };
    _guardedBind();
    const GLenum status = glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT);
    const bool valid = status == GL_FRAMEBUFFER_COMPLETE_EXT;
    if (!valid) {
        const GLenum index = status - GL_FRAMEBUFFER_COMPLETE_EXT; // below the table it wraps to a large number
        const char* const text = index < std::size(texts) ? texts[index] : nullptr;
        ostr << "CheckFramebufferStatus() ERROR:\n\t" << (text ? text : "Unknown ERROR\n");
    }
    _guardedUnbind();
    return valid;
}

GLenum GlFbo::getAttachedType(GLenum attachment)
{
    return static_cast<GLenum>(attachmentParameter(attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE_EXT));
}

GLuint GlFbo::getAttachedId(GLenum attachment)
{
    return static_cast<GLuint>(attachmentParameter(attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME_EXT));
}

GLint GlFbo::getAttachedMipLevel(GLenum attachment)
{
    return attachmentParameter(attachment, GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL_EXT);
}

GLint GlFbo::getAttachedCubeFace(GLenum attachment)
{
    return attachmentParameter(attachment, GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE_EXT);
}

GLint GlFbo::getAttachedZSlice(GLenum attachment)
{
    return attachmentParameter(attachment, GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_3D_ZOFFSET_EXT);
}

int GlFbo::getMaxColorAttachments()
{
    GLint count = 0;
    glGetIntegerv(GL_MAX_COLOR_ATTACHMENTS_EXT, &count);
    return count;
}

bool GlFbo::checkGlErrors(const char* location)
{
    bool found = false;
    while (const GLenum code = glGetError()) {
        found = true;
        std::cerr << "Error: ";
        if (const GLubyte* const text = gluErrorString(code))
            std::cerr << text;
        else
            std::cerr << code << std::endl;
        if (location)
            std::cerr << " at " << location;
        std::cerr << std::endl;
    }
    return found;
}

void GlFbo::_guardedBind()
{
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &mSavedFboId);
    if (mSavedFboId != static_cast<GLint>(mFboId))
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, mFboId);
}

void GlFbo::_guardedUnbind()
{
    if (mSavedFboId != static_cast<GLint>(mFboId))
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, static_cast<GLuint>(mSavedFboId));
}

void GlFbo::_framebufferTextureND(GLenum attachment, GLenum texTarget, GLuint texId, int mipLevel, int zSlice)
{
    switch (texTarget) {
    case GL_TEXTURE_1D:
        glFramebufferTexture1DEXT(GL_FRAMEBUFFER_EXT, attachment, GL_TEXTURE_1D, texId, mipLevel);
        break;
    case GL_TEXTURE_3D:
        glFramebufferTexture3DEXT(GL_FRAMEBUFFER_EXT, attachment, GL_TEXTURE_3D, texId, mipLevel, zSlice);
        break;
    default:
        glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, attachment, texTarget, texId, mipLevel);
    }
}

GLuint GlFbo::_generateFboId()
{
    GLuint id = 0;
    glGenFramebuffersEXT(1, &id);
    return id;
}

GLint GlFbo::attachmentParameter(GLenum attachment, GLenum name)
{
    GLint value = 0;
    _guardedBind();
    glGetFramebufferAttachmentParameterivEXT(GL_FRAMEBUFFER_EXT, attachment, name, &value);
    _guardedUnbind();
    return value;
}

} // namespace velmor::cvprocess
