#include "tests/support/OpenCvCalls.h"

#include "opencv1/HaarCascade.h"

#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <utility>

namespace {

std::vector<velmor::tests::OpenCvCall> calls;
bool isRecording = false;
bool hasPixels = true;
bool greyIsDarker = false;
int imagesBeforeRefusal = -1;

void record(const char* function, const void* object)
{
    if (isRecording)
        calls.push_back({function, object});
}

} // namespace

// Names that the linker gives to calls of the functions and to the functions themselves.
#define VELMOR_HAAR_DETECT(prefix)                                                                                     \
    prefix##__Z19cvHaarDetectObjectsPKvP23CvHaarClassifierCascadeP12CvMemStoragedii6CvSize
#define VELMOR_RELEASE_CASCADE(prefix) prefix##__Z30cvReleaseHaarClassifierCascadePP23CvHaarClassifierCascade

extern "C" {

IplImage* __real_cvCreateImage(CvSize size, int depth, int channels);
void __real_cvReleaseImage(IplImage** image);
void __real_cvSetZero(CvArr* array);
void __real_cvCvtColor(const CvArr* source, CvArr* result, int code);
void __real_cvClearMemStorage(CvMemStorage* storage);
void __real_cvReleaseMemStorage(CvMemStorage** storage);
CvSeq* VELMOR_HAAR_DETECT(__real)(const CvArr* image, CvHaarClassifierCascade* cascade, CvMemStorage* storage,
                                  double step, int neighbours, int flags, CvSize least);
void VELMOR_RELEASE_CASCADE(__real)(CvHaarClassifierCascade** cascade);

IplImage* __wrap_cvCreateImage(CvSize size, int depth, int channels)
{
    if (imagesBeforeRefusal >= 0 && imagesBeforeRefusal-- == 0)
        throw cv::Exception(cv::Error::StsNoMem, "refused by the test", __func__, __FILE__, __LINE__);
    IplImage* const image =
        hasPixels ? __real_cvCreateImage(size, depth, channels) : cvCreateImageHeader(size, depth, channels);
    record("cvCreateImage", image);
    return image;
}

void __wrap_cvReleaseImage(IplImage** image)
{
    record("cvReleaseImage", *image);
    __real_cvReleaseImage(image);
}

void __wrap_cvSetZero(CvArr* array)
{
    if (hasPixels)
        __real_cvSetZero(array);
}

void __wrap_cvCvtColor(const CvArr* source, CvArr* result, int code)
{
    __real_cvCvtColor(source, result, code);
    if (greyIsDarker)
        cvSubS(result, cvScalarAll(1), result);
}

void __wrap_cvClearMemStorage(CvMemStorage* storage)
{
    record("cvClearMemStorage", storage);
    __real_cvClearMemStorage(storage);
}

void __wrap_cvReleaseMemStorage(CvMemStorage** storage)
{
    record("cvReleaseMemStorage", *storage);
    __real_cvReleaseMemStorage(storage);
}

CvSeq* VELMOR_HAAR_DETECT(__wrap)(const CvArr* image, CvHaarClassifierCascade* cascade, CvMemStorage* storage,
                                  double step, int neighbours, int flags, CvSize least)
{
    record("cvHaarDetectObjects", storage);
    return VELMOR_HAAR_DETECT(__real)(image, cascade, storage, step, neighbours, flags, least);
}

void VELMOR_RELEASE_CASCADE(__wrap)(CvHaarClassifierCascade** cascade)
{
    record("cvReleaseHaarClassifierCascade", *cascade);
    VELMOR_RELEASE_CASCADE(__real)(cascade);
}

} // extern "C"

namespace velmor::tests {

OpenCvCalls::OpenCvCalls()
{
    isRecording = true;
}

OpenCvCalls::~OpenCvCalls()
{
    isRecording = false;
    hasPixels = true;
    greyIsDarker = false;
    imagesBeforeRefusal = -1;
    calls.clear();
    calls.shrink_to_fit();
}

std::vector<OpenCvCall> OpenCvCalls::take()
{
    return std::exchange(calls, {});
}

void OpenCvCalls::note(const std::string& event, const void* object)
{
    calls.push_back({event, object});
}

void OpenCvCalls::refuseImage(int index)
{
    imagesBeforeRefusal = index;
}

void OpenCvCalls::leaveOutPixels()
{
    hasPixels = false;
}

void OpenCvCalls::darkenGrey()
{
    greyIsDarker = true;
}

} // namespace velmor::tests
