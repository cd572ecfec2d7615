#pragma once

#include <gtest/gtest.h>

#include <string>

namespace velmor::tests {

/// What a piece of code writes.
struct Output
{
    std::string out; ///< on standard output
    std::string err; ///< on standard error
};

/// Runs code and takes what it writes.
template<typename Code>
Output capture(const Code& code)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    code();
    Output output;
    output.out = testing::internal::GetCapturedStdout();
    output.err = testing::internal::GetCapturedStderr();
    return output;
}

} // namespace velmor::tests
