#include "cvprocess/gpuStdShaders/Xor.h"

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
    vec4 difference = b - a;
    if (difference[0] < 0.0)
        gl_FragColor = vec4(0.0);
    else if (difference[1] < 0.0)
        gl_FragColor = vec4(0.0);
    else if (difference[2] < 0.0)
        gl_FragColor = vec4(0.0);
    else if (difference[3] < 0.0)
        gl_FragColor = vec4(0.0);
    else
        gl_FragColor = difference;
}
)";

} // namespace

Xor::Xor() : GpuStdShaders(true), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/Xor", mShaderSrc);
}

Xor::~Xor() = default;

} // namespace velmor::cvprocess
