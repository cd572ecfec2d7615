#include "examples/viewer/ColourView.h"

namespace velmor::examples {
namespace {

const char* const kShaderSource = R"(#extension GL_ARB_texture_rectangle : enable

uniform sampler2DRect texUnit0;
uniform mat3 weights;
uniform vec3 offset;

void main(void)
{
    gl_FragColor = vec4(weights * texture2DRect(texUnit0, gl_TexCoord[0].xy).rgb + offset, 1.0);
}
)";

} // namespace

Colours colours(double brightness)
{
    return {cv::Matx33f::eye() * brightness, {0, 0, 0}};
}

Colours greyOf(int channel, double black, double white)
{
    const double scale = 1 / (white - black);
    Colours result{cv::Matx33f::zeros(), cv::Vec3f::all(static_cast<float>(-black * scale))};
    for (int i = 0; i < 3; ++i)
        result.weights(i, channel) = static_cast<float>(scale);
    return result;
}

ColourView::ColourView() : GpuStdShaders(false)
{
    buildProgram("_ENFORCE_NEW_", "examples/viewer/ColourView", kShaderSource);
}

void ColourView::execute()
{
    executeInitStage();
    glUniformMatrix3fv(glGetUniformLocation(mProgObj, "weights"), 1, GL_TRUE, mColours.weights.val);
    glUniform3fv(glGetUniformLocation(mProgObj, "offset"), 1, mColours.offset.val);
    glCallList(mDisplayList);
    executeCleanUpStage();
}

} // namespace velmor::examples
