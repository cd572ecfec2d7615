#pragma once

#include <valgrind/valgrind.h>

namespace velmor::tests {

/// How many random images a test tries: fewer under valgrind, where each takes some fifty times as long.
inline int randomRounds()
{
    return RUNNING_ON_VALGRIND ? 500 : 10000;
}

} // namespace velmor::tests
