#pragma once

#include <opencv2/videoio.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace velmor::examples {

class MessageLog;
class Summary;

/// Moving results: at each moment a row of pictures with a caption each, such as a frame beside what a filter sees.
/// They are written as an MP4 video, H.264 or else MPEG-4, and where neither can be encoded, or when asked to, as a
/// folder of PNG pictures.
class Clip
{
public:
    static constexpr const char* kVideoName = "motion.mp4";
    static constexpr const char* kSequenceName = "motion";

    struct Panel
    {
        cv::Mat picture;
        std::string caption;
    };

    /// @param rate  moments per second
    /// @param log   takes what encoders print; must outlive the clip
    Clip(const std::filesystem::path& folder, double rate, bool asSequence, const MessageLog& log)
        : mFolder(folder), mLog(log), mRate(rate), mAsSequence(asSequence)
    {
    }

    /// Adds a moment. Number and sizes of the pictures are the same in each.
    void add(const std::vector<Panel>& panels);

    /// Completes the result and names it, unless nothing was added.
    /// @throws std::runtime_error  when the video does not hold every moment
    void finish(Summary& summary);

private:
    void begin(const cv::Size& size);

    std::filesystem::path mFolder;
    const MessageLog& mLog;
    double mRate;
    bool mAsSequence;
    cv::VideoWriter mVideo;
    std::string mFormat; ///< of the video; empty for a sequence of pictures
    int mPictures = 0;
};

} // namespace velmor::examples
