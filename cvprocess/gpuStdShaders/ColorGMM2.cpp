#include "cvprocess/gpuStdShaders/ColorGMM2.h"

#include "core/cvdata/ColorGMM.h"
#include "cvprocess/gpuStdShaders/internal/GaussianUniforms.h"

#include <algorithm>
#include <cassert>

namespace velmor::cvprocess {
namespace {

void reset(std::stringstream& stream)
{
    stream.clear();
    stream.str("");
    stream.exceptions(std::ios::badbit); // else what there is no memory for is left out
}

void writeShader(std::ostream& out, int mixtures, int dimension, std::size_t models)
{
    out << R"(#extension GL_EXT_gpu_shader4 : enable
#extension GL_ARB_texture_rectangle : enable
#extension GL_ARB_draw_buffers : enable

uniform sampler2DRect inputTexture;

uniform int nOfClasses;

uniform struct
{
)";
    out << "float det[" << mixtures << "];\n";
    out << "mat" << dimension << " icov[" << mixtures << "];\n";
    out << "vec" << dimension << " mean[" << mixtures << "];\n";
    out << "float minP;\n";
    out << "int nOfMixtures;\n";
    out << "float weight[" << mixtures << "];\n";
    out << "\n";
    out << "} gmms[" << models << "];\n";
    out << "\n";
    out << "float pipi = 6.2831853;\n";
    out << "float pAll[" << models << "];\n";
    out << R"(float d1 = 0.0;
float p = 0.0;
vec2 delta;
int cls = 0;
int colorClass = -1;
float colorOut = 0.0;

void main(void)
{
vec2 texCoord = gl_TexCoord[0].xy;
vec4 c  = texture2DRect(inputTexture, texCoord);

for(int j = 0; j < nOfClasses; j++)
{
pAll[j] = 0.0;
for(int i = 0; i < gmms[j].nOfMixtures; i++)
{
delta[0] = c[0] * 255.0 - gmms[j].mean[i][0];
delta[1] = c[1] * 255.0 - gmms[j].mean[i][1];
d1 = delta[0] * (delta[0] * gmms[j].icov[i][0][0] + delta[1] * gmms[j].icov[i][0][1]);
d1 += delta[1] * (delta[0] * gmms[j].icov[i][1][0] + delta[1] * gmms[j].icov[i][1][1]);

p = (1.0/(pipi * sqrt(gmms[j].det[i])) * exp(-0.5*d1));
pAll[j] += gmms[j].weight[i] * p;
}
}

p = -1.0;

for(int j = 0; j < nOfClasses; j++)
{
if(pAll[j] > p)
{
p = pAll[j];
cls = j;
}
}
if(nOfClasses > 1)
{
gl_FragColor[0] = cls;
}
else
{
if(pAll[0] > gmms[0].minP)
{
gl_FragColor = vec4(1.0, 1.0, 1.0, 1.0);
}
}
})";
}

} // namespace

ColorGMM2::ColorGMM2(std::vector<core::cvdata::ColorGMM*>& models) : GpuStdShaders(false), gmms(models)
{
    // clang-format off
    assert(!gmms.empty() && "ColorGMM2::ColorGMM2(): expected at least one model");
    for (const core::cvdata::ColorGMM* model : gmms) {
        (void)model;
        assert(!model->mixture.empty() && "ColorGMM2::ColorGMM2(): expected models of at least one component");
    }
    const int dim = gmms[0]->mixture[0]->dimension;
    for (std::size_t i = 1; i < gmms.size(); ++i)
        assert(gmms[i]->mixture[0]->dimension == gmms[i-1]->mixture[0]->dimension && "DIFFERENT DIMENSION IN THE GMMs... PLEASE CHECK");
    assert(dim <= 4 && "CHECK DIMENSIONS");
    assert(dim == 2 && " NOT IMPLEMENTED YET");

    int maxMixtures = 0;
    for (const core::cvdata::ColorGMM* model : gmms)
        maxMixtures = std::max(maxMixtures, model->nofComponents());
    assert(maxMixtures < 10 && "not supported number of mixtures");
    assert(this->gmms.size() < 12 && "not supported number of gmms!");
    // clang-format on

    reset(mShaderStream);
    writeShader(mShaderStream, maxMixtures, dim, gmms.size());
    buildProgram("_ENFORCE_NEW_", "cvprocess/gpuStdShaders/ColorGMM2", mShaderStream.str());
}

ColorGMM2::~ColorGMM2() = default;

void ColorGMM2::execute()
{
    executeInitStage();
    const auto location = [this](const std::string& name) {
        return glGetUniformLocation(mProgObj, name.c_str());
    };
    glUniform1i(location("nOfClasses"), static_cast<GLint>(gmms.size()));
    for (std::size_t j = 0; j < gmms.size(); ++j) {
        const core::cvdata::ColorGMM& model = *gmms[j];
        const int mixtures = model.nofComponents();
        glUniform1f(location(uniformName(j, "minP")), narrowed(model.detectionThreshold));
        glUniform1i(location(uniformName(j, "nOfMixtures")), mixtures);
        for (int i = 0; i < mixtures; ++i) {
            const core::cvdata::GM& gaussian = *model.mixture[static_cast<std::size_t>(i)];
            glUniform1f(location(uniformName(j, "det", i)), gaussian.determinant);
            sendCovariance(location(uniformName(j, "icov", i)), gaussian);
            sendMean(location(uniformName(j, "mean", i)), gaussian);
            glUniform1f(location(uniformName(j, "weight", i)), gaussian.weight);
        }
    }
    glCallList(mDisplayList);
    executeCleanUpStage();
}

std::string ColorGMM2::uniformName(std::size_t model, const char* member)
{
    reset(mNameStream);
    mNameStream << "gmms[" << model << "]." << member;
    return mNameStream.str();
}

std::string ColorGMM2::uniformName(std::size_t model, const char* member, int mixture)
{
    reset(mNameStream);
    mNameStream << "gmms[" << model << "]." << member << "[" << mixture << "]";
    return mNameStream.str();
}

} // namespace velmor::cvprocess
