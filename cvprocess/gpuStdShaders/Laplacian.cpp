#include "cvprocess/gpuStdShaders/Laplacian.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;
uniform int kernelType;

void main(void)
{
    // STRONGLY avoid using uniform arrays (=from CPU) as kernels
    float kernel[9];
    kernel[0] = -1.0; kernel[1] = -1.0; kernel[2] = -1.0;
    kernel[3] = -1.0; kernel[4] = 8.0; kernel[5] = -1.0;
    kernel[6] = -1.0; kernel[7] = -1.0; kernel[8] = -1.0;
    if (kernelType == 1)
    {
        kernel[0] = 0.0; kernel[1] = 1.0; kernel[2] = 0.0;
        kernel[3] = 1.0; kernel[4] = -4.0; kernel[5] = 1.0;
        kernel[6] = 0.0; kernel[7] = 1.0; kernel[8] = 0.0;
    }
    else if (kernelType == 2)
    {
        kernel[0] = -1.0; kernel[1] = 2.0; kernel[2] = -1.0;
        kernel[3] = 2.0; kernel[4] = -4.0; kernel[5] = 2.0;
        kernel[6] = -1.0; kernel[7] = 2.0; kernel[8] = -1.0;
    }

    vec4 sum = vec4(0.0);
    for (int i = 0; i < 9; i++)
    {
        int row = i / 3;
        int column = i - 3 * row;
        vec2 offset = vec2(float(column) - 1.0, float(row) - 1.0);
        sum += texture2DRect(inputTexture, gl_TexCoord[0].xy + offset) * kernel[i];
    }
    gl_FragData[0] = abs(sum);
}
)";

} // namespace

Laplacian::Laplacian(Param* param) : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    if (param)
        mParam = *param;
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/Laplacian", mShaderSrc);
}

Laplacian::~Laplacian() = default;

void Laplacian::execute()
{
    executeInitStage();
    glUniform1i(glGetUniformLocation(mProgObj, "kernelType"), mParam.kernelType);
    glCallList(mDisplayList);
    executeCleanUpStage();
}

} // namespace velmor::cvprocess
