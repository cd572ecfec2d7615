#include "glsupport/StateGuard.h"

#include "glsupport/internal/Integer.h"
#include "glsupport/internal/PixelBuffers.h"

#include <GL/glew.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <vector>

// The state is read and set piece by piece. The attribute stacks of OpenGL would do much of it, but they are the
// application's too, may be full, and then pop an entry of the application's.

namespace velmor::glsupport {
namespace {

constexpr int kUnits = 2; ///< texture units that a pass uses

void enable(GLenum capability, bool on)
{
    on ? glEnable(capability) : glDisable(capability);
}

std::size_t drawBufferCount()
{
    return static_cast<std::size_t>(std::max(integer(GL_MAX_DRAW_BUFFERS), 1));
}

bool hasDrawBuffersApart()
{
    return GLEW_VERSION_3_0 || GLEW_EXT_draw_buffers2;
}

bool hasBlendingApart()
{
    return GLEW_VERSION_4_0 || (GLEW_VERSION_3_0 && GLEW_ARB_draw_buffers_blend);
}

bool hasViewportsApart()
{
    return GLEW_VERSION_4_1 || GLEW_ARB_viewport_array;
}

template<typename Element>
bool areAllEqual(const std::vector<Element>& elements)
{
    return std::all_of(elements.begin(), elements.end(), [&](const Element& other) { return other == elements[0]; });
}

/// Capabilities that change what a pass draws, or that it changes itself. All are off at first.
class Capabilities
{
public:
    void save()
    {
        mCapabilities.reserve(64); // more than there are
        for (const GLenum name : std::initializer_list<GLenum>{
                 GL_STENCIL_TEST, GL_ALPHA_TEST, GL_DEPTH_TEST, GL_COLOR_LOGIC_OP, GL_CULL_FACE, GL_POLYGON_STIPPLE,
                 GL_POLYGON_SMOOTH, GL_POINT_SMOOTH, GL_POINT_SPRITE, GL_VERTEX_PROGRAM_POINT_SIZE,
                 GL_SAMPLE_ALPHA_TO_COVERAGE, GL_SAMPLE_ALPHA_TO_ONE, GL_SAMPLE_COVERAGE})
            keep(name);
        const GLint planes = integer(GL_MAX_CLIP_PLANES); // GL_MAX_CLIP_DISTANCES is the same
        for (GLint i = 0; i < planes; ++i)
            keep(static_cast<GLenum>(GL_CLIP_PLANE0 + i));
        keepIf(GLEW_ARB_vertex_program, GL_VERTEX_PROGRAM_ARB);
        keepIf(GLEW_ARB_fragment_program, GL_FRAGMENT_PROGRAM_ARB);
        keepIf(GLEW_ATI_fragment_shader, GL_FRAGMENT_SHADER_ATI);
        keepIf(GLEW_EXT_depth_bounds_test, GL_DEPTH_BOUNDS_TEST_EXT);
        keepIf(GLEW_VERSION_3_0 || GLEW_EXT_transform_feedback, GL_RASTERIZER_DISCARD);
        keepIf(GLEW_VERSION_3_0 || GLEW_ARB_framebuffer_sRGB || GLEW_EXT_framebuffer_sRGB, GL_FRAMEBUFFER_SRGB);
        keepIf(GLEW_VERSION_3_1, GL_PRIMITIVE_RESTART);
        keepIf(GLEW_VERSION_4_3 || GLEW_ARB_ES3_compatibility, GL_PRIMITIVE_RESTART_FIXED_INDEX);
        keepIf(GLEW_VERSION_3_2 || GLEW_ARB_texture_multisample, GL_SAMPLE_MASK);
        keepIf(GLEW_VERSION_4_0 || GLEW_ARB_sample_shading, GL_SAMPLE_SHADING);
    }
    void makeNeutral() const
    {
        for (const Capability& capability : mCapabilities)
            glDisable(capability.name);
    }
    void restore() const
    {
        for (const Capability& capability : mCapabilities)
            enable(capability.name, capability.isOn);
    }

private:
    struct Capability
    {
        GLenum name;
        bool isOn;
    };

    void keep(GLenum name) { mCapabilities.push_back({name, glIsEnabled(name) == GL_TRUE}); }
    void keepIf(bool isThere, GLenum name)
    {
        if (isThere)
            keep(name);
    }

    std::vector<Capability> mCapabilities;
};

/// The restart of primitives as a client state, as drivers had it before it became a capability.
class PrimitiveRestartState
{
public:
    void save() { mIsOn = isThere() && glIsEnabled(GL_PRIMITIVE_RESTART_NV); }
    static void makeNeutral()
    {
        if (isThere())
            glDisableClientState(GL_PRIMITIVE_RESTART_NV);
    }
    void restore() const
    {
        if (mIsOn)
            glEnableClientState(GL_PRIMITIVE_RESTART_NV);
        else
            makeNeutral();
    }

private:
    static bool isThere() { return GLEW_NV_primitive_restart && !GLEW_VERSION_3_1; }

    bool mIsOn = false;
};

/// Blending and colour mask, of each draw buffer where the driver has them apart.
class DrawBufferState
{
public:
    void save()
    {
        mEnables.resize(hasDrawBuffersApart() ? drawBufferCount() : 1);
        mMasks.resize(mEnables.size());
        mBlendings.resize(hasBlendingApart() ? drawBufferCount() : 1);
        saveEnablesAndMasks();
        saveBlendings();
    }
    static void makeNeutral()
    {
        glDisable(GL_BLEND);
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    }
    void restore() const
    {
        restoreEnables();
        restoreMasks();
        restoreBlendings();
    }

private:
    using Mask = std::array<GLboolean, 4>;
    using Blending = std::array<GLint, 6>;
    static constexpr std::array<GLenum, 6> kBlendNames = {GL_BLEND_SRC_RGB,      GL_BLEND_DST_RGB,
                                                          GL_BLEND_SRC_ALPHA,    GL_BLEND_DST_ALPHA,
                                                          GL_BLEND_EQUATION_RGB, GL_BLEND_EQUATION_ALPHA};

    void saveEnablesAndMasks()
    {
        const auto isEnabled = GLEW_VERSION_3_0 ? glIsEnabledi : glIsEnabledIndexedEXT;
        const auto getMask = GLEW_VERSION_3_0 ? glGetBooleani_v : glGetBooleanIndexedvEXT;
        mEnables[0] = glIsEnabled(GL_BLEND);
        glGetBooleanv(GL_COLOR_WRITEMASK, mMasks[0].data());
        for (std::size_t i = 1; i < mEnables.size(); ++i) {
            mEnables[i] = isEnabled(GL_BLEND, static_cast<GLuint>(i));
            getMask(GL_COLOR_WRITEMASK, static_cast<GLuint>(i), mMasks[i].data());
        }
    }
    void saveBlendings()
    {
        for (std::size_t k = 0; k < kBlendNames.size(); ++k) {
            mBlendings[0][k] = integer(kBlendNames[k]);
            for (std::size_t i = 1; i < mBlendings.size(); ++i)
                glGetIntegeri_v(kBlendNames[k], static_cast<GLuint>(i), &mBlendings[i][k]);
        }
    }

    // What is the same for all buffers is set for all: drivers draw faster so.

    void restoreEnables() const
    {
        const auto enableOne = GLEW_VERSION_3_0 ? glEnablei : glEnableIndexedEXT;
        const auto disableOne = GLEW_VERSION_3_0 ? glDisablei : glDisableIndexedEXT;
        enable(GL_BLEND, mEnables[0]);
        for (std::size_t i = 1; i < mEnables.size(); ++i)
            if (mEnables[i] != mEnables[0])
                (mEnables[i] ? enableOne : disableOne)(GL_BLEND, static_cast<GLuint>(i));
    }
    void restoreMasks() const
    {
        const auto setOne = GLEW_VERSION_3_0 ? glColorMaski : glColorMaskIndexedEXT;
        const Mask& first = mMasks[0];
        glColorMask(first[0], first[1], first[2], first[3]);
        for (std::size_t i = 1; i < mMasks.size(); ++i) {
            const Mask& mask = mMasks[i];
            if (mask != first)
                setOne(static_cast<GLuint>(i), mask[0], mask[1], mask[2], mask[3]);
        }
    }
    void restoreBlendings() const
    {
        setBlending(mBlendings[0]);
        for (std::size_t i = 1; i < mBlendings.size() && !areAllEqual(mBlendings); ++i)
            setBlendingOf(static_cast<GLuint>(i), mBlendings[i]);
    }

    // An advanced equation is for colours and alpha together.

    static void setBlending(const Blending& values)
    {
        const auto at = [&](std::size_t k) {
            return static_cast<GLenum>(values[k]);
        };
        glBlendFuncSeparate(at(0), at(1), at(2), at(3));
        if (at(4) == at(5))
            glBlendEquation(at(4));
        else
            glBlendEquationSeparate(at(4), at(5));
    }
    static void setBlendingOf(GLuint buffer, const Blending& values)
    {
        const bool isExtension = GLEW_ARB_draw_buffers_blend;
        const auto setFactors = isExtension ? glBlendFuncSeparateiARB : glBlendFuncSeparatei;
        const auto setEquation = isExtension ? glBlendEquationiARB : glBlendEquationi;
        const auto setEquations = isExtension ? glBlendEquationSeparateiARB : glBlendEquationSeparatei;
        const auto at = [&](std::size_t k) {
            return static_cast<GLenum>(values[k]);
        };
        setFactors(buffer, at(0), at(1), at(2), at(3));
        if (at(4) == at(5))
            setEquation(buffer, at(4));
        else
            setEquations(buffer, at(4), at(5));
    }

    std::vector<GLboolean> mEnables;
    std::vector<Mask> mMasks;
    std::vector<Blending> mBlendings;
};

/// Viewport and scissor test, of each viewport where the driver has several. A pass sets all viewports.
class ViewportState
{
public:
    void save()
    {
        if (!hasViewportsApart()) {
            glGetIntegerv(GL_VIEWPORT, mViewport);
            mScissors = {glIsEnabled(GL_SCISSOR_TEST)};
            return;
        }
        const auto count = static_cast<std::size_t>(integer(GL_MAX_VIEWPORTS));
        mViewports.resize(count);
        mScissors.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            glGetFloati_v(GL_VIEWPORT, static_cast<GLuint>(i), mViewports[i].data());
            mScissors[i] = glIsEnabledi(GL_SCISSOR_TEST, static_cast<GLuint>(i));
        }
    }
    static void makeNeutral() { glDisable(GL_SCISSOR_TEST); }
    void restore() const
    {
        if (mViewports.empty())
            glViewport(mViewport[0], mViewport[1], mViewport[2], mViewport[3]);
        else
            glViewportArrayv(0, static_cast<GLsizei>(mViewports.size()), mViewports[0].data());
        enable(GL_SCISSOR_TEST, mScissors[0]);
        for (std::size_t i = 1; i < mScissors.size(); ++i)
            if (mScissors[i] != mScissors[0])
                (mScissors[i] ? glEnablei : glDisablei)(GL_SCISSOR_TEST, static_cast<GLuint>(i));
    }

private:
    GLint mViewport[4] = {};
    std::vector<std::array<GLfloat, 4>> mViewports;
    std::vector<GLboolean> mScissors;
};

/// Which side of the viewport is up, and the range of depths.
class ClipControlState
{
public:
    void save()
    {
        if (!isThere())
            return;
        mOrigin = integer(GL_CLIP_ORIGIN);
        mDepthMode = integer(GL_CLIP_DEPTH_MODE);
    }
    static void makeNeutral()
    {
        if (isThere())
            glClipControl(GL_LOWER_LEFT, GL_NEGATIVE_ONE_TO_ONE);
    }
    void restore() const
    {
        if (isThere())
            glClipControl(static_cast<GLenum>(mOrigin), static_cast<GLenum>(mDepthMode));
    }

private:
    static bool isThere() { return GLEW_VERSION_4_5 || GLEW_ARB_clip_control; }

    GLint mOrigin = 0;
    GLint mDepthMode = 0;
};

/// The size of points, and what alters it.
class PointState
{
public:
    void save()
    {
        glGetFloatv(GL_POINT_SIZE, &mSize);
        glGetFloatv(GL_POINT_SIZE_MIN, &mLeast);
        glGetFloatv(GL_POINT_SIZE_MAX, &mMost);
        glGetFloatv(GL_POINT_DISTANCE_ATTENUATION, mAttenuation);
    }
    void makeNeutral() const
    {
        constexpr GLfloat none[] = {1.0f, 0.0f, 0.0f};
        set(1.0f, 0.0f, std::max(mMost, 1.0f), none);
    }
    void restore() const { set(mSize, mLeast, mMost, mAttenuation); }

private:
    static void set(GLfloat size, GLfloat least, GLfloat most, const GLfloat* attenuation)
    {
        glPointSize(size);
        glPointParameterf(GL_POINT_SIZE_MIN, least);
        glPointParameterf(GL_POINT_SIZE_MAX, most);
        glPointParameterfv(GL_POINT_DISTANCE_ATTENUATION, attenuation);
    }

    GLfloat mSize = 0.0f;
    GLfloat mLeast = 0.0f;
    GLfloat mMost = 0.0f;
    GLfloat mAttenuation[3] = {};
};

class PolygonModeState
{
public:
    void save() { glGetIntegerv(GL_POLYGON_MODE, mModes); }
    void restore() const
    {
        glPolygonMode(GL_FRONT, static_cast<GLenum>(mModes[0]));
        glPolygonMode(GL_BACK, static_cast<GLenum>(mModes[1]));
    }

private:
    GLint mModes[2] = {};
};

/// The clear colour, and whether colours are clamped to 0..1.
class ColourState
{
public:
    void save()
    {
        for (std::size_t i = 0; isThere() && i < kTargets.size(); ++i)
            mClamps[i] = integer(kTargets[i]);
        setClamps({GL_FALSE, GL_FALSE, GL_FALSE}); // else drivers tell a clamped clear colour
        glGetFloatv(GL_COLOR_CLEAR_VALUE, mClear);
    }
    static void makeNeutral() { setClamps({GL_TRUE, GL_FIXED_ONLY_ARB, GL_FIXED_ONLY_ARB}); }
    void restore() const
    {
        glClearColor(mClear[0], mClear[1], mClear[2], mClear[3]);
        setClamps(mClamps);
    }

private:
    using Clamps = std::array<GLint, 3>;
    static constexpr std::array<GLenum, 3> kTargets = {GL_CLAMP_VERTEX_COLOR_ARB, GL_CLAMP_FRAGMENT_COLOR_ARB,
                                                       GL_CLAMP_READ_COLOR_ARB};

    static bool isThere() { return GLEW_ARB_color_buffer_float; }

    static void setClamps(const Clamps& clamps)
    {
        for (std::size_t i = 0; isThere() && i < kTargets.size(); ++i)
            glClampColorARB(kTargets[i], static_cast<GLenum>(clamps[i]));
    }

    Clamps mClamps = {};
    GLfloat mClear[4] = {};
};

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

/// A texture unit, which is current while it is saved and restored.
class TextureUnitState
{
public:
    void save(GLenum unit)
    {
        mUnit = unit;
        mTexture = integer(GL_TEXTURE_BINDING_RECTANGLE_ARB);
        mIsEnabled = glIsEnabled(GL_TEXTURE_RECTANGLE_ARB);
        for (std::size_t i = 0; i < kGenerators.size(); ++i)
            mGenerators[i] = glIsEnabled(kGenerators[i]);
        if (hasSamplers())
            mSampler = integer(GL_SAMPLER_BINDING);
        glGetFloatv(GL_CURRENT_TEXTURE_COORDS, mCoordinates);
        mMatrix.save(GL_TEXTURE_MATRIX);
    }
    void makeNeutral() const
    {
        for (const GLenum generator : kGenerators)
            glDisable(generator);
        if (hasSamplers())
            glBindSampler(mUnit - GL_TEXTURE0, 0);
        glMatrixMode(GL_TEXTURE);
        glLoadIdentity();
    }
    void restore() const
    {
        const auto texture = static_cast<GLuint>(mTexture);
        const auto sampler = static_cast<GLuint>(mSampler);
        glBindTexture(GL_TEXTURE_RECTANGLE_ARB, glIsTexture(texture) ? texture : 0);
        enable(GL_TEXTURE_RECTANGLE_ARB, mIsEnabled);
        for (std::size_t i = 0; i < kGenerators.size(); ++i)
            enable(kGenerators[i], mGenerators[i]);
        if (hasSamplers())
            glBindSampler(mUnit - GL_TEXTURE0, glIsSampler(sampler) ? sampler : 0);
        glMultiTexCoord4fv(mUnit, mCoordinates);
        mMatrix.restore(GL_TEXTURE);
    }

private:
    static constexpr std::array<GLenum, 4> kGenerators = {GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T, GL_TEXTURE_GEN_R,
                                                          GL_TEXTURE_GEN_Q};

    static bool hasSamplers() { return GLEW_VERSION_3_3 || GLEW_ARB_sampler_objects; }

    GLenum mUnit = 0;
    GLint mTexture = 0;
    bool mIsEnabled = false;
    bool mGenerators[4] = {};
    GLint mSampler = 0;
    GLfloat mCoordinates[4] = {};
    MatrixState mMatrix;
};

/// The texture units, and which of them is active.
class TextureState
{
public:
    void save()
    {
        mActive = integer(GL_ACTIVE_TEXTURE);
        forEachUnit([](TextureUnitState& unit, GLenum name) { unit.save(name); });
    }
    void makeNeutral()
    {
        forEachUnit([](const TextureUnitState& unit, GLenum) { unit.makeNeutral(); });
        glActiveTexture(GL_TEXTURE0);
    }
    void restore()
    {
        forEachUnit([](const TextureUnitState& unit, GLenum) { unit.restore(); });
        glActiveTexture(static_cast<GLenum>(mActive));
    }

private:
    template<typename Action>
    void forEachUnit(const Action& action)
    {
        for (std::size_t i = 0; i < mUnits.size(); ++i) {
            const auto name = static_cast<GLenum>(GL_TEXTURE0 + i);
            glActiveTexture(name);
            action(mUnits[i], name);
        }
    }

    std::array<TextureUnitState, kUnits> mUnits;
    GLint mActive = 0;
};

/// The matrices that place what is drawn, and the matrix mode.
class TransformState
{
public:
    void save()
    {
        mMode = integer(GL_MATRIX_MODE);
        mProjection.save(GL_PROJECTION_MATRIX);
        mModelView.save(GL_MODELVIEW_MATRIX);
    }
    static void makeNeutral() { glMatrixMode(GL_MODELVIEW); }
    void restore() const
    {
        mProjection.restore(GL_PROJECTION);
        mModelView.restore(GL_MODELVIEW);
        glMatrixMode(static_cast<GLenum>(mMode));
    }

private:
    GLint mMode = 0;
    MatrixState mProjection;
    MatrixState mModelView;
};

/// How pixels are read back: into the caller's memory, and as they are.
class ReadBackState
{
public:
    void save()
    {
        mBuffers.save();
        for (std::size_t i = 0; i < kPacking.size(); ++i)
            mPacking[i] = integer(kPacking[i]);
        if (GLEW_MESA_pack_invert)
            mIsInverted = integer(GL_PACK_INVERT_MESA);
        for (std::size_t i = 0; i < kTransfer.size(); ++i)
            glGetFloatv(kTransfer[i], &mTransfer[i]);
    }
    void makeNeutral() const
    {
        mBuffers.release();
        setPacking({}, GL_FALSE);
        setTransfer(kInitialTransfer);
    }
    void restore() const
    {
        mBuffers.restore();
        setPacking(mPacking, mIsInverted);
        setTransfer(mTransfer);
    }

private:
    static constexpr std::array<GLenum, 5> kPacking = {GL_PACK_SWAP_BYTES, GL_PACK_LSB_FIRST, GL_PACK_ROW_LENGTH,
                                                       GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS};
    static constexpr std::array<GLenum, 9> kTransfer = {GL_RED_SCALE,   GL_RED_BIAS,   GL_GREEN_SCALE,
                                                        GL_GREEN_BIAS,  GL_BLUE_SCALE, GL_BLUE_BIAS,
                                                        GL_ALPHA_SCALE, GL_ALPHA_BIAS, GL_MAP_COLOR};
    static constexpr std::array<GLfloat, 9> kInitialTransfer = {1, 0, 1, 0, 1, 0, 1, 0, 0};

    static void setPacking(const std::array<GLint, 5>& values, GLint isInverted)
    {
        for (std::size_t i = 0; i < kPacking.size(); ++i)
            glPixelStorei(kPacking[i], values[i]);
        if (GLEW_MESA_pack_invert)
            glPixelStorei(GL_PACK_INVERT_MESA, isInverted);
    }
    static void setTransfer(const std::array<GLfloat, 9>& values)
    {
        for (std::size_t i = 0; i < kTransfer.size(); ++i)
            glPixelTransferf(kTransfer[i], values[i]);
    }

    PixelBuffers mBuffers;
    std::array<GLint, 5> mPacking = {};
    GLint mIsInverted = GL_FALSE;
    std::array<GLfloat, 9> mTransfer = {};
};

/// The framebuffers bound for drawing and for reading, one and the same where the driver knows no difference, and the
/// buffers that are drawn into and read, which belong to them.
class FramebufferState
{
public:
    void save()
    {
        mDraw = integer(GL_FRAMEBUFFER_BINDING_EXT);
        mRead = areApart() ? integer(GL_READ_FRAMEBUFFER_BINDING_EXT) : mDraw;
        mDrawBuffers.resize(drawBufferCount());
        for (std::size_t i = 0; i < mDrawBuffers.size(); ++i)
            mDrawBuffers[i] = drawBuffer(i);
        mReadBuffer = integer(GL_READ_BUFFER);
    }
    void restore() const
    {
        const bool drawIsThere = bind(GL_FRAMEBUFFER_EXT, mDraw); // both, where they are one
        const bool readIsThere = areApart() ? bind(GL_READ_FRAMEBUFFER_EXT, mRead) : drawIsThere;
        if (drawIsThere && !areDrawBuffersAsSaved())
            restoreDrawBuffers();
        if (readIsThere && integer(GL_READ_BUFFER) != mReadBuffer)
            glReadBuffer(static_cast<GLenum>(mReadBuffer));
    }

private:
    static bool areApart() { return GLEW_VERSION_3_0 || GLEW_ARB_framebuffer_object || GLEW_EXT_framebuffer_blit; }

    /// Binds a framebuffer, or none where it was deleted: binding its name would make an empty one.
    static bool bind(GLenum target, GLint name)
    {
        const auto framebuffer = static_cast<GLuint>(name);
        const bool isThere = framebuffer == 0 || glIsFramebufferEXT(framebuffer);
        glBindFramebufferEXT(target, isThere ? framebuffer : 0);
        return isThere;
    }

    static GLenum drawBuffer(std::size_t i)
    {
        return static_cast<GLenum>(integer(static_cast<GLenum>(GL_DRAW_BUFFER0 + i)));
    }

    bool areDrawBuffersAsSaved() const
    {
        for (std::size_t i = 0; i < mDrawBuffers.size(); ++i)
            if (drawBuffer(i) != mDrawBuffers[i])
                return false;
        return true;
    }

    void restoreDrawBuffers() const
    {
        const bool isOne =
            std::all_of(mDrawBuffers.begin() + 1, mDrawBuffers.end(), [](GLenum buffer) { return buffer == GL_NONE; });
        if (isOne) // glDrawBuffer() takes names of a window that glDrawBuffers() refuses
            glDrawBuffer(mDrawBuffers[0]);
        else
            glDrawBuffers(static_cast<GLsizei>(mDrawBuffers.size()), mDrawBuffers.data());
    }

    GLint mDraw = 0;
    GLint mRead = 0;
    std::vector<GLenum> mDrawBuffers;
    GLint mReadBuffer = 0;
};

/// A running transform feedback, under which no other program can be used. It waits while the guard lives.
class TransformFeedbackState
{
public:
    void save()
    {
        mIsRunning = (GLEW_VERSION_4_0 || GLEW_ARB_transform_feedback2) &&
                     integer(GL_TRANSFORM_FEEDBACK_BUFFER_ACTIVE) != GL_FALSE &&
                     integer(GL_TRANSFORM_FEEDBACK_BUFFER_PAUSED) == GL_FALSE;
    }
    void makeNeutral() const
    {
        if (mIsRunning)
            glPauseTransformFeedback();
    }
    void restore() const
    {
        if (mIsRunning)
            glResumeTransformFeedback();
    }

private:
    bool mIsRunning = false;
};

/// The program, which is none again where it was deleted.
class ProgramState
{
public:
    void save() { mProgram = integer(GL_CURRENT_PROGRAM); }
    void restore() const
    {
        const auto program = static_cast<GLuint>(mProgram);
        glUseProgram(glIsProgram(program) ? program : 0);
    }

private:
    GLint mProgram = 0;
};

} // namespace

struct StateGuard::Saved
{
    TransformFeedbackState feedback;
    FramebufferState framebuffers;
    Capabilities capabilities;
    PrimitiveRestartState primitiveRestart;
    DrawBufferState drawBuffers;
    ViewportState viewports;
    ClipControlState clipControl;
    PointState points;
    PolygonModeState polygonMode;
    ColourState colours;
    TextureState textures;
    TransformState transform;
    ReadBackState readBack;
    GLfloat currentColour[4] = {};
    ProgramState program;

    void save()
    {
        feedback.save();
        framebuffers.save();
        capabilities.save();
        primitiveRestart.save();
        drawBuffers.save();
        viewports.save();
        clipControl.save();
        points.save();
        polygonMode.save();
        colours.save();
        transform.save();
        textures.save();
        readBack.save();
        glGetFloatv(GL_CURRENT_COLOR, currentColour);
        program.save();
    }

    void makeNeutral()
    {
        feedback.makeNeutral();
        capabilities.makeNeutral();
        PrimitiveRestartState::makeNeutral();
        DrawBufferState::makeNeutral();
        ViewportState::makeNeutral();
        ClipControlState::makeNeutral();
        points.makeNeutral();
        ColourState::makeNeutral();
        textures.makeNeutral();
        TransformState::makeNeutral();
        readBack.makeNeutral();
    }

    void restore()
    {
        framebuffers.restore();
        capabilities.restore();
        primitiveRestart.restore();
        drawBuffers.restore();
        viewports.restore();
        clipControl.restore();
        points.restore();
        polygonMode.restore();
        colours.restore();
        textures.restore();
        transform.restore();
        readBack.restore();
        glColor4fv(currentColour);
        program.restore();  // after all that DriverAdapter looks at: what will be drawn into, and the textures
        feedback.restore(); // which goes on with its own program alone
    }
};

StateGuard::StateGuard() : mSaved(std::make_unique<Saved>())
{
    mSaved->save();
    mSaved->makeNeutral();
}

StateGuard::~StateGuard()
{
    mSaved->restore();
}

} // namespace velmor::glsupport
