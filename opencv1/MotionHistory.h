#pragma once

#include <opencv2/core/types_c.h>

// The motion history of OpenCV's 1.x function interface. OpenCV 4 has it only in a module that brings well over a
// hundred other libraries.

/// Brings a motion history up to date. A pixel of the silhouette gets the timestamp. Any other that is older than
/// timestamp - duration becomes 0, and the rest stay.
/// @param silhouette  8 bits, 1 channel; motion where it is not zero
/// @param mhi         32-bit float, 1 channel, of the same size
void cvUpdateMotionHistory(const CvArr* silhouette, CvArr* mhi, double timestamp, double duration);
