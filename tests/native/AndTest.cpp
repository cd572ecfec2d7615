#include "native/And.h"

#include "tests/support/NativeTest.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

using native::And;

const PlainLoop kLoop = loopOf(perByte([](int a, int b) { return a > 0 && b > 0 ? 255 : 0; }),
                               perFloat([](float a, float b) { return a > 0 && b > 0 ? 1.0F : 0.0F; }));

TEST(And, IsTheRuleForEveryPairOfBytes)
{
    const BytePairs pairs = allBytePairs();
    expectOn({And(), {CV_8UC1}, kLoop, {CV_8U, CV_32F}}, pairs.first, pairs.second);
}

TEST(And, IsTheRuleEverywhere)
{
    expectEverywhere({And(), {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4}, kLoop, {-1, CV_8U, CV_32F}});
}

} // namespace
} // namespace velmor::tests
