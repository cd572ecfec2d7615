#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "cvprocess/gpuStdShaders/BGR2HSV.h"
#include "cvprocess/gpuStdShaders/BayerRG2RGB.h"
#include "cvprocess/gpuStdShaders/ColorGMM2.h"
#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "glsupport/StateGuard.h"
#include "tests/support/Models.h"
#include "tests/support/ReferenceRules.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <numeric>

#include <unistd.h>

#ifdef __SANITIZE_ADDRESS__
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // g++ comes without the header that declares it
#endif

using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::ColourHist2d;
using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;
using namespace velmor::cvprocess;

namespace velmor::tests {
namespace {

constexpr unsigned kSide = 64; // a power of 2, so that the places of blocks are exact
constexpr int kBins = 4;
constexpr int kFrames = 1000;

/// Value and saturation of grass in sunlight, roughly: two components with means of 8-bit numbers.
ColorGMM grassModel()
{
    return makeModel({{{{1.0 / 400, 0.0}, {0.0, 1.0 / 900}}, 400.0f * 900.0f, {150.0, 140.0}, 0.6f},
                      {{{1.0 / 900, 1.0 / 3000}, {1.0 / 3000, 1.0 / 900}}, 700000.0f, {90.0, 160.0}, 0.4f}},
                     2e-5);
}

double density(const ColorGMM& model, double first, double second)
{
    double sum = 0.0;
    for (const auto& component : model.mixture) {
        const double dx = first - component->mean[0];
        const double dy = second - component->mean[1];
        const math::SquareMatrix& inverse = component->invCovariance;
        const double distance =
            dx * (dx * inverse[0][0] + dy * inverse[0][1]) + dy * (dx * inverse[1][0] + dy * inverse[1][1]);
        sum += component->weight * std::exp(-0.5 * distance) / (2.0 * M_PI * std::sqrt(component->determinant));
    }
    return sum;
}

/// A window of a picture that moves from frame to frame, as a sensor's mosaic.
Image mosaicFrame(const Image& picture, unsigned frame)
{
    const unsigned left = frame * 7 % (picture.width() - kSide);
    const unsigned top = frame * 5 % (picture.height() - kSide);
    return mosaicOf(Image(kSide, kSide, Image::RGB,
                          picture.imageBuffer() + static_cast<std::size_t>(top) * picture.allocatedWidth() + 3 * left,
                          picture.allocatedWidth()));
}

/// What the chain is to give for a frame, computed on the CPU.
struct Expected
{
    unsigned count = 0;
    unsigned doubtful = 0; ///< pixels so near to the threshold that rounding decides
    std::vector<double> cells = std::vector<double>(kBins * kBins * kBins, 0.0);
    double doubtfulInCells = 0.0; ///< pixels so near to a cell's border that rounding decides

    Expected(const Image& mosaic, const ColorGMM& model)
    {
        // Some thirty roundings of half a unit in the last place, and the quotient of small numbers in the saturation,
        // shift a density by less than 1e-3 of it, and a channel by less than 1e-5.
        const Picture raw = pictureOf(mosaic);
        for (int y = 0; y < static_cast<int>(kSide); ++y) {
            for (int x = 0; x < static_cast<int>(kSide); ++x) {
                const Texel rgb = demosaiced(raw, x, y);
                const Texel colour = hsv(rgb[0], rgb[1], rgb[2]);
                const double ratio = density(model, 255.0 * colour[0], 255.0 * colour[1]) / model.detectionThreshold;
                count += ratio > 1.0 ? 1 : 0;
                doubtful += std::abs(ratio - 1.0) < 1e-3 ? 1 : 0;
                addToCell(colour);
            }
        }
    }

private:
    void addToCell(const Texel& colour)
    {
        std::size_t cell = 0;
        bool isDoubtful = false;
        for (int channel = 2; channel >= 0; --channel) {
            const double place = static_cast<double>(colour[static_cast<std::size_t>(channel)]) * kBins;
            const int bin = std::clamp(static_cast<int>(std::floor(place)), 0, kBins - 1);
            cell = cell * kBins + static_cast<std::size_t>(bin);
            isDoubtful = isDoubtful || std::abs(place - std::round(place)) < 1e-4;
        }
        // Without a hue the smallest rounding makes any of it.
        isDoubtful = isDoubtful || colour[1] < 1e-4f;
        cells[cell] += 1.0;
        doubtfulInCells += isDoubtful ? 1.0 : 0.0;
    }
};

/// Memory in use, in bytes: what is allocated where the address sanitizer counts it (it keeps what was freed for a
/// while, so the resident memory says nothing there), otherwise what is resident.
long memoryInUse()
{
#ifdef __SANITIZE_ADDRESS__
    return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#else
    long all = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * sysconf(_SC_PAGESIZE);
#endif
}

unsigned texturesInUse()
{
    unsigned count = 0;
    for (GLuint name = 1; name < 200; ++name)
        count += glIsTexture(name) ? 1 : 0;
    return count;
}

/// From a sensor's mosaic to a count and a histogram, on textures only.
class Chain
{
public:
    explicit Chain(ColorGMM& model)
        : mModels{&model}, mColours(makeQuietly<BayerRG2RGB>()), mHsv(makeQuietly<BGR2HSV>()),
          mMask(makeQuietly<ColorGMM2>(mModels)), mCount(makeQuietly<PixelCount>()),
          mHistogram(makeQuietly<ColorHistShader>(&mHistogramParam, nullptr))
    {
        mColours->prepareExecution(mRaw, mRgbTexture);
        mHsv->prepareExecution(mRgbTexture, mHsvTexture);
        mMask->prepareExecution(mHsvTexture, mMaskTexture);
        mCount->prepareExecution(mMaskTexture, mCountTexture);
        mHistogram->prepareExecution(mHsvTexture, mMaskTexture, mHistogramTexture);
    }

    unsigned run(const Image& mosaic, ColourHist2d& histogram)
    {
        const glsupport::StateGuard guard;
        mRaw.upload(mosaic);
        mColours->execute();
        mHsv->execute();
        mMask->execute();
        mCount->execute();
        const unsigned count = mCount->getCount();
        mHistogram->execute();
        mHistogram->copyHistoFromGPU(histogram);
        return count;
    }

private:
    static ColorHistShader::Param histogramParam()
    {
        ColorHistShader::Param param;
        param.mNBins1 = param.mNBins2 = param.mNBins3 = kBins;
        param.mXres = param.mYres = kSide;
        param.mBlockSize = 16;
        return param;
    }

    std::vector<ColorGMM*> mModels;
    ColorHistShader::Param mHistogramParam = histogramParam();
    RectTexture mRaw{kSide, kSide, RectTexture::GREY8};
    RectTexture mRgbTexture{kSide, kSide, RectTexture::RGBA32F};
    RectTexture mHsvTexture{kSide, kSide, RectTexture::RGBA32F};
    RectTexture mMaskTexture{kSide, kSide, RectTexture::RGBA8};
    RectTexture mCountTexture{kSide, kSide, RectTexture::RGBA32UI};
    RectTexture mHistogramTexture{kSide, kSide, RectTexture::RGBA32F};
    std::unique_ptr<BayerRG2RGB> mColours;
    std::unique_ptr<BGR2HSV> mHsv;
    std::unique_ptr<ColorGMM2> mMask;
    std::unique_ptr<PixelCount> mCount;
    std::unique_ptr<ColorHistShader> mHistogram;
};

class ChainTest : public GlTest
{
};

TEST_F(ChainTest, AThousandFramesAgreeWithTheCpuInConstantMemory)
{
    const Image picture = photograph(Image::RGB);
    ColorGMM model = grassModel();
    Chain chain(model);
    ColourHist2d histogram(kBins, kBins, kBins);
    const Output output = capture([&] { chain.run(mosaicFrame(picture, 0), histogram); });
    EXPECT_EQ(output.err, "");

    double found = 0.0, doubtful = 0.0, doubtfulInCells = 0.0;
    long memory = 0;
    unsigned textures = 0;
    for (unsigned frame = 0; frame < kFrames && !HasFailure(); ++frame) {
        SCOPED_TRACE(frame);
        if (frame == kFrames / 10) { // by then everything is in place
            memory = memoryInUse();
            textures = texturesInUse();
        }
        const Image mosaic = mosaicFrame(picture, frame);
        const unsigned count = chain.run(mosaic, histogram);
        expectNoGlError("the chain");
        const Expected expected(mosaic, model);
        EXPECT_LE(std::abs(static_cast<int>(count - expected.count)), static_cast<int>(expected.doubtful));
        double total = 0.0, difference = 0.0;
        for (unsigned cell = 0; cell < expected.cells.size(); ++cell) {
            const double pixels = histogram.data()[cell] * (kSide * kSide);
            total += pixels;
            difference += std::abs(pixels - expected.cells[cell]);
        }
        EXPECT_EQ(total, kSide * kSide);
        EXPECT_LE(difference, 2.0 * expected.doubtfulInCells);
        found += count;
        doubtful += expected.doubtful;
        doubtfulInCells += expected.doubtfulInCells;
    }
    // The frames say something: a good part of them is found, and rounding decides about few.
    const double pixels = double{kFrames} * kSide * kSide;
    EXPECT_GT(found, 0.05 * pixels);
    EXPECT_LT(found, 0.95 * pixels);
    EXPECT_LT(doubtful, 1e-3 * pixels);
    EXPECT_LT(doubtfulInCells, 0.05 * pixels); // greys, whose hue is rounding alone, are some of them
    EXPECT_EQ(texturesInUse(), textures);
    EXPECT_LE(memoryInUse() - memory, 1 << 20);
}

} // namespace
} // namespace velmor::tests
