#include "cvprocess/gpuStdShaders/PixelCount.h"

#include "tests/script/PassCalls.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/ShaderText.h"

#include <algorithm>
#include <memory>
#include <sstream>

using velmor::core::cvdata::TextureGpu;

namespace velmor::tests {
namespace {

const char* const kFile = "cvprocess/gpuStdShaders/PixelCount.cpp";

/// A tile as its point is drawn.
Calls tile(int n, int x0, int y0, int x1, int y1)
{
    std::ostringstream coordinate, vertex;
    coordinate << "glMultiTexCoord4f(GL_TEXTURE0, " << x0 << ", " << y0 << ", " << x1 << ", " << y1 << ")";
    vertex << "glVertex2f(" << n << ", 0)";
    return {coordinate.str(), vertex.str()};
}

class PixelCount : public ScriptTest
{
protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        construction = capture([&] { filter = std::make_unique<cvprocess::PixelCount>(); });
    }

    void prepare(unsigned width, unsigned height)
    {
        source.emplace(texture(101, width, height));
        destination.emplace(texture(102, width, height));
        filter->resetROIs();
        filter->prepareExecution(*source, *destination);
    }

    /// Prepares and runs a pass; the points of its list.
    Calls pass(unsigned width, unsigned height)
    {
        prepare(width, height);
        gl.take();
        output = capture([&] { filter->execute(); });
        return gl.takeOnly({"glBegin", "glEnd", "glMultiTexCoord4f", "glVertex2f"});
    }

    std::unique_ptr<cvprocess::PixelCount> filter;
    std::optional<TextureGpu> source, destination;
    Output construction, output;
};

TEST_F(PixelCount, LivesByTheStatedCalls)
{
    EXPECT_EQ(gl.take(), programBegun() + Calls{"glBindFragDataLocationEXT(2, 0, fragDataOut)"} +
                             shaderAttached("GL_VERTEX_SHADER", 3) + shaderAttached("GL_FRAGMENT_SHADER", 4) +
                             programLinked());
    EXPECT_EQ(construction.out, "GL_ARB_texture_rectangle : present\nReady for OpenGL 2.x programmable shaders.\n"
                                "Attached shader Id: 3\nAttached shader Id: 4\nShader validation\n");
    EXPECT_EQ(construction.err, "");
    EXPECT_EQ(filter->getNofTiles(), 32u);

    gl.maxColorAttachments = 3;
    gl.uniformLocations["texUnit0"] = 7;
    gl.framebufferBinding = kFramebuffer;
    source.emplace(texture(101, 64, 48));
    destination.emplace(texture(102, 60, 48));
    filter->setMaxNofTiles(4);
    filter->prepareExecution(*source, *destination);
    EXPECT_EQ(gl.take(), preparation({101}, 102, {"texUnit0"}, 2));

    Pass pass = {kFramebuffer, kProgram, 5, {101}, 60, 48, {7}};
    pass.listBuilding = compiledList(5, Calls{"glBegin(GL_POINTS)"} + tile(0, 0, 0, 32, 24) + tile(1, 32, 0, 60, 24) +
                                            tile(2, 0, 24, 32, 48) + tile(3, 32, 24, 60, 48) + Calls{"glEnd()"});
    output = capture([&] { filter->execute(); });
    EXPECT_EQ(gl.take(), passCalls(pass));
    EXPECT_EQ(output.out, "Tiles set to: 4\n");
    EXPECT_EQ(output.err, "");
    pass.listBuilding = {};
    output = capture([&] { filter->execute(); });
    EXPECT_EQ(gl.take(), passCalls(pass));
    EXPECT_EQ(output.out + output.err, "");

    filter.reset();
    EXPECT_EQ(gl.take(), destruction(1, {3, 4}));
    EXPECT_EQ(gl.displayLists, std::set<GLuint>{5}); // the list stays, as in the base
}

/// The loop over a tile that reads so many texels a step.
std::string scan(int step)
{
    std::string text =
        "{ for (float y = ymin; y < ymax; y += 1.0) { for (float x = xmin; x < xmax; x += " + std::to_string(step) +
        ".0) { res += uvec4(texture2DRect(texUnit0, vec2(x, y)));";
    for (int i = 1; i < step; ++i)
        text += "res += uvec4(texture2DRect(texUnit0, vec2(x+" + std::to_string(i) + ".0, y)));";
    return text + "} } }";
}

TEST_F(PixelCount, TheShadersAreTheStatedOnes)
{
    const std::string head = "#extension GL_EXT_gpu_shader4 : enable // important for integer texture\n"
                             "#extension GL_ARB_texture_rectangle : enable\n";
    const std::string vertex = gl.shaderSources.at(3), fragment = gl.shaderSources.at(4);
    EXPECT_EQ(vertex.rfind(head, 0), 0u);
    EXPECT_EQ(fragment.rfind(head, 0), 0u);
    EXPECT_NE(fragment.find("\nvarying out uvec4 fragDataOut; // important for integer texture\n"), std::string::npos);
    EXPECT_EQ(withoutBlanks(fragment),
              withoutBlanks(head + "varying out uvec4 fragDataOut; // important for integer texture\n"
                                   "flat varying uvec4 counter; void main(void) { fragDataOut = counter; }"));
    EXPECT_EQ(withoutBlanks(vertex),
              withoutBlanks(head +
                            "uniform sampler2DRect texUnit0; flat varying out uvec4 counter; void main(void) {"
                            "float xmin = gl_MultiTexCoord0.s; float ymin = gl_MultiTexCoord0.t;"
                            "float xmax = gl_MultiTexCoord0.p; float ymax = gl_MultiTexCoord0.q;"
                            "uvec4 res = uvec4(0u, 0u, 0u, 0u);"
                            "if (mod(xmax - xmin, 16.0) == 0.0)" +
                            scan(16) + "else if (mod(xmax - xmin, 8.0) == 0.0)" + scan(8) +
                            "else if (mod(xmax - xmin, 4.0) == 0.0)" + scan(4) + "else" + scan(1) +
                            "counter = res; gl_Position = ftransform(); }"));
}

TEST_F(PixelCount, TheListIsBuiltInTheFirstExecute)
{
    source.emplace(texture(101, 640, 480));
    destination.emplace(texture(102, 640, 480));
    filter->prepareExecution(*source, *destination);
    EXPECT_EQ(gl.takeOnly({"glNewList"}), Calls{});
    EXPECT_EQ(filter->getNofTiles(), 32u);
    output = capture([&] { filter->execute(); });
    EXPECT_EQ(output.out, "Tiles set to: 25\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(filter->getNofTiles(), 25u);
    const Output second = capture([&] { filter->execute(); });
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(gl.takeOnly({"glNewList", "glEndList"}).size(), 2u);
}

TEST_F(PixelCount, ThirtyTwoTilesOfVgaAreFiveByFive)
{
    Calls expected = {"glBegin(GL_POINTS)"};
    for (int row = 0; row < 5; ++row)
        for (int column = 0; column < 5; ++column)
            expected = expected + tile(5 * row + column, 128 * column, 96 * row, 128 * column + 128, 96 * row + 96);
    EXPECT_EQ(pass(640, 480), expected + Calls{"glEnd()"});
}

TEST_F(PixelCount, ThreeTilesAreOne)
{
    filter->setMaxNofTiles(3);
    EXPECT_EQ(pass(640, 480), Calls{"glBegin(GL_POINTS)"} + tile(0, 0, 0, 640, 480) + Calls{"glEnd()"});
    EXPECT_EQ(output.out, "Tiles set to: 1\n");
    EXPECT_EQ(output.err, "WARNING: PixelCount: Result may be incorrect due to a too small tile number of 1\n");
}

TEST_F(PixelCount, TilesAtTheEdgeAreCroppedToTheDestination)
{
    filter->setMaxNofTiles(9);
    // Tiles of ceil(10 / 3) x ceil(7 / 3) = 4 x 3.
    EXPECT_EQ(pass(10, 7), Calls{"glBegin(GL_POINTS)"} + tile(0, 0, 0, 4, 3) + tile(1, 4, 0, 8, 3) +
                               tile(2, 8, 0, 10, 3) + tile(3, 0, 3, 4, 6) + tile(4, 4, 3, 8, 6) + tile(5, 8, 3, 10, 6) +
                               tile(6, 0, 6, 4, 7) + tile(7, 4, 6, 8, 7) + tile(8, 8, 6, 10, 7) + Calls{"glEnd()"});
    EXPECT_EQ(output.out, "Tiles set to: 9\n");
}

TEST_F(PixelCount, FewerTilesThanAskedForWhereTheyCoverTheSource)
{
    filter->setMaxNofTiles(16); // tiles of ceil(17 / 4) x ceil(5 / 4) = 5 x 2: four a row, and three rows cover the 5
    pass(17, 5);
    EXPECT_EQ(output.out, "Tiles set to: 12\n");
    EXPECT_EQ(filter->getNofTiles(), 12u);
}

TEST_F(PixelCount, ASmallDestinationCropsTheTiles)
{
    TextureGpu large = texture(101, 64, 64), small = texture(102, 40, 20);
    filter->setMaxNofTiles(1);
    filter->prepareExecution(large, small);
    gl.take();
    capture([&] { filter->execute(); });
    EXPECT_EQ(gl.takeOnly({"glMultiTexCoord4f"}), Calls{"glMultiTexCoord4f(GL_TEXTURE0, 0, 0, 40, 20)"});
}

TEST_F(PixelCount, TheWarningStartsAbove65535PixelsATile)
{
    filter->setMaxNofTiles(1);
    pass(65535, 1);
    EXPECT_EQ(output.err, "");
    filter->setMaxNofTiles(1);
    pass(256, 256);
    EXPECT_EQ(output.err, "WARNING: PixelCount: Result may be incorrect due to a too small tile number of 1\n");
}

TEST_F(PixelCount, GetCountReadsARowAndAddsItUp)
{
    pass(640, 480);
    gl.take();
    gl.readPixels = [](GLsizei width, void* pixels) {
        for (GLsizei i = 0; i < width; ++i)
            static_cast<GLuint*>(pixels)[i] = static_cast<GLuint>(1000 + i);
    };
    EXPECT_EQ(filter->getCount(), 25u * 1000 + 24 * 25 / 2);
    EXPECT_EQ(gl.take(), (Calls{"glReadBuffer(GL_COLOR_ATTACHMENT1_EXT)",
                                "glReadPixels(0, 0, 25, 1, GL_RED_INTEGER_EXT, GL_UNSIGNED_INT, data)"}));
}

TEST_F(PixelCount, TheTotalWraps)
{
    filter->setMaxNofTiles(4);
    pass(64, 48);
    gl.readPixels = [](GLsizei, void* pixels) {
        auto* const sums = static_cast<GLuint*>(pixels);
        sums[0] = sums[1] = 0x80000000u;
        sums[2] = 7;
        sums[3] = 0;
    };
    EXPECT_EQ(filter->getCount(), 7u);
}

TEST_F(PixelCount, ANewRequestAfterAPassMakesTheListStaleAndRoomForTheRead)
{
    pass(640, 480);
    filter->setMaxNofTiles(100);
    EXPECT_EQ(filter->getNofTiles(), 100u);
    EXPECT_EQ(filter->getCount(), 0u); // a hundred zeros, nothing written past them
    EXPECT_EQ(gl.takeOnly({"glReadPixels"}).back(),
              "glReadPixels(0, 0, 100, 1, GL_RED_INTEGER_EXT, GL_UNSIGNED_INT, data)");
    const Output again = capture([&] { filter->execute(); });
    EXPECT_EQ(again.out, "Tiles set to: 100\n");
}

TEST_F(PixelCount, ARequestAllocatesNothingAndACountBeforeItsPassReadsNoMoreThanARow)
{
    constexpr unsigned int most = 0xffffffff;
    pass(640, 480);
    const std::size_t before = allocationCount();
    filter->setMaxNofTiles(most);
    EXPECT_EQ(allocationCount(), before);
    EXPECT_EQ(filter->getNofTiles(), most);

    gl.readPixels = [](GLsizei width, void* pixels) {
        std::fill_n(static_cast<GLuint*>(pixels), width, 3u);
    };
    const FailingAllocation roomForAll(std::size_t{most} * sizeof(GLuint)); // 16 GiB
    EXPECT_EQ(filter->getCount(), 3u * 640);
    EXPECT_EQ(gl.takeOnly({"glReadPixels"}).back(),
              "glReadPixels(0, 0, 640, 1, GL_RED_INTEGER_EXT, GL_UNSIGNED_INT, data)");
}

// Compared with the width as an int, such a number is negative. A tile is never smaller than a pixel.
TEST_F(PixelCount, ARequestFrom2To31OnIsATileForEachPixel)
{
    for (const unsigned int request : {0x80000000u, 0xffffffffu}) {
        filter->setMaxNofTiles(request);
        pass(64, 48);
        EXPECT_EQ(output.out, "Tiles set to: 3072\n");
        EXPECT_EQ(filter->getNofTiles(), 64u * 48);
    }
    filter->getCount();
    EXPECT_EQ(gl.takeOnly({"glReadPixels"}).back(),
              "glReadPixels(0, 0, 3072, 1, GL_RED_INTEGER_EXT, GL_UNSIGNED_INT, data)");
}

TEST_F(PixelCount, AsManyTilesAsTheDestinationIsWideLessOneAreAccepted)
{
    filter->setMaxNofTiles(63);
    pass(64, 64);
    EXPECT_EQ(output.out, "Tiles set to: 49\n");
}

#ifndef NDEBUG

TEST_F(PixelCount, AsManyTilesAsTheDestinationIsWideAreAnAssertion)
{
    filter->setMaxNofTiles(64);
    prepare(64, 64);
    EXPECT_DEATH(filter->execute(), assertion(kFile, "static_cast<int>(mNofTiles) < mXresDstTex1"));
}

TEST_F(PixelCount, NoTilesAreAnAssertion)
{
    filter->setMaxNofTiles(0);
    prepare(64, 64);
    EXPECT_DEATH(filter->execute(), assertion(kFile, "mNofTiles > 0"));
}

TEST_F(PixelCount, ACountBeforeTheFirstPassIsAnAssertion)
{
    EXPECT_DEATH(filter->getCount(),
                 assertion(kFile, "mCountBuffer && \"PixelCount::getCount(): expected an execute() before\""));
}

#endif

} // namespace
} // namespace velmor::tests
