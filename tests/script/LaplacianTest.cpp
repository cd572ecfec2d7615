#include "cvprocess/gpuStdShaders/Laplacian.h"

#include "tests/script/PassCalls.h"

#include <memory>

using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

const std::set<std::string> kUniformCalls = {"glGetUniformLocation", "glUniform1i", "glCallList"};

class Laplacian : public ScriptTest
{
protected:
    std::unique_ptr<cvprocess::Laplacian> make(cvprocess::Laplacian::Param* param)
    {
        std::unique_ptr<cvprocess::Laplacian> filter;
        capture([&] { filter = std::make_unique<cvprocess::Laplacian>(param); });
        filter->prepareExecution(source, destination);
        filter->prepareDisplayList();
        gl.take();
        return filter;
    }

    TextureGpu source = texture(101, 64, 48);
    TextureGpu destination = texture(102, 64, 48);
};

TEST_F(Laplacian, SetsTheKernelTypeBetweenTheSetUpAndTheDrawingAndLooksItUpEachTime)
{
    const auto filter = make(nullptr);
    for (const int location : {7, 9}) {
        gl.uniformLocations["kernelType"] = location;
        Pass pass = {1, 2, 4, {101}, 64, 48, {-1}};
        pass.beforeDrawing = {uniformLocation(2, "kernelType"), "glUniform1i(" + std::to_string(location) + ", 0)"};
        filter->execute();
        EXPECT_EQ(gl.take(), passCalls(pass));
    }
}

TEST_F(Laplacian, CopiesTheCallersRecordAndLeavesItAlone)
{
    cvprocess::Laplacian::Param given;
    EXPECT_EQ(given.kernelType, 0);
    given.kernelType = 2;
    gl.uniformLocations["kernelType"] = 7;
    auto filter = make(&given);
    EXPECT_EQ(filter->params()->kernelType, 2);

    given.kernelType = 5; // comes too late
    filter->execute();
    EXPECT_EQ(gl.takeOnly({"glUniform1i"}), Calls{"glUniform1i(7, 2)"});
    filter->params()->kernelType = -1;
    filter.reset();
    EXPECT_EQ(given.kernelType, 5);
}

TEST_F(Laplacian, WithoutARecordTheKernelTypeIsZero)
{
    EXPECT_EQ(make(nullptr)->params()->kernelType, 0);
}

TEST_F(Laplacian, AChangeThroughParamsReachesTheNextPassAndRebuildsNothing)
{
    const auto filter = make(nullptr);
    gl.uniformLocations["kernelType"] = 7;
    for (const int type : {1, 2, 3, -1}) {
        filter->params()->kernelType = type;
        filter->execute();
        EXPECT_EQ(gl.takeOnly(kUniformCalls), (Calls{uniformLocation(2, "kernelType"),
                                                     "glUniform1i(7, " + std::to_string(type) + ")", "glCallList(4)"}));
    }
    EXPECT_EQ(gl.programs.size(), 1u);
    EXPECT_EQ(gl.shaders.size(), 1u);
    EXPECT_EQ(gl.displayLists.size(), 1u);
}

} // namespace
} // namespace velmor::tests
