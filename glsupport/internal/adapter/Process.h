#pragma once

#include "glsupport/internal/adapter/Context.h"
#include "glsupport/internal/adapter/Driver.h"

#include <map>
#include <mutex>

namespace velmor::glsupport::adapter {

/// What the adapter keeps for the process.
class Process
{
public:
    /// What is kept of the current context.
    Context& context();

    /// Sets what contexts get that are met from now on.
    void setTreatmentOfNewContexts(const Treatment& treatment);

    /// What any context needs.
    unsigned adaptationsInUse();

    /// Forgets a context.
    void forget(const void* context);

    /// Adapts nothing any more and forgets every context but those whose sources are to be put back yet.
    /// @return whether there are any of those
    bool forgetAll();

    Driver driver; ///< written while the entry points are replaced, beside which nothing may call OpenGL

private:
    std::mutex mMutex; ///< of what follows
    std::map<const void*, Context> mContexts;
    Treatment mTreatmentOfNewContexts;
};

Process& process();

/// The driver's own entry points, which ours pass on to.
inline const Driver& driver()
{
    return process().driver;
}

/// The current context, of EGL or GLX; null when there is none.
const void* currentContext();

} // namespace velmor::glsupport::adapter
