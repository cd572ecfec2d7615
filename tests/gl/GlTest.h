#pragma once

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "glsupport/HeadlessContext.h"
#include "tests/support/Capture.h"
#include "tests/support/DeathText.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <optional>

namespace velmor::tests {

/// A test on a real OpenGL context of its own. It fails where none can be made, and where it leaves an OpenGL error.
class GlTest : public testing::Test
{
protected:
    void SetUp() override
    {
        // The driver stays loaded to the end of the process, so that a leak report can name it.
        [[maybe_unused]] static const auto* const driver = new glsupport::HeadlessContext;
        context.emplace();
    }

    void TearDown() override
    {
        expectNoGlError("the end of the test");
        context.reset();
    }

    static void expectNoGlError(const char* where)
    {
        const Output output = capture([&] { cvprocess::GlFbo::checkGlErrors(where); });
        EXPECT_EQ(output.err, "");
    }

    std::optional<glsupport::HeadlessContext> context;
};

/// Makes a filter and drops what its construction prints on standard output.
template<typename Filter, typename... Arguments>
std::unique_ptr<Filter> makeQuietly(Arguments&&... arguments)
{
    std::unique_ptr<Filter> filter;
    const Output output = capture([&] { filter = std::make_unique<Filter>(std::forward<Arguments>(arguments)...); });
    EXPECT_EQ(output.err, "");
    return filter;
}

} // namespace velmor::tests
