#include "examples/shared/HistogramPicture.h"

#include "core/cvdata/ColourHist2d.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Lettering.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace velmor::demo {
namespace {

// Measures in pixels.
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

double middle(int bin, int bins)
{
    return (bin + 0.5) * 256 / bins;
}

} // namespace

std::vector<ColourShare> largestShares(const core::cvdata::ColourHist2d& histogram, std::size_t most)
{
    unsigned char bins1 = 0, bins2 = 0, bins3 = 0;
    histogram.getNofBins(bins1, bins2, bins3);
    std::vector<ColourShare> shares;
    for (unsigned char i = 0; i < bins1; ++i)
        for (unsigned char j = 0; j < bins2; ++j)
            for (unsigned char k = 0; k < bins3; ++k)
                if (const double share = histogram.getValue(i, j, k); share > 0)
                    shares.push_back({share, {middle(i, bins1), middle(j, bins2), middle(k, bins3)}});
    std::stable_sort(shares.begin(), shares.end(), [](const auto& a, const auto& b) { return a.share > b.share; });
    shares.resize(std::min(most, shares.size()));
    return shares;
}

cv::Mat histogramPicture(const core::cvdata::ColourHist2d& histogram)
{
    cv::Mat picture(kHeight, kWidth, CV_8UC3, kPaper);
    const std::vector<ColourShare> shares = largestShares(histogram, kBars);
    if (shares.empty())
        return picture;
    const int bottom = kHeight - kMargin;
    int left = kMargin;
    for (const auto& [share, colour] : shares) {
        const int height = std::max(1, cvRound(kHighest * share / shares.front().share));
        const cv::Rect bar(left, bottom - height, kBarWidth, height);
        cv::rectangle(picture, bar, colour, cv::FILLED);
        cv::rectangle(picture, bar, kOutline);
        left += kPitch;
    }
    drawText(picture, percentText(shares.front().share), {kMargin, bottom - kHighest - 8}, kStyle);
    return picture;
}

} // namespace velmor::demo
