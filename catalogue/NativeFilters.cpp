#include "catalogue/NativeFilters.h"

#include "catalogue/internal/Settings.h"
#include "core/cvdata/ColorGMM.h"
#include "native/And.h"
#include "native/BGR2GRAY.h"
#include "native/BGR2HSV.h"
#include "native/BayerRG2GRAY.h"
#include "native/BayerRG2RGB.h"
#include "native/Classify.h"
#include "native/ColorGMM.h"
#include "native/ColorGMM2.h"
#include "native/DebugUInt2Float.h"
#include "native/FlipV.h"
#include "native/GRAY2Sobel.h"
#include "native/Laplacian.h"
#include "native/NonMaxSupression.h"
#include "native/Not.h"
#include "native/Or.h"
#include "native/RGB2GRAY.h"
#include "native/RGB2HSV.h"
#include "native/Subtract.h"
#include "native/Xor.h"

#include <map>
#include <stdexcept>
#include <vector>

namespace velmor::catalogue {
namespace {

using namespace native;

using Made = std::unique_ptr<Filter>;

/// A filter that is set with nothing.
template<typename Plain>
Made make(const Settings&)
{
    return std::make_unique<Plain>();
}

Made makeLaplacian(const Settings& settings)
{
    return std::make_unique<Laplacian>(settings.whole("kernel"));
}

Made makeColorGMM(const Settings& settings)
{
    return std::make_unique<ColorGMM>(*settings.model(), !settings.isOn("output"));
}

Made makeColorGMM2(const Settings& settings)
{
    std::vector<core::cvdata::ColorGMM> models;
    for (const core::cvdata::ColorGMM* const model : settings.given().models)
        models.push_back(*model);
    return std::make_unique<ColorGMM2>(models);
}

const std::map<std::string, Made (*)(const Settings&)> kMakers = {
    {"And", make<And>},
    {"BGR2GRAY", make<BGR2GRAY>},
    {"BGR2HSV", make<BGR2HSV>},
    {"BayerRG2GRAY", make<BayerRG2GRAY>},
    {"BayerRG2RGB", make<BayerRG2RGB>},
    {"Classify", make<Classify>},
    {"ColorGMM", makeColorGMM},
    {"ColorGMM2", makeColorGMM2},
    {"DebugUInt2Float", make<DebugUInt2Float>},
    {"FlipV", make<FlipV>},
    {"GRAY2Sobel", make<GRAY2Sobel>},
    {"Laplacian", makeLaplacian},
    {"NonMaxSupression", make<NonMaxSupression>},
    {"Not", make<Not>},
    {"Or", make<Or>},
    {"RGB2GRAY", make<RGB2GRAY>},
    {"RGB2HSV", make<RGB2HSV>},
    {"Subtract", make<Subtract>},
    {"Xor", make<Xor>},
};

} // namespace

bool hasNative(const Operator& what)
{
    return kMakers.count(what.name) != 0;
}

Made makeNative(const std::string& name, const Values& values, const Given& given)
{
    const Settings settings("makeNative", Kind::FILTER, name, values, given);
    const auto maker = kMakers.find(name);
    if (maker == kMakers.end())
        throw std::invalid_argument("catalogue::makeNative(): expected a filter that gives a picture, got '" + name +
                                    "'");
    return maker->second(settings);
}

} // namespace velmor::catalogue
