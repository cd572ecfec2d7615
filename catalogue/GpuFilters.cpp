#include "catalogue/GpuFilters.h"

#include "catalogue/internal/Settings.h"
#include "cvprocess/gpuStdShaders/And.h"
#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/BayerRG2GRAY.h"
#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"
#include "cvprocess/gpuStdShaders/Classify.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM2.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"
#include "cvprocess/gpuStdShaders/FlipV.h"
#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "cvprocess/gpuStdShaders/NonMaxSupression.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "cvprocess/gpuStdShaders/RGB2GRAY.h"
#include "cvprocess/gpuStdShaders/RGB2HSV.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"

#include <map>
#include <type_traits>

namespace velmor::catalogue {
namespace {

using namespace cvprocess;

using Filter = std::unique_ptr<GpuStdShaders>;

/// A filter that is set with nothing.
template<typename Plain>
Filter make(const Settings&)
{
    if constexpr (std::is_default_constructible_v<Plain>)
        return std::make_unique<Plain>();
    else
        return std::make_unique<Plain>(nullptr);
}

Filter makeLaplacian(const Settings& settings)
{
    Laplacian::Param param;
    param.kernelType = settings.whole("kernel");
    return std::make_unique<Laplacian>(&param);
}

Filter makeColorGMM(const Settings& settings)
{
    ColorGMM::Param param;
    param.mBinaryOutput = !settings.isOn("output");
    return std::make_unique<ColorGMM>(settings.model(), &param);
}

Filter makeColorGMM2(const Settings& settings)
{
    auto models = settings.given().models;
    return std::make_unique<ColorGMM2>(models);
}

Filter makeColorHistShader(const Settings& settings)
{
    ColorHistShader::Param param;
    param.mNBins1 = param.mNBins2 = param.mNBins3 = settings.whole("bins");
    param.mBlockSize = settings.whole("block");
    param.mXres = settings.given().size.width;
    param.mYres = settings.given().size.height;
    return std::make_unique<ColorHistShader>(&param, nullptr);
}

Filter makePixelCount(const Settings& settings)
{
    auto filter = std::make_unique<PixelCount>();
    filter->setMaxNofTiles(static_cast<unsigned>(settings.whole("tiles")));
    return filter;
}

const std::map<std::string, Filter (*)(const Settings&)> kMakers = {
    {"And", make<And>},
    {"BGR2GRAY", make<BGR2GRAY>},
    {"BGR2HSV", make<BGR2HSV>},
    {"BayerRG2GRAY", make<BayerRG2GRAY>},
    {"BayerRG2RGB", make<BayerRG2RGB>},
    {"Classify", make<Classify>},
    {"ColorGMM", makeColorGMM},
    {"ColorGMM2", makeColorGMM2},
    {"ColorHistShader", makeColorHistShader},
    {"DebugUInt2Float", make<DebugUInt2Float>},
    {"FlipV", make<FlipV>},
    {"GRAY2Sobel", make<GRAY2Sobel>},
    {"Laplacian", makeLaplacian},
    {"NonMaxSupression", make<NonMaxSupression>},
    {"Not", make<Not>},
    {"Or", make<Or>},
    {"PixelCount", makePixelCount},
    {"RGB2GRAY", make<RGB2GRAY>},
    {"RGB2HSV", make<RGB2HSV>},
    {"Subtract", make<Subtract>},
    {"Xor", make<Xor>},
};

} // namespace

Filter makeGpu(const std::string& name, const Values& values, const Given& given)
{
    const Settings settings("makeGpu", Kind::FILTER, name, values, given);
    return kMakers.at(name)(settings);
}

} // namespace velmor::catalogue
