#pragma once

#include "catalogue/CpuOperators.h"
#include "tests/fuzz/Draws.h"

#include <map>
#include <string>

namespace velmor::tests {

/// Calls of the operators on images in main memory. Operators stay from call to call, and so does what they remember.
class CpuCalls
{
public:
    /// Draws a call, makes it, and checks what it promises.
    void call(Bytes& bytes);

private:
    struct Kept
    {
        catalogue::Values values;
        core::cvdata::ColorGMM model; ///< what the operator borrows
        catalogue::Given given;
        catalogue::CpuOperator run; ///< empty where it was refused
        cv::Mat greyBefore;         ///< of the frame before
    };

    Kept& keep(Bytes& bytes, const catalogue::Operator& what);
    static void drawSettings(Bytes& bytes, const catalogue::Operator& what, Kept& kept);

    std::map<std::string, Kept> mKept;
};

/// A call of ColourHist2D::computeHistogram() with what the catalogue has no word for, checked by a plain loop.
void callColourHist2D(Bytes& bytes);

} // namespace velmor::tests
