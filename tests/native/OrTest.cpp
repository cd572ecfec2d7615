#include "native/Or.h"

#include "tests/support/NativeTest.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

using native::Or;

const PlainLoop kLoop = loopOf(perByte([](int a, int b) { return std::min(a + b, 255); }),
                               perFloat([](float a, float b) { return std::min(std::max(0.0F, a + b), 1.0F); }));

TEST(Or, IsTheRuleForEveryPairOfBytes)
{
    const BytePairs pairs = allBytePairs();
    expectOn({Or(), {CV_8UC1}, kLoop, {CV_8U, CV_32F}}, pairs.first, pairs.second);
}

TEST(Or, IsTheRuleEverywhere)
{
    expectEverywhere({Or(), {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4}, kLoop, {-1, CV_8U, CV_32F}});
}

} // namespace
} // namespace velmor::tests
