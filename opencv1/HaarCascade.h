#pragma once

#include <opencv2/core/types_c.h>

// Haar cascades in OpenCV's 1.x function interface, which OpenCV 4 no longer has. The work is done by
// cv::CascadeClassifier.

/// A cascade of classifiers, made by cvLoad().
struct CvHaarClassifierCascade;

/// A detected object.
struct CvAvgComp
{
    CvRect rect;
    int neighbors; ///< number of raw detections that were merged into it
};

enum
{
    CV_HAAR_DO_CANNY_PRUNING = 1 ///< accepted, and without effect: cv::CascadeClassifier has no such step
};

/// Loads a cascade from an XML file, in the old format (a tree of nodes) or in today's. Storage and names are ignored.
/// The file is checked first, see checkedCascade().
/// @return  to be released by cvReleaseHaarClassifierCascade(); null when the file cannot be read or holds no cascade,
///          or one that is not safe to use
void* cvLoad(const char* filename, CvMemStorage* memstorage = nullptr, const char* name = nullptr,
             const char** real_name = nullptr);

/// Searches an 8-bit image of one or three channels (blue, green, red) for objects.
/// @return  a sequence of CvAvgComp in the storage, sorted by row, then column, then size, because the order in which
///          OpenCV finds them depends on its threads
CvSeq* cvHaarDetectObjects(const CvArr* image, CvHaarClassifierCascade* cascade, CvMemStorage* storage,
                           double scale_factor = 1.1, int min_neighbors = 3, int flags = 0,
                           CvSize min_size = cvSize(0, 0));

/// Deletes a cascade and sets the pointer to null; does nothing for a null pointer.
void cvReleaseHaarClassifierCascade(CvHaarClassifierCascade** cascade);
