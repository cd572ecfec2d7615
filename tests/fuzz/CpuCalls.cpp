#include "tests/fuzz/CpuCalls.h"

#include "cvprocess/ColourHist2D.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace velmor::tests {
namespace {

using catalogue::CpuResult;
using catalogue::Data;
using catalogue::Kind;
using catalogue::Operator;
using core::cvdata::Blobs;
using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;
using core::cvdata::Image;
using cvprocess::CvtColour;

constexpr int kMostSide = 300;

const std::vector<Operator>& cpuOperators()
{
    static const std::vector<Operator> kOperators = [] {
        std::vector<Operator> result;
        for (const Operator& each : catalogue::operators())
            if (each.kind == Kind::CPU_OPERATOR)
                result.push_back(each);
        return result;
    }();
    return kOperators;
}

/// An image over the pixels of a part.
Image imageOf(const Part& part, Image::ChannelLayout layout)
{
    const cv::Mat& picture = part.picture();
    return {static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), layout, picture.data,
            static_cast<unsigned>(picture.step[0])};
}

bool isLayoutOf(Image::ChannelLayout layout, Data takes)
{
    switch (takes) {
    case Data::MASK:
        return layout == Image::GREYSCALE;
    case Data::COLOUR:
        return layout == Image::RGB;
    default:
        return true;
    }
}

Image::ChannelLayout drawLayout(Bytes& bytes, Data takes)
{
    const auto layout = static_cast<Image::ChannelLayout>(bytes.ConsumeIntegralInRange(0, 2));
    if (isLayoutOf(layout, takes))
        return layout;
    return takes == Data::MASK ? Image::GREYSCALE : Image::RGB;
}

// ---- What results are compared by

bool areEqual(const Blobs::BlobInfo& a, const Blobs::BlobInfo& b)
{
    return a.area == b.area && a.nofPoints == b.nofPoints && cv::Rect(a.boundingBox) == cv::Rect(b.boundingBox) &&
           areSame(a.x, b.x) && areSame(a.y, b.y) && areSame(a.angle, b.angle) && areSame(a.majorAxis, b.majorAxis) &&
           areSame(a.minorAxis, b.minorAxis);
}

bool areEqual(const ColourHist2d& a, const ColourHist2d& b)
{
    bool result = a.data().size() == b.data().size();
    for (unsigned i = 0; result && i < a.data().size(); ++i)
        result = areSame(a.data()[i], b.data()[i]);
    return result;
}

bool areEqual(const CpuResult& a, const CpuResult& b)
{
    if (a.picture.has_value() != b.picture.has_value() || a.histogram.has_value() != b.histogram.has_value() ||
        a.blobs.blobs.size() != b.blobs.blobs.size() || a.rectangles != b.rectangles)
        return false;
    for (std::size_t i = 0; i < a.blobs.blobs.size(); ++i)
        if (!areEqual(a.blobs.blobs[i], b.blobs.blobs[i]))
            return false;
    return (!a.picture || tests::areEqual(a.picture->mat(), b.picture->mat())) &&
           (!a.histogram || areEqual(*a.histogram, *b.histogram));
}

// ---- What each result is to be

/// By the page of ColourDetector; -1 where rounding decides.
int maskOf(const ColorGMM& model, const unsigned char* pixel)
{
    double likelihood = 0.0, size = 0.0;
    for (const auto& component : model.mixture) {
        const double d0 = component->mean[0] - pixel[0], d1 = component->mean[0] - pixel[1];
        const auto& m = component->invCovariance;
        const double q = (m[0][0] * d0 + m[1][0] * d1) * d0 + (m[0][1] * d0 + m[1][1] * d1) * d1;
        const auto determinant = static_cast<double>(component->determinant);
        const double density = std::exp(-q / 2.0) / (2.0 * CV_PI * std::sqrt(determinant));
        const double share = density * static_cast<double>(component->weight);
        likelihood += share;
        size += std::fabs(share);
    }
    const double distance = std::fabs(likelihood - model.detectionThreshold);
    const bool isNear = distance <= 1e-12 * size || distance < std::numeric_limits<double>::min();
    if (isNear || !(size < 1e300))
        return -1;
    return likelihood > model.detectionThreshold ? 255 : 0;
}

void expectColours(const ColorGMM& model, const cv::Mat& source, const cv::Mat& mask)
{
    for (int y = 0; y < source.rows; ++y) {
        for (int x = 0; x < source.cols; ++x) {
            const int expected = maskOf(model, source.ptr(y, x));
            require(expected == -1 || expected == mask.ptr(y)[x], "ColourDetector decides otherwise on a pixel");
        }
    }
}

/// Each region is a connected one, whose contour runs through its pixels.
void expectRegions(const catalogue::Values& values, const cv::Mat& source, const Blobs& blobs)
{
    cv::Mat inner = source != 0, labels;
    cv::rectangle(inner, {0, 0, inner.cols, inner.rows}, 0);
    const int regions = cv::connectedComponents(inner, labels) - 1;
    const auto most = values.find("most-regions");
    const bool isLimited = most != values.end() && most->second >= 0;
    const auto found = static_cast<int>(blobs.blobs.size());
    require(found <= regions && (!isLimited || found <= most->second), "Moments finds too many regions");
    const auto least = values.count("least-area") != 0 ? values.at("least-area") : 50.0;
    const cv::Rect whole({0, 0}, source.size());
    for (const Blobs::BlobInfo& each : blobs.blobs) {
        const cv::Rect box = each.boundingBox;
        require((box & whole) == box, "Moments finds a region outside of the image");
        require(static_cast<double>(each.area) >= std::floor(least), "Moments finds a region that is too small");
        require(each.majorAxis >= each.minorAxis, "Moments takes one axis for the other");
    }
}

/// What moves now is white, or nearly so after hours. The frame before the first one is black.
void expectMotion(const cv::Mat& source, const cv::Mat& shown, cv::Mat& greyBefore)
{
    cv::Mat grey, change;
    cv::cvtColor(source, grey, cv::COLOR_BGR2GRAY);
    if (greyBefore.empty())
        greyBefore = cv::Mat(grey.size(), CV_8UC1, cv::Scalar(0));
    cv::absdiff(grey, greyBefore, change);
    greyBefore = grey;
    require(cv::countNonZero((change > 20) & (shown < 250)) == 0, "MotionSegment misses what moves");
}

void expectKind(const Operator& what, const cv::Size& size, const CpuResult& result)
{
    require(result.picture.has_value() == catalogue::isPicture(what.gives) &&
                result.histogram.has_value() == (what.gives == Data::HISTOGRAM) &&
                (what.gives == Data::BLOBS || result.blobs.blobs.empty()) &&
                (what.gives == Data::RECTANGLES || result.rectangles.empty()),
            what.name + " gives other data than the catalogue says");
    require(!result.picture || result.picture->mat().size() == size, what.name + " gives a picture of another size");
}

/// By the page of ColourHist2D.
ColourHist2d histogramOf(const cv::Mat& source, const ColourHist2d& bins, const cv::Rect_<unsigned>& region,
                         CvtColour::ColourFormat format, const cv::Mat& mask)
{
    unsigned char counts[3];
    bins.getNofBins(counts[0], counts[1], counts[2]);
    ColourHist2d result(counts[0], counts[1], counts[2]);
    const unsigned lastColumn = static_cast<unsigned>(source.cols) - 1,
                   lastRow = static_cast<unsigned>(source.rows) - 1;
    double counted = 0.0;
    for (unsigned y = region.y; y < std::min(region.y + region.height, lastRow); ++y) {
        for (unsigned x = region.x; x < std::min(region.x + region.width, lastColumn); ++x) {
            const auto row = static_cast<int>(y), column = static_cast<int>(x);
            const unsigned char* const pixel = source.ptr(row, column);
            const bool hasColour = pixel[2] != 0 && (format == CvtColour::HSV || (pixel[0] != 0 && pixel[1] != 0));
            if (!hasColour || (!mask.empty() && mask.ptr(row)[column] == 0))
                continue;
            const auto bin = [&](int k) {
                return static_cast<unsigned char>(pixel[k] * counts[k] / 256);
            };
            result.increaseValue(bin(0), bin(1), bin(2));
            counted += 1.0;
        }
    }
    for (unsigned i = 0; counted > 0.0 && i < result.data().size(); ++i)
        result.data()[i] *= 1.0 / counted;
    return result;
}

unsigned drawUnsigned(Bytes& bytes)
{
    return oneIn(bytes, 16) ? std::numeric_limits<unsigned>::max() - bytes.ConsumeIntegralInRange(0U, 300U)
                            : bytes.ConsumeIntegralInRange(0U, 320U);
}

} // namespace

void CpuCalls::drawSettings(Bytes& bytes, const Operator& what, Kept& kept)
{
    kept.values = drawValues(bytes, what);
    kept.model = drawModel(bytes, false);
    kept.given.models = {&kept.model};
    if (what.need != catalogue::Need::SIZE || !oneIn(bytes, 16))
        kept.given.size = drawSize(bytes, kMostSide);
    if (bytes.ConsumeBool())
        kept.given.region = {bytes.ConsumeIntegralInRange(-20, 300), bytes.ConsumeIntegralInRange(-20, 300),
                             bytes.ConsumeIntegralInRange(0, 300), bytes.ConsumeIntegralInRange(0, 300)};
    kept.given.cascadeFile = VELMOR_FUZZ_CASCADE;
}

CpuCalls::Kept& CpuCalls::keep(Bytes& bytes, const Operator& what)
{
    const auto found = mKept.find(what.name);
    if (found != mKept.end() && !oneIn(bytes, 4))
        return found->second;
    Kept& kept = mKept[what.name];
    kept = Kept();
    drawSettings(bytes, what, kept);
    const bool fits = areTaken(what, kept.values) && (what.need != catalogue::Need::SIZE || !kept.given.size.empty());
    try {
        kept.run = catalogue::makeCpu(what.name, kept.values, kept.given);
    } catch (const std::invalid_argument&) {
        require(!fits, what.name + " refuses settings that fit");
        return kept;
    }
    require(fits, what.name + " takes settings that do not fit");
    return kept;
}

void CpuCalls::call(Bytes& bytes)
{
    const Operator& what = oneOf(bytes, cpuOperators());
    Kept& kept = keep(bytes, what);
    if (!kept.run)
        return;
    if (oneIn(bytes, 4)) // an operator takes what its model is now
        kept.model = drawModel(bytes, false);
    const cv::Size size = what.need == catalogue::Need::SIZE ? kept.given.size : drawSize(bytes, kMostSide);
    const Image::ChannelLayout layout = drawLayout(bytes, what.takes);
    const Part source(bytes, size, layout == Image::GREYSCALE ? CV_8UC1 : CV_8UC3);
    const CpuResult result = kept.run(imageOf(source, layout));
    require(source.isAsBefore(), what.name + " changes its source");
    expectKind(what, size, result);
    if (what.name == "ColourDetector" && kept.values["morphology"] == 0)
        expectColours(kept.model, source.picture(), result.picture->mat());
    if (what.gives == Data::BLOBS)
        expectRegions(kept.values, source.picture(), result.blobs);
    if (what.name == "MotionSegment") // which counts time
        expectMotion(source.picture(), result.picture->mat(), kept.greyBefore);
    else
        require(areEqual(result, catalogue::makeCpu(what.name, kept.values, kept.given)(imageOf(source, layout))),
                what.name + " gives another result when it is made anew");
}

void callColourHist2D(Bytes& bytes)
{
    const Part source(bytes, drawSize(bytes, kMostSide), CV_8UC3);
    const Part mask(bytes, source.picture().size(), CV_8UC1);
    const bool isMasked = bytes.ConsumeBool();
    const auto format = static_cast<CvtColour::ColourFormat>(bytes.ConsumeIntegralInRange(0, 2));
    const auto bins = [&] {
        return static_cast<unsigned char>(oneIn(bytes, 16) ? 255 : bytes.ConsumeIntegralInRange(1, 32));
    };
    const unsigned char bins1 = bins(), bins2 = bins();
    ColourHist2d histogram(bins1, bins2, bins1 == 255 && bins2 == 255 ? 1 : bins());
    histogram.data()[0] = 0.25;
    const cv::Rect_<unsigned> region(drawUnsigned(bytes), drawUnsigned(bytes), drawUnsigned(bytes),
                                     drawUnsigned(bytes));
    const Image image = imageOf(source, Image::RGB);
    Image selected = imageOf(mask, Image::GREYSCALE);
    cvprocess::ColourHist2D::computeHistogram(image, histogram, region.x, region.y, region.width, region.height, format,
                                              isMasked ? &selected : nullptr);
    require(source.isAsBefore() && mask.isAsBefore(), "ColourHist2D changes its input");
    require(areEqual(histogram,
                     histogramOf(source.picture(), histogram, region, format, isMasked ? mask.picture() : cv::Mat())),
            "ColourHist2D gives another histogram");
}

} // namespace velmor::tests
