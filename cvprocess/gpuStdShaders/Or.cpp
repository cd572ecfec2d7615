#include "cvprocess/gpuStdShaders/Or.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect texUnit0;
uniform sampler2DRect texUnit1;

void main(void)
{
    vec4 a = texture2DRect(texUnit0, gl_TexCoord[0].xy);
    vec4 b = texture2DRect(texUnit1, gl_TexCoord[0].xy);
    gl_FragColor = clamp(a + b, 0.0, 1.0);
}
)";

} // namespace

Or::Or(Param*) : GpuStdShaders(true), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/Or", mShaderSrc);
}

Or::~Or() = default;

} // namespace velmor::cvprocess
