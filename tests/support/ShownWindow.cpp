#include "tests/support/ShownWindow.h"

#include <GL/glx.h>
#include <X11/Xutil.h>

#include <memory>
#include <stdexcept>

namespace velmor::tests {
namespace {

/// A channel of a pixel, which stands at the bits of a mask.
int channelAt(unsigned long pixel, unsigned long mask)
{
    const unsigned long lowestBit = mask & (~mask + 1);
    return static_cast<int>((pixel & mask) / lowestBit * 255 / (mask / lowestBit));
}

} // namespace

void keepDriverLoaded()
{
    int attributes[] = {GLX_RGBA, None};
    XFree(glXChooseVisual(XOpenDisplay(nullptr), 0, attributes)); // loads the driver for this connection too
}

ShownWindow ShownWindow::current()
{
    return of(glXGetCurrentDisplay(), glXGetCurrentDrawable());
}

ShownWindow ShownWindow::of(Display* display, unsigned long id)
{
    XWindowAttributes attributes;
    XGetWindowAttributes(display, id, &attributes);
    return {display, id, attributes.map_state == IsViewable, static_cast<unsigned>(attributes.width),
            static_cast<unsigned>(attributes.height)};
}

std::vector<ShownWindow::Colour> ShownWindow::pixels() const
{
    // What shows is asked of the X server: the front buffer of OpenGL reads black under Xvfb.
    const auto destroy = [](XImage* each) {
        XDestroyImage(each);
    };
    const std::unique_ptr<XImage, decltype(destroy)> image(
        XGetImage(display, id, 0, 0, width, height, AllPlanes, ZPixmap), destroy);
    if (!image)
        throw std::runtime_error("ShownWindow::pixels(): the X server gives no image of the window");
    std::vector<Colour> result;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const unsigned long pixel = XGetPixel(image.get(), static_cast<int>(x), static_cast<int>(height - 1 - y));
            result.push_back({channelAt(pixel, image->red_mask), channelAt(pixel, image->green_mask),
                              channelAt(pixel, image->blue_mask)});
        }
    }
    return result;
}

} // namespace velmor::tests
