#include "native/Not.h"

#include "tests/support/NativeTest.h"

namespace velmor::tests {
namespace {

using native::Not;

const PlainLoop kLoop =
    loopOf(perByte([](int a, int) { return 255 - a; }), perFloat([](float a, float) { return 1.0F - a; }));

TEST(Not, IsTheRuleForEveryByte)
{
    expectOn({Not(), {CV_8UC1}, kLoop, {CV_8U, CV_32F}}, allBytePairs().first);
}

TEST(Not, IsTheRuleEverywhere)
{
    expectEverywhere({Not(), {CV_8UC1, CV_8UC3, CV_8UC4, CV_32FC1, CV_32FC3, CV_32FC4}, kLoop, {-1, CV_8U, CV_32F}});
}

} // namespace
} // namespace velmor::tests
