#include "examples/viewer/Panels.h"

#include "examples/shared/Lettering.h"
#include "examples/shared/PictureFit.h"
#include "examples/viewer/Commands.h"

namespace velmor::viewer {
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

const cv::Scalar kBackground(34, 28, 24);
const cv::Scalar kPlain(235, 235, 235);
const cv::Scalar kStrong(90, 215, 255);
const cv::Scalar kQuiet(170, 165, 160);

demo::LetterStyle letters(Piece::Style style)
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

} // namespace

cv::Mat stripPicture(const std::vector<Line>& lines, int width)
{
    cv::Mat strip(kStripLine * static_cast<int>(lines.size()) + kMargin, width, CV_8UC3, kBackground);
    int baseline = kStripLine - 1;
    for (const Line& line : lines) {
        int x = kMargin;
        for (const Piece& piece : line) {
            const demo::LetterStyle style = letters(piece.style);
            const std::string text = demo::shortened(piece.text, width - kMargin - x, style);
            demo::drawText(strip, text, {x, baseline}, style);
            if (text != piece.text)
                break;
            x += demo::textWidth(text, style) + kPieceGap;
        }
        baseline += kStripLine;
    }
    return strip;
}

cv::Mat helpPicture(const cv::Size& window)
{
    const std::vector<HelpLine> lines = helpLines();
    cv::Mat panel(kHelpLine * (static_cast<int>(lines.size()) + 1) + 2 * kHelpMargin, kHelpWidth, CV_8UC3, kBackground);
    int baseline = kHelpMargin + kHelpLine / 2;
    demo::drawText(panel, "velmor-viewer", {kHelpMargin, baseline}, letters(Piece::PLAIN));
    baseline += kHelpLine / 2;
    for (const HelpLine& line : lines) {
        baseline += kHelpLine;
        demo::drawText(panel, line.keys, {kHelpMargin, baseline}, letters(Piece::STRONG));
        demo::drawText(panel, line.effect, {kHelpMargin + kHelpKeys, baseline}, letters(Piece::PLAIN));
    }
    const bool fits = panel.cols <= window.width && panel.rows <= window.height;
    return fits ? panel : demo::fitted(panel, window);
}

} // namespace velmor::viewer
