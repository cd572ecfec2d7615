#include "opencv1/HaarCascade.h"

#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <cctype>
#include <exception>
#include <fstream>
#include <memory>
#include <tuple>
#include <vector>

struct CvHaarClassifierCascade
{
    cv::CascadeClassifier classifier;
};

namespace {

/// Whether a file can be read and, if it is XML, ends with a tag. OpenCV prints about the former, and its parser may
/// read beyond the end of a text that is cut off elsewhere.
bool looksComplete(const char* filename)
{
    std::ifstream stream(filename, std::ios::binary);
    if (stream.peek() != '<')
        return stream.good();
    char last = 0;
    for (std::streamoff back = -1; stream.seekg(back, std::ios::end) && stream.get(last); --back)
        if (!std::isspace(static_cast<unsigned char>(last)))
            break;
    return last == '>';
}

bool comesBefore(const CvAvgComp& a, const CvAvgComp& b)
{
    const auto key = [](const CvAvgComp& each) {
        return std::make_tuple(each.rect.y, each.rect.x, each.rect.height, each.rect.width);
    };
    return key(a) < key(b);
}

} // namespace

void* cvLoad(const char* filename, CvMemStorage*, const char*, const char**)
{
    if (!looksComplete(filename))
        return nullptr;
    try {
        auto cascade = std::make_unique<CvHaarClassifierCascade>();
        if (cascade->classifier.load(filename))
            return cascade.release();
    } catch (const std::exception&) {
        // Text that is no XML or YAML, or is cut off.
    }
    return nullptr;
}

CvSeq* cvHaarDetectObjects(const CvArr* image, CvHaarClassifierCascade* cascade, CvMemStorage* storage,
                           double scale_factor, int min_neighbors, int flags, CvSize min_size)
{
    std::vector<cv::Rect> rectangles;
    std::vector<int> neighbors;
    cascade->classifier.detectMultiScale(cv::cvarrToMat(image), rectangles, neighbors, scale_factor, min_neighbors,
                                         flags, cv::Size(min_size.width, min_size.height));

    std::vector<CvAvgComp> objects(rectangles.size());
    for (std::size_t k = 0; k < objects.size(); ++k)
        objects[k] = {cvRect(rectangles[k]), neighbors[k]};
    std::sort(objects.begin(), objects.end(), comesBefore);

    CvSeq* const sequence = cvCreateSeq(0, sizeof(CvSeq), sizeof(CvAvgComp), storage);
    cvSeqPushMulti(sequence, objects.data(), static_cast<int>(objects.size()));
    return sequence;
}

void cvReleaseHaarClassifierCascade(CvHaarClassifierCascade** cascade)
{
    if (!cascade)
        return;
    delete *cascade;
    *cascade = nullptr;
}
