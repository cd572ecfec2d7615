#pragma once

#include <opencv2/core/mat.hpp>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace velmor::native {

/// The sources of a call; the second is empty for filters of one source.
using Sources = cv::Mat[2];

/// Some rows of a call's result. The pictures are whole, so that a rule finds neighbours outside the rows.
struct Band
{
    const Sources& sources;
    cv::Mat& result; ///< of a filter with Rule::isPerPixel it may be a source
    int first;       ///< first row of the result to compute
    int last;        ///< the row after the last one
    bool streams;    ///< whether the result had better not go through the caches; never when it is a source

    int sourceDepth() const { return sources[0].depth(); }
    int channels() const { return sources[0].channels(); }
};

/// What a filter takes and gives, and how it computes it.
struct Rule
{
    static constexpr int AS_SOURCE = -1;

    std::string name;                                               ///< of the class, for messages
    int sources = 1;                                                ///< how many
    std::vector<int> channels = {1, 3, 4};                          ///< that a source may have
    std::vector<int> depths = {CV_8U, CV_32F};                      ///< that a source may have
    int resultChannels = AS_SOURCE;                                 ///< of the result
    std::vector<int> resultDepths = {AS_SOURCE, CV_8U, CV_32F};     ///< that a caller may ask for; the first by default
    std::vector<std::pair<int, int>> computed = {{CV_8U, CV_8U},    ///< the depths of source and result that compute()
                                                 {CV_32F, CV_32F}}; ///< knows; others are converted to and from floats
    bool isPerPixel = true;                                         ///< whether a pixel depends on its own place alone
    std::function<void(const Band&)> compute;                       ///< called by several threads at once
};

/// Computes a rule, in bands of rows on the threads that OpenCV has.
/// @param result  of the right size and type; without memory of the sources, but for a source as it is under a rule
///                per pixel
void computeRule(const Rule& rule, const Sources& sources, cv::Mat& result);

} // namespace velmor::native
