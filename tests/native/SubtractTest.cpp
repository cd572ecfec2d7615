#include "native/Subtract.h"

#include "tests/support/NativeTest.h"

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

using native::Subtract;

const PlainLoop kLoop = loopOf(perByte([](int a, int b) { return std::abs(a - b); }),
                               perFloat([](float a, float b) { return std::fabs(a - b); }));

TEST(Subtract, IsTheRuleForEveryPairOfBytes)
{
    const BytePairs pairs = allBytePairs();
    expectOn({Subtract(), {CV_8UC1}, kLoop, {CV_8U, CV_32F}}, pairs.first, pairs.second);
}

TEST(Subtract, IsTheRuleEverywhere)
{
    expectEverywhere(
        {Subtract(), {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4}, kLoop, {-1, CV_8U, CV_32F}});
}

} // namespace
} // namespace velmor::tests
