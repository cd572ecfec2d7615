#pragma once

#include "native/Filter.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmor::tests {

/// Computes in a plain loop what a filter is to give, of a type; the second source is empty for filters of one.
using PlainLoop = std::function<cv::Mat(const cv::Mat& source1, const cv::Mat& source2, int type)>;

/// A filter, and what it is to give.
struct NativeCase
{
    const native::Filter& filter;
    std::vector<int> types; ///< of sources
    PlainLoop expected;
    std::vector<int> depths = {-1};                                                  ///< to ask for
    std::function<cv::Mat(cv::Size size, int type, unsigned seed)> source = nullptr; ///< randomPicture() unless given
};

/// A picture of random bytes, of integers, or of floats on 0..1, with the ends of the range and runs of equal pixels
/// well represented, and some floats outside of it. Repeatable by seed.
cv::Mat randomPicture(cv::Size size, int type, unsigned seed);

/// Expects a filter to give what the loop gives, to the bit: for all its types and depths and for pictures of many
/// sizes, as pictures of their own and as parts of larger ones, whose other pixels stay as they are; in place, and into
/// memory that overlaps a source in every way; on every instruction set that the processor has; and on 1 to 8 threads.
void expectEverywhere(const NativeCase& expectation);

/// The same for given sources, once.
void expectOn(const NativeCase& expectation, const cv::Mat& source1, const cv::Mat& source2 = cv::Mat());

/// The same for all its types and pictures that leave nothing in the caches, whose results stream past them: of long
/// rows and of short ones, as pictures of their own and as parts.
void expectOnLargePictures(const NativeCase& expectation);

/// Expects a filter to read and write nothing behind its pixels, for all its types and rows of many lengths. It ends
/// the process if there is.
void expectNothingTouchedBehind(const NativeCase& expectation);

/// Expects pictures to have the same type, size and values; what is no number in one is no number in the other.
void expectEqual(const cv::Mat& actual, const cv::Mat& expected, const std::string& where);

/// A rule of pixels; the second source is null for filters of one.
template<typename Source, typename Result = Source>
using PixelRule = std::function<void(const Source* a, const Source* b, Result* out, int channels)>;

/// The loop over all pixels of a rule per pixel. From bytes to floats it divides by 255 first, and from floats to bytes
/// it rounds last.
PlainLoop loopOf(const PixelRule<uchar>& rule, const PixelRule<float>& floatRule);

/// Rules for each channel alike.
PixelRule<uchar> perByte(const std::function<int(int, int)>& rule);
PixelRule<float> perFloat(const std::function<float(float, float)>& rule);

/// Every byte divided by 255, and floats as bytes: limited to 0..1, times 255, rounded half up.
cv::Mat floatsOf(const cv::Mat& bytes);
cv::Mat bytesOf(const cv::Mat& floats);

/// All pairs of bytes: what a filter of two sources is run on to see each of its values.
struct BytePairs
{
    cv::Mat first;
    cv::Mat second;
};
BytePairs allBytePairs();

/// Expects a call of execute() to be refused with a text, and the result to stay as it was.
void expectRefusal(const std::function<void(cv::Mat& result)>& call, const std::string& text);

} // namespace velmor::tests
