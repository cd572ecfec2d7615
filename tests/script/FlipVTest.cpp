#include "cvprocess/gpuStdShaders/FlipV.h"

#include "tests/script/PassCalls.h"

#include <memory>

using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

Calls flippedQuad(int sourceWidth, int sourceHeight, int width, int height)
{
    return quad(corner(0, sourceHeight, 0, 0), corner(sourceWidth, sourceHeight, width, 0),
                corner(sourceWidth, 0, width, height), corner(0, 0, 0, height));
}

class FlipV : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        capture([&] { filter = std::make_unique<cvprocess::FlipV>(); });
        gl.take();
    }

    std::unique_ptr<cvprocess::FlipV> filter;
    TextureGpu source = texture(101, 64, 48);
    TextureGpu destination = texture(102, 64, 48);
    TextureGpu larger = texture(103, 128, 96);
};

TEST_F(FlipV, ThePictureIsOneQuadUpsideDown)
{
    filter->prepareExecution(source, destination);
    gl.take();
    filter->prepareDisplayList();
    EXPECT_EQ(gl.take(), compiledList(4, flippedQuad(64, 48, 64, 48)));
}

TEST_F(FlipV, ADestinationOfAnotherSizeIsCovered)
{
    filter->prepareExecution(source, larger);
    filter->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), flippedQuad(64, 48, 128, 96));
}

TEST_F(FlipV, RegionsAreIgnored)
{
    filter->addROI(10, 20, 30, 40);
    filter->addROI(1, 2, 3, 4);
    filter->prepareExecution(source, destination);
    filter->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), flippedQuad(64, 48, 64, 48));
}

TEST_F(FlipV, ChangedRegionsBringNewSizesIntoTheList)
{
    filter->prepareExecution(source, destination);
    filter->execute();
    gl.take();
    filter->prepareExecution(source, larger);
    filter->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), Calls{}); // the list is that of the first sizes
    filter->resetROIs();
    filter->execute();
    EXPECT_EQ(gl.takeOnly(kGeometry), flippedQuad(64, 48, 128, 96));
}

TEST_F(FlipV, AValidListIsDeletedFirstAndAStaleOneIsNot)
{
    filter->prepareExecution(source, destination);
    filter->prepareDisplayList();
    gl.take();
    filter->prepareDisplayList();
    EXPECT_EQ(gl.take(), Calls{"glDeleteLists(4, 1)"} + compiledList(5, flippedQuad(64, 48, 64, 48)));
    EXPECT_EQ(gl.displayLists, std::set<GLuint>{5});

    filter->addROI(0, 0, 1, 1);
    filter->execute();
    EXPECT_EQ(gl.takeOnly({"glDeleteLists"}), Calls{});
    EXPECT_EQ(gl.displayLists, (std::set<GLuint>{5, 6}));
}

} // namespace
} // namespace velmor::tests
