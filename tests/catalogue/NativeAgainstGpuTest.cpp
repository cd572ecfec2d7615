// Each filter on pictures in main memory beside the one of its name on textures, for every type that both take.

#include "catalogue/GpuFilters.h"
#include "catalogue/NativeFilters.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/RectTexture.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"
#include "tests/gl/GlTest.h"
#include "tests/support/Agreement.h"
#include "tests/support/MixtureRules.h"
#include "tests/support/TextureFormats.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>
#include <vector>

namespace velmor::tests {
namespace {

using catalogue::Data;
using catalogue::Given;
using catalogue::makeNative;
using catalogue::Operator;
using catalogue::Values;
using core::cvdata::ColorGMM;
using cvprocess::GpuStdShaders;
using glsupport::RectTexture;

/// What textures hold as it is, and three floats, which one of four holds, whose alpha is 1.
const std::map<int, RectTexture::Format> kFormats = [] {
    auto formats = kTextureFormats;
    formats.emplace(CV_32FC3, RectTexture::RGBA32F);
    return formats;
}();

const std::vector<cv::Size> kSizes = {{1, 1}, {5, 1}, {1, 6}, {67, 29}, {320, 200}};

cv::Mat randomSource(cv::Size size, int type, std::uint64_t seed)
{
    cv::Mat picture(size, type);
    cv::RNG random(seed);
    // Floats that are bytes: divisions by next to nothing, which any rounding changes much, have tests of their own.
    cv::Mat bytes(size, CV_MAKETYPE(CV_8U, picture.channels()));
    random.fill(bytes, cv::RNG::UNIFORM, 0, 256);
    if (picture.depth() == CV_8U)
        return bytes;
    if (picture.depth() == CV_32F)
        bytes.convertTo(picture, CV_32F, 1.0 / 255.0);
    else
        random.fill(picture, cv::RNG::UNIFORM, 0, picture.depth() == CV_16U ? 65536 : 1 << 30);
    return picture;
}

class NativeAgainstGpu : public GlTest
{
protected:
    Given given()
    {
        Given result;
        for (ColorGMM& model : models)
            result.models.push_back(&model);
        return result;
    }

    /// One pass, into a texture of four channels of a depth.
    cv::Mat onTextures(const Operator& what, const Values& values, const cv::Mat& source1, const cv::Mat& source2,
                       int depth);

    void expectAgreement(const Operator& what, const Values& values, int type, int depth);

    std::vector<ColorGMM> models;
};

void upload(RectTexture& texture, const cv::Mat& picture)
{
    cv::Mat texels = picture;
    if (picture.type() == CV_32FC3) {
        texels = cv::Mat(picture.size(), CV_32FC4, cv::Scalar::all(1));
        const int fromTo[] = {0, 0, 1, 1, 2, 2};
        cv::mixChannels(&picture, 1, &texels, 1, fromTo, 3);
    }
    texture.upload(texels.data);
}

RectTexture::Format formatOf(const cv::Mat& picture)
{
    return kFormats.at(picture.type());
}

cv::Mat NativeAgainstGpu::onTextures(const Operator& what, const Values& values, const cv::Mat& source1,
                                     const cv::Mat& source2, int depth)
{
    const auto width = static_cast<unsigned>(source1.cols), height = static_cast<unsigned>(source1.rows);
    RectTexture first(width, height, formatOf(source1));
    RectTexture second(width, height, formatOf(source1));
    RectTexture destination(width, height, depth == CV_8U ? RectTexture::RGBA8 : RectTexture::RGBA32F);
    upload(first, source1);
    std::unique_ptr<GpuStdShaders> filter;
    capture([&] { filter = catalogue::makeGpu(what.name, values, given()); });
    if (what.sources == 2) {
        upload(second, source2);
        filter->prepareExecution(first, second, destination);
    } else {
        filter->prepareExecution(first, destination);
    }
    filter->execute();
    cv::Mat result(source1.size(), CV_MAKETYPE(depth, 4));
    destination.download(result.data);
    return result;
}

cv::Mat inMemory(const native::Filter& filter, const cv::Mat& source1, const cv::Mat& source2, int depth = -1)
{
    cv::Mat result;
    if (filter.sources() == 1)
        filter.execute(source1, result, depth);
    else
        filter.execute(source1, source2, result, depth);
    return result;
}

std::string place(int y, int x, int channel)
{
    return "row " + std::to_string(y) + ", column " + std::to_string(x) + ", channel " + std::to_string(channel);
}

/// Bytes are the same. Where they are not, the exact value, which the floats tell, is where the two bytes meet.
void expectBytes(const cv::Mat& own, const cv::Mat& exact, const cv::Mat& gpu)
{
    for (int y = 0; y < own.rows; ++y) {
        for (int x = 0; x < own.cols; ++x) {
            for (int c = 0; c < own.channels(); ++c) {
                const int mine = own.ptr(y)[x * own.channels() + c];
                const int theirs = gpu.ptr(y)[4 * x + c];
                if (mine == theirs)
                    continue;
                ASSERT_EQ(std::abs(mine - theirs), 1) << place(y, x, c);
                const double value = 255.0 * static_cast<double>(exact.ptr<float>(y)[x * own.channels() + c]);
                ASSERT_NEAR(value, 0.5 * (mine + theirs), kStep) << place(y, x, c);
            }
        }
    }
}

void expectFloats(const cv::Mat& own, const cv::Mat& gpu, float tolerance)
{
    for (int y = 0; y < own.rows; ++y)
        for (int x = 0; x < own.cols; ++x)
            for (int c = 0; c < own.channels(); ++c)
                ASSERT_NEAR(own.ptr<float>(y)[x * own.channels() + c], gpu.ptr<float>(y)[4 * x + c], tolerance)
                    << place(y, x, c);
}

void NativeAgainstGpu::expectAgreement(const Operator& what, const Values& values, int type, int depth)
{
    const auto filter = makeNative(what.name, values);
    for (const cv::Size& size : kSizes) {
        SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
        const cv::Mat source1 = randomSource(size, type, 1), source2 = randomSource(size, type, 2);
        const cv::Mat own = inMemory(*filter, source1, source2, depth);
        const cv::Mat gpu = onTextures(what, values, source1, source2, depth);
        if (depth == CV_32F)
            expectFloats(own, gpu, tolerance(what));
        else
            expectBytes(own, inMemory(*filter, source1, source2, CV_32F), gpu);
        if (HasFatalFailure())
            return;
    }
}

bool gives(const native::Filter& filter, int type, int depth)
{
    try {
        filter.resultType(type, depth);
        return true;
    } catch (const std::invalid_argument&) {
        return false;
    }
}

/// Each way to set a filter by its one choice.
std::vector<Values> settingsOf(const Operator& what)
{
    if (what.parameters.empty())
        return {{}};
    std::vector<Values> all;
    for (double value = what.parameters[0].least; value <= what.parameters[0].most; ++value)
        all.push_back({{what.parameters[0].name, value}});
    return all;
}

TEST_F(NativeAgainstGpu, PicturesAgreeForEveryTypeThatBothTake)
{
    for (const Operator& each : catalogue::operators()) {
        if (!catalogue::hasNative(each) || each.need != catalogue::Need::NOTHING || each.takes == Data::DIRECTIONS)
            continue;
        int compared = 0;
        for (const Values& values : settingsOf(each)) {
            const auto filter = makeNative(each.name, values);
            for (const auto& [type, format] : kFormats) {
                for (const int depth : {CV_8U, CV_32F}) {
                    if (!gives(*filter, type, depth))
                        continue;
                    SCOPED_TRACE(each.name + " of " + cv::typeToString(type) + " to depth " + std::to_string(depth));
                    expectAgreement(each, values, type, depth);
                    ++compared;
                }
            }
        }
        EXPECT_GE(compared, 2) << each.name;
    }
}

TEST_F(NativeAgainstGpu, ThinnedEdgesAgree)
{
    // Directions lead to the middles of texels, or nearly: between them a driver's rounding decides.
    cv::Mat gradients(40, 61, CV_32FC4);
    cv::RNG random(3);
    gradients.forEach<cv::Vec4f>([](cv::Vec4f& texel, const int*) { texel = cv::Vec4f(0, 0, 0, 1); });
    for (int y = 0; y < gradients.rows; ++y) {
        for (int x = 0; x < gradients.cols; ++x) {
            const double magnitude = random.uniform(0, 9) / 8.0;
            const auto encoded = [&] {
                const double distance = random.uniform(-3, 4) + random.uniform(-0.4, 0.4);
                return static_cast<float>((distance * 1.4142 * magnitude + 1.0) / 2.0);
            };
            const float aside = encoded(), below = encoded();
            gradients.at<cv::Vec4f>(y, x) = cv::Vec4f(static_cast<float>(magnitude), aside, below, 1);
        }
    }
    const auto filter = makeNative("NonMaxSupression");
    const cv::Mat own = inMemory(*filter, gradients, cv::Mat());
    EXPECT_GT(cv::countNonZero(own), 10);
    expectFloats(own, onTextures(*catalogue::find("NonMaxSupression"), {}, gradients, cv::Mat(), CV_32F), 1e-6F);
}

/// All pairs of bytes in the first two channels, as bytes or as floats.
cv::Mat allColours(int type)
{
    cv::Mat colours(256, 256, CV_MAKETYPE(CV_8U, CV_MAT_CN(type)), cv::Scalar::all(64));
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            uchar* const pixel = colours.ptr(y, x);
            pixel[0] = static_cast<uchar>(x);
            pixel[1] = static_cast<uchar>(y);
        }
    }
    if (CV_MAT_DEPTH(type) == CV_32F)
        colours.convertTo(colours, CV_32F, 1.0 / 255.0);
    return colours;
}

TEST_F(NativeAgainstGpu, MixturesOfTwoComponentsAgree)
{
    models = {makeModel({gaussian(60, 70, 400, 0, 300, 0.5f), gaussian(190, 160, 200, 0, 900, 0.5f)}, 0)};
    models[0].detectionThreshold = separatingThreshold(models[0], 1e-5);
    const Operator& what = *catalogue::find("ColorGMM");
    for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4}) {
        SCOPED_TRACE(cv::typeToString(type));
        const cv::Mat colours = allColours(type);
        const cv::Mat mask = inMemory(*makeNative(what.name, {}, given()), colours, cv::Mat());
        const int kept = cv::countNonZero(mask);
        EXPECT_GT(kept, 100);
        EXPECT_LT(kept, 65000);
        expectBytes(mask, cv::Mat(), onTextures(what, {}, colours, cv::Mat(), CV_8U));

        const Values inColours = {{"output", 1}};
        const cv::Mat own = inMemory(*makeNative(what.name, inColours, given()), colours, cv::Mat());
        const cv::Mat gpu = onTextures(what, inColours, colours, cv::Mat(), own.depth());
        if (own.depth() == CV_8U)
            expectBytes(own, cv::Mat(), gpu);
        else
            expectFloats(own, gpu, 0.0F);
    }
}

TEST_F(NativeAgainstGpu, ClassesAgree)
{
    for (int k = 0; k < 5; ++k)
        models.push_back(makeModel(
            {gaussian(40 * k + 30, 60, 900, 10, 700, 0.7f), gaussian(200 - 30 * k, 180, 500, -20, 1500, 0.2f)}, 0));
    const cv::Mat classes = inMemory(*makeNative("ColorGMM2", {}, given()), allColours(CV_8UC3), cv::Mat());
    const cv::Mat gpu = onTextures(*catalogue::find("ColorGMM2"), {}, allColours(CV_8UC3), cv::Mat(), CV_32F);
    int undecided = 0;
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            std::vector<double> densities;
            for (const ColorGMM& model : models)
                densities.push_back(density(model, {static_cast<float>(x) / 255, static_cast<float>(y) / 255, 0, 1}));
            std::sort(densities.rbegin(), densities.rend());
            if (!apart(densities[0], densities[1]) || densities[0] < 1e-30) // floats round, or become 0
                ++undecided;
            else
                ASSERT_EQ(int{classes.at<uchar>(y, x)}, static_cast<int>(gpu.ptr<float>(y)[4 * x])) << x << ", " << y;
        }
    }
    EXPECT_LT(undecided, 655); // one in a hundred
}

TEST_F(NativeAgainstGpu, CountsAgree)
{
    constexpr unsigned kWidth = 300, kHeight = 200;
    RectTexture counts(kWidth, kHeight, RectTexture::R32UI);
    cv::Mat bytes = randomSource({kWidth, kHeight}, CV_8UC1, 5);
    bytes.setTo(255, bytes > 200);
    cv::Mat floats(kHeight, kWidth, CV_32FC1);
    cv::RNG(6).fill(floats, cv::RNG::UNIFORM, 0, 5);
    for (const cv::Mat& mask : {bytes, floats}) {
        SCOPED_TRACE(cv::typeToString(mask.type()));
        RectTexture source(kWidth, kHeight, formatOf(mask));
        upload(source, mask);
        std::unique_ptr<GpuStdShaders> filter;
        unsigned count = 0;
        capture([&] {
            filter = catalogue::makeGpu("PixelCount");
            filter->prepareExecution(source, counts);
            filter->execute();
            count = dynamic_cast<cvprocess::PixelCount&>(*filter).getCount();
        });
        EXPECT_GT(count, 1000U);
        EXPECT_EQ(native::pixelCount(mask), count);
    }
}

TEST_F(NativeAgainstGpu, HistogramsAgree)
{
    constexpr int kWidth = 256, kHeight = 128; // of other sizes the shader rounds where blocks begin
    Given size;
    size.size = {kWidth, kHeight};
    for (const int type : {CV_8UC3, CV_8UC4, CV_32FC4}) {
        SCOPED_TRACE(cv::typeToString(type));
        const cv::Mat colours = randomSource(size.size, type, 7);
        RectTexture source(kWidth, kHeight, formatOf(colours)), destination(kWidth, kHeight, RectTexture::RGBA32F);
        upload(source, colours);
        core::cvdata::ColourHist2d own(4, 4, 4), gpu(4, 4, 4);
        native::colorHistShader(colours, cv::Rect({0, 0}, size.size), own);
        std::unique_ptr<GpuStdShaders> filter;
        capture([&] { filter = catalogue::makeGpu("ColorHistShader", {{"bins", 4}, {"block", 16}}, size); });
        filter->addROI(0, 0, kWidth - 1, kHeight - 1);
        filter->prepareExecution(source, source, destination);
        filter->execute();
        dynamic_cast<cvprocess::ColorHistShader&>(*filter).copyHistoFromGPU(gpu);
        for (unsigned cell = 0; cell < 64; ++cell)
            EXPECT_NEAR(own.data()[cell], gpu.data()[cell], 1e-7) << cell; // the texture's counts are exact
    }
}

} // namespace
} // namespace velmor::tests
