// The debug view in a real window.

#include "cvprocess/gpuStdShaders/DebugUInt2Float.h"

#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "glsupport/RectTexture.h"
#include "tests/support/Capture.h"
#include "tests/support/ShownWindow.h"
#include "tests/window/Glut.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <random>
#include <thread>

using velmor::cvprocess::DebugUInt2Float;
using velmor::cvprocess::GlFbo;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

constexpr ShownWindow::Colour kBackground = {51, 102, 204};
constexpr unsigned kWidth = 64;
constexpr unsigned kHeight = 48;

/// A window of another size than the source, a source of random 16-bit colours, and the filter.
class DebugUInt2FloatWindow : public testing::Test
{
protected:
    void SetUp() override
    {
        initialiseGlut();
        glutInitWindowPosition(20, 30);
        glutInitWindowSize(200, 150);
        window = glutCreateWindow("debug view");
        glutDisplayFunc([] {});
        ASSERT_EQ(glewInit(), static_cast<GLenum>(GLEW_OK));

        capture([&] { view = std::make_unique<DebugUInt2Float>(); });
        source = std::make_unique<RectTexture>(kWidth, kHeight, RectTexture::RGBA16UI);
        uploadRandomColours(1);
    }

    void TearDown() override
    {
        const Output output = capture([&] { GlFbo::checkGlErrors("the end of the test"); });
        EXPECT_EQ(output.err, "");
        source.reset();
        view.reset();
        glutDestroyWindow(window);
        glutMainLoopEvent();
    }

    void uploadRandomColours(unsigned seed)
    {
        std::mt19937 random(seed);
        values.resize(4 * kWidth * kHeight);
        for (std::uint16_t& value : values)
            value = static_cast<std::uint16_t>(random());
        source->upload(values.data());
    }

    /// Lets the window take its size, and fills what it shows and the buffer behind with the background.
    void awaitWindow()
    {
        const auto isThere = [] {
            const ShownWindow shown = ShownWindow::current();
            return shown.viewable && shown.width == kWidth && shown.height == kHeight;
        };
        for (int i = 0; i < 500 && !isThere(); ++i) {
            glutMainLoopEvent();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_TRUE(isThere());
        glutMainLoopEvent();
        GlFbo::disable();
        glDrawBuffer(GL_BACK);
        glViewport(0, 0, kWidth, kHeight);
        glClearColor(kBackground[0] / 255.0f, kBackground[1] / 255.0f, kBackground[2] / 255.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        glutSwapBuffers();
        glClear(GL_COLOR_BUFFER_BIT);
    }

    /// Expects the lower left part of the window to show the source, and the rest the background.
    void expectShown(unsigned shownWidth, unsigned shownHeight) const
    {
        const ShownWindow shown = ShownWindow::current();
        ASSERT_EQ(shown.width, kWidth);
        ASSERT_EQ(shown.height, kHeight);
        const auto pixels = shown.pixels();
        for (unsigned y = 0; y < kHeight; ++y) {
            for (unsigned x = 0; x < kWidth; ++x) {
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    const std::size_t place = y * kWidth + x;
                    const bool covered = x < shownWidth && y < shownHeight;
                    const double expected =
                        covered ? values[4 * place + channel] / 65535.0 * 255.0 : kBackground[channel];
                    // Half a step for rounding to bytes, and a little where the float lies next to a half.
                    ASSERT_NEAR(pixels[place][channel], expected, 0.501) << x << ", " << y << ", channel " << channel;
                }
            }
        }
    }

    int window = 0;
    std::unique_ptr<DebugUInt2Float> view;
    std::unique_ptr<RectTexture> source;
    std::vector<std::uint16_t> values;
};

TEST_F(DebugUInt2FloatWindow, ThePreparationGivesTheWindowTheSizeOfTheSourceAndShowsIt)
{
    glutHideWindow();
    glutMainLoopEvent();
    ASSERT_FALSE(ShownWindow::current().viewable);
    view->prepareExecution(*source);
    awaitWindow();
}

TEST_F(DebugUInt2FloatWindow, TheSourceShowsPixelByPixelItsFirstRowBelow)
{
    RectTexture destination(kWidth, kHeight, RectTexture::RGBA8);
    view->prepareExecution(*source, destination);
    view->prepareExecution(*source);
    awaitWindow();
    view->outputToScreen();
    expectShown(kWidth, kHeight);

    uploadRandomColours(2);
    view->outputToScreen();
    expectShown(kWidth, kHeight);
}

TEST_F(DebugUInt2FloatWindow, ASmallerDestinationLimitsWhatIsDrawn)
{
    RectTexture destination(20, 11, RectTexture::RGBA8);
    view->prepareExecution(*source, destination);
    view->prepareExecution(*source);
    awaitWindow();
    view->outputToScreen();
    expectShown(20, 11);
}

TEST_F(DebugUInt2FloatWindow, ADestinationLargerThanTheWindowScalesNothing)
{
    RectTexture destination(2 * kWidth + 5, 3 * kHeight, RectTexture::RGBA8);
    view->prepareExecution(*source, destination);
    view->prepareExecution(*source);
    awaitWindow();
    view->outputToScreen();
    expectShown(kWidth, kHeight);
}

TEST_F(DebugUInt2FloatWindow, WithoutADestinationEverNothingIsDrawn)
{
    view->prepareExecution(*source);
    awaitWindow();
    view->outputToScreen();
    expectShown(0, 0);
}

TEST_F(DebugUInt2FloatWindow, TheOutputLeavesNoProgramAndNoTextureBehind)
{
    view->prepareExecution(*source);
    awaitWindow();
    view->outputToScreen();
    GLint program = -1, framebuffer = -1, drawBuffer = -1;
    glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
    glGetIntegerv(GL_DRAW_BUFFER, &drawBuffer);
    EXPECT_EQ(program, 0);
    EXPECT_EQ(framebuffer, 0);
    EXPECT_EQ(drawBuffer, GL_BACK);
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_RECTANGLE_ARB));
}

TEST_F(DebugUInt2FloatWindow, TheViewGoesFromTheScreenToATextureAndBack)
{
    view->prepareExecution(*source);
    awaitWindow();
    view->outputToScreen();

    RectTexture destination(kWidth, kHeight, RectTexture::RGBA32F);
    view->prepareExecution(*source, destination);
    view->execute();
    std::vector<float> result(values.size());
    destination.download(result.data());
    for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_NEAR(result[i], values[i] / 65535.0, 4e-7) << i; // a conversion and a quotient of floats on 0..1
    // The window is as it was.
    expectShown(0, 0);

    // Onto the window again, while the framebuffer of the texture is still bound.
    view->prepareExecution(*source);
    view->outputToScreen();
    expectShown(kWidth, kHeight);
}

} // namespace
} // namespace velmor::tests
