#pragma once

#include "native/Filter.h"
#include "tests/fuzz/Draws.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmor::tests {

/// Calls of the filters on pictures in main memory. Filters stay from call to call.
class NativeCalls
{
public:
    /// Draws a call, makes it, and checks what it promises.
    void call(Bytes& bytes);

private:
    struct Kept
    {
        catalogue::Values values;
        std::vector<core::cvdata::ColorGMM> models;
        std::unique_ptr<native::Filter> filter; ///< null where it was refused
    };

    Kept& keep(Bytes& bytes, const catalogue::Operator& what);

    std::map<std::string, Kept> mKept;
};

/// A call of native::pixelCount(), and one of native::colorHistShader(), checked by plain loops.
void callPixelCount(Bytes& bytes);
void callColorHistShader(Bytes& bytes);

} // namespace velmor::tests
