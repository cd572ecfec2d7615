#pragma once

#include "catalogue/GpuFilters.h"
#include "examples/shared/Pictures.h"

#include <functional>
#include <vector>

namespace velmor::examples {

class Sheet;
class Summary;

using Textures = std::vector<RectTexture*>;

/// A filter by its name, with one source or two and its destination.
std::unique_ptr<cvprocess::GpuStdShaders> prepared(const std::string& name, const Textures& sources,
                                                   RectTexture& destination, const catalogue::Values& values = {},
                                                   const catalogue::Given& given = {});

/// How many milliseconds a piece of work takes: the median of five runs, after one that is not counted.
double medianMilliseconds(const std::function<void()>& work);

/// Where a section shows its operators: their pictures on the sheet, their figures in the summary.
class Showcase
{
public:
    Showcase(Sheet& sheet, Summary& summary) : mSheet(sheet), mSummary(summary) {}

    /// Shows a picture that is no operator's result, such as an input.
    void showPicture(const std::string& title, const cv::Mat& picture, const std::string& sentence);

    /// Shows a result that was computed and timed elsewhere.
    /// @param counted  size of the picture that a chart was computed from; of a picture its own
    void showResult(const std::string& title, const cv::Mat& picture, double milliseconds, const std::string& found,
                    const std::string& sentence, const cv::Size& counted = {});

    /// Says in the summary why something is not shown.
    void leaveOut(const std::string& what, const std::string& why);

    using Finding = std::function<std::string(const cv::Mat& result)>; ///< in a few words

    /// Runs and times a filter that is prepared, and shows the colours that it drew, so many times brighter.
    void showFilter(const std::string& title, cvprocess::GpuStdShaders& filter, const RectTexture& destination,
                    const Finding& found, const std::string& sentence, double brightness = 1);

    /// Likewise with the filter that the title names: it is the title, or what stands before a comma.
    void showFilter(const std::string& title, const Textures& sources, RectTexture& destination, const Finding& found,
                    const std::string& sentence, double brightness = 1);

    /// What a pass left, made visible.
    struct Reading
    {
        cv::Mat picture; ///< 8-bit, grey or BGR
        std::string found;
    };

    /// Runs and times a filter, and shows what is read of its result after the last pass.
    void showPass(const std::string& title, cvprocess::GpuStdShaders& filter, const std::function<Reading()>& read,
                  const std::string& sentence);

private:
    Sheet& mSheet;
    Summary& mSummary;
};

} // namespace velmor::examples
