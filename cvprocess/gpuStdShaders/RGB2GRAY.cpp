#include "cvprocess/gpuStdShaders/RGB2GRAY.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;

void main(void)
{
    const vec4 lumCoeff = vec4(0.212671, 0.715160, 0.072169,0.0);
    float grey = dot(texture2DRect(inputTexture, gl_TexCoord[0].st), lumCoeff);
    gl_FragData[0] = vec4(grey);
}
)";

} // namespace

RGB2GRAY::RGB2GRAY() : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/RGB2GRAY", mShaderSrc);
}

RGB2GRAY::~RGB2GRAY() = default;

} // namespace velmor::cvprocess
