#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace velmor::tests {

/// The pictures on the sheet, in their order.
enum Place
{
    EARLIER,
    LATER,
    MOVING,
    DARK,
    SUBTRACT,
    SUBTRACT_MASKS,
    AND,
    OR,
    XOR_DARK,
    XOR_MOVING,
    NOT,
    NOT_REGIONS,
    BGR_TO_GREY,
    RGB_TO_GREY,
    BGR_TO_HSV,
    RGB_TO_HSV,
    MOSAIC_DETAIL,
    BAYER_TO_RGB,
    BAYER_DETAIL,
    BAYER_TO_GREY,
    SOBEL,
    SOBEL_LEVEL,
    SOBEL_UPRIGHT,
    THINNING_INPUT,
    THINNED,
    LAPLACIAN,
    LAPLACIAN_FOUR,
    LAPLACIAN_EIGHT,
    BRIGHTER,
    DARKER,
    FLIPPED,
    INTEGERS,
    LEARNT_PATCH,
    MIXTURE,
    MIXTURE_COLOURS,
    MIXTURE_HSV,
    LEARNT_PATCHES,
    CLASSES,
    GPU_HISTOGRAM,
    PIXEL_COUNT,
    COLOUR_PATCH,
    COLOUR,
    COLOUR_CLEANED,
    BLOBS,
    HISTORY, // of a video alone, as the next
    HISTORY_CENTRE,
    HISTOGRAM,
    HISTOGRAM_MASKED,
    PHOTOGRAPH,
    FACES,
    PLACES
};

/// The pictures of a contact sheet, row by row, found by the thin grey frames around them.
std::vector<cv::Mat> picturesOn(const cv::Mat& sheet);

/// Largest difference of a channel of two pictures of one size.
double largestDifference(const cv::Mat& a, const cv::Mat& b);

/// A picture in the size in which the sheet shows it.
cv::Mat reduced(const cv::Mat& picture, const cv::Size& size);

/// The absolute difference of two pictures.
cv::Mat differenceOf(const cv::Mat& a, const cv::Mat& b);

/// The average over all pixels and three channels.
double averageLevel(const cv::Mat& picture);

} // namespace velmor::tests
