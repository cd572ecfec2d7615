#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"
#include "examples/viewer/Material.h"
#include "examples/viewer/Operator.h"
#include "glsupport/RectTexture.h"

#include <memory>
#include <vector>

namespace velmor::viewer {

/// A GPU filter that draws from textures of the frame's size into one of that size. The filter gets the regions of the
/// material; what it does not touch stays black.
class FilterOperator : public Operator
{
public:
    Result run(const Values& values) final;

protected:
    using RectTexture = glsupport::RectTexture;

    /// @param material  must outlive the operator
    /// @param format    of the destination
    FilterOperator(const Material& material, RectTexture::Format format);

    const Material& material() const { return mMaterial; }
    RectTexture& destination() { return *mDestination; }

    /// A texture of the frame's size.
    std::unique_ptr<RectTexture> makeTexture(RectTexture::Format format) const;

    /// The filter of the next pass, prepared; called before each.
    virtual cvprocess::GpuStdShaders& filter(const Values& values) = 0;

    /// Gives the filter a region of the material.
    /// @param index  of the region
    virtual void addRegion(cvprocess::GpuStdShaders& filter, std::size_t index);

    /// How the destination is to be seen.
    virtual Colours coloursOf(const Values&) const { return colours(); }

    /// What a pass has left.
    struct Outcome
    {
        RectTexture* texture; ///< what is to be seen
        std::string found;    ///< what it says
    };

    /// Reads what the pass has left, straight after it.
    virtual Outcome outcome() { return {mDestination.get(), {}}; }

private:
    void giveRegions(cvprocess::GpuStdShaders& filter);

    const Material& mMaterial;
    std::unique_ptr<RectTexture> mDestination;
    const cvprocess::GpuStdShaders* mWithRegions = nullptr; ///< which filter has them
    std::vector<cv::Rect> mRegions;                         ///< that the filter has
};

} // namespace velmor::viewer
