#pragma once

#include "examples/demo/ClipWriter.h"

#include <opencv2/core.hpp>

#include <optional>
#include <string>
#include <vector>

namespace velmor::demo {

/// Moving results: at each moment a row of pictures with a caption each, such as a frame beside what a filter sees.
class MotionClip
{
public:
    struct Panel
    {
        cv::Mat picture; ///< 8-bit, grey or BGR
        std::string caption;
    };

    /// The parameters as for ClipWriter.
    MotionClip(const OutputFolder& folder, double rate, bool asSequence, const MessageLog& log);

    /// Adds a moment. Number and sizes of the pictures are the same in each.
    void add(const std::vector<Panel>& panels);

    /// Completes the result.
    /// @return  the writer, which tells name and description; none when nothing was added
    const ClipWriter* finish();

private:
    const OutputFolder& mFolder;
    const MessageLog& mLog;
    double mRate;
    bool mAsSequence;
    std::optional<ClipWriter> mWriter; ///< made with the first moment
};

} // namespace velmor::demo
