#pragma once

#include <opencv2/core/types_c.h>

// The motion history of OpenCV's 1.x function interface. OpenCV 4 has it in a module that brings well over a hundred
// other libraries.

/// Brings a motion history up to date: a pixel of the silhouette takes the timestamp, any other that is older than
/// timestamp - duration becomes 0, the rest stay.
/// @param silhouette  8 bits, 1 channel; motion where it is not zero
/// @param mhi         32-bit float, 1 channel, of the same size
void cvUpdateMotionHistory(const CvArr* silhouette, CvArr* mhi, double timestamp, double duration);
