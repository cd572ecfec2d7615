#pragma once

#include "catalogue/Catalogue.h"
#include "gstreamer/FilterCaps.h"
#include "gstreamer/Models.h"

#include <memory>

namespace velmor::native {
class Filter;
}

namespace velmor::gstreamer {

/// How the numbers of a filter that gives floats become bytes.
struct FloatsToBytes
{
    double scale = 1;
    double offset = 0;

    bool operator==(const FloatsToBytes& other) const { return scale == other.scale && offset == other.offset; }
};

/// A filter in main memory, between frames of two formats: the frames' red is its channel 0, whatever their formats
/// call first, and its floats become bytes.
class FilterRun
{
public:
    /// Makes the filter.
    /// @throws std::invalid_argument  when models are missing, or do not fit
    FilterRun(const FilterChoice& choice, const catalogue::Values& values, const Models& models);
    ~FilterRun();

    /// Whether a result may be written over its source.
    static bool isInPlace(const FilterChoice& choice);

    /// Filters a picture.
    /// @param from    a format that the choice takes
    /// @param result  of the source's size, and of a format that the choice gives for it; the source itself where
    ///                isInPlace()
    void run(const cv::Mat& source, const Format& from, const cv::Mat& result, const Format& to,
             const FloatsToBytes& toBytes) const;

private:
    struct Band;
    class Bands;

    bool exchangesSource(const Format& from) const;
    const native::Filter& filterFor(const Format& from) const;
    void runBand(const cv::Mat& source, const Format& from, const cv::Mat& result, const Format& to,
                 const FloatsToBytes& toBytes, const cv::Range& rows, Band& band) const;

    const FilterChoice mChoice;
    const std::unique_ptr<native::Filter> mFilter;
    const std::unique_ptr<native::Filter> mForBlueFirst; ///< null where red and blue change places before
    const std::unique_ptr<Bands> mBands;
};

/// Writes bytes for floats: `(value * scale + offset) * 255` rounded half up, within 0..255, and 0 for what is not a
/// number.
///
/// The number is computed in single precision, and 1/1024 is added before it is rounded: what would be half but for the
/// rounding of floats goes up, too.
/// @param[out] bytes  of the same size and number of channels
void bytesOf(const cv::Mat& floats, const FloatsToBytes& how, cv::Mat& bytes);

} // namespace velmor::gstreamer
