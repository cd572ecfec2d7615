#pragma once

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include <string>

namespace velmor::demo {

class MessageLog;
class OutputFolder;

/// Writes moving pictures: as an MP4 video, H.264 or else MPEG-4, and where neither can be encoded, or when asked to,
/// as a folder of PNG pictures.
class ClipWriter
{
public:
    static constexpr const char* kVideoName = "motion.mp4";
    static constexpr const char* kSequenceName = "motion";

    /// @param folder      takes the result; must outlive the writer
    /// @param size        of the pictures; width and height even, as video codecs want it
    /// @param rate        pictures per second
    /// @param asSequence  write PNG pictures
    /// @param log         takes what encoders print
    ClipWriter(const OutputFolder& folder, const cv::Size& size, double rate, bool asSequence, const MessageLog& log);

    /// Adds a picture, 8-bit BGR.
    /// @throws std::runtime_error  when a PNG picture cannot be written
    void add(const cv::Mat& picture);

    /// Completes the result.
    /// @throws std::runtime_error  when the video does not hold every picture
    void finish();

    /// Name of the result in the folder.
    std::string name() const { return mFormat.empty() ? kSequenceName : kVideoName; }

    /// What the result is, for the summary.
    std::string description() const;

private:
    bool openVideo(const cv::Size& size, const MessageLog& log);

    const OutputFolder& mFolder;
    cv::VideoWriter mVideo;
    std::string mFormat; ///< of the video; empty for a sequence of pictures
    double mRate;
    int mPictures = 0;
};

} // namespace velmor::demo
