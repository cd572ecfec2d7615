// The driver adapter in an application's own windows.

#include "glsupport/DriverAdapter.h"

#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/RectTexture.h"
#include "tests/support/Capture.h"
#include "tests/window/Glut.h"

#include <memory>
#include <vector>

using velmor::cvprocess::PixelCount;
using velmor::glsupport::DriverAdapter;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

/// Counts the pixels of a mask with the filter that needs most of the adapter, in the context that is current.
unsigned countOf(const std::vector<float>& mask)
{
    RectTexture source(20, 10, RectTexture::R32F), sums(20, 10, RectTexture::R32UI);
    source.upload(mask.data());
    std::unique_ptr<PixelCount> filter;
    capture([&] { filter = std::make_unique<PixelCount>(); });
    filter->setMaxNofTiles(7);
    filter->prepareExecution(source, sums);
    filter->execute();
    return filter->getCount();
}

TEST(DriverAdapterWindow, ServesEveryWindowOfAnApplication)
{
    initialiseGlut();
    const int first = glutCreateWindow("first");
    glutDisplayFunc([] {});
    ASSERT_EQ(glewInit(), static_cast<GLenum>(GLEW_OK));
    for (const DriverAdapter::Finding& finding : DriverAdapter::install().findings)
        EXPECT_NE(finding.outcome, DriverAdapter::Finding::Missing) << finding.expectation << ": " << finding.detail;
    const int second = glutCreateWindow("second");
    glutDisplayFunc([] {});

    std::vector<float> mask(20 * 10, 0.0f);
    for (const std::size_t place : {0u, 19u, 64u, 199u})
        mask[place] = 1.0f;
    for (const int window : {first, second, first}) {
        glutSetWindow(window);
        EXPECT_EQ(countOf(mask), 4u);
    }
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    DriverAdapter::remove();
    glutDestroyWindow(second);
    glutDestroyWindow(first);
    glutMainLoopEvent();
}

} // namespace
} // namespace velmor::tests
