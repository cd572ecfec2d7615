#pragma once

#include "gstreamer/FilterCaps.h"

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <mutex>
#include <vector>

namespace velmor::gstreamer {

/// The numbers that velmorfilter found in the last frame. Any thread reads them.
class FilterNumbers
{
public:
    /// Finds the numbers of a frame.
    /// @param choice  gives numbers
    void find(const FilterChoice& choice, const catalogue::Values& values, const cv::Mat& picture,
              const Format& format);

    /// Adds the last frame's numbers to a message.
    void describe(const FilterChoice& choice, GstStructure* message) const;

    /// How many pixels of the last mask were set.
    std::uint64_t count() const;

    /// Gives the share of each cell of colours in the last frame to a GstValueArray.
    void giveHistogram(GValue& value) const;

private:
    mutable std::mutex mMutex;
    std::uint64_t mCount = 0;
    std::vector<double> mHistogram;
};

} // namespace velmor::gstreamer
