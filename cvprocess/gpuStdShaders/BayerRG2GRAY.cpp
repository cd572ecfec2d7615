#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"

namespace velmor::cvprocess {
namespace {

const char* const kShaderSource = R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

#define GRAD 1.0/3.0
#define INTERPOL 0.5
#define INTERPOL_CROSS 0.5

uniform sampler2DRect inputTexture;

float raw(float x, float y)
{
    return texture2DRect(inputTexture, gl_TexCoord[0].xy + vec2(x, y)).r;
}

// How far the sensor value lies from the average along an axis; 0 in a black neighbourhood.
float contrast(float centre, float average)
{
    if (average == 0.0)
        return 0.0;
    return (centre - average) / average;
}

void main(void)
{
    const vec3 lumCoeff = vec3(0.212671, 0.715160, 0.072169);
    float lowPassOffset[2];
    lowPassOffset[0] = -2.0;
    lowPassOffset[1] = 2.0;
    float interpolationOffset[2];
    interpolationOffset[0] = -1.0;
    interpolationOffset[1] = 1.0;

    float centre = raw(0.0, 0.0);
    float alphaH = 0.0;
    float alphaV = 0.0;
    float gammaH = 0.0;
    float gammaV = 0.0;
    float gammaX = 0.0;
    for (int i = 0; i < 2; i++)
    {
        alphaH += raw(lowPassOffset[i], 0.0);
        alphaV += raw(0.0, lowPassOffset[i]);
        gammaH += raw(interpolationOffset[i], 0.0);
        gammaV += raw(0.0, interpolationOffset[i]);
        gammaX += raw(interpolationOffset[i], interpolationOffset[i]); // one diagonal only
    }
    alphaH = (alphaH + centre) * GRAD;
    alphaV = (alphaV + centre) * GRAD;
    gammaH = gammaH * INTERPOL;
    gammaV = gammaV * INTERPOL;
    gammaX = gammaX * INTERPOL_CROSS;
    float lambdaH = contrast(centre, alphaH);
    float lambdaV = contrast(centre, alphaV);

    int column = int(mod(floor(gl_TexCoord[0].x), 2.0));
    int row = int(mod(floor(gl_TexCoord[0].y), 2.0));
    int site = 2 * row + column;

    vec3 beta = vec3(0.0);
    if (abs(lambdaH) <= abs(lambdaH)) // always: the horizontal composition is the one in use
    {
        if (site == 0) // red_top_left
            beta = vec3(alphaH, gammaH, gammaX);
        else if (site == 1) // green_top_right
            beta = vec3(gammaH, alphaH, gammaV);
        else if (site == 2) // green_bottom_left
            beta = vec3(gammaV, alphaH, gammaH);
        else // blue_bottom_right
            beta = vec3(gammaX, gammaH, alphaH);
        beta = beta * (1.0 + lambdaH);
    }
    else
    {
        if (site == 0)
            beta = vec3(alphaV, gammaV, gammaX);
        else if (site == 1)
            beta = vec3(gammaH, alphaV, gammaV);
        else if (site == 2)
            beta = vec3(gammaV, alphaV, gammaH);
        else
            beta = vec3(gammaX, gammaV, alphaV);
        beta = beta * (1.0 + lambdaV);
    }

    gl_FragData[0].r = dot(beta, lumCoeff);
}
)";

} // namespace

BayerRG2GRAY::BayerRG2GRAY() : GpuStdShaders(false), mShaderSrc(kShaderSource)
{
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/BayerRG2GRAY", mShaderSrc);
}

BayerRG2GRAY::~BayerRG2GRAY() = default;

} // namespace velmor::cvprocess
