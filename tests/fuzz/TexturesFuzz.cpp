// Sequences of calls of the filters on textures: any type that they take, any size, settings and regions, in any order.
// No call leaves an error in OpenGL, nothing outside of regions is written, and what is inside is what the filter of
// the same name gives of pictures in main memory.

#include "catalogue/GpuFilters.h"
#include "catalogue/NativeFilters.h"
#include "glsupport/DriverAdapter.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"
#include "tests/fuzz/Draws.h"
#include "tests/support/Agreement.h"
#include "tests/support/NativeOperators.h"
#include "tests/support/TextureFormats.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Given;
using catalogue::Operator;
using catalogue::Values;
using core::cvdata::ColorGMM;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

class Context
{
public:
    Context() : mContext(false) { glsupport::DriverAdapter::install(); }

private:
    glsupport::HeadlessContext mContext;
};

/// Whether both filters agree on any picture. Between texels, and where two densities are nearly equal, a driver's
/// rounding decides.
bool agrees(const Operator& what)
{
    return what.need == catalogue::Need::NOTHING && what.takes != Data::DIRECTIONS;
}

/// A texture and what it holds.
class Texture
{
public:
    explicit Texture(const cv::Mat& picture)
        : mTexture(static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows),
                   kTextureFormats.at(picture.type())),
          mPicture(picture)
    {
        mTexture.upload(mPicture.data);
    }

    RectTexture& texture() { return mTexture; }
    const cv::Mat& picture() const { return mPicture; }

    cv::Mat download() const
    {
        cv::Mat result(mPicture.size(), mPicture.type());
        mTexture.download(result.data);
        return result;
    }

private:
    RectTexture mTexture;
    cv::Mat mPicture;
};

/// Floats are bytes divided by 255: what is next to nothing is divided by, and any rounding changes the quotient much.
cv::Mat drawPicture(Bytes& bytes, const cv::Size& size, int type)
{
    const bool isFloat = CV_MAT_DEPTH(type) == CV_32F;
    const Part part(bytes, size, isFloat ? CV_MAKETYPE(CV_8U, CV_MAT_CN(type)) : type);
    cv::Mat result = part.before();
    if (isFloat)
        result.convertTo(result, CV_32F, 1.0 / 255.0);
    return result;
}

std::vector<cv::Rect> drawRegions(Bytes& bytes, const cv::Size& size)
{
    std::vector<cv::Rect> regions;
    for (int count = bytes.ConsumeIntegralInRange(0, 3); count > 0; --count) {
        const int x = bytes.ConsumeIntegralInRange(-5, size.width), y = bytes.ConsumeIntegralInRange(-5, size.height);
        regions.emplace_back(x, y, bytes.ConsumeIntegralInRange(0, size.width + 5),
                             bytes.ConsumeIntegralInRange(0, size.height + 5));
    }
    return regions;
}

/// What both filters of a name are made of, and the one on textures, which stays from call to call.
struct Kept
{
    Values values;
    std::vector<ColorGMM> models;
    std::unique_ptr<native::Filter> own;
    std::unique_ptr<GpuStdShaders> filter;
};

class Calls
{
public:
    void call(Bytes& bytes);

private:
    Kept* keep(Bytes& bytes, const Operator& what);
    Texture& hold(const cv::Mat& picture);

    std::vector<std::unique_ptr<Texture>> mTextures; // until all calls are made, so that no name comes twice
    std::map<std::string, Kept> mKept;
};

/// A model of two components: by design ColorGMM has no shader for others.
ColorGMM drawModelOfTwo(Bytes& bytes)
{
    ColorGMM model = drawModel(bytes, false);
    while (model.mixture.size() < 2)
        model.mixture.emplace_back(new core::cvdata::GM(2));
    model.mixture.resize(2);
    return model;
}

/// The filter of a name, null where its settings are refused.
Kept* Calls::keep(Bytes& bytes, const Operator& what)
{
    const auto found = mKept.find(what.name);
    if (found != mKept.end() && !oneIn(bytes, 4))
        return &found->second;
    Kept kept;
    kept.values = drawValues(bytes, what);
    kept.models = {drawModelOfTwo(bytes), drawModelOfTwo(bytes)};
    Given given;
    for (ColorGMM& model : kept.models)
        if (what.need == catalogue::Need::MODELS || given.models.empty())
            given.models.push_back(&model);
    const bool fits = areTaken(what, kept.values);
    try {
        kept.own = catalogue::makeNative(what.name, kept.values, given);
        kept.filter = catalogue::makeGpu(what.name, kept.values, given);
    } catch (const std::invalid_argument&) {
        require(!fits && !kept.own, what.name + " refuses settings that fit");
        return nullptr;
    }
    require(fits, what.name + " takes settings that do not fit");
    return &(mKept[what.name] = std::move(kept));
}

Texture& Calls::hold(const cv::Mat& picture)
{
    return *mTextures.emplace_back(std::make_unique<Texture>(picture));
}

/// The type of a result, where a filter takes such sources.
std::optional<int> resultType(const native::Filter& filter, int type, int depth)
{
    try {
        return filter.resultType(type, depth);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

cv::Mat inMemory(const native::Filter& filter, const Texture& first, const Texture& second, int depth)
{
    cv::Mat result;
    if (filter.sources() == 1)
        filter.execute(first.picture(), result, depth);
    else
        filter.execute(first.picture(), second.picture(), result, depth);
    return result;
}

void onTextures(GpuStdShaders& filter, const std::vector<cv::Rect>& regions, Texture& first, Texture* second,
                Texture& destination)
{
    filter.resetROIs();
    for (const cv::Rect& each : regions)
        filter.addROI(each.x, each.y, each.x + each.width, each.y + each.height);
    if (second)
        filter.prepareExecution(first.texture(), second->texture(), destination.texture());
    else
        filter.prepareExecution(first.texture(), destination.texture());
    filter.execute();
}

/// 255 for the pixels that a pass draws.
cv::Mat drawnPixels(const cv::Size& size, const std::vector<cv::Rect>& regions)
{
    cv::Mat drawn(size, CV_8UC1, cv::Scalar(regions.empty() ? 255 : 0));
    for (const cv::Rect& each : regions)
        drawn(each & cv::Rect({0, 0}, size)).setTo(255);
    return drawn;
}

/// Bytes are the same but where the exact value is where two bytes meet.
bool agreeBytes(int own, int gpu, float exact)
{
    return own == gpu ||
           (std::abs(own - gpu) == 1 && std::fabs(255.0 * static_cast<double>(exact) - 0.5 * (own + gpu)) <= kStep);
}

/// A result in main memory, and one on textures, of four channels.
struct Pair
{
    cv::Mat own;
    cv::Mat exact; ///< the same as floats
    cv::Mat gpu;
};

void expectPixels(const Operator& what, const Pair& pair, const cv::Mat& drawn)
{
    const bool isBytes = pair.own.depth() == CV_8U;
    for (int y = 0; y < pair.own.rows; ++y) {
        for (int x = 0; x < pair.own.cols; ++x) {
            for (int c = 0; c < pair.own.channels() && drawn.ptr(y)[x] != 0; ++c) {
                const int element = x * pair.own.channels() + c, texel = 4 * x + c;
                const float exact = pair.exact.ptr<float>(y)[element];
                const bool agree = isBytes ? agreeBytes(pair.own.ptr(y)[element], pair.gpu.ptr(y)[texel], exact)
                                           : std::fabs(exact - pair.gpu.ptr<float>(y)[texel]) <= tolerance(what);
                require(agree, what.name + " gives something else on textures, in row " + std::to_string(y) +
                                   ", column " + std::to_string(x) + ", channel " + std::to_string(c));
            }
        }
    }
}

void expectNothingElse(const Operator& what, const Texture& destination, const cv::Mat& result, const cv::Mat& drawn)
{
    cv::Mat before = destination.picture().clone();
    result.copyTo(before, drawn);
    require(areEqual(before, result), what.name + " draws outside of its regions");
}

void Calls::call(Bytes& bytes)
{
    const Operator& what = oneOf(bytes, nativeOperators());
    Kept* const kept = keep(bytes, what);
    auto format = kTextureFormats.begin();
    std::advance(format, bytes.ConsumeIntegralInRange<std::size_t>(0, kTextureFormats.size() - 1));
    const int type = format->first, depth = bytes.ConsumeBool() ? CV_32F : CV_8U;
    if (!kept || !resultType(*kept->own, type, agrees(what) ? depth : -1))
        return;
    const cv::Size size = drawSize(bytes, oneIn(bytes, 16) ? 300 : 63);
    Texture& first = hold(drawPicture(bytes, size, type));
    Texture* const second = what.sources == 2 ? &hold(drawPicture(bytes, size, type)) : nullptr;
    Texture& destination = hold(drawPicture(bytes, size, CV_MAKETYPE(depth, 4)));
    const bool isRegional = what.regions == catalogue::Regions::EACH;
    const std::vector<cv::Rect> regions = isRegional ? drawRegions(bytes, size) : std::vector<cv::Rect>();
    onTextures(*kept->filter, regions, first, second, destination);
    const GLenum error = glGetError();
    require(error == GL_NO_ERROR, what.name + " leaves the error " + std::to_string(error));
    require(areEqual(first.download(), first.picture()), what.name + " changes its source");
    const cv::Mat result = destination.download(), drawn = drawnPixels(size, regions);
    expectNothingElse(what, destination, result, drawn);
    if (!agrees(what))
        return;
    const Texture& other = second ? *second : first;
    expectPixels(what, {inMemory(*kept->own, first, other, depth), inMemory(*kept->own, first, other, CV_32F), result},
                 drawn);
}

} // namespace
} // namespace velmor::tests

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace velmor::tests;
    static const Context context;
    Bytes bytes(data, size);
    Calls calls;
    for (int call = 0; call < 4 && bytes.remaining_bytes() > 0; ++call)
        calls.call(bytes);
    return 0;
}
