#include "examples/demo/Difference.h"

#include "examples/shared/GpuPictures.h"

namespace velmor::demo {

Difference::Difference(const cv::Size& size)
    : mEarlier(makeTexture(size)), mLater(makeTexture(size)), mResult(makeTexture(size))
{
    mFilter.prepareExecution(*mEarlier, *mLater, *mResult);
}

cv::Mat Difference::of(const cv::Mat& earlier, const cv::Mat& later)
{
    upload(earlier, *mEarlier);
    upload(later, *mLater);
    mFilter.execute();
    return download(*mResult);
}

} // namespace velmor::demo
