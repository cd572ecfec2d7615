#pragma once

#include "analysis/Export.h"

#include <opencv2/core/types_c.h>

namespace velmor::core::cvdata {
class Image;
}

namespace velmor::math {
class Vector2;
}

namespace velmor::cvprocess {

class MovingPixels;

/// Finds motion in a stream of colour frames and keeps, for each pixel, when it last moved.
///
/// g is the grey value of a frame (OpenCV's BGR2GRAY), t the time of the call and D = 0.4 s:
///
///     moving   = |g - g of the frame before| > 20
///     history  = t where moving; 0 where it was before t - D; else as it was       (OpenCV's updateMotionHistory)
///     output   = 255 (history + D - t) / D, rounded and clamped to 0..255;  0 where history is 0
///
/// (J. Davis and G. Bradski, Motion segmentation and pose recognition with motion history gradients, 2002.) A pixel
/// that moves now is 255. It fades linearly, and is 0 once it has not moved for 0.4 s, or if it never has. A pixel that
/// moved less than 0.8 ms before is rounded to 255 too; only its time in getMHIImage() tells it from one that moves
/// now.
///
/// In the first 0.4 s of the process's computing time, where t < D, the fraction alone would give a pixel that never
/// moved more than 0. It is 0 all the same.
///
/// The time is what the process has spent computing, all its threads together, not the time on the wall. While a
/// program waits for its camera its motion fades slower; with four busy threads it fades four times faster.
///
/// Input: frames of three channels. Their bytes are taken as blue, green, red, whatever their layout says. Output:
/// GREYSCALE. Both have the size given at construction. The frame before the first one is black, so in the first call
/// each pixel brighter than 20 moves.
/// There are no parameters: the 0.4 s and the threshold of 20 are fixed. Each pixel is computed from its own place
/// alone, so there is no border rule.
///
/// Cost, on one thread of the machine of the performance page: getMHI() takes 0.15 ns a pixel at VGA and 0.35 ns at 4K,
/// where memory is the limit, and getMassCenter() 0.02 ns. An object takes 10 bytes a pixel; a call allocates nothing.
///
/// Limits: the history is in float, so after a day of computing a pixel that moves now may be some units below 255.
/// OpenCV describes images of less than 2 GiB and rows of less than 2^27 pixels, so 4 * width * height < 2^31. An
/// object serves one stream and one thread at a time. Misuse stops on an assertion.
///
/// By design the array that holds the addresses of the two frames, 16 bytes, is not freed with the object. Keep one
/// object for a stream rather than one for each frame.
///
/// Example:
///
///     MotionSegment motion(768, 576);
///     motion.getMHI(&frame, &history); // per frame
///     math::Vector2 centre;
///     motion.getMassCenter(&history, &centre);
class VELMOR_ANALYSIS_EXPORT MotionSegment
{
public:
    /// @param width, height  of the frames, at least 1; 4 * width * height < 2^31, width < 2^27
    /// @throws cv::Exception  when there is no memory, or, in a build without assertions, for a size that OpenCV
    ///                        refuses; nothing of the object is left then
    MotionSegment(int width, int height);
    MotionSegment(const MotionSegment&) = delete;
    MotionSegment& operator=(const MotionSegment&) = delete;
    ~MotionSegment();

    /// Takes the next frame and writes the history as an image.
    /// @param input        three channels, of the size given at construction; not changed
    /// @param[out] output  GREYSCALE, of the same size
    void getMHI(const core::cvdata::Image* input, core::cvdata::Image* output);

    /// The history itself: 32-bit float, 1 channel, the time of the last motion in seconds. It belongs to the object.
    IplImage* getMHIImage();

    /// The centre of mass of an image, with its bytes as weights: (sum of x v / sum of v, sum of y v / sum of v).
    /// @param image        1 channel, any size
    /// @param[out] center  column and row; not numbers when the image is black
    void getMassCenter(core::cvdata::Image* image, math::Vector2* center);

private:
    friend class MovingPixels;

    /// @param moving  counts what moves; may be null
    void getMHI(const core::cvdata::Image* input, core::cvdata::Image* output, MovingPixels* moving);
    void releaseImages();

    double mDuration;      ///< how long a motion stays in the history, in seconds
    int mFrameCount;       ///< number of slots in the ring
    IplImage** mFrames;    ///< the ring; the images are owned
    int mLastIndex;        ///< slot that takes the next frame
    IplImage* mHistory;    ///< owned; 32-bit float
    IplImage* mSpareFloat; ///< owned; made like the history
    IplImage* mSpare;      ///< owned; null
};

} // namespace velmor::cvprocess
