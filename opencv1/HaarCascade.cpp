#include "opencv1/HaarCascade.h"

#include "core/util/internal/OutOfMemory.h"
#include "core/util/internal/WholeFile.h"
#include "opencv1/CascadeFile.h"

#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>
#include <opencv2/objdetect.hpp>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <tuple>
#include <vector>

struct CvHaarClassifierCascade
{
    std::string text; ///< of the classifier, in today's format
    cv::CascadeClassifier classifier;
    bool isBroken = false; ///< a search that ended by an exception leaves a classifier that crashes
};

namespace {

/// Reads the classifier of a text that was checked; whether OpenCV takes it.
bool readClassifier(CvHaarClassifierCascade& cascade)
{
    return velmor::core::util::orBadAlloc([&] {
        cv::CascadeClassifier classifier;
        const cv::FileStorage storage(cascade.text, cv::FileStorage::READ | cv::FileStorage::MEMORY);
        if (!classifier.read(storage.getFirstTopLevelNode()))
            return false;
        cascade.classifier = classifier;
        return true;
    });
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
        const std::vector<unsigned char> bytes =
            velmor::core::util::readWholeFile("cvLoad(): cannot load", filename, velmor::opencv1::kMostOfACascade);
        auto cascade = std::make_unique<CvHaarClassifierCascade>();
        cascade->text = velmor::opencv1::checkedCascade({bytes.begin(), bytes.end()});
        if (readClassifier(*cascade))
            return cascade.release();
    } catch (const std::bad_alloc&) {
        throw;
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
    if (cascade->isBroken && !readClassifier(*cascade))
        throw std::bad_alloc(); // it could be read before
    cascade->isBroken = true;
    cascade->classifier.detectMultiScale(cv::cvarrToMat(image), rectangles, neighbors, scale_factor, min_neighbors,
                                         flags, cv::Size(min_size.width, min_size.height));
    cascade->isBroken = false;

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
