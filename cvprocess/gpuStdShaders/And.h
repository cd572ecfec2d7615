#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Marks where both of two pictures are set, channel by channel.
///
/// A channel is 1 where both inputs are above 0, else 0: `out = (A > 0 and B > 0) ? 1 : 0`, alpha included.
///
/// Inputs: two rectangle textures of any float or normalised format. Output: 0 or 1 in each of r, g, b, a.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// Example:
///
///     And both;
///     both.prepareExecution(maskA, maskB, result);
///     both.execute();
class VELMOR_CVPROCESS_EXPORT And : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    And();

    ~And() override;

private:
    std::string mShaderSrc;
};

} // namespace velmor::cvprocess
