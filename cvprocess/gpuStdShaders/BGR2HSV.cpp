#include "cvprocess/gpuStdShaders/BGR2HSV.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;

void main(void)
{
    vec4 colour = texture2DRect(inputTexture, gl_TexCoord[0].st).rgba;
    float largest = max(max(colour.r, colour.g), colour.b);
    float range = largest - min(min(colour.r, colour.g), colour.b);

    float hue = 0.0;
    if (range == 0.0)
        hue = 0.0;
    else if (largest == colour.r)
        hue = 60.0 * (colour.g - colour.b) / range;
    else if (largest == colour.g)
        hue = 120.0 + 60.0 * (colour.b - colour.r) / range;
    else
        hue = 240.0 + 60.0 * (colour.r - colour.g) / range;
    if (hue < 0.0)
        hue += 360.0;

    float saturation = 0.0;
    if (largest != 0.0)
        saturation = range / largest;

    gl_FragData[0] = vec4(hue / 360.0, saturation, largest, 1.0).bgra;
}
)";

} // namespace

BGR2HSV::BGR2HSV() : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/BGR2HSV", mShaderSrc);
}

BGR2HSV::~BGR2HSV() = default;

} // namespace velmor::cvprocess
