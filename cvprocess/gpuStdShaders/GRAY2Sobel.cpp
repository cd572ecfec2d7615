#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;

// output requires signed texture with doubled bit size!
void main(void)
{
    // STRONGLY avoid using uniform arrays (=from CPU) as kernels
    float horizontalKernel[9];
    horizontalKernel[0] = -1.0; horizontalKernel[1] = -2.0; horizontalKernel[2] = -1.0;
    horizontalKernel[3] = 0.0; horizontalKernel[4] = 0.0; horizontalKernel[5] = 0.0;
    horizontalKernel[6] = 1.0; horizontalKernel[7] = 2.0; horizontalKernel[8] = 1.0;
    float verticalKernel[9];
    verticalKernel[0] = 1.0; verticalKernel[1] = 0.0; verticalKernel[2] = -1.0;
    verticalKernel[3] = 2.0; verticalKernel[4] = 0.0; verticalKernel[5] = -2.0;
    verticalKernel[6] = 1.0; verticalKernel[7] = 0.0; verticalKernel[8] = -1.0;

    float horizontal = 0.0;
    float vertical = 0.0;
    for (int i = 0; i < 9; i++)
    {
        int row = i / 3;
        int column = i - 3 * row;
        vec2 offset = vec2(float(column) - 1.0, float(row) - 1.0);
        float grey = texture2DRect(inputTexture, gl_TexCoord[0].xy + offset).r;
        horizontal += grey * horizontalKernel[i];
        vertical += grey * verticalKernel[i];
    }
    gl_FragData[0].rgb = vec3(horizontal, vertical, sqrt(horizontal * horizontal + vertical * vertical));
}
)";

} // namespace

GRAY2Sobel::GRAY2Sobel() : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/GRAY2Sobel", mShaderSrc);
}

GRAY2Sobel::~GRAY2Sobel() = default;

} // namespace velmor::cvprocess
