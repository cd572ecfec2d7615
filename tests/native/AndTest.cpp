#include "native/And.h"

#include "tests/native/Logic.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

using native::And;

const PlainLoop kLoop = loopOf(perByte([](int a, int b) { return a > 0 && b > 0 ? 255 : 0; }),
                               perFloat([](float a, float b) { return a > 0 && b > 0 ? 1.0F : 0.0F; }));

TEST(And, IsTheRuleForEveryPairOfBytes)
{
    expectOnEveryPairOfBytes(And(), kLoop);
}

TEST(And, IsTheRuleEverywhere)
{
    expectOnEveryType(And(), kLoop);
}

TEST(And, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({And(), kLogicTypes, kLoop});
}

TEST(AndSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({And(), kLogicTypes, kLoop});
}

} // namespace
} // namespace velmor::tests
