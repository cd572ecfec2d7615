// Prints a line for each operator on images and each filter in main memory: its name, and a digest of what it makes of
// pictures that are the same everywhere. Then one for the files of colour models, and one for what is loaded from them.
// Two systems on which all lines are equal compute the same and take each other's files, to the bit.

#include "catalogue/NativeFilters.h"
#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/ColourHist2d.h"
#include "core/cvdata/Image.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/ColourHist2D.h"
#include "cvprocess/Moments.h"
#include "cvprocess/MotionSegment.h"
#include "math/SquareMatrix.h"
#include "math/Vector.h"
#include "math/Vector2.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"
#include "tests/support/Digest.h"

#include <opencv2/core.hpp>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace {

using velmor::core::cvdata::Blobs;
using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::ColourHist2d;
using velmor::core::cvdata::GM;
using velmor::core::cvdata::Image;
using velmor::tests::Digest;

constexpr unsigned kWidth = 320;
constexpr unsigned kHeight = 240;
constexpr int kFrames = 20;

/// A frame of noise with a disc of another colour that moves.
Image frame(int number)
{
    std::mt19937 random(static_cast<unsigned>(number));
    Image image(kWidth, kHeight, Image::RGB);
    const int centreX = 40 + 12 * number;
    const int centreY = 60 + 6 * number;
    for (int y = 0; y < static_cast<int>(kHeight); ++y) {
        for (int x = 0; x < static_cast<int>(kWidth); ++x) {
            const int dx = x - centreX;
            const int dy = y - centreY;
            const unsigned brightness = dx * dx + dy * dy < 900 ? 140 : 60;
            unsigned char* const pixel =
                image.imageBuffer() + static_cast<unsigned>(y) * image.allocatedWidth() + 3 * x;
            for (int channel = 0; channel < 3; ++channel)
                pixel[channel] = static_cast<unsigned char>(brightness + random() % 40);
        }
    }
    return image;
}

/// The colours of the disc, as two Gaussians.
ColorGMM model()
{
    ColorGMM result;
    for (const double centre : {150.0, 170.0}) {
        velmor::math::SquareMatrix covariance(2);
        covariance.at(0, 0) = 120.0;
        covariance.at(1, 1) = 90.0;
        covariance.at(0, 1) = covariance.at(1, 0) = 15.0;
        velmor::math::Vector mean(2);
        mean[0] = mean[1] = centre;
        result.mixture.push_back(GM::fromCovariance(covariance, mean, 0.5f));
    }
    result.detectionThreshold = 1e-4;
    return result;
}

void print(const std::string& name, const Digest& digest)
{
    std::cout << name << ' ' << std::hex << std::setw(16) << std::setfill('0') << digest.value() << '\n';
}

/// Masks, and what follows from them: blobs, mass centres.
void digestMasks()
{
    ColorGMM colours = model();
    velmor::cvprocess::ColourDetector::Param cleaned(2);
    cleaned.useMorphology = true;
    velmor::cvprocess::ColourDetector detector(&colours, &cleaned);
    velmor::cvprocess::Moments moments;
    velmor::cvprocess::MotionSegment motion(kWidth, kHeight);
    Digest masks, blobs, centres;
    for (int number = 0; number < kFrames; ++number) {
        Image mask(kWidth, kHeight, Image::GREYSCALE);
        detector.preProcess(frame(number), mask);
        masks.add(mask);
        Blobs found;
        blobs.add(moments.findBlobs(mask, found, -1, 1.0));
        for (const Blobs::BlobInfo& blob : found.blobs)
            for (const double each : {blob.x, blob.y, blob.majorAxis, blob.minorAxis, blob.angle,
                                      static_cast<double>(blob.area), static_cast<double>(blob.nofPoints)})
                blobs.add(each);
        velmor::math::Vector2 centre;
        motion.getMassCenter(&mask, &centre);
        centres.add(centre[0]);
        centres.add(centre[1]);
    }
    print("ColourDetector", masks);
    print("Moments", blobs);
    print("MotionSegment::getMassCenter", centres);
}

void digestHistograms()
{
    Digest histograms;
    for (int number = 0; number < kFrames; ++number) {
        ColourHist2d histogram(16, 8, 4);
        velmor::cvprocess::ColourHist2D::computeHistogram(frame(number), histogram, 0, 0, kWidth, kHeight,
                                                          velmor::cvprocess::CvtColour::RGB, nullptr);
        for (unsigned i = 0; i < histogram.data().size(); ++i)
            histograms.add(histogram.data()[i]);
    }
    print("ColourHist2D", histograms);
}

/// Where pixels moved last. When they did is a matter of the clock.
void digestSilhouettes()
{
    velmor::cvprocess::MotionSegment motion(kWidth, kHeight);
    Digest silhouettes;
    for (int number = 0; number < kFrames; ++number) {
        const Image input = frame(number);
        Image history(kWidth, kHeight, Image::GREYSCALE);
        motion.getMHI(&input, &history);
        const cv::Mat times = cv::cvarrToMat(motion.getMHIImage());
        double newest = 0.0;
        cv::minMaxLoc(times, nullptr, &newest);
        for (int y = 0; y < times.rows; ++y)
            for (int x = 0; x < times.cols; ++x)
                silhouettes.add(static_cast<double>(times.at<float>(y, x)) == newest);
    }
    print("MotionSegment::getMHI", silhouettes);
}

/// A picture of any bytes, any integers, or any floats on 0..1.
cv::Mat anyPicture(int type, unsigned seed)
{
    std::mt19937 random(seed);
    cv::Mat picture(67, 129, type);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols * picture.channels(); ++x) {
            const auto bits = static_cast<unsigned>(random());
            switch (picture.depth()) {
            case CV_8U:
                picture.ptr<unsigned char>(y)[x] = static_cast<unsigned char>(bits);
                break;
            case CV_16U:
                picture.ptr<unsigned short>(y)[x] = static_cast<unsigned short>(bits);
                break;
            case CV_32S:
                picture.ptr<int>(y)[x] = static_cast<int>(bits);
                break;
            default:
                picture.ptr<float>(y)[x] = static_cast<float>(bits >> 8) / 16777216.0F;
            }
        }
    }
    return picture;
}

/// Adds what a filter makes of pictures of a type, if it takes them.
void add(Digest& digest, const velmor::native::Filter& filter, int type)
{
    cv::Mat result;
    try {
        if (filter.sources() == 1)
            filter.execute(anyPicture(type, 1), result);
        else
            filter.execute(anyPicture(type, 1), anyPicture(type, 2), result);
    } catch (const std::invalid_argument&) {
        return;
    }
    for (int y = 0; y < result.rows; ++y)
        digest.add(result.ptr(y), static_cast<std::size_t>(result.cols) * result.elemSize());
}

void digestFilters()
{
    ColorGMM first = model(), second = model();
    second.mixture[0]->mean[1] = 40.0;
    for (const velmor::catalogue::Operator& each : velmor::catalogue::operators()) {
        if (!velmor::catalogue::hasNative(each))
            continue;
        velmor::catalogue::Given given;
        given.models = {&first};
        if (each.need == velmor::catalogue::Need::MODELS)
            given.models.push_back(&second);
        const auto filter = velmor::catalogue::makeNative(each.name, {}, given);
        Digest digest;
        for (const int type :
             {CV_8UC1, CV_8UC3, CV_8UC4, CV_16UC1, CV_16UC4, CV_32SC1, CV_32SC4, CV_32FC1, CV_32FC3, CV_32FC4})
            add(digest, *filter, type);
        print("native::" + each.name, digest);
    }
}

/// The filters that make numbers instead of a picture.
void digestNumbers()
{
    Digest counts, histograms;
    for (const int type : {CV_8UC1, CV_32FC1}) {
        const cv::Mat mask = anyPicture(type, 1);
        counts.add(velmor::native::pixelCount(type == CV_32FC1 ? cv::Mat(3 * mask) : mask));
    }
    for (const int type : {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4}) {
        const cv::Mat picture = anyPicture(type, 1);
        ColourHist2d histogram(16, 8, 4);
        velmor::native::colorHistShader(picture, cv::Rect(1, 2, picture.cols - 1, picture.rows - 3), histogram);
        for (unsigned i = 0; i < histogram.data().size(); ++i)
            histograms.add(histogram.data()[i]);
    }
    print("native::PixelCount", counts);
    print("native::ColorHistShader", histograms);
}

/// Numbers of every size and precision, a third of them whole.
class AnyNumber
{
public:
    double next()
    {
        const std::uint64_t bits = mRandom();
        const double fraction = static_cast<double>(bits >> 11) / 9007199254740992.0; // below 1
        const double number = std::ldexp(bits % 2 == 0 ? fraction : -fraction, static_cast<int>(mRandom() % 200) - 100);
        return mRandom() % 3 == 0 ? std::nearbyint(number) : number;
    }

private:
    std::mt19937_64 mRandom;
};

/// A model of any numbers, of components of one and of two dimensions.
ColorGMM anyModel()
{
    AnyNumber number;
    ColorGMM result;
    result.detectionThreshold = number.next();
    for (int i = 0; i < 200; ++i) {
        const boost::shared_ptr<GM> component(new GM(1 + i % 2));
        component->weight = static_cast<float>(number.next());
        component->determinant = static_cast<float>(number.next());
        for (unsigned row = 0; row < component->mean.size(); ++row) {
            component->mean[row] = number.next();
            for (unsigned column = 0; column < component->mean.size(); ++column)
                component->invCovariance[row][column] = number.next();
        }
        result.mixture.push_back(component);
    }
    return result;
}

void add(Digest& digest, const ColorGMM& model)
{
    digest.add(model.detectionThreshold);
    for (const boost::shared_ptr<GM>& component : model.mixture) {
        digest.add(component->weight);
        digest.add(component->determinant);
        for (unsigned row = 0; row < component->mean.size(); ++row) {
            digest.add(component->mean[row]);
            for (unsigned column = 0; column < component->mean.size(); ++column)
                digest.add(component->invCovariance[row][column]);
        }
    }
}

/// What is loaded is what was saved, so that a digest of it says that another system's file brings the same numbers.
bool digestFiles()
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("velmor-digest-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const ColorGMM saved = anyModel();
    Digest numbers, files;
    add(numbers, saved);
    bool isSame = true;
    for (const char* const ending : {".xml", ".yml", ".yaml"}) {
        const std::string file = folder / (std::string("model") + ending);
        saved.save(file);
        std::ifstream in(file, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        files.add(bytes.data(), bytes.size());
        ColorGMM loaded;
        loaded.load(file);
        Digest ofFile;
        add(ofFile, loaded);
        isSame = isSame && ofFile.value() == numbers.value();
    }
    std::filesystem::remove_all(folder);
    print("ColorGMM::save", files);
    print("ColorGMM::load", numbers);
    return isSame;
}

} // namespace

int main()
{
    digestMasks();
    digestHistograms();
    digestSilhouettes();
    digestFilters();
    digestNumbers();
    return digestFiles() ? 0 : 1;
}
