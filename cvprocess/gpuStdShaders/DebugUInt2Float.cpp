#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/GlShaderMgr.h"

#include <GL/glu.h>
#include <GL/glut.h>

#include <cassert>
#include <iostream>

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

#define FACTOR 1.0/65535.0

uniform usampler2DRect inputTexture;

void main(void)
{
    gl_FragData[0] = vec4(texture2DRect(inputTexture, gl_TexCoord[0].st)) * FACTOR;
}
)";

} // namespace

DebugUInt2Float::DebugUInt2Float() : GpuStdShaders(false), mShaderSrc(kShaderSource), outputToScreenEnabled(false)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/DebugUInt2Float", mShaderSrc);
}

DebugUInt2Float::~DebugUInt2Float() = default;

void DebugUInt2Float::prepareExecution(TextureGpu& src, TextureGpu& dst)
{
    // clang-format off
    assert(!mAdditionalInput && "wrong init");
    // clang-format on
    outputToScreenEnabled = false;
    setSource1(src);
    setDestination(dst);
    mCurrentFbo->attachTexture(src.getTexTargetType(), src.getTexId(), GL_COLOR_ATTACHMENT0_EXT, 0, 0);
    mCurrentFbo->attachTexture(dst.getTexTargetType(), dst.getTexId(), GL_COLOR_ATTACHMENT1_EXT, 0, 0);
    mCurrentFbo->isValid(std::cerr);
}

void DebugUInt2Float::prepareExecution(TextureGpu& src)
{
    outputToScreenEnabled = true;
    setSource1(src);
    glutReshapeWindow(mXresSrcTex1, mYresSrcTex1);
    glutShowWindow();
}

void DebugUInt2Float::execute()
{
    assert(!outputToScreenEnabled);
    GpuStdShaders::execute();
}

void DebugUInt2Float::outputToScreen()
{
    GlFbo::disable();
    glDrawBuffer(GL_BACK);

    glActiveTexture(GL_TEXTURE0);
    glBindTexture(mSrcTex1->getTexTargetType(), mSrcTex1->getTexId());
    glEnable(mSrcTex1->getTexTargetType());

    GlShaderMgr::useProgObj(mProgObj);
    // The sampler has another name: this finds no location, and the sampler reads unit 0 by default.
    glUniform1iARB(glGetUniformLocation(mProgObj, "texUnit0"), 0);

    // The size of the last destination, not of the window or the source.
    const auto width = static_cast<GLfloat>(mXresDstTex1);
    const auto height = static_cast<GLfloat>(mYresDstTex1);
    glViewport(0, 0, mXresDstTex1, mYresDstTex1);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluOrtho2D(-1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glDisable(GL_DEPTH_TEST);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);

    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, 0.0f);
    glVertex3f(-1.0f, -1.0f, -0.5f);
    glTexCoord2f(width, 0.0f);
    glVertex3f(1.0f, -1.0f, -0.5f);
    glTexCoord2f(width, height);
    glVertex3f(1.0f, 1.0f, -0.5f);
    glTexCoord2f(0.0f, height);
    glVertex3f(-1.0f, 1.0f, -0.5f);
    glEnd();

    GlShaderMgr::useProgObj(0);
    glActiveTexture(GL_TEXTURE0);
    glDisable(mSrcTex1->getTexTargetType());
    glFinish();
    glutSwapBuffers();
}

} // namespace velmor::cvprocess
