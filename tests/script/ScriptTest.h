#pragma once

#include "tests/support/Capture.h"
#include "tests/support/DeathText.h"
#include "tests/support/ScriptedGl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmor::tests {

using Calls = std::vector<std::string>;

/// A test on a fresh scripted context.
class ScriptTest : public testing::Test
{
protected:
    void SetUp() override { gl.reset(); }

    ScriptedGl& gl = ScriptedGl::instance();
};

/// Appends a list of calls to another.
inline Calls operator+(Calls first, const Calls& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace velmor::tests
