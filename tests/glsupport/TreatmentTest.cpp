#include "glsupport/internal/adapter/Treatment.h"

#include <gtest/gtest.h>

namespace velmor::tests {
namespace {

using namespace glsupport::adapter;

TEST(Treatment, EachAdaptationIsABitOfItsOwn)
{
    unsigned known = 0;
    for (const unsigned adaptation : {kClassicTexts, kFlatOut, kGeometryShaders, kEmptyGeometry, kMatrixUniforms,
                                      kClippingSources, kUnwrittenColours, kCornerPoints, kCornerTexels}) {
        EXPECT_NE(adaptation, 0u);
        EXPECT_EQ(adaptation & (adaptation - 1), 0u) << adaptation;
        EXPECT_EQ(known & adaptation, 0u) << adaptation;
        known |= adaptation;
    }
}

} // namespace
} // namespace velmor::tests
