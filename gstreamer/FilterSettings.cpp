#include "gstreamer/FilterSettings.h"

#include "catalogue/NativeFilters.h"

namespace velmor::gstreamer {
namespace {

/// Whether velmorfilter offers an operator: those on one picture, except where it is read as integers.
bool isOffered(const catalogue::Operator& what)
{
    if (what.kind != catalogue::Kind::FILTER || what.takes == catalogue::Data::INTEGERS)
        return false;
    const bool hasNumbers = what.gives == catalogue::Data::COUNTS || what.gives == catalogue::Data::HISTOGRAM;
    return hasNumbers || (catalogue::hasNative(what) && what.sources == 1);
}

/// An operator as the element has it: the one whose second source is not read has one.
catalogue::Operator asOffered(catalogue::Operator what)
{
    if (what.sources == 2)
        what.meaning.erase(what.meaning.find(';'));
    what.sources = 1;
    return what;
}

/// A parameter that says whose it is, among those of many operators.
catalogue::Parameter named(catalogue::Parameter parameter, const catalogue::Operator& what)
{
    parameter.meaning += "; for " + what.name;
    return parameter;
}

/// Whether a parameter says how textures are gone through, which makes no difference to the numbers found.
bool isOfTextures(const catalogue::Parameter& parameter)
{
    return parameter.name == "tiles" || parameter.name == "block";
}

} // namespace

const std::vector<catalogue::Operator>& operatorsOfFilter()
{
    static const std::vector<catalogue::Operator> kOperators = [] {
        std::vector<catalogue::Operator> result;
        for (const catalogue::Operator& each : catalogue::operators())
            if (isOffered(each))
                result.push_back(asOffered(each));
        return result;
    }();
    return kOperators;
}

const std::vector<catalogue::Parameter>& parametersOfFilter()
{
    static const std::vector<catalogue::Parameter> kParameters = [] {
        std::vector<catalogue::Parameter> result;
        for (const catalogue::Operator& what : operatorsOfFilter())
            for (const catalogue::Parameter& each : what.parameters)
                if (!isOfTextures(each))
                    result.push_back(named(each, what));
        return result;
    }();
    return kParameters;
}

FilterChoice FilterSettings::choice() const
{
    FilterChoice result;
    result.what = &operatorsOfFilter()[static_cast<std::size_t>(operatorIndex())];
    const catalogue::Values values = parameters.valuesFor(*result.what);
    const auto output = values.find("output");
    result.keepsColours = output != values.end() && output->second == 1;
    return result;
}

FilterSettings::Snapshot FilterSettings::snapshotOf(const FilterChoice& choice) const
{
    Snapshot result;
    result.choice = choice;
    result.values = parameters.valuesFor(*choice.what);
    const auto output = result.values.find("output");
    if (output != result.values.end()) // which the property may have changed since the choice was made
        output->second = choice.keepsColours ? 1 : 0;
    const std::lock_guard lock(mMutex);
    result.models = mModels;
    return result;
}

void FilterSettings::setOperator(int index)
{
    const std::lock_guard lock(mMutex);
    mOperator = static_cast<std::size_t>(index);
}

int FilterSettings::operatorIndex() const
{
    const std::lock_guard lock(mMutex);
    return static_cast<int>(mOperator);
}

void FilterSettings::setScale(double scale)
{
    const std::lock_guard lock(mMutex);
    mToBytes.scale = scale;
}

void FilterSettings::setOffset(double offset)
{
    const std::lock_guard lock(mMutex);
    mToBytes.offset = offset;
}

FloatsToBytes FilterSettings::toBytes() const
{
    const std::lock_guard lock(mMutex);
    return mToBytes;
}

void FilterSettings::setModels(const std::vector<std::string>& files, const Models& models)
{
    const std::lock_guard lock(mMutex);
    mModelFiles = files;
    mModels = models;
}

std::vector<std::string> FilterSettings::modelFiles() const
{
    const std::lock_guard lock(mMutex);
    return mModelFiles;
}

} // namespace velmor::gstreamer
