#pragma once

#include "catalogue/Catalogue.h"

#include <string>

namespace velmor::catalogue {

/// What an operator is made with, once it has been checked: the value of each of its parameters, and what it was given.
class Settings
{
public:
    /// @param function  the maker, which messages begin with
    /// @throws std::invalid_argument  when there is no operator of that kind and name, when it has no such parameter,
    /// when
    ///                                a value is out of range, or when something that it needs is missing
    VELMOR_CATALOGUE_EXPORT Settings(const std::string& function, Kind kind, const std::string& name,
                                     const Values& values, const Given& given);

    double value(const std::string& parameter) const { return mValues.at(parameter); }
    int whole(const std::string& parameter) const { return static_cast<int>(value(parameter)); }
    bool isOn(const std::string& parameter) const { return value(parameter) != 0; }

    const Given& given() const { return mGiven; }
    core::cvdata::ColorGMM* model() const { return mGiven.models.front(); }

private:
    Values mValues;
    Given mGiven;
};

} // namespace velmor::catalogue
