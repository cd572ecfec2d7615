// Sequences of calls of the operators in main memory: any type, size, stride, setting and model, in any order. What
// fits is computed, what does not is refused as is documented; nothing is written but the result; and results are the
// same wherever they are written, of an object that was used before and of a new one, and under every instruction set.

#include "tests/fuzz/CpuCalls.h"
#include "tests/fuzz/NativeCalls.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace velmor::tests;
    constexpr int kMostCalls = 6;
    Bytes bytes(data, size);
    NativeCalls native;
    CpuCalls cpu;
    for (int call = 0; call < kMostCalls && bytes.remaining_bytes() > 0; ++call) {
        switch (bytes.ConsumeIntegralInRange(0, 7)) {
        case 0:
            callPixelCount(bytes);
            break;
        case 1:
            callColorHistShader(bytes);
            break;
        case 2:
            callColourHist2D(bytes);
            break;
        case 3:
        case 4:
            cpu.call(bytes);
            break;
        default:
            native.call(bytes);
        }
    }
    return 0;
}
