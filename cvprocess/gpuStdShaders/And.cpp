#include "cvprocess/gpuStdShaders/And.h"

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
    vec4 both = vec4(0.0);
    if (a.r > 0.0 && b.r > 0.0)
        both.r = 1.0;
    if (a.g > 0.0 && b.g > 0.0)
        both.g = 1.0;
    if (a.b > 0.0 && b.b > 0.0)
        both.b = 1.0;
    if (a.a > 0.0 && b.a > 0.0)
        both.a = 1.0;
    gl_FragColor = both;
}
)";

} // namespace

And::And() : GpuStdShaders(true), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/And", mShaderSrc);
}

And::~And() = default;

} // namespace velmor::cvprocess
