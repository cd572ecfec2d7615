#include "cvprocess/gpuStdShaders/ColorGMM.h"

#include "core/cvdata/ColorGMM.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"
#include "cvprocess/gpuStdShaders/internal/GaussianUniforms.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace velmor::cvprocess {
namespace {

// The three sources differ in more than their number of mixtures. Source 1 does not declare p1; source 3 declares p2
// twice and puts mixture 3 in mixture 2's place before the sum. They stand as they have always been shipped.

const char* const kOneMixture = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;
uniform vec4 cov1;
uniform vec2 mean1;
uniform float weight1;
uniform float det1;
uniform float minP;

void main(void)
{
    vec2 texCoord = gl_TexCoord[0].xy;
    vec4 c = texture2DRect(inputTexture, texCoord);
    float pipi = 2.0 * 3.14159265;
    float pAll = 0.0;
    float d1 = 0.0;
    float d2 = 0.0;
    vec2 delta;

    delta[0] = c[0] * 255.0 - mean1[0];
    delta[1] = c[1] * 255.0 - mean1[1];
    d1 = delta[0] * (delta[0] * cov1[0] + delta[1] * cov1[2])
       + delta[1] * (delta[0] * cov1[1] + delta[1] * cov1[3]);
    p1 = (1.0/(pipi * sqrt(det1)) * exp(-0.5*d1));

    pAll = weight1*p1;
)";

const char* const kTwoMixtures = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;
uniform vec4 cov1;
uniform vec2 mean1;
uniform float weight1;
uniform float det1;
uniform vec4 cov2;
uniform vec2 mean2;
uniform float weight2;
uniform float det2;
uniform float minP;

void main(void)
{
    vec2 texCoord = gl_TexCoord[0].xy;
    vec4 c = texture2DRect(inputTexture, texCoord);
    float pipi = 2.0 * 3.14159265;
    float pAll = 0.0;
    float d1 = 0.0;
    float d2 = 0.0;
    vec2 delta;

    delta[0] = c[0] * 255.0 - mean1[0];
    delta[1] = c[1] * 255.0 - mean1[1];
    d1 = delta[0] * (delta[0] * cov1[0] + delta[1] * cov1[2])
       + delta[1] * (delta[0] * cov1[1] + delta[1] * cov1[3]);
    float p1 = 0.0;
    p1 = (1.0/(pipi * sqrt(det1)) * exp(-0.5*d1));

    delta[0] = c[0] * 255.0 - mean2[0];
    delta[1] = c[1] * 255.0 - mean2[1];
    d2 = delta[0] * (delta[0] * cov2[0] + delta[1] * cov2[2])
       + delta[1] * (delta[0] * cov2[1] + delta[1] * cov2[3]);
    float p2 = 0.0;
    p2 = (1.0/(pipi * sqrt(det2)) * exp(-0.5*d2));

    pAll = weight1*p1 + weight2*p2;
)";

const char* const kThreeMixtures = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;
uniform vec4 cov1;
uniform vec2 mean1;
uniform float weight1;
uniform float det1;
uniform vec4 cov2;
uniform vec2 mean2;
uniform float weight2;
uniform float det2;
uniform vec4 cov3;
uniform vec2 mean3;
uniform float weight3;
uniform float det3;
uniform float minP;

void main(void)
{
    vec2 texCoord = gl_TexCoord[0].xy;
    vec4 c = texture2DRect(inputTexture, texCoord);
    float pipi = 2.0 * 3.14159265;
    float pAll = 0.0;
    float d1 = 0.0;
    float d2 = 0.0;
    vec2 delta;

    delta[0] = c[0] * 255.0 - mean1[0];
    delta[1] = c[1] * 255.0 - mean1[1];
    d1 = delta[0] * (delta[0] * cov1[0] + delta[1] * cov1[2])
       + delta[1] * (delta[0] * cov1[1] + delta[1] * cov1[3]);
    float p1 = 0.0;
    p1 = (1.0/(pipi * sqrt(det1)) * exp(-0.5*d1));

    delta[0] = c[0] * 255.0 - mean2[0];
    delta[1] = c[1] * 255.0 - mean2[1];
    d2 = delta[0] * (delta[0] * cov2[0] + delta[1] * cov2[2])
       + delta[1] * (delta[0] * cov2[1] + delta[1] * cov2[3]);
    float p2 = 0.0;
    p2 = (1.0/(pipi * sqrt(det2)) * exp(-0.5*d2));

    delta[0] = c[0] * 255.0 - mean3[0];
    delta[1] = c[1] * 255.0 - mean3[1];
    d2 = delta[0] * (delta[0] * cov3[0] + delta[1] * cov3[2])
       + delta[1] * (delta[0] * cov3[1] + delta[1] * cov3[3]);
    float p2 = 0.0;
    p2 = (1.0/(pipi * sqrt(det3)) * exp(-0.5*d2));

    pAll = weight1*p1 + weight2*p2 + weight3*p2;
)";

const char* const kBinaryEnding = R"(
    if (pAll > minP)
    {
        gl_FragColor[0] = 1.0;
        gl_FragColor[1] = 1.0;
        gl_FragColor[2] = 1.0;
        gl_FragColor[3] = 1.0;
    }
    else
    {
        gl_FragColor[0] = 0.0;
        gl_FragColor[1] = 0.0;
        gl_FragColor[2] = 0.0;
        gl_FragColor[3] = 0.0;
    }
}
)";

const char* const kColourEnding = R"(
    if (pAll > minP)
    {
        gl_FragColor = c;
    }
    else
    {
        gl_FragColor[0] = 0.0;
        gl_FragColor[1] = 0.0;
        gl_FragColor[2] = 0.0;
        gl_FragColor[3] = 0.0;
    }
}
)";

std::string bodyFor(int mixtures)
{
    switch (mixtures) {
    case 1:
        return kOneMixture;
    case 2:
        return kTwoMixtures;
    case 3:
        return kThreeMixtures;
    default:
        announcements() << "not yet supported number of Gauss!!" << std::endl;
        return std::string();
    }
}

} // namespace

ColorGMM::ColorGMM(core::cvdata::ColorGMM* gmm, Param* param) : GpuStdShaders(false), mGmm(gmm)
{
    if (param)
        mParam = *param;
    mShaderSource = bodyFor(mGmm->nofComponents());
    mShaderSource += mParam.mBinaryOutput ? kBinaryEnding : kColourEnding;
    mCovLoc[0] = mMeanLoc[0] = mDetLoc[0] = -1;
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/ColorGMM", mShaderSource);
    for (int mixture = 1; mixture <= 4; ++mixture)
        lookUpLocations(mixture);
}

ColorGMM::~ColorGMM() = default;

void ColorGMM::execute()
{
    executeInitStage();
    glUniform1f(glGetUniformLocation(mProgObj, "minP"), narrowed(mGmm->detectionThreshold));
    GlFbo::checkGlErrors("1.CP");

    const int mixtures = mGmm->nofComponents();
    switch (mixtures) {
    case 1:
        // By design: looked up in slot 1, sent through slot 0, and the weight not at all.
        mCovLoc[1] = glGetUniformLocation(mProgObj, "cov1");
        mMeanLoc[1] = glGetUniformLocation(mProgObj, "mean1");
        mDetLoc[1] = glGetUniformLocation(mProgObj, "det1");
        sendCovariance(mCovLoc[0], *mGmm->mixture[0]);
        sendMean(mMeanLoc[0], *mGmm->mixture[0]);
        glUniform1f(mDetLoc[0], mGmm->mixture[0]->determinant);
        break;
    case 2:
    case 3:
    case 4:
        for (int mixture = 1; mixture <= mixtures; ++mixture) {
            if (mixtures < 4)
                lookUpLocations(mixture);
            // By design slot 2 takes the determinants of mixtures 3 and 4 too, and the last one wins.
            sendMixture(mixture, mDetLoc[std::min(mixture, 2)]);
        }
        break;
    default:
        std::cerr << "not implemented number of mixtures" << std::endl;
    }

    glCallList(mDisplayList);
    executeCleanUpStage();
}

void ColorGMM::lookUpLocations(int mixture)
{
    const std::string number = std::to_string(mixture);
    mCovLoc[mixture] = glGetUniformLocation(mProgObj, ("cov" + number).c_str());
    mMeanLoc[mixture] = glGetUniformLocation(mProgObj, ("mean" + number).c_str());
    mWeightLoc[mixture - 1] = glGetUniformLocation(mProgObj, ("weight" + number).c_str());
    mDetLoc[mixture] = glGetUniformLocation(mProgObj, ("det" + number).c_str());
}

void ColorGMM::sendMixture(int mixture, std::int32_t detLocation)
{
    const core::cvdata::GM& gaussian = *mGmm->mixture[static_cast<std::size_t>(mixture) - 1];
    glUniform1f(mWeightLoc[mixture - 1], gaussian.weight);
    sendCovariance(mCovLoc[mixture], gaussian);
    sendMean(mMeanLoc[mixture], gaussian);
    glUniform1f(detLocation, gaussian.determinant);
}

} // namespace velmor::cvprocess
