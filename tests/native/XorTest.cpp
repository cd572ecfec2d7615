#include "native/Xor.h"

#include "tests/native/Gain.h"

namespace velmor::tests {
namespace {

using native::Xor;

TEST(Xor, IsTheRuleForEveryPairOfBytes)
{
    expectOnEveryPairOfBytes(Xor(), kGainLoop);
}

TEST(Xor, AnyChannelThatLosesMakesThePixelBlack)
{
    expectBlackWhereAnyChannelLoses(Xor());
}

TEST(Xor, IsTheRuleEverywhere)
{
    expectOnEveryType(Xor(), kGainLoop);
}

TEST(Xor, WhatIsNoNumberIsNoLoss)
{
    expectNoLossOfWhatIsNoNumber(Xor());
}

TEST(Xor, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({Xor(), kLogicTypes, kGainLoop});
}

TEST(XorSweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({Xor(), kLogicTypes, kGainLoop});
}

} // namespace
} // namespace velmor::tests
