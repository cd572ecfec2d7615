#include "examples/shared/Lettering.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

namespace velmor::examples {
namespace {

// The letters are strokes. They are drawn large and reduced, which gives smooth edges and any stroke width.
constexpr int kOversampling = 4;
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr double kFontCapHeight = 21;  ///< of the font at scale 1
constexpr double kSpace = 0.55;        ///< between words, as a share of the cap height; the font's own is wide
constexpr double kLineAboveBase = 1.6; ///< of a line's height, as a share of the cap height
constexpr double kLineBelowBase = 0.7;

double fontScale(const LetterStyle& style)
{
    return style.capHeight * kOversampling / kFontCapHeight;
}

int strokeWidth(const LetterStyle& style)
{
    return std::max(1, static_cast<int>(std::lround(style.stroke * kOversampling)));
}

/// A word and where it begins, in oversampled pixels.
struct PlacedWord
{
    std::string text;
    int x;
};

/// The text with a question mark for each letter that the font does not have.
std::string drawable(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
            result += c;
        else if (byte >= 0xC0) // the first byte of a letter in UTF-8; further ones are below
            result += '?';
    }
    return result;
}

/// Sets the words of a line one behind the other; returns the width of the line in oversampled pixels.
int placeWords(const std::string& text, const LetterStyle& style, std::vector<PlacedWord>& words)
{
    const int space = static_cast<int>(std::lround(kSpace * style.capHeight * kOversampling));
    int x = 0;
    std::istringstream stream(drawable(text));
    for (std::string word; stream >> word;) {
        if (!words.empty())
            x += space;
        words.push_back({word, x});
        x += cv::getTextSize(word, kFont, fontScale(style), strokeWidth(style), nullptr).width;
    }
    return x;
}

/// Coverage of the pixels by a line of text, 0..255.
cv::Mat coverage(const std::string& text, const LetterStyle& style, int above, int below)
{
    std::vector<PlacedWord> words;
    const int width = placeWords(text, style, words) / kOversampling + 1;
    cv::Mat large(cv::Size(width, above + below) * kOversampling, CV_8U, cv::Scalar(0));
    for (const PlacedWord& word : words)
        cv::putText(large, word.text, {word.x, above * kOversampling}, kFont, fontScale(style), cv::Scalar(255),
                    strokeWidth(style), cv::LINE_AA);
    cv::Mat reduced;
    cv::resize(large, reduced, cv::Size(width, above + below), 0, 0, cv::INTER_AREA);
    return reduced;
}

} // namespace

void drawText(cv::Mat& page, const std::string& text, const cv::Point& baseline, const LetterStyle& style)
{
    const int above = static_cast<int>(std::ceil(kLineAboveBase * style.capHeight));
    const int below = static_cast<int>(std::ceil(kLineBelowBase * style.capHeight));
    const cv::Mat line = coverage(text, style, above, below);
    const cv::Rect place(cv::Point(baseline.x, baseline.y - above), line.size());
    const cv::Rect visible = place & cv::Rect(cv::Point(0, 0), page.size());
    for (int y = visible.y; y < visible.br().y; ++y)
        for (int x = visible.x; x < visible.br().x; ++x) {
            const double share = line.at<unsigned char>(y - place.y, x - place.x) / 255.0;
            cv::Vec3b& pixel = page.at<cv::Vec3b>(y, x);
            for (int channel = 0; channel < 3; ++channel)
                pixel[channel] =
                    cv::saturate_cast<unsigned char>(pixel[channel] * (1 - share) + style.colour[channel] * share);
        }
}

int textWidth(const std::string& text, const LetterStyle& style)
{
    std::vector<PlacedWord> words;
    return placeWords(text, style, words) / kOversampling + 1;
}

std::string shortened(const std::string& text, int width, const LetterStyle& style)
{
    std::string result = text;
    for (std::size_t length = text.size(); length > 0 && textWidth(result, style) > width; --length)
        result = text.substr(0, length - 1) + "...";
    return result;
}

} // namespace velmor::examples
