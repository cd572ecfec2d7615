#pragma once

#include "bench/Comparison.h"

namespace velmor::bench {

void addColourDetector(); ///< ColourDetector beside a plain loop and a copy
void addColourHist2D();   ///< ColourHist2D beside cv::calcHist()
void addFaceDetect();     ///< FaceDetect beside cv::CascadeClassifier
void addMoments();        ///< Moments beside cv::findContours() and cv::moments()
void addMotionSegment();  ///< MotionSegment beside cv::moments() and a chain of OpenCV's functions
void addRecords();        ///< ColorGMM::train() beside cv::ml::EM

/// Whether two pictures are the same, pixel for pixel.
inline bool equal(const cv::Mat& a, const cv::Mat& b)
{
    return cv::norm(a, b, cv::NORM_INF) == 0.0;
}

} // namespace velmor::bench
