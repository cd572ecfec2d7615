#pragma once

#include "core/cvdata/ColorGMM.h"
#include "cvprocess/MotionSegment.h"
#include "examples/shared/Pictures.h"

#include <array>
#include <optional>

namespace velmor::examples {

// What operators get beside a frame, made from frames. Frames are 8-bit BGR.

/// What a sensor sees through red and green filters on even rows, green and blue ones on odd rows: each pixel in the
/// colour of its filter, and the one value of each.
cv::Mat mosaicOf(const cv::Mat& frame);
cv::Mat rawOf(const cv::Mat& mosaic);

/// The luminance of a frame in 0..65535, CV_16U.
cv::Mat deepGrey(const cv::Mat& frame);

/// What GRAY2Sobel finds, in its three channels.
enum Gradient
{
    LEVEL,   ///< edges between above and below
    UPRIGHT, ///< edges between left and right
    STRENGTH
};

/// What NonMaxSupression takes: the strength, and the direction across the edge, scaled into 0..1. Both are CV_32FC4.
cv::Mat strengthAndDirection(const cv::Mat& gradients);

/// Places in a frame for models to learn colours from: of the patches in which the brightness varies least, the
/// darkest, one of middling brightness and the brightest. In a very small frame they may be the same.
std::array<cv::Rect, 3> calmPatches(const cv::Mat& frame);

/// A model of two components of the first two channels, as a shader reads them, of a patch of a texture.
core::cvdata::ColorGMM patchModel(const RectTexture& texture, const cv::Rect& patch);

/// A cascade for faces seen from the front, of the package opencv-data.
constexpr const char* kFaceCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";

/// What moved of late in a run of frames, as MotionSegment sees it.
class MotionHistory
{
public:
    explicit MotionHistory(const cv::Size& frames);
    void add(const cv::Mat& frame);

    /// The history: 8-bit grey, 255 where a pixel moved just now.
    const cv::Mat& picture() const { return mPicture; }

    /// The centre of mass of the picture; none when it is black.
    std::optional<cv::Point2d> centre();

private:
    cvprocess::MotionSegment mSegment;
    cv::Mat mPicture;
    bool mIsFirst = true;
};

} // namespace velmor::examples
