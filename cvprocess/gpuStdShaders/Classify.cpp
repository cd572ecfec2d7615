#include "cvprocess/gpuStdShaders/Classify.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect texUnit0;
uniform sampler2DRect texUnit1;

void main(void)
{
    vec2 texCoord = gl_TexCoord[0].xy;
    vec4 c1 = texture2DRect(texUnit0, texCoord);
    vec4 c0 = texture2DRect(texUnit1, texCoord);
    vec4 delta = c0 - c1;
    if (delta[0] < 0.0)
        gl_FragColor = vec4(0.0);
    else if (delta[1] < 0.0)
        gl_FragColor = vec4(0.0);
    else if (delta[2] < 0.0)
        gl_FragColor = vec4(0.0);
    else if (delta[3] < 0.0)
        gl_FragColor = vec4(0.0);
    else
        gl_FragColor = delta;
}
)";

} // namespace

Classify::Classify() : GpuStdShaders(true), mShaderSource(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/Classify", mShaderSource);
}

Classify::~Classify() = default;

} // namespace velmor::cvprocess
