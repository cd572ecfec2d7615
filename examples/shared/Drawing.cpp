#include "examples/shared/Drawing.h"

#include "examples/shared/Findings.h"
#include "examples/shared/Lettering.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmor::examples {
namespace {

const cv::Scalar kMarkColour(0, 60, 230);
constexpr int kShift = 4; ///< OpenCV draws at 1/16 of a pixel so

cv::Point fine(const cv::Point2d& point)
{
    constexpr double kScale = 1 << kShift;
    return {cvRound(point.x * kScale), cvRound(point.y * kScale)};
}

// Measures of a histogram's picture in pixels.
constexpr int kWidth = 446;
constexpr int kHeight = 335;
constexpr int kMargin = 20;
constexpr int kBarWidth = 16;
constexpr int kPitch = 17; ///< from bar to bar
constexpr int kBars = (kWidth - 2 * kMargin) / kPitch;
constexpr int kHighest = kHeight - 2 * kMargin - 22; ///< below the percentage
const cv::Scalar kPaper(255, 255, 255);
const cv::Scalar kOutline(120, 116, 112);
const LetterStyle kStyle{11, 1.4, cv::Scalar(40, 34, 30)};

/// A bin of a histogram of blue, green and red.
struct Bin
{
    double share;      ///< 0..1
    cv::Scalar colour; ///< in the middle of the bin, BGR
};

double middle(int bin, int bins)
{
    return (bin + 0.5) * 256 / bins;
}

/// The bins that are not empty, the fullest first.
std::vector<Bin> filledBins(const core::cvdata::ColourHist2d& histogram)
{
    unsigned char bins1 = 0, bins2 = 0, bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    std::vector<Bin> filled;
    for (unsigned char i = 0; i < bins1; ++i)
        for (unsigned char j = 0; j < bins2; ++j)
            for (unsigned char k = 0; k < bins3; ++k)
                if (const double share = histogram.getValue(i, j, k); share > 0)
                    filled.push_back({share, {middle(i, bins1), middle(j, bins2), middle(k, bins3)}});
    std::stable_sort(filled.begin(), filled.end(), [](const Bin& a, const Bin& b) { return a.share > b.share; });
    return filled;
}

} // namespace

Marks::Marks(cv::Mat& picture) : mPicture(picture), mUnit(std::max(picture.cols, picture.rows) / 446.0) {}

void Marks::rectangle(const cv::Rect& place)
{
    cv::rectangle(mPicture, place, kMarkColour, std::max(1, cvRound(2 * mUnit)));
}

void Marks::cross(const cv::Point2d& centre)
{
    for (const cv::Point2d& arm : {cv::Point2d(1, 0), cv::Point2d(-1, 0), cv::Point2d(0, 1), cv::Point2d(0, -1)})
        cv::line(mPicture, fine(centre + arm * (4 * mUnit)), fine(centre + arm * (14 * mUnit)), kMarkColour,
                 std::max(1, cvRound(2 * mUnit)), cv::LINE_AA, kShift);
}

void Marks::blob(const core::cvdata::Blobs::BlobInfo& blob)
{
    const double radians = blob.angle * CV_PI / 180;
    const cv::Point2d centre(blob.x, blob.y);
    const cv::Point2d along(std::cos(radians), std::sin(radians));
    const cv::Point2d across(-along.y, along.x);
    for (const cv::Point2d& axis : {along * blob.majorAxis, across * blob.minorAxis})
        cv::line(mPicture, fine(centre - axis), fine(centre + axis), kMarkColour, std::max(1, cvRound(mUnit)),
                 cv::LINE_AA, kShift);
    cv::ellipse(mPicture, fine(centre), cv::Size(fine({blob.majorAxis, blob.minorAxis})), blob.angle, 0, 360,
                kMarkColour, std::max(1, cvRound(1.5 * mUnit)), cv::LINE_AA, kShift);
}

void Marks::label(const cv::Point2d& point, const std::string& text)
{
    const cv::Point baseline(point + cv::Point2d(8, -8) * mUnit);
    drawText(mPicture, text, baseline, {9 * mUnit, 3.5 * mUnit, cv::Scalar::all(255)});
    drawText(mPicture, text, baseline, {9 * mUnit, 1.4 * mUnit, cv::Scalar(120, 20, 0)});
}

cv::Mat faded(const cv::Mat& picture)
{
    cv::Mat grey;
    cv::cvtColor(picture, grey, cv::COLOR_BGR2GRAY);
    cv::cvtColor(grey, grey, cv::COLOR_GRAY2BGR);
    return grey * 0.5 + cv::Scalar::all(110);
}

cv::Rect faceRectangle(const math::Vector4& face)
{
    return {cvRound(face[0]), cvRound(face[1]), cvRound(face[2]), cvRound(face[3])};
}

const std::array<cv::Vec3b, kClasses> kClassColours = {{{170, 80, 20}, {90, 170, 60}, {60, 170, 250}}};

cv::Mat classPicture(const cv::Mat& classes)
{
    cv::Mat result(classes.size(), CV_8UC3, cv::Scalar::all(0));
    for (std::size_t i = 0; i < kClasses; ++i)
        result.setTo(kClassColours[i], classes == static_cast<double>(i));
    return result;
}

double largestShare(const core::cvdata::ColourHist2d& histogram)
{
    const std::vector<Bin> bins = filledBins(histogram);
    return bins.empty() ? 0 : bins.front().share;
}

cv::Mat histogramPicture(const core::cvdata::ColourHist2d& histogram)
{
    cv::Mat picture(kHeight, kWidth, CV_8UC3, kPaper);
    std::vector<Bin> bins = filledBins(histogram);
    if (bins.empty())
        return picture;
    bins.resize(std::min<std::size_t>(kBars, bins.size()));
    const int bottom = kHeight - kMargin;
    int left = kMargin;
    for (const Bin& bin : bins) {
        const int height = std::max(1, cvRound(kHighest * bin.share / bins.front().share));
        const cv::Rect bar(left, bottom - height, kBarWidth, height);
        cv::rectangle(picture, bar, bin.colour, cv::FILLED);
        cv::rectangle(picture, bar, kOutline);
        left += kPitch;
    }
    drawText(picture, percentText(bins.front().share), {kMargin, bottom - kHighest - 8}, kStyle);
    return picture;
}

} // namespace velmor::examples
