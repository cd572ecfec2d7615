#include "catalogue/internal/Settings.h"

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace velmor::catalogue {
namespace {

/// Refuses what a maker was given.
class Refusal
{
public:
    explicit Refusal(const std::string& function) : mFunction(function) {}

    template<typename Got>
    [[noreturn]] void operator()(const std::string& expected, const Got& got) const
    {
        std::ostringstream text;
        text << "catalogue::" << mFunction << "(): expected " << expected << ", got " << got;
        throw std::invalid_argument(text.str());
    }

private:
    std::string mFunction;
};

const Operator& expectOperator(Kind kind, const std::string& name, const Refusal& refuse)
{
    const Operator* const found = find(name);
    if (!found || found->kind != kind)
        refuse(kind == Kind::FILTER ? "the name of a filter" : "the name of an operator on images", "'" + name + "'");
    return *found;
}

void expectKnownParameters(const Operator& made, const Values& values, const Refusal& refuse)
{
    std::string names;
    for (const Parameter& parameter : made.parameters)
        names += (names.empty() ? "" : ", ") + parameter.name;
    const std::string expected =
        names.empty() ? "no parameter of " + made.name : "a parameter of " + made.name + " (" + names + ")";
    for (const auto& given : values) {
        const std::string& name = given.first;
        bool isKnown = false;
        for (const Parameter& parameter : made.parameters)
            isKnown = isKnown || parameter.name == name;
        if (!isKnown)
            refuse(expected, "'" + name + "'");
    }
}

void expectValue(const Operator& made, const Parameter& parameter, double value, const Refusal& refuse)
{
    const std::string what = parameter.name + " of " + made.name;
    std::ostringstream range;
    range << what << " on " << parameter.least << ".." << parameter.most;
    if (!(value >= parameter.least && value <= parameter.most)) // nor not a number
        refuse(range.str(), value);
    if (parameter.isWhole && value != std::floor(value))
        refuse(what + " to be a whole number", value);
}

void expectNeed(const Operator& made, const Given& given, const Refusal& refuse)
{
    const std::size_t models = given.models.size();
    switch (made.need) {
    case Need::NOTHING:
        break;
    case Need::ONE_MODEL:
        if (models != 1)
            refuse("one model for " + made.name, models);
        break;
    case Need::MODELS:
        if (models == 0)
            refuse("at least one model for " + made.name, models);
        break;
    case Need::SIZE:
        if (given.size.width < 1 || given.size.height < 1)
            refuse("the size of the pictures for " + made.name,
                   std::to_string(given.size.width) + " x " + std::to_string(given.size.height));
        break;
    case Need::CASCADE:
        if (given.cascadeFile.empty())
            refuse("a cascade file for " + made.name, "none");
    }
    for (const core::cvdata::ColorGMM* const model : given.models)
        if (!model)
            refuse("models for " + made.name, "a null pointer");
}

} // namespace

Settings::Settings(const std::string& function, Kind kind, const std::string& name, const Values& values,
                   const Given& given)
    : mValues(values), mGiven(given)
{
    const Refusal refuse(function);
    const Operator& made = expectOperator(kind, name, refuse);
    expectKnownParameters(made, values, refuse);
    for (const Parameter& parameter : made.parameters)
        expectValue(made, parameter, mValues.emplace(parameter.name, parameter.initial).first->second, refuse);
    expectNeed(made, given, refuse);
}

} // namespace velmor::catalogue
