#include "examples/viewer/Material.h"

#include "examples/shared/GpuPictures.h"

namespace velmor::viewer {

Material::Material(const cv::Mat& firstFrame)
    : frame(firstFrame.clone()), second(firstFrame.clone()), frameTexture(demo::makeTexture(firstFrame)),
      secondTexture(demo::makeTexture(firstFrame))
{
    learn(middlePatch(frame.size()));
}

void Material::setFrame(const cv::Mat& newFrame)
{
    frame = newFrame.clone();
    demo::upload(frame, *frameTexture);
}

void Material::keepAsSecond()
{
    second = frame.clone();
    demo::upload(second, *secondTexture);
}

void Material::learn(const cv::Rect& patch)
{
    models.learn(frame, *frameTexture, patch);
}

} // namespace velmor::viewer
