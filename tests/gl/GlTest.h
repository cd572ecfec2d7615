#pragma once

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"
#include "tests/support/Capture.h"
#include "tests/support/DeathText.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace velmor::tests {

/// A context for filters. The whole suite runs twice, once with the adaptations that the driver needs and once, where
/// the environment says VELMOR_TEST_ADAPT=always, with all that there are.
struct FilterContext : glsupport::HeadlessContext
{
    FilterContext() : HeadlessContext(false)
    {
        using glsupport::DriverAdapter;
        const char* const adapt = std::getenv("VELMOR_TEST_ADAPT");
        DriverAdapter::install(adapt && std::string(adapt) == "always" ? DriverAdapter::Always
                                                                       : DriverAdapter::WhereNeeded);
    }
};

/// A test on a real OpenGL context of its own. It fails where none can be made, and where it leaves an OpenGL error.
class GlTest : public testing::Test
{
protected:
    void SetUp() override { context.emplace(); }

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

    std::optional<FilterContext> context;
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
