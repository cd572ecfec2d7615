#include "native/internal/Rule.h"

#include "native/internal/Bands.h"
#include "native/internal/Depths.h"
#include "native/internal/Memory.h"

#include <algorithm>
#include <cstdint>

namespace velmor::native {
namespace {

/// Pixels that are converted at a time: what they need stays in the second cache.
constexpr std::size_t kPixelsConverted = std::size_t{1} << 13;

std::size_t bytesOf(const cv::Mat& picture)
{
    return picture.total() * picture.elemSize();
}

/// Whether all elements lie where ones of their size should. Streams write whole vectors, whose places have to be so.
bool isAligned(const cv::Mat& picture)
{
    return (reinterpret_cast<std::uintptr_t>(picture.data) | picture.step[0]) % picture.elemSize1() == 0;
}

/// Streaming pays where the pictures leave nothing in the cache that a next call could use. What the call also reads is
/// there already.
bool streamsWell(const cv::Mat& source1, const cv::Mat& source2, const cv::Mat& result)
{
    return bytesOf(source1) + bytesOf(source2) + bytesOf(result) > lastCacheSize() / 2 && isAligned(result) &&
           !overlap(source1, result) && !overlap(source2, result);
}

void computeDirectly(const Rule& rule, const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result)
{
    const bool streams = streamsWell(source1, source2, result);
    forEachBand(result.size(), [&](int first, int last) {
        rule.compute(Band{{source1, source2}, result, first, last, streams});
    });
}

cv::Mat asFloats(const cv::Mat& picture)
{
    if (picture.empty() || picture.depth() != CV_8U)
        return picture;
    cv::Mat floats(picture.size(), CV_MAKETYPE(CV_32F, picture.channels()));
    bytesToFloats(picture, floats);
    return floats;
}

/// Computes floats from floats, whatever the depths of source and result.
template<typename Compute>
void computeThroughFloats(const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result, const Compute& compute)
{
    cv::Mat floats = result;
    if (result.depth() == CV_8U)
        floats.create(result.size(), CV_MAKETYPE(CV_32F, result.channels()));
    compute(asFloats(source1), asFloats(source2), floats);
    if (result.depth() == CV_8U)
        floatsToBytes(floats, result);
}

/// In pieces of few rows, each a picture of its own.
void convertPerPixel(const Rule& rule, const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result)
{
    const int step = std::max(1, static_cast<int>(kPixelsConverted) / result.cols);
    forEachBand(result.size(), [&](int first, int last) {
        for (int row = first; row < last; row += step) {
            const cv::Range rows(row, std::min(row + step, last));
            cv::Mat part = result.rowRange(rows);
            computeThroughFloats(source1.rowRange(rows), source2.empty() ? cv::Mat() : source2.rowRange(rows), part,
                                 [&](const cv::Mat& floats1, const cv::Mat& floats2, cv::Mat& floats) {
                                     rule.compute(Band{{floats1, floats2}, floats, 0, floats.rows, false});
                                 });
        }
    });
}

} // namespace

void computeRule(const Rule& rule, const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result)
{
    const auto depths = std::make_pair(source1.depth(), result.depth());
    if (std::find(rule.computed.begin(), rule.computed.end(), depths) != rule.computed.end())
        return computeDirectly(rule, source1, source2, result);
    if (rule.isPerPixel)
        return convertPerPixel(rule, source1, source2, result);
    computeThroughFloats(source1, source2, result,
                         [&](const cv::Mat& floats1, const cv::Mat& floats2, cv::Mat& floats) {
                             computeDirectly(rule, floats1, floats2, floats);
                         });
}

} // namespace velmor::native
