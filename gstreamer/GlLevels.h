#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

namespace velmor::gstreamer {

/// Makes an opaque picture of values: each colour is its value times a scale plus an offset, and alpha is 1.
///
/// Input: one rectangle texture. Output: r, g, b, a. Each pixel is computed from its own place alone.
class GlLevels : public cvprocess::GpuStdShaders
{
public:
    /// What makes colours of values.
    struct Param
    {
        float scale = 1;     ///< by which each value is multiplied
        float offset = 0;    ///< which is added then
        bool isGrey = false; ///< whether red alone holds values, and is shown as a grey
    };

    /// Compiles the program; a context must be current.
    GlLevels();

    ~GlLevels() override;

    /// The settings, which the next pass uses.
    Param& params() { return mParam; }

    void execute() override;

private:
    Param mParam;
};

} // namespace velmor::gstreamer
