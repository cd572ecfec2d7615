#include "native/Not.h"

#include "tests/native/Logic.h"

namespace velmor::tests {
namespace {

using native::Not;

const PlainLoop kLoop =
    loopOf(perByte([](int a, int) { return 255 - a; }), perFloat([](float a, float) { return 1.0F - a; }));

TEST(Not, IsTheRuleForEveryByte)
{
    expectOnEveryPairOfBytes(Not(), kLoop);
}

TEST(Not, IsTheRuleEverywhere)
{
    expectOnEveryType(Not(), kLoop);
}

TEST(Not, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({Not(), kLogicTypes, kLoop});
}

TEST(NotSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({Not(), kLogicTypes, kLoop});
}

} // namespace
} // namespace velmor::tests
