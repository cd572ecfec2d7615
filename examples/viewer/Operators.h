#pragma once

#include "catalogue/Catalogue.h"
#include "core/cvdata/ColourHist2d.h"
#include "examples/viewer/ColourView.h"
#include "examples/viewer/Material.h"

#include <functional>
#include <optional>
#include <vector>

namespace velmor::examples {

/// How long an operator took over a frame, in milliseconds, wherever it works.
struct Times
{
    std::optional<double> onTextures;
    std::optional<double> inMemory;
};

/// An operator of the library at work, with the textures and pictures that it needs here.
class Operator
{
public:
    struct Result
    {
        RectTexture* texture = nullptr;        ///< of the operator's own
        Colours colours = examples::colours(); ///< how the texture is to be seen
        std::string found;                     ///< what the result says, in a few words; may be empty
        Times times;
    };

    Operator() = default;
    Operator(const Operator&) = delete;
    Operator& operator=(const Operator&) = delete;
    virtual ~Operator() = default;

    /// Runs over the present frame, wherever it can.
    /// @param inMemory  whether the result is to be that of the filter in main memory, where there is one
    virtual Result run(const catalogue::Values& values, bool inMemory) = 0;
};

/// The operators of the catalogue. Behind its own, each has the parameters of the view: how bright it is, and the like.
const std::vector<catalogue::Operator>& shownOperators();

/// Whether an operator compares the frame with the second picture; whether it works with the colours of the patch.
bool takesSecondPicture(const catalogue::Operator& shown);
bool takesPatch(const catalogue::Operator& shown);

/// Puts one of shownOperators() to work on material that outlives it.
std::unique_ptr<Operator> makeOperator(const catalogue::Operator& shown, Material& material);
std::unique_ptr<Operator> makeFilterOperator(const catalogue::Operator& shown, Material& material);
std::unique_ptr<Operator> makePictureOperator(const catalogue::Operator& shown, Material& material);

/// Those of the values that the operator itself is set with.
catalogue::Values ownValues(const std::string& name, const catalogue::Values& values);

/// The model of the patch, which accepts a colour from so many times its usual likelihood on as the values say.
core::cvdata::ColorGMM modelOf(const Material& material, const catalogue::Values& values);

/// A copy of a frame with bars for the fullest bins of a histogram of red, green and blue in its upper right corner.
cv::Mat withChart(const cv::Mat& frame, const core::cvdata::ColourHist2d& histogram);

/// How long a piece of work takes, in milliseconds.
double timed(const std::function<void()>& work);

} // namespace velmor::examples
