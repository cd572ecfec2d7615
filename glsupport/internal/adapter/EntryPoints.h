#pragma once

#include "glsupport/internal/adapter/Treatment.h"

// Puts our entry points in the place of GLEW's.

namespace velmor::glsupport::adapter {

/// Sets what the current context gets, and replaces the entry points that any context needs. To be called after each
/// glewInit(), which puts the driver's own back. Pointers that are ours already are not written.
void setTreatment(const Treatment& treatment);

/// Puts all entry points back and forgets every context. Where a context that is not current has sources to be put back
/// those stay that are needed for it, until the next call.
void removeAll();

} // namespace velmor::glsupport::adapter
