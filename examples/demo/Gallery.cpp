#include "examples/demo/Gallery.h"

#include "examples/shared/Lettering.h"
#include "examples/shared/PictureFit.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <numeric>

namespace velmor::demo {
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
const cv::Scalar kMount(244, 243, 242); ///< behind a picture that does not fill its place
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

} // namespace

void Gallery::beginSection(const std::string& heading)
{
    mSections.push_back({heading, {}});
}

void Gallery::add(const cv::Mat& picture, const std::string& title, const std::string& sentence)
{
    mSections.back().exhibits.push_back({fitted(picture, {kPictureWidth, kPictureHeight}), title, sentence});
}

std::size_t Gallery::size() const
{
    return std::accumulate(mSections.begin(), mSections.end(), std::size_t{0},
                           [](std::size_t sum, const Section& section) { return sum + section.exhibits.size(); });
}

std::vector<Gallery::Exhibit> Gallery::exhibits() const
{
    std::vector<Exhibit> result;
    for (const Section& section : mSections)
        result.insert(result.end(), section.exhibits.begin(), section.exhibits.end());
    return result;
}

cv::Mat Gallery::sheet(const std::string& title, const std::string& subtitle) const
{
    int height = kMargin + kTitleBlock;
    for (const Section& section : mSections)
        height += sectionHeight(section);
    height += kMargin - (kCaptionBlock - kSentenceBaseline); // the margin below begins at the last sentence

    cv::Mat sheet(height, sheetWidth(), CV_8UC3, kPaper);
    const int textWidth = sheet.cols - 2 * kMargin;
    drawFittedText(sheet, title, {kMargin, kMargin + kTitleBaseline}, textWidth, kTitleStyle);
    drawFittedText(sheet, subtitle, {kMargin, kMargin + kSubtitleBaseline}, textWidth, kSubtitleStyle);
    int top = kMargin + kTitleBlock;
    for (const Section& section : mSections) {
        drawSection(sheet, section, top);
        top += sectionHeight(section);
    }
    return sheet;
}

int Gallery::sheetWidth() const
{
    return 2 * kMargin + mColumns * kPictureWidth + (mColumns - 1) * kGap;
}

std::size_t Gallery::endOfRow(const Section& section, std::size_t firstOfRow) const
{
    return std::min(firstOfRow + static_cast<std::size_t>(mColumns), section.exhibits.size());
}

int Gallery::rowHeight(const Section& section, std::size_t firstOfRow) const
{
    int height = 0;
    const std::size_t end = endOfRow(section, firstOfRow);
    for (std::size_t i = firstOfRow; i < end; ++i)
        height = std::max(height, section.exhibits[i].picture.rows);
    return height;
}

int Gallery::sectionHeight(const Section& section) const
{
    int height = kHeadingBlock;
    for (std::size_t i = 0; i < section.exhibits.size(); i = endOfRow(section, i))
        height += rowHeight(section, i) + kCaptionBlock;
    return height;
}

void Gallery::drawSection(cv::Mat& sheet, const Section& section, int top) const
{
    drawText(sheet, section.heading, {kMargin, top + kHeadingBaseline}, kHeadingStyle);
    top += kHeadingBlock;
    for (std::size_t first = 0; first < section.exhibits.size(); first = endOfRow(section, first)) {
        const int height = rowHeight(section, first);
        const std::size_t end = endOfRow(section, first);
        for (std::size_t i = first; i < end; ++i) {
            const int left = kMargin + static_cast<int>(i - first) * (kPictureWidth + kGap);
            drawExhibit(sheet, section.exhibits[i], {left, top, kPictureWidth, height});
        }
        top += height + kCaptionBlock;
    }
}

void Gallery::drawExhibit(cv::Mat& sheet, const Exhibit& exhibit, const cv::Rect& place)
{
    cv::rectangle(sheet, place, kMount, cv::FILLED);
    const cv::Point corner = place.tl() + (cv::Point(place.size()) - cv::Point(exhibit.picture.size())) / 2;
    exhibit.picture.copyTo(sheet(cv::Rect(corner, exhibit.picture.size())));
    cv::rectangle(sheet, {place.x - 1, place.y - 1, place.width + 2, place.height + 2}, kFrame);
    drawFittedText(sheet, exhibit.title, {place.x, place.br().y + kCaptionBaseline}, place.width, kCaptionStyle);
    drawFittedText(sheet, exhibit.sentence, {place.x, place.br().y + kSentenceBaseline}, place.width, kSentenceStyle);
}

} // namespace velmor::demo
