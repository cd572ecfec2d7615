#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <cassert>
#include <cstdlib>
#include <iostream>
#include <memory>

namespace velmor::cvprocess {
namespace {

constexpr GLenum kSource1Attachment = GL_COLOR_ATTACHMENT0_EXT;
constexpr GLenum kDestinationAttachment = GL_COLOR_ATTACHMENT1_EXT;
constexpr GLenum kSource2Attachment = GL_COLOR_ATTACHMENT2_EXT;

} // namespace

GpuStdShaders::GpuStdShaders(bool additionalInput) : mAdditionalInput(additionalInput)
{
    if (!glewIsSupported("GL_ARB_texture_rectangle")) {
        std::cerr << "ERROR: GL_ARB_texture_rectangle not available or GLEW >= 1.4.0 required!" << std::endl;
        std::exit(-1);
    }
    announcements() << "GL_ARB_texture_rectangle : present" << std::endl;
    mShaderMgr = getGlShaderMgr();
}

GpuStdShaders::~GpuStdShaders()
{
    for (const auto& entry : mFbos) {
        entry.second->unattachAll();
        delete entry.second;
    }
    delete mShaderMgr;
}

void GpuStdShaders::init()
{
    clearParameterStatus();
}

void GpuStdShaders::execute()
{
    executeInitStage();
    glCallList(mDisplayList);
    executeCleanUpStage();
}

void GpuStdShaders::addROI(int x0, int y0, int x1, int y1)
{
    mROIs.push_back({x0, y0, x1, y1});
    mUseROIs = true;
    mDisplayListValid = false;
}

void GpuStdShaders::resetROIs()
{
    mROIs.clear();
    mUseROIs = false;
    mDisplayListValid = false;
}

void GpuStdShaders::prepareExecution(TextureGpu& src, TextureGpu& dst)
{
    // clang-format off
    assert(!mAdditionalInput && "wrong init");
    assert(mCurrentFbo != nullptr && "ERROR: No current FBO is available!");
    // clang-format on
    attachIfChanged(mSrcTex1, src, kSource1Attachment);
    attachIfChanged(mDstTex1, dst, kDestinationAttachment);
    mCurrentFbo->isValid(std::cerr);

    setSource1(src);
    setDestination(dst);
    mCurrentFbo->isValid(std::cerr); // checked twice in this form, once in the one of two sources

    mTexUnit0Loc = glGetUniformLocation(mProgObj, "texUnit0");
}

void GpuStdShaders::prepareExecution(TextureGpu& src1, TextureGpu& src2, TextureGpu& dst)
{
    // clang-format off
    assert(mAdditionalInput && "wrong init");
    assert(mCurrentFbo != nullptr && "ERROR: No current FBO is available!");
    // clang-format on
    attachIfChanged(mSrcTex1, src1, kSource1Attachment);
    attachIfChanged(mSrcTex2, src2, kSource2Attachment);
    attachIfChanged(mDstTex1, dst, kDestinationAttachment);
    mCurrentFbo->isValid(std::cerr);

    setSource1(src1);
    mSrcTex2 = &src2;
    mXresSrcTex2 = static_cast<std::int32_t>(src2.width());
    mYresSrcTex2 = static_cast<std::int32_t>(src2.height());
    setDestination(dst);

    mTexUnit0Loc = glGetUniformLocation(mProgObj, "texUnit0");
    mTexUnit1Loc = glGetUniformLocation(mProgObj, "texUnit1");
}

void GpuStdShaders::attachIfChanged(const TextureGpu* previous, const TextureGpu& texture, GLenum attachment)
{
    if (!previous || mCurrentFbo->getAttachedId(attachment) != texture.getTexId())
        mCurrentFbo->attachTexture(texture.getTexTargetType(), texture.getTexId(), attachment, 0, 0);
}

void GpuStdShaders::prepareDisplayList()
{
    beginDisplayList();
    if (mUseROIs) {
        for (const std::vector<std::int32_t>& roi : mROIs) {
            const int x0 = roi[0];
            const int y0 = roi[1];
            const int x1 = roi[2];
            const int y1 = roi[3];
            glBegin(GL_QUADS);
            corner(x0, y0, x0, y0);
            corner(x1, y0, x1, y0);
            corner(x1, y1, x1, y1);
            corner(x0, y1, x0, y1);
            glEnd();
        }
    } else {
        glBegin(GL_QUADS);
        corner(0, 0, 0, 0);
        corner(mXresSrcTex1, 0, mXresDstTex1, 0);
        corner(mXresSrcTex1, mYresSrcTex1, mXresDstTex1, mYresDstTex1);
        corner(0, mYresSrcTex1, 0, mYresDstTex1);
        glEnd();
    }
    endDisplayList();
}

void GpuStdShaders::setGlOne2OneTexelMapping()
{
    glViewport(0, 0, mXresDstTex1, mYresDstTex1);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluOrtho2D(0, mXresDstTex1, 0, mYresDstTex1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

void GpuStdShaders::executeInitStage()
{
    // clang-format off
    assert(mSrcTex1 && mDstTex1 && "ERROR: prepareExecution() not called before execute()");
    // clang-format on
    GlFbo::checkGlErrors("0.CP GpuStdShaders");
    if (!mDisplayListValid)
        prepareDisplayList();
    GlFbo::checkGlErrors("1.CP GpuStdShaders");

    mCurrentFbo->bind();
    glDrawBuffer(kDestinationAttachment);
    GlFbo::checkGlErrors("2.CP GpuStdShaders");

    glActiveTexture(GL_TEXTURE0);
    glBindTexture(mSrcTex1->getTexTargetType(), mSrcTex1->getTexId());
    glEnable(mSrcTex1->getTexTargetType());
    if (mAdditionalInput) {
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(mSrcTex2->getTexTargetType(), mSrcTex2->getTexId());
        glEnable(mSrcTex2->getTexTargetType());
    }
    GlFbo::checkGlErrors("3.CP GpuStdShaders");

    GlShaderMgr::useProgObj(mProgObj);
    GlFbo::checkGlErrors("4.CP GpuStdShaders");

    glUniform1iARB(mTexUnit0Loc, 0);
    if (mAdditionalInput)
        glUniform1iARB(mTexUnit1Loc, 1);
    setGlOne2OneTexelMapping();
    GlFbo::checkGlErrors("5.CP GpuStdShaders");

    glDisable(GL_DEPTH_TEST);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
}

void GpuStdShaders::executeCleanUpStage() const
{
    glFinish();
    GlShaderMgr::useProgObj(0);
    glActiveTexture(GL_TEXTURE0);
    glDisable(mSrcTex1->getTexTargetType());
    if (mAdditionalInput) {
        glActiveTexture(GL_TEXTURE1);
        glDisable(mSrcTex2->getTexTargetType());
    }
}

GlFbo* GpuStdShaders::getGlFbo(const std::string& name, int index)
{
    std::string key = name;
    if (name == "_ENFORCE_NEW_")
        key += std::to_string(mFboCounter++);
    key += std::to_string(index);

    auto entry = mFbos.find(key);
    if (entry == mFbos.end()) {
        auto fbo = std::make_unique<GlFbo>(); // before the entry, so that a failure leaves none
        entry = mFbos.emplace(key, fbo.get()).first;
        static_cast<void>(fbo.release()); // the entry owns it
    }
    mCurrentFbo = entry->second;
    return mCurrentFbo;
}

GlShaderMgr* GpuStdShaders::getGlShaderMgr()
{
    if (!mShaderMgr)
        mShaderMgr = new GlShaderMgr();
    return mShaderMgr;
}

void GpuStdShaders::setSource1(TextureGpu& texture)
{
    mSrcTex1 = &texture;
    mXresSrcTex1 = static_cast<std::int32_t>(texture.width());
    mYresSrcTex1 = static_cast<std::int32_t>(texture.height());
}

void GpuStdShaders::setDestination(TextureGpu& texture)
{
    mDstTex1 = &texture;
    mXresDstTex1 = static_cast<std::int32_t>(texture.width());
    mYresDstTex1 = static_cast<std::int32_t>(texture.height());
}

void GpuStdShaders::beginDisplayList()
{
    if (mDisplayListValid)
        glDeleteLists(mDisplayList, 1);
    mDisplayList = glGenLists(1);
    glNewList(mDisplayList, GL_COMPILE);
}

void GpuStdShaders::endDisplayList()
{
    glEndList();
    mDisplayListValid = true;
}

void GpuStdShaders::corner(int sourceX, int sourceY, int x, int y)
{
    glTexCoord2f(static_cast<GLfloat>(sourceX), static_cast<GLfloat>(sourceY));
    glVertex2f(static_cast<GLfloat>(x), static_cast<GLfloat>(y));
}

bool GpuStdShaders::beginProgram(const std::string& framebufferName, const std::string& programName)
{
    getGlFbo(framebufferName, 0);
    return mShaderMgr->registerProgObj(programName, mProgObj);
}

void GpuStdShaders::attachShader(GLenum shaderType, const std::string& source)
{
    unsigned int shaderObj = 0; // belongs to the manager
    mShaderMgr->loadAndAttachShaderFromString(mProgObj, shaderType, source, shaderObj);
}

void GpuStdShaders::linkProgram()
{
    GlShaderMgr::linkShadersToProgram(mProgObj);
}

void GpuStdShaders::buildProgram(const std::string& framebufferName, const std::string& programName,
                                 const std::string& fragmentSource)
{
    if (!beginProgram(framebufferName, programName))
        return;
    attachShader(GL_FRAGMENT_SHADER, fragmentSource);
    linkProgram();
}

} // namespace velmor::cvprocess
