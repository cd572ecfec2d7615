#include "examples/demo/Showcase.h"

#include "examples/demo/Sheet.h"
#include "examples/demo/Summary.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace velmor::examples {
std::unique_ptr<cvprocess::GpuStdShaders> prepared(const std::string& name, const Textures& sources,
                                                   RectTexture& destination, const catalogue::Values& values,
                                                   const catalogue::Given& given)
{
    auto filter = catalogue::makeGpu(name, values, given);
    if (sources.size() == 1)
        filter->prepareExecution(*sources[0], destination);
    else
        filter->prepareExecution(*sources[0], *sources[1], destination);
    return filter;
}

double medianMilliseconds(const std::function<void()>& work)
{
    using Clock = std::chrono::steady_clock;
    work();
    std::array<double, 5> times;
    for (double& time : times) {
        const Clock::time_point begin = Clock::now();
        work();
        time = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void Showcase::showPicture(const std::string& title, const cv::Mat& picture, const std::string& sentence)
{
    mSheet.add(picture, title, sentence);
}

void Showcase::showResult(const std::string& title, const cv::Mat& picture, double milliseconds,
                          const std::string& found, const std::string& sentence, const cv::Size& counted)
{
    mSheet.add(picture, title, sentence);
    mSummary.addOperator(title, counted.empty() ? picture.size() : counted, milliseconds, found);
}

void Showcase::leaveOut(const std::string& what, const std::string& why)
{
    mSummary.addFact(what, why);
}

void Showcase::showFilter(const std::string& title, cvprocess::GpuStdShaders& filter, const RectTexture& destination,
                          const Finding& found, const std::string& sentence, double brightness)
{
    const auto read = [&] {
        const cv::Mat result = download(destination);
        return Reading{result * brightness, found(result)};
    };
    showPass(title, filter, read, sentence);
}

void Showcase::showFilter(const std::string& title, const Textures& sources, RectTexture& destination,
                          const Finding& found, const std::string& sentence, double brightness)
{
    const auto filter = prepared(title.substr(0, title.find(',')), sources, destination);
    showFilter(title, *filter, destination, found, sentence, brightness);
}

void Showcase::showPass(const std::string& title, cvprocess::GpuStdShaders& filter,
                        const std::function<Reading()>& read, const std::string& sentence)
{
    const double milliseconds = medianMilliseconds([&filter] { filter.execute(); });
    const Reading reading = read();
    showResult(title, reading.picture, milliseconds, reading.found, sentence);
}

} // namespace velmor::examples
