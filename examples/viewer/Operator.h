#pragma once

#include "examples/viewer/ColourView.h"

#include <functional>
#include <string>
#include <vector>

namespace velmor::glsupport {
class RectTexture;
}

namespace velmor::viewer {

/// An operator of the library, with the textures and pictures that it needs here.
class Operator
{
public:
    using Values = std::vector<double>; ///< of the operator's parameters, in their order

    struct Result
    {
        glsupport::RectTexture* texture; ///< of the operator's own
        Colours colours;                 ///< how the texture is to be seen
        std::string found;               ///< what the result says, in a few words; may be empty
        double milliseconds;             ///< that the pass took
    };

    Operator() = default;
    Operator(const Operator&) = delete;
    Operator& operator=(const Operator&) = delete;
    virtual ~Operator() = default;

    /// Runs over the present frame.
    virtual Result run(const Values& values) = 0;
};

/// How long a piece of work takes, in milliseconds.
double timed(const std::function<void()>& work);

} // namespace velmor::viewer
