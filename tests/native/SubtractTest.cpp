#include "native/Subtract.h"

#include "tests/native/Logic.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

using native::Subtract;

const PlainLoop kLoop = loopOf(perByte([](int a, int b) { return std::abs(a - b); }),
                               perFloat([](float a, float b) { return std::fabs(a - b); }));

TEST(Subtract, IsTheRuleForEveryPairOfBytes)
{
    expectOnEveryPairOfBytes(Subtract(), kLoop);
}

TEST(Subtract, IsTheRuleEverywhere)
{
    expectOnEveryType(Subtract(), kLoop);
}

TEST(Subtract, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({Subtract(), kLogicTypes, kLoop});
}

TEST(SubtractSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({Subtract(), kLogicTypes, kLoop});
}

} // namespace
} // namespace velmor::tests
