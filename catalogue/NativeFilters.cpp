#include "catalogue/NativeFilters.h"

#include "catalogue/internal/Settings.h"
#include "native/And.h"
#include "native/Classify.h"
#include "native/Not.h"
#include "native/Or.h"
#include "native/Subtract.h"
#include "native/Xor.h"

#include <map>
#include <stdexcept>

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

const std::map<std::string, Made (*)(const Settings&)> kMakers = {
    {"And", make<And>}, {"Classify", make<Classify>}, {"Not", make<Not>},
    {"Or", make<Or>},   {"Subtract", make<Subtract>}, {"Xor", make<Xor>},
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
