#include "cvprocess/gpuStdShaders/ColorHistShader.h"

#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <iostream>

namespace velmor::cvprocess {
namespace {

const char* const kVertexSource =
    R"(#extension GL_ARB_color_buffer_float : enable // Important to remove color clamping (floating-point textures)

void main(void)
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
    gl_FrontColor = gl_Color;
}
)";

const char* const kGeometrySource = R"(#version 130
#extension GL_EXT_geometry_shader4 : enable
#extension GL_ARB_color_buffer_float : enable // Important to remove color clamping (floating-point textures)
#extension GL_ARB_texture_rectangle : enable

uniform sampler2DRect texUnit0; // Here we store the camera input image
uniform sampler2DRect texUnit1; // Here we store the sampling mask
uniform int nbins1;
uniform int nbins2;
uniform int nbins3;
uniform int xres;
uniform int yres;

void main(void)
{
    int hist[1000]; //TODO: max memory allocation for the histogram?
    int nb = nbins1*nbins2*nbins3;
    for (int i = 0; i < nb; i++)
        hist[i] = 0;

    // The point is the origin of a block, its colour the block's size
    int x0 = int((gl_PositionIn[0].x+1.0)*float(xres)/2.0);
    int y0 = int((gl_PositionIn[0].y+1.0)*float(yres)/2.0);
    int width = int(gl_FrontColorIn[0].r);
    int height = int(gl_FrontColorIn[0].g);

    for (int x = x0; x < x0+width; x++)
    {
        for (int y = y0; y < y0+height; y++)
        {
            vec4 col = texture2DRect(texUnit0, vec2(float(x),float(y)));
            int bin1 = min(int(floor(col[0]*float(nbins1))),nbins1-1);
            int bin2 = min(int(floor(col[1]*float(nbins2))),nbins2-1);
            int bin3 = min(int(floor(col[2]*float(nbins3))),nbins3-1);
            int cell = bin1+nbins1*(bin2+nbins2*bin3);
            hist[cell]++;
        }
    }

    // Four cells a texel, side by side in the first row
    for (int i = 0; i < nb/4; i++)
    {
        gl_Position = vec4(-1.0+float(i)*2.0/float(xres),-1.0,0.0,1.0);
        gl_FrontColor = vec4(float(hist[4*i]), float(hist[4*i+1]), float(hist[4*i+2]), float(hist[4*i+3]));
        EmitVertex();
    }
    EndPrimitive();
}
)";

const char* const kFragmentSource =
    R"(#extension GL_ARB_color_buffer_float : enable // Important to remove color clamping (floating-point textures)
#extension GL_ARB_texture_rectangle : enable

void main(void)
{
    gl_FragColor = gl_Color;
}
)";

GLint integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

/// Takes all colour clamps off, so that counts above 1 survive, and puts them back.
class Unclamped
{
public:
    Unclamped()
    {
        for (int i = 0; i < kTargets; ++i)
            mSaved[i] = integer(kNames[i]);
    }
    Unclamped(const Unclamped&) = delete;
    Unclamped& operator=(const Unclamped&) = delete;
    ~Unclamped()
    {
        for (int i = 0; i < kTargets; ++i)
            glClampColorARB(kNames[i], static_cast<GLenum>(mSaved[i]));
    }

    void takeOff() const
    {
        for (const GLenum name : kNames)
            glClampColorARB(name, GL_FALSE);
    }

private:
    static constexpr int kTargets = 3;
    static constexpr GLenum kNames[kTargets] = {GL_CLAMP_VERTEX_COLOR_ARB, GL_CLAMP_FRAGMENT_COLOR_ARB,
                                                GL_CLAMP_READ_COLOR_ARB};
    GLint mSaved[kTargets];
};

void point(int x, int y)
{
    glVertex2f(static_cast<GLfloat>(x), static_cast<GLfloat>(y));
}

/// The size of the blocks whose points follow.
void blockSize(int width, int height)
{
    glColor3f(static_cast<GLfloat>(width), static_cast<GLfloat>(height), 0.0f);
}

} // namespace

ColorHistShader::ColorHistShader(Param* param, core::cvdata::Image* image) : GpuStdShaders(true), mImage(image)
{
    if (param)
        mParam = *param;
    // clang-format off
    assert(mParam.mNBins1*mParam.mNBins2*mParam.mNBins3<=1000 && "ERROR: Maximum number of histogram cells is 1000!");
    // clang-format on
    mVertexSource = kVertexSource;
    mGeometrySource = mParam.mNoGeometryShader ? "" : kGeometrySource;
    mFragmentSource = kFragmentSource;
    const auto side = [](int pixels) {
        return static_cast<std::size_t>(std::max(pixels, 0));
    };
    mHistBuffer.resize(side(mParam.mYres) * side(mParam.mXres) * 4);

    if (!beginProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/ColorHistShader"))
        return;
    if (!glProgramParameteriEXT) { // before the geometry shader, whose failure to compile would say less
        std::cerr << "ERROR: GL_EXT_geometry_shader4 not available!" << std::endl;
        std::exit(-1);
    }
    attachShader(GL_VERTEX_SHADER, mVertexSource);
    attachShader(GL_GEOMETRY_SHADER_EXT, mGeometrySource);
    glProgramParameteriEXT(mProgObj, GL_GEOMETRY_INPUT_TYPE_EXT, GL_POINTS);
    glProgramParameteriEXT(mProgObj, GL_GEOMETRY_OUTPUT_TYPE_EXT, GL_POINTS);
    attachShader(GL_FRAGMENT_SHADER, mFragmentSource);
    const GLint maxVertices = integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT);
    announcements() << "WARNING: Max number of vertices emitted by the geometry shader: " << maxVertices << std::endl;
    glProgramParameteriEXT(mProgObj, GL_GEOMETRY_VERTICES_OUT_EXT, maxVertices);
    linkProgram();
}

ColorHistShader::~ColorHistShader()
{
    if (mDisplayListValid)
        glDeleteLists(mDisplayList, 1);
}

void ColorHistShader::execute()
{
    // clang-format off
    assert((mParam.mNBins1*mParam.mNBins2*mParam.mNBins3)<=mXresDstTex1*mYresDstTex1);
    assert(mParam.mBlockSize > 0 && "ColorHistShader::execute(): expected a block size of at least 1");
    // clang-format on
    const bool depthTest = glIsEnabled(GL_DEPTH_TEST);
    glDisable(GL_DEPTH_TEST);
    const bool blend = glIsEnabled(GL_BLEND);
    const GLint blendSource = integer(GL_BLEND_SRC);
    const GLint blendDestination = integer(GL_BLEND_DST);
    const GLint blendEquation = integer(GL_BLEND_EQUATION);
    {
        const Unclamped clamps;
        glEnable(GL_BLEND);
        glBlendEquation(GL_FUNC_ADD);
        glBlendFunc(GL_ONE, GL_ONE);
        clamps.takeOff();

        executeInitStage();
        glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        const auto send = [this](const char* name, int value) {
            glUniform1i(glGetUniformLocation(mProgObj, name), value);
        };
        send("nbins1", mParam.mNBins1);
        send("nbins2", mParam.mNBins2);
        send("nbins3", mParam.mNBins3);
        send("xres", mParam.mXres);
        send("yres", mParam.mYres);
        GlFbo::checkGlErrors("1.CP");
        drawBlocks(region());
        executeCleanUpStage();
    }
    if (!blend)
        glDisable(GL_BLEND);
    glBlendEquation(static_cast<GLenum>(blendEquation));
    glBlendFunc(static_cast<GLenum>(blendSource), static_cast<GLenum>(blendDestination));
    if (depthTest)
        glEnable(GL_DEPTH_TEST);
}

void ColorHistShader::drawBlocks(const Region& region) const
{
    const int block = mParam.mBlockSize;
    const int columns = region.width() / block;
    const int rows = region.height() / block;
    const int restWidth = region.width() % block;
    const int restHeight = region.height() % block;
    const int restX = block * columns + region.x0;
    const int restY = block * rows + region.y0;

    glBegin(GL_POINTS);
    blockSize(block, block);
    for (int i = 0; i < columns; ++i)
        for (int j = 0; j < rows; ++j)
            point(block * i + region.x0, block * j + region.y0);
    if (restWidth > 0) {
        blockSize(restWidth, block);
        for (int j = 0; j < rows; ++j)
            point(restX, block * j + region.y0);
    }
    if (restHeight > 0) {
        blockSize(block, restHeight);
        for (int i = 0; i < columns; ++i)
            point(block * i + region.x0, restY);
    }
    if (restWidth > 0 && restHeight > 0) {
        blockSize(restWidth, restHeight);
        point(restX, restY);
    }
    glEnd();
}

void ColorHistShader::copyHistoFromGPU(core::cvdata::ColourHist2d& hist)
{
    const auto cellCount = static_cast<unsigned>(cells());
    math::Vector& data = hist.data();
    // clang-format off
    assert(mDstTex1 && "ColorHistShader::copyHistoFromGPU(): expected an execute() before");
    assert(data.size() >= cellCount && "ColorHistShader::copyHistoFromGPU(): expected a histogram of at least the filter's cells");
    // clang-format on
    mHistBuffer.resize(std::max<std::size_t>(mHistBuffer.size(), cellCount));
    std::fill(mHistBuffer.begin(), mHistBuffer.end(), 0.0f); // for cells that are not read

    mCurrentFbo->bind();
    const GLint readBuffer = integer(GL_READ_BUFFER);
    glReadBuffer(GL_COLOR_ATTACHMENT1_EXT);
    {
        const Unclamped clamps;
        clamps.takeOff();
        glBindTexture(mDstTex1->getTexTargetType(), mDstTex1->getTexId());
        glReadPixels(0, 0, static_cast<GLsizei>(cellCount / 4), 1, mDstTex1->getTexChanSeq(),
                     mDstTex1->getTexDataType(), mHistBuffer.data());
    }
    glReadBuffer(static_cast<GLenum>(readBuffer));
    GlFbo::disable();

    const Region counted = region();
    const double area = static_cast<double>(counted.height()) * counted.width();
    for (unsigned k = 0; k < cellCount; ++k)
        data[k] = static_cast<double>(mHistBuffer[k]) / area;
}

void ColorHistShader::prepareDisplayList()
{
    beginDisplayList();
    glBegin(GL_POINTS);
    glColor3f(0.0f, 0.0f, 0.0f);
    glVertex2f(0.0f, 0.0f);
    glEnd();
    endDisplayList();
}

int ColorHistShader::cells() const
{
    return mParam.mNBins1 * mParam.mNBins2 * mParam.mNBins3;
}

ColorHistShader::Region ColorHistShader::region() const
{
    if (mUseROIs)
        return {mROIs[0][0], mROIs[0][1], mROIs[0][2], mROIs[0][3]};
    return {0, 0, mXresDstTex1 - 1, mYresDstTex1 - 1};
}

} // namespace velmor::cvprocess
