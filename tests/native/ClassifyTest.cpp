#include "native/Classify.h"

#include "tests/native/Gain.h"

namespace velmor::tests {
namespace {

using native::Classify;

TEST(Classify, IsTheRuleForEveryPairOfBytes)
{
    expectOnEveryPairOfBytes(Classify(), kGainLoop);
}

TEST(Classify, AnyChannelThatLosesMakesThePixelBlack)
{
    expectBlackWhereAnyChannelLoses(Classify());
}

TEST(Classify, IsTheRuleEverywhere)
{
    expectOnEveryType(Classify(), kGainLoop);
}

TEST(Classify, WhatIsNoNumberIsNoLoss)
{
    expectNoLossOfWhatIsNoNumber(Classify());
}

TEST(Classify, TouchesNothingBehindItsPixels)
{
    expectNothingTouchedBehind({Classify(), kLogicTypes, kGainLoop});
}

TEST(ClassifySweep, IsTheRuleForPicturesLargerThanTheCaches)
{
    expectOnLargePictures({Classify(), kLogicTypes, kGainLoop});
}

} // namespace
} // namespace velmor::tests
