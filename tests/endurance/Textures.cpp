// velmor_endurance_textures [passes [objects]]: 100,000 passes of each filter on textures, then 10,000 filters and
// 10,000 contexts made and destroyed. Prints a line for each: calls, seconds, bytes of the heap that stay with a call,
// and pages that have come. Exits with 1 where memory stays or a result differs from the one of the same frame before.

#include "catalogue/GpuFilters.h"
#include "cvprocess/gpuStdShaders/internal/Announcements.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"
#include "tests/endurance/Frames.h"
#include "tests/support/Models.h"

#include <GL/glew.h>

#include <array>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Kind;
using catalogue::Operator;
using core::cvdata::ColorGMM;
using cvprocess::GpuStdShaders;
using glsupport::HeadlessContext;
using glsupport::RectTexture;

/// Bytes that drivers keep of each context and each program. Mesa's compiler loses some hundred.
constexpr double kOfDrivers = 1000.0;

std::vector<const Operator*> filters()
{
    std::vector<const Operator*> result;
    for (const Operator& each : catalogue::operators())
        if (each.kind == Kind::FILTER)
            result.push_back(&each);
    return result;
}

/// The frames as textures of a format.
std::vector<std::unique_ptr<RectTexture>> textures(const std::vector<cv::Mat>& frames, RectTexture::Format format)
{
    std::vector<std::unique_ptr<RectTexture>> result;
    for (const cv::Mat& frame : frames) {
        cv::Mat texels(frame.size(), CV_8UC4, cv::Scalar::all(255));
        const int fromTo[] = {0, 0, 1, 1, 2, 2};
        cv::mixChannels(&frame, 1, &texels, 1, fromTo, 3);
        if (format == RectTexture::RGBA16UI)
            texels.convertTo(texels, CV_16U, 257.0);
        result.push_back(std::make_unique<RectTexture>(kFrameWidth, kFrameHeight, format));
        result.back()->upload(texels.data);
    }
    return result;
}

/// What filters draw from and to, in the context that was current when it was made.
class Table
{
public:
    explicit Table(const std::vector<cv::Mat>& frames)
        : mBytes(textures(frames, RectTexture::RGBA8)), mIntegers(textures(frames, RectTexture::RGBA16UI))
    {
    }

    void draw(GpuStdShaders& filter, const Operator& what, std::size_t k, Digest* results)
    {
        const auto& sources = what.takes == Data::INTEGERS ? mIntegers : mBytes;
        // The same destination twice is a redundant bind, of which there is a warning.
        RectTexture& destination = (what.gives == Data::COUNTS ? mCounts : mFloats)[k % 2];
        if (what.sources == 2)
            filter.prepareExecution(*sources[k], *sources[(k + 1) % sources.size()], destination);
        else
            filter.prepareExecution(*sources[k], destination);
        filter.execute();
        if (!results)
            return;
        destination.download(mTexels.data());
        results->add(mTexels.data(), mTexels.size() * sizeof(float));
    }

private:
    std::vector<std::unique_ptr<RectTexture>> mBytes, mIntegers;
    RectTexture mFloats[2] = {{kFrameWidth, kFrameHeight, RectTexture::RGBA32F},
                              {kFrameWidth, kFrameHeight, RectTexture::RGBA32F}};
    RectTexture mCounts[2] = {{kFrameWidth, kFrameHeight, RectTexture::R32UI},
                              {kFrameWidth, kFrameHeight, RectTexture::R32UI}};
    std::vector<float> mTexels = std::vector<float>(std::size_t{4} * kFrameWidth * kFrameHeight);
};

/// Of two components, as ColorGMM takes it.
ColorGMM model(const std::array<double, 2>& mean)
{
    const Gaussian component = {{{1e-4, 0}, {0, 1e-4}}, 1e8f, {mean[0], mean[1]}, 0.5f};
    return makeModel({component, component}, 1e-8);
}

class Filters
{
public:
    Filters()
    {
        mGiven.models = {&mModel, &mOther};
        mGiven.size = {kFrameWidth, kFrameHeight};
    }

    void endurePasses(Endurance& endurance, std::size_t passes)
    {
        const HeadlessContext context;
        Table table(mFrames);
        for (const Operator* each : filters()) {
            const auto filter = made(*each);
            endurance.endure(each->name, passes,
                             [&](std::size_t k, Digest* results) { table.draw(*filter, *each, k, results); });
        }
    }

    void endureFilters(Endurance& endurance, std::size_t count)
    {
        // It is meant that the display list of each filter stays until its context goes.
        std::optional<HeadlessContext> context;
        std::optional<Table> table;
        const std::vector<const Operator*> all = filters();
        endurance.endure(
            "filters made and destroyed", count,
            [&](std::size_t k, Digest* results) {
                if (k == 0) {
                    table.reset();
                    context.reset();
                    context.emplace();
                    table.emplace(mFrames);
                }
                const Operator& what = *all[k % all.size()];
                table->draw(*made(what), what, k, results);
            },
            kOfDrivers);
    }

    void endureContexts(Endurance& endurance, std::size_t count)
    {
        const std::vector<const Operator*> all = filters();
        endurance.endure(
            "contexts made and destroyed", count,
            [&](std::size_t k, Digest* results) {
                const HeadlessContext context;
                const Operator& what = *all[k % all.size()];
                Table table({mFrames[k], mFrames[(k + 1) % mFrames.size()]});
                table.draw(*made(what), what, 0, results);
            },
            kOfDrivers);
    }

private:
    std::unique_ptr<GpuStdShaders> made(const Operator& what) const
    {
        catalogue::Given given = mGiven;
        if (what.need == catalogue::Need::ONE_MODEL)
            given.models.resize(1);
        const cvprocess::Silence silence;                // what it announces would stand between the lines
        const bool hasTiles = what.name == "PixelCount"; // fewer than a frame is wide
        return catalogue::makeGpu(what.name, hasTiles ? catalogue::Values{{"tiles", 16}} : catalogue::Values{}, given);
    }

    std::vector<cv::Mat> mFrames = frames();
    mutable ColorGMM mModel = model({128, 128});
    mutable ColorGMM mOther = model({90, 80});
    catalogue::Given mGiven;
};

} // namespace
} // namespace velmor::tests

int main(int argc, char** argv)
{
    using namespace velmor::tests;
    try {
        Endurance endurance;
        Filters filters;
        filters.endurePasses(endurance, numberOf(argc, argv, 1, 100000));
        const std::size_t objects = numberOf(argc, argv, 2, 10000);
        filters.endureFilters(endurance, objects);
        filters.endureContexts(endurance, objects);
        return endurance.isGood() ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "velmor_endurance_textures: " << error.what() << '\n';
        return 1;
    }
}
