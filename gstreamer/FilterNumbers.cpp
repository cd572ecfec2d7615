#include "gstreamer/FilterNumbers.h"

#include "core/cvdata/ColourHist2d.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"

namespace velmor::gstreamer {
namespace {

/// The cells of a picture's histogram, red counted first.
std::vector<double> histogramOf(const cv::Mat& picture, bool isBlueFirst, unsigned char bins)
{
    core::cvdata::ColourHist2d histogram(bins, bins, bins);
    native::colorHistShader(picture, cv::Rect({0, 0}, picture.size()), histogram);
    std::vector<double> result;
    for (unsigned char blue = 0; blue < bins; ++blue)
        for (unsigned char green = 0; green < bins; ++green)
            for (unsigned char red = 0; red < bins; ++red)
                result.push_back(isBlueFirst ? histogram.getValue(blue, green, red)
                                             : histogram.getValue(red, green, blue));
    return result;
}

} // namespace

void FilterNumbers::find(const FilterChoice& choice, const catalogue::Values& values, const cv::Mat& picture,
                         const Format& format)
{
    if (choice.what->gives == catalogue::Data::COUNTS) {
        const std::uint64_t count = native::pixelCount(picture);
        const std::lock_guard lock(mMutex);
        mCount = count;
        return;
    }
    std::vector<double> histogram =
        histogramOf(picture, format.isBlueFirst, static_cast<unsigned char>(values.at("bins")));
    const std::lock_guard lock(mMutex);
    mHistogram = std::move(histogram);
}

void FilterNumbers::describe(const FilterChoice& choice, GstStructure* message) const
{
    gst_structure_set(message, "operator", G_TYPE_STRING, choice.what->name.c_str(), nullptr);
    if (choice.what->gives == catalogue::Data::COUNTS) {
        gst_structure_set(message, "count", G_TYPE_UINT64, count(), nullptr);
        return;
    }
    GValue cells = G_VALUE_INIT;
    g_value_init(&cells, GST_TYPE_ARRAY);
    giveHistogram(cells);
    gst_structure_take_value(message, "histogram", &cells);
}

std::uint64_t FilterNumbers::count() const
{
    const std::lock_guard lock(mMutex);
    return mCount;
}

void FilterNumbers::giveHistogram(GValue& value) const
{
    const std::lock_guard lock(mMutex);
    g_value_reset(&value);
    for (const double each : mHistogram) {
        GValue cell = G_VALUE_INIT;
        g_value_init(&cell, G_TYPE_DOUBLE);
        g_value_set_double(&cell, each);
        gst_value_array_append_and_take_value(&value, &cell);
    }
}

} // namespace velmor::gstreamer
