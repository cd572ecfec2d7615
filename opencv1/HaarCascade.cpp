#include "opencv1/HaarCascade.h"

#include "opencv1/CascadeFile.h"

#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

struct CvHaarClassifierCascade
{
    cv::CascadeClassifier classifier;
};

namespace {

using velmor::opencv1::kMostOfACascade;

/// What a file holds; nothing when it cannot be read or is larger than any cascade, as what never ends.
std::string contentOf(const char* filename)
{
    std::ifstream stream(filename, std::ios::binary);
    std::string content;
    char part[65536];
    while (content.size() <= kMostOfACascade && (stream.read(part, sizeof(part)) || stream.gcount() > 0))
        content.append(part, static_cast<std::size_t>(stream.gcount()));
    return content.size() <= kMostOfACascade ? content : std::string();
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
    try {
        const std::string text = velmor::opencv1::checkedCascade(contentOf(filename));
        const cv::FileStorage storage(text, cv::FileStorage::READ | cv::FileStorage::MEMORY);
        auto cascade = std::make_unique<CvHaarClassifierCascade>();
        if (cascade->classifier.read(storage.getFirstTopLevelNode()))
            return cascade.release();
    } catch (const std::exception&) {
        // No cascade, or one that is not safe to use.
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
