#pragma once

#include "glsupport/internal/adapter/Treatment.h"

// Puts our entry points in the place of GLEW's.

namespace velmor::glsupport::adapter {

/// Entry points that are replaced together, as bits of a set.
enum EntryPointGroup : unsigned
{
    kProgramEntryPoints = 1u << 0,   ///< compile shaders, and create, link and delete programs
    kParameterEntryPoints = 1u << 1, ///< set parameters of a geometry stage; may be missing in the driver
    kUniformEntryPoints = 1u << 2,   ///< set uniforms
    kUseEntryPoints = 1u << 3,       ///< put programs in use, and attach textures meanwhile
    kBindEntryPoints = 1u << 4,      ///< bind framebuffers
    kDeleteEntryPoints = 1u << 5,    ///< delete framebuffers
};

/// Sets what the current context gets, and replaces the entry points that any context needs. To be called after each
/// glewInit(), which puts the driver's own back. Pointers that are ours already are not written.
void setTreatment(const Treatment& treatment);

/// Puts all entry points back and forgets every context. Where a context that is not current has sources to be put back
/// those stay that are needed for it, until the next call.
void removeAll();

} // namespace velmor::glsupport::adapter
