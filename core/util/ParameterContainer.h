#pragma once

#include "core/Export.h"

#include <cstdint>
#include <vector>

namespace velmor::core::util {

class AbstractParameter;

/// Base of every class with tunable parameters: it owns them and keeps a status word.
///
/// A derived class puts its parameters into one of the two lists with `new`; from then on they belong to the
/// container. A null entry is allowed and skipped.
class VELMOR_CORE_EXPORT ParameterContainer
{
public:
    /// Starts with two empty lists and the status 1.
    ParameterContainer();
    ParameterContainer(const ParameterContainer&) = delete;
    ParameterContainer& operator=(const ParameterContainer&) = delete;

    /// Deletes the parameters of the first list from front to back, then those of the second.
    virtual ~ParameterContainer();

    /// Brings the object into its initial state.
    virtual void init() = 0;

    /// Is called when a parameter has changed while the object is in use. Does nothing here.
    /// @param index  the parameter's place in its list
    virtual void onlineParameterChangedCallBack(unsigned int index);

    /// Sets the status to 1.
    void clearParameterStatus() { mParameterStatus = 1; }

    /// 1 after construction and after clearParameterStatus().
    std::int32_t parameterStatus() const { return mParameterStatus; }

protected:
    std::vector<AbstractParameter*> mParameters;          ///< owned
    std::vector<AbstractParameter*> mSecondaryParameters; ///< owned
    std::int32_t mParameterStatus;                        ///< 1 until a derived class sets it
};

} // namespace velmor::core::util
