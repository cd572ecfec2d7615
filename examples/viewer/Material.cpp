#include "examples/viewer/Material.h"

#include "examples/shared/Inputs.h"

#include <algorithm>

namespace velmor::examples {

Material::Material(const cv::Mat& firstFrame)
    : frame(firstFrame.clone()), second(firstFrame.clone()), frameTexture(makeTexture(firstFrame)),
      secondTexture(makeTexture(firstFrame))
{
    learnMiddle();
}

void Material::setFrame(const cv::Mat& newFrame)
{
    frame = newFrame.clone();
    upload(frame, *frameTexture);
}

void Material::keepAsSecond()
{
    second = frame.clone();
    upload(second, *secondTexture);
}

void Material::learn(const cv::Rect& newPatch)
{
    const auto calm = calmPatches(frame);
    chosen = patchModel(*frameTexture, newPatch);
    dark = patchModel(*frameTexture, calm.front());
    bright = patchModel(*frameTexture, calm.back());
    patch = newPatch;
    ++timesLearnt;
}

void Material::learnMiddle()
{
    const int side = std::max(1, std::min(frame.cols, frame.rows) / 12);
    learn({(frame.cols - side) / 2, (frame.rows - side) / 2, side, side});
}

} // namespace velmor::examples
