#pragma once

#include "core/Export.h"

namespace velmor::core::util {

/// Base of the tunable parameters that a ParameterContainer owns.
class VELMOR_CORE_EXPORT AbstractParameter
{
public:
    virtual ~AbstractParameter();
};

} // namespace velmor::core::util
