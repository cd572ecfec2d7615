// Makes each of the leaks that the classes state a known number of times, for a leak checker to count: seven frame
// rings and five reduced images, of a header and pixels each.

#include "core/cvdata/Image.h"
#include "cvprocess/FaceDetect.h"
#include "cvprocess/MotionSegment.h"

#include <opencv2/core.hpp>

#include <vector>

int main()
{
    cv::setNumThreads(1);
    for (int k = 0; k < 7; ++k)
        velmor::cvprocess::MotionSegment motion(30, 20);

    velmor::cvprocess::FaceDetect detector("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml");
    velmor::core::cvdata::Image image(90, 90, velmor::core::cvdata::Image::GREYSCALE);
    std::vector<CvRect> faces;
    for (int k = 0; k < 5; ++k)
        detector.findFaces(&image, faces, 2);
}
