#include "examples/demo/Sheet.h"

#include "examples/shared/Lettering.h"
#include "examples/shared/Pictures.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::examples {
namespace {

// Measures of the sheet in pixels.
constexpr int kMargin = 60;
constexpr int kGap = 32;                      ///< between pictures that stand side by side
constexpr int kPictureWidth = 446;            ///< four fill 2000 pixels
constexpr int kPictureHeight = kPictureWidth; ///< at most; a row is as high as its highest picture
constexpr int kTitleBlock = 92;               ///< from the margin to the first section
constexpr int kHeadingBlock = 62;             ///< from the top of a section to its first pictures
constexpr int kCaptionBlock = 84;             ///< from the bottom of a picture to the next row
constexpr int kTitleBaseline = 24;
constexpr int kSubtitleBaseline = 62;
constexpr int kHeadingBaseline = 40;
constexpr int kCaptionBaseline = 26;
constexpr int kSentenceBaseline = 51;

const cv::Scalar kPaper(255, 255, 255);
const cv::Scalar kMount(244, 243,
                        242); ///< behind a picture that does not fill its place
const cv::Scalar kFrame(205, 203, 201);
const LetterStyle kTitleStyle{24, 3.2, cv::Scalar(40, 34, 30)};
const LetterStyle kSubtitleStyle{13, 1.4, cv::Scalar(110, 104, 100)};
const LetterStyle kHeadingStyle{17, 2.2, cv::Scalar(150, 84, 24)};
const LetterStyle kCaptionStyle{14, 2.2, cv::Scalar(40, 34, 30)};
const LetterStyle kSentenceStyle{12, 1.4, cv::Scalar(88, 82, 78)};

void drawFittedText(cv::Mat& sheet, const std::string& text, const cv::Point& baseline, int width,
                    const LetterStyle& style)
{
    drawText(sheet, shortened(text, width, style), baseline, style);
}

void drawExhibit(cv::Mat& sheet, const Sheet::Exhibit& exhibit, const cv::Rect& place)
{
    cv::rectangle(sheet, place, kMount, cv::FILLED);
    const cv::Point corner = place.tl() + (cv::Point(place.size()) - cv::Point(exhibit.picture.size())) / 2;
    exhibit.picture.copyTo(sheet(cv::Rect(corner, exhibit.picture.size())));
    cv::rectangle(sheet, {place.x - 1, place.y - 1, place.width + 2, place.height + 2}, kFrame);
    drawFittedText(sheet, exhibit.title, {place.x, place.br().y + kCaptionBaseline}, place.width, kCaptionStyle);
    drawFittedText(sheet, exhibit.sentence, {place.x, place.br().y + kSentenceBaseline}, place.width, kSentenceStyle);
}

int heightOf(const Sheet::Exhibits& row)
{
    int height = 0;
    for (const Sheet::Exhibit& exhibit : row)
        height = std::max(height, exhibit.picture.rows);
    return height;
}

} // namespace

void Sheet::beginSection(const std::string& heading)
{
    mSections.push_back({heading, {}});
}

void Sheet::add(const cv::Mat& picture, const std::string& title, const std::string& sentence)
{
    std::vector<Exhibits>& rows = mSections.back().rows;
    if (rows.empty() || rows.back().size() == mColumns)
        rows.emplace_back();
    rows.back().push_back({fitted(picture, {kPictureWidth, kPictureHeight}), title, sentence});
}

Sheet::Exhibits Sheet::exhibits() const
{
    Exhibits result;
    for (const Section& section : mSections)
        for (const Exhibits& row : section.rows)
            result.insert(result.end(), row.begin(), row.end());
    return result;
}

cv::Mat Sheet::drawn(const std::string& title, const std::string& subtitle) const
{
    int height = kMargin + kTitleBlock;
    for (const Section& section : mSections) {
        height += kHeadingBlock;
        for (const Exhibits& row : section.rows)
            height += heightOf(row) + kCaptionBlock;
    }
    height += kMargin - (kCaptionBlock - kSentenceBaseline); // the margin below begins at the last sentence

    const int columns = static_cast<int>(mColumns);
    const int textWidth = columns * kPictureWidth + (columns - 1) * kGap;
    cv::Mat sheet(height, textWidth + 2 * kMargin, CV_8UC3, kPaper);
    drawFittedText(sheet, title, {kMargin, kMargin + kTitleBaseline}, textWidth, kTitleStyle);
    drawFittedText(sheet, subtitle, {kMargin, kMargin + kSubtitleBaseline}, textWidth, kSubtitleStyle);
    int top = kMargin + kTitleBlock;
    for (const Section& section : mSections) {
        drawText(sheet, section.heading, {kMargin, top + kHeadingBaseline}, kHeadingStyle);
        top += kHeadingBlock;
        for (const Exhibits& row : section.rows) {
            cv::Rect place(kMargin, top, kPictureWidth, heightOf(row));
            for (const Exhibit& exhibit : row) {
                drawExhibit(sheet, exhibit, place);
                place.x += kPictureWidth + kGap;
            }
            top += place.height + kCaptionBlock;
        }
    }
    return sheet;
}

} // namespace velmor::examples
