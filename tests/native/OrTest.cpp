#include "native/Or.h"

#include "tests/native/Logic.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

using native::Or;

const PlainLoop kLoop = loopOf(perByte([](int a, int b) { return std::min(a + b, 255); }),
                               perFloat([](float a, float b) { return std::min(std::max(0.0F, a + b), 1.0F); }));

TEST(Or, IsTheRuleForEveryPairOfBytes)
{
    expectOnEveryPairOfBytes(Or(), kLoop);
}

TEST(Or, IsTheRuleEverywhere)
{
    expectOnEveryType(Or(), kLoop);
}

TEST(Or, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({Or(), kLogicTypes, kLoop});
}

TEST(OrSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({Or(), kLogicTypes, kLoop});
}

} // namespace
} // namespace velmor::tests
