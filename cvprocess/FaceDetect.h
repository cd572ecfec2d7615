#pragma once

#include "analysis/Export.h"
#include "math/Vector4.h"

#include <opencv2/core/types_c.h>

#include <string>
#include <vector>

struct CvHaarClassifierCascade;

namespace velmor::core::cvdata {
class Image;
}

namespace velmor::cvprocess {

/// Finds faces, or whatever its cascade was trained for, in an image.
///
/// The method is the cascade of boosted features of P. Viola and M. Jones (Rapid object detection using a boosted
/// cascade of simple features, 2001), as in OpenCV's cv::CascadeClassifier. Its settings are fixed: sizes in steps of
/// 1.1, at least 2 neighbouring detections to make a face, faces of at least 40 x 40 pixels of the image that is
/// searched, pruning asked for (which newer versions of OpenCV ignore).
///
/// Input: an image of any layout; the bytes of colour images are taken as blue, green, red. Output: upright rectangles
/// in pixels of that image, by row, then column. A face that the image's border cuts is not found.
///
/// Cascade files of both formats load: the Haar cascades of OpenCV 1.x, and those of today with Haar features or local
/// binary patterns; opencv-data has a set of them. They are XML of at most 16 MiB. A file is read and checked before
/// OpenCV sees it, so one that is damaged, cut off or made to do harm counts as one without a cascade: every index has
/// to point to what is there, every rectangle has to lie in the window, every count and number has to be one.
///
/// Limits: an object serves one thread at a time. OpenCV may use threads of its own inside a search (see
/// cv::setNumThreads()). Misuse, a reduction to an image without pixels among it, stops on an assertion.
/// OpenCV compares each detection with each other one: with a cascade that takes most of an image for faces, which is
/// no cascade that was trained, a search lasts minutes.
///
/// The search with a scale makes its reduced image anew in each call and does not free it: this is meant. A program
/// that searches for long reduces the image itself, into memory that it keeps, takes the overload without a scale, and
/// multiplies the results.
///
/// Example:
///
///     FaceDetect detector("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml");
///     std::vector<math::Vector4> faces;
///     if (detector.findFaces(&photograph, faces) > 0)
///         std::cout << "at " << faces[0][0] << ", " << faces[0][1] << '\n';
class VELMOR_ANALYSIS_EXPORT FaceDetect
{
public:
    /// Loads a cascade; ends the process on an assertion when there is none in the file.
    explicit FaceDetect(std::string cascadeFile);
    FaceDetect(const FaceDetect&) = delete;
    FaceDetect& operator=(const FaceDetect&) = delete;
    ~FaceDetect();

    /// Searches a whole image.
    /// @param image       any layout; not changed
    /// @param[out] faces  x, y, width, height of each face; replaced
    /// @return            the number of faces, -1 for none
    int findFaces(const core::cvdata::Image* image, std::vector<math::Vector4>& faces);

    /// Searches an image reduced to 1 / scale of its width and height, with linear interpolation: so faces have at
    /// least 40 * scale pixels a side.
    /// @param image       any layout; not changed
    /// @param[out] faces  in pixels of the image given; multiples of scale; replaced
    /// @param scale       at least 1; dividing by 0 is not caught
    /// @return            the number of faces, -1 for none
    int findFaces(core::cvdata::Image* image, std::vector<CvRect>& faces, int scale);

private:
    CvSeq* detect(const IplImage* image);

    CvMemStorage* mStorage;            ///< owned; holds the results of a search
    CvHaarClassifierCascade* mCascade; ///< owned
};

} // namespace velmor::cvprocess
