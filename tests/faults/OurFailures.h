#pragma once

#include "tests/faults/FailingMemory.h"
#include "tests/gl/GlTest.h"

#include <string>

// On a real OpenGL. That its driver has memory is taken for granted: llvmpipe ends the process without.

namespace velmor::tests {

/// Calls something with each allocation of ours failing in turn, and looks at what it leaves.
/// @param call   throws std::bad_alloc or nothing
/// @param after  called behind each call, with memory, with whether it has returned
/// @param each   see forEachAllocation()
template<typename Call, typename After>
void expectBearsFailures(const Call& call, const After& after, std::size_t each = 100)
{
    forEachAllocation(
        [&](std::size_t first, std::size_t count) {
            std::string said;
            said.reserve(1000);
            bool hasFailed = true;
            Ending ending;
            {
                const FailingMemory memory(first, count, FailingMemory::OURS);
                ending = endingOf(call, said);
                hasFailed = memory.hasFailed();
            }
            EXPECT_TRUE(ending == Ending::RETURNED || ending == Ending::OUT_OF_MEMORY) << said;
            after(ending == Ending::RETURNED);
            EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
            return hasFailed;
        },
        each);
}

} // namespace velmor::tests
