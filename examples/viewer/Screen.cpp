#include "examples/viewer/Screen.h"

#include "examples/shared/Lettering.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <algorithm>
#include <cmath>

namespace velmor::examples {
namespace {

// Measures in pixels.
constexpr int kMargin = 8;
constexpr int kPieceGap = 14;
constexpr int kStripLine = 18;
constexpr int kHelpLine = 20;
constexpr int kHelpMargin = 18;
constexpr int kHelpKeys = 92; ///< width of the column of keys
constexpr int kHelpWidth = 400;
constexpr double kCapHeight = 9.5;

constexpr double kPanelOpacity = 0.85;
const cv::Scalar kBackground(34, 28, 24);
const cv::Scalar kPlain(235, 235, 235);
const cv::Scalar kStrong(90, 215, 255);
const cv::Scalar kQuiet(170, 165, 160);

LetterStyle letters(Piece::Style style)
{
    switch (style) {
    case Piece::STRONG:
        return {kCapHeight, 1.5, kStrong};
    case Piece::QUIET:
        return {kCapHeight, 1.1, kQuiet};
    default:
        return {kCapHeight, 1.2, kPlain};
    }
}

/// The place of a window's pixel in the picture, along one direction.
int placeOf(int windowPixel, int areaStart, int areaExtent, int pictureExtent)
{
    const double place = (windowPixel - areaStart + 0.5) * pictureExtent / areaExtent;
    return std::clamp(static_cast<int>(std::floor(place)), 0, pictureExtent - 1);
}

void outline(const cv::Rect2d& place, double distance)
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

Placement::Placement(const cv::Size& window, const cv::Size& picture) : mPicture(picture)
{
    const cv::Size size = fittedSize(picture, window);
    mArea = {cv::Point((window.width - size.width) / 2, (window.height - size.height) / 2), size};
}

cv::Point Placement::pixelAt(const cv::Point& windowPixel) const
{
    return {placeOf(windowPixel.x, mArea.x, mArea.width, mPicture.width),
            placeOf(windowPixel.y, mArea.y, mArea.height, mPicture.height)};
}

cv::Rect2d Placement::covered(const cv::Rect& rectangle) const
{
    const double across = static_cast<double>(mArea.width) / mPicture.width;
    const double down = static_cast<double>(mArea.height) / mPicture.height;
    return {mArea.x + rectangle.x * across, mArea.y + rectangle.y * down, rectangle.width * across,
            rectangle.height * down};
}

Screen::Screen(const cv::Size& window) : mWindow(window)
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

void Screen::texture(RectTexture& texture, const cv::Rect& place, double opacity)
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

void Screen::frame(const cv::Rect2d& place, const cv::Vec3b& colour)
{
    glColor3ub(0, 0, 0);
    outline(place, 2);
    glColor3ub(colour[2], colour[1], colour[0]);
    outline(place, 1);
}

void Screen::panel(const cv::Mat& picture, const cv::Point& corner)
{
    const auto panel = makeTexture(picture);
    texture(*panel, {corner, picture.size()}, kPanelOpacity);
}

void Screen::strip(const std::vector<Line>& lines)
{
    cv::Mat strip(kStripLine * static_cast<int>(lines.size()) + kMargin, mWindow.width, CV_8UC3, kBackground);
    int baseline = kStripLine - 1;
    for (const Line& line : lines) {
        int x = kMargin;
        for (const Piece& piece : line) {
            const LetterStyle style = letters(piece.style);
            const std::string text = shortened(piece.text, strip.cols - kMargin - x, style);
            drawText(strip, text, {x, baseline}, style);
            if (text != piece.text)
                break;
            x += textWidth(text, style) + kPieceGap;
        }
        baseline += kStripLine;
    }
    panel(strip, {0, mWindow.height - strip.rows});
}

void Screen::help(const std::vector<HelpLine>& lines)
{
    cv::Mat list(kHelpLine * (static_cast<int>(lines.size()) + 1) + 2 * kHelpMargin, kHelpWidth, CV_8UC3, kBackground);
    int baseline = kHelpMargin + kHelpLine / 2;
    drawText(list, "velmor-viewer", {kHelpMargin, baseline}, letters(Piece::PLAIN));
    baseline += kHelpLine / 2;
    for (const HelpLine& line : lines) {
        baseline += kHelpLine;
        drawText(list, line.keys, {kHelpMargin, baseline}, letters(Piece::STRONG));
        drawText(list, line.effect, {kHelpMargin + kHelpKeys, baseline}, letters(Piece::PLAIN));
    }
    if (list.cols > mWindow.width || list.rows > mWindow.height)
        list = fitted(list, mWindow);
    panel(list, {(mWindow.width - list.cols) / 2, (mWindow.height - list.rows) / 2});
}

} // namespace velmor::examples
