#include "cvprocess/gpuStdShaders/NonMaxSupression.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;

void main(void)
{
    const float threshold = 1.4142; // considered: 1.4142, 1.5, 2
    vec4 texel = texture2DRect(inputTexture, gl_TexCoord[0].xy);
    float magnitude = texel.r;
    float kept = 0.0;
    if (magnitude != 0.0)
    {
        vec2 direction = (texel.gb * 2.0 - 1.0) / (magnitude * 1.4142);
        float forward = texture2DRect(inputTexture, gl_TexCoord[0].xy + direction).r;
        float backward = texture2DRect(inputTexture, gl_TexCoord[0].xy - direction).r;
        if (forward >= magnitude || backward >= magnitude)
            kept = 0.0;
        else
            kept = magnitude * threshold;
    }
    gl_FragData[0].rgb = vec3(kept);
}
)";

} // namespace

NonMaxSupression::NonMaxSupression(Param*) : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/NonMaxSupression", mShaderSrc);
}

NonMaxSupression::~NonMaxSupression() = default;

} // namespace velmor::cvprocess
