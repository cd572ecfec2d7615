#include "examples/demo/Showcase.h"

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"
#include "examples/demo/Gallery.h"
#include "examples/demo/Interruption.h"
#include "examples/demo/MedianTime.h"
#include "examples/demo/Summary.h"
#include "examples/shared/GpuPictures.h"

namespace velmor::demo {

void Showcase::showPicture(const std::string& title, const cv::Mat& picture, const std::string& sentence)
{
    mGallery.add(picture, title, sentence);
}

void Showcase::showResult(const std::string& title, const cv::Mat& picture, double milliseconds,
                          const std::string& found, const std::string& sentence)
{
    showChart(title, picture, picture.size(), milliseconds, found, sentence);
}

void Showcase::showChart(const std::string& title, const cv::Mat& chart, const cv::Size& counted, double milliseconds,
                         const std::string& found, const std::string& sentence)
{
    mGallery.add(chart, title, sentence);
    mSummary.addOperator(title, counted, milliseconds, found);
}

void Showcase::leaveOut(const std::string& what, const std::string& why)
{
    mSummary.addFact(what, why);
}

void Showcase::showFilter(const std::string& title, cvprocess::GpuStdShaders& filter,
                          const glsupport::RectTexture& destination, const Finding& found, const std::string& sentence,
                          double brightness)
{
    const auto read = [&] {
        const cv::Mat result = download(destination);
        return Reading{result * brightness, found(result)};
    };
    showPass(title, filter, read, sentence);
}

void Showcase::showPass(const std::string& title, cvprocess::GpuStdShaders& filter,
                        const std::function<Reading()>& read, const std::string& sentence)
{
    Interruption::throwIfRequested();
    const double milliseconds = medianMilliseconds([&filter] { filter.execute(); });
    const Reading reading = read();
    showResult(title, reading.picture, milliseconds, reading.found, sentence);
}

} // namespace velmor::demo
