#pragma once

#include "core/cvdata/Blobs.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/ColorGMM.h"
#include "cvprocess/gpuStdShaders/ColorGMM2.h"
#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/StateGuard.h"
#include "imageio/ImageIo.h"
#include "native/Subtract.h"
#include "tests/examples/Textures.h"

#include <opencv2/imgproc.hpp>

#include <stdexcept>
#include <string>

// What the guide's samples take for granted, beside what the examples of GPU filters do.

namespace velmor {

extern core::cvdata::Image photograph, nextFrame;
extern cv::Mat pictureBefore, pictureNow;

} // namespace velmor
