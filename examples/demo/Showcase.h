#pragma once

#include <opencv2/core.hpp>

#include <functional>
#include <string>

namespace velmor {
namespace cvprocess {
class GpuStdShaders;
}
namespace glsupport {
class RectTexture;
}
} // namespace velmor

namespace velmor::demo {

class Gallery;
class Summary;

/// Where a section shows its operators: their pictures on the sheet, their figures in the summary.
class Showcase
{
public:
    /// Says in a few words what a result shows.
    using Finding = std::function<std::string(const cv::Mat& result)>;

    /// Both must outlive the showcase.
    Showcase(Gallery& gallery, Summary& summary) : mGallery(gallery), mSummary(summary) {}

    /// Shows a picture that is no operator's result, such as an input.
    void showPicture(const std::string& title, const cv::Mat& picture, const std::string& sentence);

    /// Shows a result that was computed and timed elsewhere.
    void showResult(const std::string& title, const cv::Mat& picture, double milliseconds, const std::string& found,
                    const std::string& sentence);

    /// Shows a result that is no picture, drawn as a chart.
    /// @param counted  size of the picture that it was computed from
    void showChart(const std::string& title, const cv::Mat& chart, const cv::Size& counted, double milliseconds,
                   const std::string& found, const std::string& sentence);

    /// Says in the summary why something is not shown.
    void leaveOut(const std::string& what, const std::string& why);

    /// Runs and times a GPU filter, and shows what it drew.
    /// @param filter       prepared to draw into the destination
    /// @param destination  a texture of colours
    /// @param brightness   the picture is shown so many times brighter than it is
    void showFilter(const std::string& title, cvprocess::GpuStdShaders& filter,
                    const glsupport::RectTexture& destination, const Finding& found, const std::string& sentence,
                    double brightness = 1);

    /// What a pass left, made visible.
    struct Reading
    {
        cv::Mat picture; ///< 8-bit, grey or BGR
        std::string found;
    };

    /// Runs and times a GPU filter whose result is no texture of colours, and shows what is read of it.
    /// @param filter  prepared
    /// @param read    called after the last pass
    void showPass(const std::string& title, cvprocess::GpuStdShaders& filter, const std::function<Reading()>& read,
                  const std::string& sentence);

private:
    Gallery& mGallery;
    Summary& mSummary;
};

} // namespace velmor::demo
