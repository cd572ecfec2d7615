#include "cvprocess/gpuStdShaders/FlipV.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;

void main(void)
{
    gl_FragData[0] = texture2DRect(inputTexture, gl_TexCoord[0].xy);
}
)";

} // namespace

FlipV::FlipV() : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/FlipV", mShaderSrc);
}

FlipV::~FlipV() = default;

void FlipV::prepareDisplayList()
{
    beginDisplayList();
    glBegin(GL_QUADS);
    corner(0, mYresSrcTex1, 0, 0);
    corner(mXresSrcTex1, mYresSrcTex1, mXresDstTex1, 0);
    corner(mXresSrcTex1, 0, mXresDstTex1, mYresDstTex1);
    corner(0, 0, 0, mYresDstTex1);
    glEnd();
    endDisplayList();
}

} // namespace velmor::cvprocess
