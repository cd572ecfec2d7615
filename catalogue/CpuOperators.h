#pragma once

#include "catalogue/Catalogue.h"
#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velmor::catalogue {

/// What an operator on images makes of one. Each operator fills what Operator::gives names, and leaves the rest empty.
struct CpuResult
{
    std::optional<core::cvdata::Image> picture;          ///< Data::MASK or Data::GREY: GREYSCALE, of the source's size
    std::optional<core::cvdata::ColourHist2d> histogram; ///< Data::HISTOGRAM
    core::cvdata::Blobs blobs;                           ///< Data::BLOBS
    std::vector<cv::Rect> rectangles;                    ///< Data::RECTANGLES: in pixels of the source
};

/// An operator with its settings. It keeps what it remembers of earlier images, and its copies share that.
using CpuOperator = std::function<CpuResult(const core::cvdata::Image&)>;

/// Makes an operator on images by its name. It takes images as its class does: ColourDetector RGB, Moments GREYSCALE,
/// MotionSegment three channels, which it reads as blue, green, red. Other images stop on the class's assertion.
/// @param name    of an operator whose kind is Kind::CPU_OPERATOR
/// @param values  of its parameters
/// @param given   what it needs beside them
/// @throws std::invalid_argument  when there is no such operator, when it has no such parameter, when a value is out of
///                                range, or when something that it needs is missing
///
/// Example:
///
///     const catalogue::CpuOperator histogramOf = catalogue::makeCpu("ColourHist2D", {{"bins", 16}});
///     std::cout << histogramOf(photograph).histogram->getValue(15, 0, 0) << " of the pixels are red\n";
VELMOR_CATALOGUE_EXPORT CpuOperator makeCpu(const std::string& name, const Values& values = {},
                                            const Given& given = {});

} // namespace velmor::catalogue
