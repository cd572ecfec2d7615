#include "glsupport/StateGuard.h"

#include "glsupport/PixelBuffers.h"

#include <GL/glew.h>

#include <initializer_list>

namespace velmor::glsupport {
namespace {

constexpr int kUnits = 2; ///< texture units that a pass uses

/// What glPushAttrib() keeps: enables, colour buffer, current values, draw and read buffer, pixel transfer, point size,
/// polygon and matrix mode, viewport.
constexpr GLbitfield kAttributes = GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_PIXEL_MODE_BIT |
                                   GL_POINT_BIT | GL_POLYGON_BIT | GL_TRANSFORM_BIT | GL_VIEWPORT_BIT;

GLint integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

/// A matrix of the current stack, or of the current texture unit.
class MatrixState
{
public:
    void save(GLenum name) { glGetDoublev(name, mElements); }
    void restore(GLenum mode) const
    {
        glMatrixMode(mode);
        glLoadMatrixd(mElements);
    }

private:
    GLdouble mElements[16];
};

/// The framebuffers bound for drawing and for reading; one and the same where the driver knows no difference.
class FramebufferState
{
public:
    void save()
    {
        mSeparate = GLEW_VERSION_3_0 || GLEW_ARB_framebuffer_object || GLEW_EXT_framebuffer_blit;
        mDraw = integer(GL_FRAMEBUFFER_BINDING_EXT);
        if (mSeparate)
            mRead = integer(GL_READ_FRAMEBUFFER_BINDING_EXT);
    }
    void restore() const
    {
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, static_cast<GLuint>(mDraw));
        if (mSeparate)
            glBindFramebufferEXT(GL_READ_FRAMEBUFFER_EXT, static_cast<GLuint>(mRead));
    }

private:
    bool mSeparate = false;
    GLint mDraw = 0;
    GLint mRead = 0;
};

class ColourClampState
{
public:
    void save()
    {
        mSupported = GLEW_ARB_color_buffer_float;
        for (int i = 0; mSupported && i < kTargets; ++i)
            mClamps[i] = integer(kNames[i]);
    }
    void restore() const
    {
        for (int i = 0; mSupported && i < kTargets; ++i)
            glClampColorARB(kNames[i], static_cast<GLenum>(mClamps[i]));
    }

private:
    static constexpr int kTargets = 3;
    static constexpr GLenum kNames[kTargets] = {GL_CLAMP_VERTEX_COLOR_ARB, GL_CLAMP_FRAGMENT_COLOR_ARB,
                                                GL_CLAMP_READ_COLOR_ARB};
    bool mSupported = false;
    GLint mClamps[kTargets] = {};
};

/// What a texture unit holds beside its enables.
class TextureUnitState
{
public:
    void save()
    {
        mTexture = integer(GL_TEXTURE_BINDING_RECTANGLE_ARB);
        mMatrix.save(GL_TEXTURE_MATRIX);
    }
    void restore() const
    {
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, static_cast<GLuint>(mTexture));
        mMatrix.restore(GL_TEXTURE);
    }

private:
    GLint mTexture = 0;
    MatrixState mMatrix;
};

void makeUnitNeutral()
{
    for (const GLenum generator :
         std::initializer_list<GLenum>{GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T, GL_TEXTURE_GEN_R, GL_TEXTURE_GEN_Q})
        glDisable(generator);
    glMatrixMode(GL_TEXTURE);
    glLoadIdentity();
}

void makeFragmentsNeutral()
{
    for (const GLenum capability : std::initializer_list<GLenum>{
             GL_BLEND, GL_SCISSOR_TEST, GL_STENCIL_TEST, GL_ALPHA_TEST, GL_COLOR_LOGIC_OP, GL_CULL_FACE,
             GL_POLYGON_STIPPLE, GL_POLYGON_SMOOTH, GL_POINT_SMOOTH, GL_VERTEX_PROGRAM_POINT_SIZE})
        glDisable(capability);
    for (GLenum plane = GL_CLIP_PLANE0; plane <= GL_CLIP_PLANE5; ++plane)
        glDisable(plane);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glPointSize(1.0f);
}

/// So that results are read back into the caller's memory, and as they are.
void makeReadBackNeutral()
{
    if (GLEW_VERSION_2_1 || GLEW_ARB_pixel_buffer_object)
        glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    for (const GLenum setting : std::initializer_list<GLenum>{GL_PACK_SWAP_BYTES, GL_PACK_LSB_FIRST, GL_PACK_ROW_LENGTH,
                                                              GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS})
        glPixelStorei(setting, 0);
    for (const GLenum scale :
         std::initializer_list<GLenum>{GL_RED_SCALE, GL_GREEN_SCALE, GL_BLUE_SCALE, GL_ALPHA_SCALE})
        glPixelTransferf(scale, 1.0f);
    for (const GLenum bias : std::initializer_list<GLenum>{GL_RED_BIAS, GL_GREEN_BIAS, GL_BLUE_BIAS, GL_ALPHA_BIAS})
        glPixelTransferf(bias, 0.0f);
    glPixelTransferi(GL_MAP_COLOR, GL_FALSE);
}

} // namespace

struct StateGuard::Saved
{
    FramebufferState framebuffers;
    ColourClampState clamps;
    PixelBuffers pixelBuffers;
    TextureUnitState units[kUnits];
    MatrixState projection;
    MatrixState modelView;
    GLint program = 0;
    GLint activeUnit = 0;
};

StateGuard::StateGuard() : mSaved(std::make_unique<Saved>())
{
    glPushAttrib(kAttributes);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    mSaved->framebuffers.save();
    mSaved->clamps.save();
    mSaved->pixelBuffers.save();
    mSaved->projection.save(GL_PROJECTION_MATRIX);
    mSaved->modelView.save(GL_MODELVIEW_MATRIX);
    mSaved->program = integer(GL_CURRENT_PROGRAM);
    mSaved->activeUnit = integer(GL_ACTIVE_TEXTURE);
    for (int unit = 0; unit < kUnits; ++unit) {
        glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
        mSaved->units[unit].save();
        makeUnitNeutral();
    }
    makeFragmentsNeutral();
    makeReadBackNeutral();
    glActiveTexture(static_cast<GLenum>(mSaved->activeUnit));
    glMatrixMode(GL_MODELVIEW);
}

StateGuard::~StateGuard()
{
    for (int unit = 0; unit < kUnits; ++unit) {
        glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
        mSaved->units[unit].restore();
    }
    glActiveTexture(static_cast<GLenum>(mSaved->activeUnit));
    mSaved->projection.restore(GL_PROJECTION);
    mSaved->modelView.restore(GL_MODELVIEW);
    mSaved->clamps.restore();
    mSaved->framebuffers.restore();
    glPopClientAttrib();
    mSaved->pixelBuffers.restore();
    glPopAttrib();                                      // now: the draw buffer belongs to the framebuffer that is bound
    glUseProgram(static_cast<GLuint>(mSaved->program)); // last: DriverAdapter looks at what will be drawn into
}

} // namespace velmor::glsupport
