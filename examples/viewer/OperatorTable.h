#pragma once

#include "examples/viewer/Operator.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmor::viewer {

struct Material;

/// A number that the user can change.
struct Parameter
{
    std::string name;
    double initial;
    double least;
    double most;
    double step;
    std::vector<std::string> choices = {}; ///< words for the numbers from 0 on; empty where the number itself is shown
};

/// "kernel 2"
std::string parameterText(const Parameter& parameter, double value);

/// What an operator makes of regions of interest.
enum class Regions
{
    EACH,  ///< it works in all of them, and nowhere else
    FIRST, ///< it counts in the first one alone
    NONE
};

/// What an operator works with beside the frame.
enum class Extra
{
    NOTHING,
    SECOND_PICTURE,
    PATCH ///< whose colours it has learnt
};

/// All that the viewer knows of an operator.
struct OperatorEntry
{
    std::string name;
    std::string shows; ///< what is seen, in some 50 letters
    std::vector<Parameter> parameters;
    Regions regions;
    Extra extra;
    std::function<std::unique_ptr<Operator>(const Material&)> make;
};

/// The operators in the order in which the viewer goes through them. A further one is an entry here.
const std::vector<OperatorEntry>& operatorTable();

} // namespace velmor::viewer
