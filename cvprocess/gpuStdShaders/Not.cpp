#include "cvprocess/gpuStdShaders/Not.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect texUnit0;

void main(void)
{
    gl_FragColor = vec4(1.0) - texture2DRect(texUnit0, gl_TexCoord[0].xy);
}
)";

} // namespace

Not::Not(Param*) : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    // Spelled so on purpose: the name does not force a new framebuffer, it only asks for one by that name.
    buildProgram("_ENFNOTCE_NEW_", "cvprocess/gpuStdShaders/Not", mShaderSrc);
}

Not::~Not() = default;

} // namespace velmor::cvprocess
