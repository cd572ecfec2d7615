#include "examples/demo/MotionClip.h"

#include "examples/shared/Lettering.h"
#include "examples/shared/PictureFit.h"

namespace velmor::demo {
namespace {

// Measures in pixels.
const cv::Size kPanelBox(640, 480); ///< that a picture fills as far as its proportions allow
constexpr int kMargin = 24;
constexpr int kGap = 16;
constexpr int kCaptionBlock = 48; ///< below the pictures
constexpr int kCaptionBaseline = 29;

const cv::Scalar kPaper(255, 255, 255);
const LetterStyle kCaptionStyle{13, 1.6, cv::Scalar(56, 50, 46)};

int even(int extent)
{
    return extent + extent % 2;
}

cv::Mat composed(const std::vector<MotionClip::Panel>& panels)
{
    const cv::Size size = fittedSize(panels.front().picture.size(), kPanelBox);
    const int count = static_cast<int>(panels.size());
    const int width = 2 * kMargin + count * kPanelBox.width + (count - 1) * kGap;
    cv::Mat page(even(kMargin + size.height + kCaptionBlock), even(width), CV_8UC3, kPaper);
    int left = kMargin;
    for (const MotionClip::Panel& panel : panels) {
        const cv::Point corner(left + (kPanelBox.width - size.width) / 2, kMargin);
        fitted(panel.picture, kPanelBox).copyTo(page(cv::Rect(corner, size)));
        drawText(page, shortened(panel.caption, kPanelBox.width, kCaptionStyle),
                 {left, kMargin + size.height + kCaptionBaseline}, kCaptionStyle);
        left += kPanelBox.width + kGap;
    }
    return page;
}

} // namespace

MotionClip::MotionClip(const OutputFolder& folder, double rate, bool asSequence, const MessageLog& log)
    : mFolder(folder), mLog(log), mRate(rate), mAsSequence(asSequence)
{
}

void MotionClip::add(const std::vector<Panel>& panels)
{
    const cv::Mat page = composed(panels);
    if (!mWriter)
        mWriter.emplace(mFolder, page.size(), mRate, mAsSequence, mLog);
    mWriter->add(page);
}

const ClipWriter* MotionClip::finish()
{
    if (!mWriter)
        return nullptr;
    mWriter->finish();
    return &*mWriter;
}

} // namespace velmor::demo
