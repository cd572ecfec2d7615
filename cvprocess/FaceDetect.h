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

/// Finds faces, or whatever else its cascade was trained for, in an image.
///
/// The method is the cascade of boosted features of P. Viola and M. Jones (Rapid object detection using a boosted
/// cascade of simple features, 2001), as in OpenCV's cv::CascadeClassifier. Its settings are fixed: sizes grow in steps
/// of 1.1, a face needs at least 2 neighbouring detections and at least 40 x 40 pixels of the image that is searched,
/// and pruning is asked for (newer versions of OpenCV ignore that).
///
/// Input: an image of any layout; the bytes of colour images are taken as blue, green, red. Output: upright rectangles
/// in pixels of that image, ordered by row, then column. A face that the image's border cuts is not found.
///
/// Cascade files of both formats load: the Haar cascades of OpenCV 1.x, and today's with Haar features or local binary
/// patterns. The package opencv-data has a set of them. They are XML of at most 16 MiB, 150,000 elements, a million
/// words and 16 levels of elements within elements, for windows of 3 to 4096 pixels a side. A file is read and checked
/// before OpenCV sees it: every index has to point to what is there, every rectangle has to lie in the window, and
/// every count and number has to be valid. A file that is damaged, cut off or made to do harm therefore counts as one
/// without a cascade.
///
/// Cost: that of OpenCV's search, on one thread of the machine of the performance page some 0.3 us a pixel. An object
/// keeps up to 16 bytes a pixel of the largest image that it has searched.
///
/// Limits: an object serves one thread at a time. OpenCV may use threads of its own inside a search (see
/// cv::setNumThreads()). Misuse stops on an assertion; so does a reduction to an image without pixels.
/// OpenCV compares each detection with every other one. A cascade that takes most of an image for faces, as no trained
/// one does, makes a search last minutes.
///
/// By design the search with a scale makes a new reduced image in each call and does not free it. A program that
/// searches for long should reduce the image itself, into memory that it keeps, take the overload without a scale, and
/// multiply the results.
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
    /// Loads a cascade. A file without one stops the process on an assertion.
    explicit FaceDetect(std::string cascadeFile);
    FaceDetect(const FaceDetect&) = delete;
    FaceDetect& operator=(const FaceDetect&) = delete;
    ~FaceDetect();

    /// Searches a whole image.
    /// @param image       any layout; not changed
    /// @param[out] faces  x, y, width, height of each face; replaced
    /// @return            the number of faces, -1 for none
    int findFaces(const core::cvdata::Image* image, std::vector<math::Vector4>& faces);

    /// Searches an image after reducing it to 1 / scale of its width and height, with linear interpolation. So only
    /// faces of at least 40 * scale pixels a side are found.
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
