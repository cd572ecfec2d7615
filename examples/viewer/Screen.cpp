#include "examples/viewer/Screen.h"

#include "examples/shared/GpuPictures.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <cmath>

namespace velmor::viewer {
namespace {

using glsupport::RectTexture;

constexpr int kVisiblePixels = 4; ///< enlarged so much or more, pixels are shown as squares

void line(const cv::Rect2d& place, double distance)
{
    // Through the middles of pixels, so that each line covers one row or column.
    const double left = std::floor(place.x) - distance + 0.5;
    const double top = std::floor(place.y) - distance + 0.5;
    const double right = std::ceil(place.br().x) + distance - 0.5;
    const double bottom = std::ceil(place.br().y) + distance - 0.5;
    glBegin(GL_LINE_LOOP);
    glVertex2d(left, top);
    glVertex2d(right, top);
    glVertex2d(right, bottom);
    glVertex2d(left, bottom);
    glEnd();
}

} // namespace

Screen::Screen(const cv::Size& window)
{
    glViewport(0, 0, window.width, window.height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluOrtho2D(0, window.width, window.height, 0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glClearColor(0.09F, 0.09F, 0.09F, 1);
    glClear(GL_COLOR_BUFFER_BIT);
}

void Screen::texture(RectTexture& texture, const cv::Rect& place)
{
    quad(texture, place, 1);
}

void Screen::panel(const cv::Mat& picture, const cv::Point& corner, double opacity)
{
    const auto texture = demo::makeTexture(picture);
    quad(*texture, {corner, picture.size()}, opacity);
}

void Screen::frame(const cv::Rect2d& place, const cv::Vec3b& colour)
{
    glColor3ub(0, 0, 0);
    line(place, 2);
    glColor3ub(colour[2], colour[1], colour[0]);
    line(place, 1);
}

void Screen::quad(RectTexture& texture, const cv::Rect& place, double opacity)
{
    const auto width = static_cast<int>(texture.width());
    const auto height = static_cast<int>(texture.height());
    const bool isScaled = place.size() != cv::Size(width, height);
    const bool isSmooth = isScaled && place.width < kVisiblePixels * width;
    const GLenum target = texture.getTexTargetType();
    glBindTexture(target, texture.getTexId());
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, isSmooth ? GL_LINEAR : GL_NEAREST);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, isSmooth ? GL_LINEAR : GL_NEAREST);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glColor4d(1, 1, 1, opacity);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (opacity < 1)
        glEnable(GL_BLEND);
    glEnable(target);
    glBegin(GL_QUADS);
    glTexCoord2i(0, 0);
    glVertex2i(place.x, place.y);
    glTexCoord2i(width, 0);
    glVertex2i(place.br().x, place.y);
    glTexCoord2i(width, height);
    glVertex2i(place.br().x, place.br().y);
    glTexCoord2i(0, height);
    glVertex2i(place.x, place.br().y);
    glEnd();
    glDisable(target);
    glDisable(GL_BLEND);
    glBindTexture(target, 0);
}

} // namespace velmor::viewer
