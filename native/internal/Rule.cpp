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
/// there already. Measured: calls alone are faster streamed from a little more than half of the cache on; calls whose
/// result is read next, from three quarters on.
bool streamsWell(const Sources& sources, const cv::Mat& result)
{
    return bytesOf(sources[0]) + bytesOf(sources[1]) + bytesOf(result) > lastCacheSize() / 3 * 2 && isAligned(result) &&
           !overlap(sources[0], result) && !overlap(sources[1], result);
}

void computeDirectly(const Rule& rule, const Sources& sources, cv::Mat& result)
{
    const bool streams = streamsWell(sources, result);
    forEachBand(result.size(), [&](int first, int last) { rule.compute(Band{sources, result, first, last, streams}); });
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
void computeThroughFloats(const Sources& sources, cv::Mat& result, const Compute& compute)
{
    const Sources floatSources = {asFloats(sources[0]), asFloats(sources[1])};
    cv::Mat floats = result;
    if (result.depth() == CV_8U)
        floats.create(result.size(), CV_MAKETYPE(CV_32F, result.channels()));
    compute(floatSources, floats);
    if (result.depth() == CV_8U)
        floatsToBytes(floats, result);
}

/// In pieces of few rows, each a picture of its own.
void convertPerPixel(const Rule& rule, const Sources& sources, cv::Mat& result)
{
    const int step = std::max(1, static_cast<int>(kPixelsConverted) / result.cols);
    forEachBand(result.size(), [&](int first, int last) {
        for (int row = first; row < last; row += step) {
            const cv::Range rows(row, std::min(row + step, last));
            const Sources parts = {sources[0].rowRange(rows),
                                   sources[1].empty() ? cv::Mat() : sources[1].rowRange(rows)};
            cv::Mat part = result.rowRange(rows);
            computeThroughFloats(parts, part, [&](const Sources& floatParts, cv::Mat& floats) {
                rule.compute(Band{floatParts, floats, 0, floats.rows, false});
            });
        }
    });
}

} // namespace

void computeRule(const Rule& rule, const Sources& sources, cv::Mat& result)
{
    const auto depths = std::make_pair(sources[0].depth(), result.depth());
    if (std::find(rule.computed.begin(), rule.computed.end(), depths) != rule.computed.end())
        return computeDirectly(rule, sources, result);
    if (rule.isPerPixel)
        return convertPerPixel(rule, sources, result);
    computeThroughFloats(sources, result, [&](const Sources& floatSources, cv::Mat& floats) {
        computeDirectly(rule, floatSources, floats);
    });
}

} // namespace velmor::native
