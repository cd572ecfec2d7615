#pragma once

#include "cvprocess/FaceDetect.h"
#include "examples/shared/MotionHistory.h"
#include "examples/viewer/Material.h"
#include "examples/viewer/Operator.h"
#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <memory>
#include <string>

namespace velmor::viewer {

/// An operator on images in main memory, whose result is drawn as a picture of the frame's size.
class PictureOperator : public Operator
{
public:
    /// @param material  must outlive the operator
    explicit PictureOperator(const Material& material);

    Result run(const Values& values) final;

protected:
    struct Drawn
    {
        cv::Mat picture; ///< 8-bit, grey or BGR
        std::string found;
        double milliseconds; ///< that the operator alone took
    };

    const Material& material() const { return mMaterial; }

    virtual Drawn draw(const Values& values) = 0;

private:
    const Material& mMaterial;
    glsupport::RectTexture mPicture;
};

/// ColourDetector with the model of the patch. Parameters: whether with morphology, the threshold.
class DetectorOperator : public PictureOperator
{
public:
    using PictureOperator::PictureOperator;

protected:
    Drawn draw(const Values& values) override;
};

/// Moments of what ColourDetector detects, as ellipses over the frame. Parameters: the least area, how many at most.
class MomentsOperator : public PictureOperator
{
public:
    using PictureOperator::PictureOperator;

protected:
    Drawn draw(const Values& values) override;
};

/// ColourHist2D of the first region, as a chart over the frame. Parameter: bins of each colour.
class HistogramOperator : public PictureOperator
{
public:
    using PictureOperator::PictureOperator;

protected:
    Drawn draw(const Values& values) override;
};

/// The history of MotionSegment with its centre of mass. Parameter: 0 for orange over the faded frame, 1 for grey.
class MotionOperator : public PictureOperator
{
public:
    explicit MotionOperator(const Material& material);

protected:
    Drawn draw(const Values& values) override;

private:
    demo::MotionHistory mHistory;
};

/// The faces that FaceDetect finds. Parameter: how many times narrower and lower the frame is made first.
class FacesOperator : public PictureOperator
{
public:
    explicit FacesOperator(const Material& material);

protected:
    Drawn draw(const Values& values) override;

private:
    std::unique_ptr<cvprocess::FaceDetect> mDetector; ///< none where there is no cascade
};

} // namespace velmor::viewer
