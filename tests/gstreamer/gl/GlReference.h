#pragma once

#include "catalogue/Catalogue.h"
#include "glsupport/HeadlessContext.h"

#include <opencv2/core/mat.hpp>

#include <string>

namespace velmor::tests {

/// A context of its own, without GStreamer. No element works while it lives: the last one would take the driver's
/// adaptation off.
class Elsewhere
{
public:
    /// What a filter makes of a picture of four bytes: four floats. A grey is in all colours.
    cv::Mat filter(const std::string& name, const cv::Mat& picture, const catalogue::Values& values = {},
                   const catalogue::Given& given = {});

private:
    glsupport::HeadlessContext mContext;
};

/// Expects bytes to be what floats on 0..1 become, rounded and clamped, and alpha to be 255.
void expectShown(const cv::Mat& bytes, const cv::Mat& floats);

/// Random pixels of four bytes, alpha too. Repeatable by seed.
cv::Mat randomPixels(const cv::Size& size, unsigned seed);

} // namespace velmor::tests
