#pragma once

#include "core/cvdata/Blobs.h"

namespace velmor::demo {

class Marks;

/// Draws a blob's ellipse and its axes.
void drawBlob(Marks& marks, const core::cvdata::Blobs::BlobInfo& blob);

} // namespace velmor::demo
