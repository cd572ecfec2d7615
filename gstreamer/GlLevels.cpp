#include "gstreamer/GlLevels.h"

namespace velmor::gstreamer {
namespace {

const char* const kShaderSource = R"(#extension GL_ARB_texture_rectangle : enable

uniform sampler2DRect texUnit0;
uniform float scale;
uniform float offset;
uniform int isGrey;

void main(void)
{
    vec3 value = texture2DRect(texUnit0, gl_TexCoord[0].xy).rgb;
    if (isGrey != 0)
        value = value.rrr;
    gl_FragColor = vec4(value * scale + offset, 1.0);
}
)";

} // namespace

GlLevels::GlLevels() : GpuStdShaders(false)
{
    buildProgram("_ENFORCE_NEW_", "gstreamer/GlLevels", kShaderSource);
}

GlLevels::~GlLevels() = default;

void GlLevels::execute()
{
    executeInitStage();
    glUniform1f(glGetUniformLocation(mProgObj, "scale"), mParam.scale);
    glUniform1f(glGetUniformLocation(mProgObj, "offset"), mParam.offset);
    glUniform1i(glGetUniformLocation(mProgObj, "isGrey"), mParam.isGrey ? 1 : 0);
    glCallList(mDisplayList);
    executeCleanUpStage();
}

} // namespace velmor::gstreamer
