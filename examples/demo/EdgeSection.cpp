#include "examples/demo/EdgeSection.h"

#include "cvprocess/gpuStdShaders/BGR2GRAY.h"
#include "cvprocess/gpuStdShaders/GRAY2Sobel.h"
#include "cvprocess/gpuStdShaders/Laplacian.h"
#include "cvprocess/gpuStdShaders/NonMaxSupression.h"
#include "examples/demo/Scene.h"
#include "examples/demo/Showcase.h"
#include "examples/shared/Findings.h"
#include "examples/shared/FloatPictures.h"
#include "examples/shared/GpuPictures.h"
#include "examples/shared/Gradients.h"
#include "examples/shared/Masks.h"

namespace velmor::demo {
namespace {

/// Values of -1..1 from black to white.
cv::Mat signedPicture(const cv::Mat& values)
{
    return greyPicture(values / 2 + 0.5);
}

std::string averageFound(const std::string& what, const cv::Mat& values)
{
    return "average " + what + " " + decimalText(cv::mean(values)[0], 3);
}

void showThinning(const cv::Mat& gradients, Showcase& showcase)
{
    const cv::Mat scaled = strengthAndDirection(gradients);
    showcase.showPicture("Input of NonMaxSupression", colourPicture(scaled),
                         "Strength in red, direction in green and blue");
    const auto source = makeFloatTexture(gradients.size());
    const auto result = makeFloatTexture(gradients.size());
    source->upload(scaled.data);
    cvprocess::NonMaxSupression thin(nullptr);
    thin.prepareExecution(*source, *result);
    const auto read = [&result] {
        const cv::Mat kept = channelOf(downloadFloats(*result), 0);
        return Showcase::Reading{greyPicture(kept * 3), percentText(shareSet(kept)) + " of the pixels are kept"};
    };
    showcase.showPass("NonMaxSupression", thin, read, "Only the strongest line of each edge, x 3");
}

void showSobel(const cv::Mat& frame, Showcase& showcase)
{
    const auto colours = makeTexture(frame);
    const auto greys = makeTexture(frame.size());
    cvprocess::BGR2GRAY toGrey;
    toGrey.prepareExecution(*colours, *greys);
    toGrey.execute();

    const auto result = makeFloatTexture(frame.size());
    cvprocess::GRAY2Sobel sobel;
    sobel.prepareExecution(*greys, *result);
    cv::Mat gradients;
    const auto read = [&] {
        gradients = downloadFloats(*result);
        const cv::Mat strength = channelOf(gradients, STRENGTH);
        return Showcase::Reading{greyPicture(strength / 2), averageFound("strength", strength)};
    };
    showcase.showPass("GRAY2Sobel", sobel, read, "Strength of the edges, half as bright as it is");
    showcase.showPicture("GRAY2Sobel, level edges", signedPicture(channelOf(gradients, LEVEL)),
                         "Light where it gets brighter downwards, x 1/2");
    showcase.showPicture("GRAY2Sobel, upright edges", signedPicture(channelOf(gradients, UPRIGHT)),
                         "Light where it gets brighter to the left, x 1/2");
    showThinning(gradients, showcase);
}

struct Kernel
{
    int type;
    const char* title;
    const char* sentence;
};

constexpr Kernel kKernels[] = {
    {0, "Laplacian", "How far pixels differ from the eight around them"},
    {1, "Laplacian, four neighbours", "How far they differ from the four beside them"},
    {2, "Laplacian, eight neighbours", "Corners and dots, but no level or upright lines"},
};

void showLaplacian(const cv::Mat& frame, Showcase& showcase)
{
    const auto source = makeTexture(frame);
    const auto result = makeFloatTexture(frame.size());
    cvprocess::Laplacian laplacian(nullptr);
    laplacian.prepareExecution(*source, *result);
    const auto read = [&result] {
        const cv::Mat colours = downloadFloats(*result);
        return Showcase::Reading{colourPicture(colours), averageFound("response", channelOf(colours, 1)) + " in green"};
    };
    for (const Kernel& kernel : kKernels) {
        laplacian.params()->kernelType = kernel.type;
        showcase.showPass(kernel.title, laplacian, read, kernel.sentence);
    }
}

} // namespace

void showEdgeFilters(const Scene& scene, Showcase& showcase)
{
    showSobel(scene.later, showcase);
    showLaplacian(scene.later, showcase);
}

} // namespace velmor::demo
