#include "examples/viewer/OperatorTable.h"

#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/Classify.h"
#include "cvprocess/gpuStdShaders/FlipV.h"
#include "cvprocess/gpuStdShaders/Not.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "cvprocess/gpuStdShaders/RGB2GRAY.h"
#include "cvprocess/gpuStdShaders/RGB2HSV.h"
#include "cvprocess/gpuStdShaders/Subtract.h"
#include "cvprocess/gpuStdShaders/Xor.h"
#include "examples/viewer/ModelFilters.h"
#include "examples/viewer/PictureOperators.h"
#include "examples/viewer/PreparedFilters.h"
#include "examples/viewer/SimpleFilters.h"

#include <sstream>

namespace velmor::viewer {
namespace {

template<class Kind>
std::unique_ptr<Operator> make(const Material& material)
{
    return std::make_unique<Kind>(material);
}

Parameter brightness(double initial)
{
    return {"brightness", initial, 1, 10, 1};
}

const Parameter kThreshold{"threshold", 1, 0, 8, 0.25};

} // namespace

std::string parameterText(const Parameter& parameter, double value)
{
    std::ostringstream text;
    text << parameter.name << ' ';
    if (parameter.choices.empty())
        text << value;
    else
        text << parameter.choices[static_cast<std::size_t>(value)];
    return text.str();
}

const std::vector<OperatorEntry>& operatorTable()
{
    using namespace cvprocess;
    constexpr auto kEach = Regions::EACH;
    constexpr auto kFirst = Regions::FIRST;
    constexpr auto kNone = Regions::NONE;
    constexpr auto kNothing = Extra::NOTHING;
    constexpr auto kSecond = Extra::SECOND_PICTURE;
    constexpr auto kPatch = Extra::PATCH;
    // Parameters: name, initial value, least, most, step, words for the values.
    static const std::vector<OperatorEntry> kTable = {
        {"Not", "the negative", {}, kEach, kNothing, make<OneSource<Not>>},
        {"Subtract",
         "what differs from the second picture",
         {brightness(3)},
         kEach,
         kSecond,
         make<TwoSources<Subtract>>},
        {"And",
         "colours that reach the level in both pictures",
         {{"level", 100, 0, 250, 10}},
         kEach,
         kSecond,
         make<AndOperator>},
        {"Or", "the sum of both pictures", {}, kEach, kSecond, make<TwoSources<Or>>},
        {"Xor",
         "gain over the second picture, where no colour lost",
         {brightness(3)},
         kEach,
         kSecond,
         make<TwoSources<Xor>>},
        {"Classify", "as Xor, by another filter", {brightness(3)}, kEach, kSecond, make<TwoSources<Classify>>},
        {"BGR2GRAY", "the luminance", {}, kEach, kNothing, make<OneSource<BGR2GRAY>>},
        {"RGB2GRAY", "the luminance, as BGR2GRAY", {}, kEach, kNothing, make<OneSource<RGB2GRAY>>},
        {"BGR2HSV", "value in red, saturation in green, hue in blue", {}, kEach, kNothing, make<OneSource<BGR2HSV>>},
        {"RGB2HSV", "the same, with red and blue exchanged first", {}, kEach, kNothing, make<OneSource<RGB2HSV>>},
        {"BayerRG2RGB",
         "colours, from the mosaic of a sensor",
         {},
         kEach,
         kNothing,
         make<PreparedOperator<BayerRG2RGB>>},
        {"BayerRG2GRAY",
         "luminance, from the mosaic of a sensor",
         {},
         kEach,
         kNothing,
         make<PreparedOperator<BayerRG2GRAY>>},
        {"GRAY2Sobel",
         "edges",
         {{"shown", 0, 0, 2, 1, {"strength", "level edges", "upright edges"}}},
         kEach,
         kNothing,
         make<SobelOperator>},
        {"NonMaxSupression", "edges, thinned", {brightness(3)}, kEach, kNothing, make<ThinningOperator>},
        {"Laplacian",
         "how far pixels differ from those around",
         {{"kernel", 0, 0, 2, 1, {"0: eight around", "1: four beside", "2: eight, corners less"}}, brightness(1)},
         kEach,
         kNothing,
         make<LaplacianOperator>},
        {"FlipV", "the frame upside down", {}, kNone, kNothing, make<OneSource<FlipV>>},
        {"DebugUInt2Float",
         "the luminance in 16-bit integers",
         {},
         kEach,
         kNothing,
         make<PreparedOperator<DebugUInt2Float>>},
        {"ColorGMM",
         "pixels of the patch's colours",
         {{"output", 0, 0, 1, 1, {"mask", "colours"}}, kThreshold},
         kEach,
         kPatch,
         make<MixtureOperator>},
        {"ColorGMM2",
         "like the patch (green), a dark (blue) or a bright part (orange)",
         {},
         kEach,
         kPatch,
         make<ClassesOperator>},
        {"ColorHistShader",
         "the most frequent colours",
         {{"bins", 4, 2, 10, 2}},
         kFirst,
         kNothing,
         make<ColourHistOperator>},
        {"PixelCount",
         "how many pixels have the patch's colours",
         {{"tiles", 256, 16, 1024, 16}},
         kNone,
         kPatch,
         make<CountOperator>},
        {"ColourDetector",
         "pixels of the patch's colours, by red's mean",
         {{"morphology", 0, 0, 1, 1, {"off", "on"}}, kThreshold},
         kNone,
         kPatch,
         make<DetectorOperator>},
        {"ColourHist2D",
         "the most frequent colours",
         {{"bins", 8, 2, 32, 2}},
         kFirst,
         kNothing,
         make<HistogramOperator>},
        {"Moments",
         "regions of the patch's colours, and their axes",
         {{"least area", 50, 0, 5000, 50}, {"most regions (-1: all)", -1, -1, 50, 1}},
         kNone,
         kPatch,
         make<MomentsOperator>},
        {"MotionSegment",
         "what moved of late",
         {{"shown", 0, 0, 1, 1, {"over the frame", "history"}}},
         kNone,
         kNothing,
         make<MotionOperator>},
        {"FaceDetect", "faces", {{"reduced", 1, 1, 4, 1}}, kNone, kNothing, make<FacesOperator>},
    };
    return kTable;
}

} // namespace velmor::viewer
