#include "examples/viewer/FilterOperator.h"

#include "core/cvdata/Image.h"

namespace velmor::viewer {

FilterOperator::FilterOperator(const Material& material, RectTexture::Format format)
    : mMaterial(material), mDestination(makeTexture(format))
{
}

std::unique_ptr<glsupport::RectTexture> FilterOperator::makeTexture(RectTexture::Format format) const
{
    return std::make_unique<RectTexture>(mMaterial.frameTexture->width(), mMaterial.frameTexture->height(), format);
}

Operator::Result FilterOperator::run(const Values& values)
{
    cvprocess::GpuStdShaders& next = filter(values);
    giveRegions(next);
    const auto pass = [&next] {
        next.execute();
        glFinish();
    };
    glFinish();
    const double milliseconds = timed(pass);
    const Outcome left = outcome();
    return {left.texture, coloursOf(values), left.found, milliseconds};
}

void FilterOperator::addRegion(cvprocess::GpuStdShaders& filter, std::size_t index)
{
    const cv::Rect& region = mMaterial.regions[index];
    filter.addROI(region.x, region.y, region.br().x, region.br().y);
}

void FilterOperator::giveRegions(cvprocess::GpuStdShaders& filter)
{
    if (mWithRegions == &filter && mRegions == mMaterial.regions)
        return;
    mWithRegions = &filter;
    mRegions = mMaterial.regions;
    filter.resetROIs();
    for (std::size_t i = 0; i < mRegions.size(); ++i)
        addRegion(filter, i);
    mDestination->upload(
        core::cvdata::Image(mDestination->width(), mDestination->height(), core::cvdata::Image::GREYSCALE));
}

} // namespace velmor::viewer
