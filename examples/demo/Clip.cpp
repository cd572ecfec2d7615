#include "examples/demo/Clip.h"

#include "examples/demo/Summary.h"
#include "examples/shared/Findings.h"
#include "examples/shared/Lettering.h"
#include "examples/shared/Pictures.h"
#include "examples/shared/Program.h"

#include <unistd.h>

#include <cmath>
#include <stdexcept>
#include <utility>

namespace velmor::examples {
namespace {

// Measures in pixels.
const cv::Size kPanelBox(640,
                         480); ///< that a picture fills as far as its proportions allow
constexpr int kMargin = 24;
constexpr int kGap = 16;
constexpr int kCaptionBlock = 48; ///< below the pictures
constexpr int kCaptionBaseline = 29;

const cv::Scalar kPaper(255, 255, 255);
const LetterStyle kCaptionStyle{13, 1.6, cv::Scalar(56, 50, 46)};

/// Video codecs want even widths and heights.
int even(int extent)
{
    return extent + extent % 2;
}

cv::Mat composed(const std::vector<Clip::Panel>& panels)
{
    const cv::Size size = fittedSize(panels.front().picture.size(), kPanelBox);
    const int count = static_cast<int>(panels.size());
    const int width = 2 * kMargin + count * kPanelBox.width + (count - 1) * kGap;
    cv::Mat page(even(kMargin + size.height + kCaptionBlock), even(width), CV_8UC3, kPaper);
    int left = kMargin;
    for (const Clip::Panel& panel : panels) {
        const cv::Point corner(left + (kPanelBox.width - size.width) / 2, kMargin);
        fitted(panel.picture, kPanelBox).copyTo(page(cv::Rect(corner, size)));
        drawText(page, shortened(panel.caption, kPanelBox.width, kCaptionStyle),
                 {left, kMargin + size.height + kCaptionBaseline}, kCaptionStyle);
        left += kPanelBox.width + kGap;
    }
    return page;
}

/// "frame-0001.png"
std::string frameName(int number)
{
    const std::string digits = std::to_string(number);
    return "frame-" + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits + ".png";
}

} // namespace

void Clip::add(const std::vector<Panel>& panels)
{
    const cv::Mat page = composed(panels);
    if (++mPictures == 1)
        begin(page.size());
    if (mFormat.empty())
        savePicture(page, mFolder / kSequenceName / frameName(mPictures));
    else
        mVideo.write(page);
}

void Clip::begin(const cv::Size& size)
{
    const MessageLog::Capture capture(mLog, STDERR_FILENO);
    const std::pair<const char*, int> formats[] = {{"H.264", cv::VideoWriter::fourcc('a', 'v', 'c', '1')},
                                                   {"MPEG-4", cv::VideoWriter::fourcc('m', 'p', '4', 'v')}};
    for (const auto& [name, code] : formats)
        if (!mAsSequence && mVideo.open(mFolder / kVideoName, cv::CAP_FFMPEG, code, mRate, size)) {
            mFormat = name;
            return;
        }
    std::filesystem::remove(mFolder / kVideoName); // an attempt may leave an empty file
    std::filesystem::create_directory(mFolder / kSequenceName);
}

void Clip::finish(Summary& summary)
{
    const std::string count = countText(mPictures, "picture");
    if (mFormat.empty()) {
        if (mPictures > 0)
            summary.addFile(kSequenceName, count);
        return;
    }
    mVideo.release();
    // The encoder does not tell when it fails, on a full disk for instance: the file itself is asked.
    const std::string file = mFolder / kVideoName;
    const cv::VideoCapture written(file, cv::CAP_FFMPEG);
    const int readable = written.isOpened() ? static_cast<int>(written.get(cv::CAP_PROP_FRAME_COUNT)) : 0;
    if (readable != mPictures)
        throw std::runtime_error("cannot write '" + file + "': " + std::to_string(readable) + " of " +
                                 std::to_string(mPictures) + " pictures arrived in it");
    summary.addFile(kVideoName, count + ", " + std::to_string(std::lround(mRate)) + " per second, " + mFormat);
}

} // namespace velmor::examples
