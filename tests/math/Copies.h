#pragma once

#include <gtest/gtest.h>

namespace velmor::tests {

/// Changes each element of a vector after it was copied.
/// @param assigned  any other, which is assigned to
template<typename Vector>
void expectIndependentCopies(const Vector& original, Vector assigned)
{
    const Vector copy(original);
    assigned = original;
    for (unsigned i = 0; i < original.size(); ++i) {
        const double before = original[i];
        original[i] = before + 9.0;
        EXPECT_EQ(copy[i], before);
        EXPECT_EQ(assigned[i], before);
    }
}

} // namespace velmor::tests
