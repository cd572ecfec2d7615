#include "core/cvdata/ColorGMM.h"

#include "core/cvdata/Image.h"
#include "core/util/WholeFile.h"

#include <opencv2/core.hpp>
#include <opencv2/ml.hpp>

#include <filesystem>
#include <stdexcept>

namespace velmor::core::cvdata {
namespace {

using Components = std::vector<boost::shared_ptr<GM>>;

const char* const kSave = "ColorGMM::save(): cannot save";
const char* const kLoad = "ColorGMM::load(): cannot load";

/// Keys of a model file. The count comes last: a file that was cut off has none, or another one.
const char* const kThresholdKey = "detection_threshold";
const char* const kComponentsKey = "components";
const char* const kCountKey = "number_of_components";
const char* const kWeightKey = "weight";
const char* const kDimensionKey = "dimension";
const char* const kMeanKey = "mean";
const char* const kDeterminantKey = "determinant";
const char* const kInverseKey = "inverse_covariance";

/// What is wrong with the text of a model file.
struct Damage : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

void writeNumbers(cv::FileStorage& storage, const char* key, const double* numbers, unsigned count)
{
    storage << key << "[:";
    for (unsigned k = 0; k < count; ++k)
        storage << numbers[k];
    storage << "]";
}

void writeComponent(cv::FileStorage& storage, const GM& component)
{
    storage << "{" << kWeightKey << component.weight << kDimensionKey << component.dimension;
    writeNumbers(storage, kMeanKey, &component.mean[0], component.mean.size());
    storage << kDeterminantKey << component.determinant;
    const unsigned order = component.invCovariance.rows();
    writeNumbers(storage, kInverseKey, component.invCovariance[0], order * order);
    storage << "}";
}

std::string modelText(const ColorGMM& model, const std::string& extension)
{
    cv::FileStorage storage(extension, cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    storage << kThresholdKey << model.detectionThreshold << kComponentsKey << "[";
    for (const boost::shared_ptr<GM>& component : model.mixture)
        writeComponent(storage, *component);
    storage << "]" << kCountKey << static_cast<int>(model.mixture.size());
    return storage.releaseAndGetString();
}

cv::FileNode entry(const cv::FileNode& parent, const char* key)
{
    const cv::FileNode node = parent[key];
    if (node.empty())
        throw Damage("it has no " + std::string(key));
    return node;
}

double readNumber(const cv::FileNode& node)
{
    if (!node.isReal() && !node.isInt())
        throw Damage("it has something else where a number is expected");
    return static_cast<double>(node);
}

void readNumbers(const cv::FileNode& component, const char* key, double* numbers, std::size_t count)
{
    const cv::FileNode list = entry(component, key);
    if (list.size() != count) // XML has no lists of a single number
        throw Damage("it has another number of elements than " + std::to_string(count) + " in " + key);
    for (const cv::FileNode& number : list)
        *numbers++ = readNumber(number);
}

/// Refuses XML that does not end with a tag: OpenCV's parser may read beyond the end of such a text.
void checkEnd(const std::string& text)
{
    if (text.front() == '<' && text[text.find_last_not_of(" \t\r\n")] != '>')
        throw Damage("it is cut off");
}

boost::shared_ptr<GM> readComponent(const cv::FileNode& node)
{
    // The list of the means tells the dimension before anything is made of that size.
    const double dimension = readNumber(entry(node, kDimensionKey));
    const std::size_t order = entry(node, kMeanKey).size();
    if (order == 0 || dimension != static_cast<double>(order))
        throw Damage("its dimension is not the number of elements of a " + std::string(kMeanKey));
    boost::shared_ptr<GM> component(new GM(static_cast<int>(order)));
    component->weight = static_cast<float>(readNumber(entry(node, kWeightKey)));
    component->determinant = static_cast<float>(readNumber(entry(node, kDeterminantKey)));
    readNumbers(node, kMeanKey, &component->mean[0], order);
    readNumbers(node, kInverseKey, component->invCovariance[0], order * order);
    return component;
}

/// The pixels that a mask selects, a row of two numbers each.
cv::Mat selectedColours(const Image& samples, const Image* mask)
{
    cv::Mat colours(0, 2, CV_64F);
    for (unsigned y = 0; y < samples.height(); ++y) {
        const unsigned char* const pixels = samples.imageBuffer() + std::size_t{y} * samples.allocatedWidth();
        const unsigned char* const selects =
            mask ? mask->imageBuffer() + std::size_t{y} * mask->allocatedWidth() : nullptr;
        for (unsigned x = 0; x < samples.width(); ++x)
            if (!selects || selects[x] != 0)
                colours.push_back(cv::Mat(cv::Matx12d(pixels[3 * x], pixels[3 * x + 1])));
    }
    return colours;
}

/// Gives OpenCV's random generator of this thread a fixed state, and puts back the one it had.
class FixedRandomState
{
public:
    FixedRandomState() : mSaved(cv::theRNG()) { cv::theRNG() = cv::RNG(1); }
    FixedRandomState(const FixedRandomState&) = delete;
    FixedRandomState& operator=(const FixedRandomState&) = delete;
    ~FixedRandomState() { cv::theRNG() = mSaved; }

private:
    cv::RNG mSaved;
};

Components estimate(const cv::Mat& colours, int count)
{
    const FixedRandomState fixed;
    const cv::Ptr<cv::ml::EM> estimator = cv::ml::EM::create();
    estimator->setClustersNumber(count);
    estimator->setCovarianceMatrixType(cv::ml::EM::COV_MAT_GENERIC);
    estimator->trainEM(colours);
    std::vector<cv::Mat> covariances;
    estimator->getCovs(covariances);
    const cv::Mat means = estimator->getMeans();
    const cv::Mat weights = estimator->getWeights();

    constexpr double roundingVariance = 1.0 / 12.0;
    Components components;
    math::SquareMatrix covariance(2);
    math::Vector mean(2);
    for (int k = 0; k < count; ++k) {
        const cv::Matx22d estimated = covariances[static_cast<std::size_t>(k)];
        covariance[0][0] = estimated(0, 0) + roundingVariance;
        covariance[0][1] = estimated(0, 1);
        covariance[1][1] = estimated(1, 1) + roundingVariance;
        mean[0] = means.at<double>(k, 0);
        mean[1] = means.at<double>(k, 1);
        components.push_back(GM::fromCovariance(covariance, mean, static_cast<float>(weights.at<double>(k))));
    }
    return components;
}

std::string sizeText(const Image& image)
{
    return std::to_string(image.width()) + " x " + std::to_string(image.height()) + " pixels of " +
           std::to_string(image.nofChannels()) + " channels";
}

void checkTrainingArguments(const Image& samples, const Image* mask, int components)
{
    const std::string expected = "ColorGMM::train(): expected ";
    if (samples.nofChannels() != 3)
        throw std::invalid_argument(expected + "samples of 3 channels, got " + sizeText(samples));
    if (mask && (mask->nofChannels() != 1 || mask->width() != samples.width() || mask->height() != samples.height()))
        throw std::invalid_argument(expected + "a mask of 1 channel of the samples' size, got " + sizeText(*mask) +
                                    " for " + sizeText(samples));
    if (components < 1)
        throw std::invalid_argument(expected + "at least 1 component, got " + std::to_string(components));
}

} // namespace

ColorGMM::ColorGMM() = default;

ColorGMM::~ColorGMM() = default;

void ColorGMM::save(const std::string& file) const
{
    const std::string extension = std::filesystem::path(file).extension().string();
    if (extension != ".yml" && extension != ".yaml" && extension != ".xml")
        throw util::fileError(kSave, file, "no model format has the extension '" + extension + "'");
    const std::string text = modelText(*this, extension);
    util::writeWholeFile(kSave, file, {text.begin(), text.end()});
}

void ColorGMM::load(const std::string& file)
{
    const std::vector<unsigned char> bytes = util::readWholeFile(kLoad, file);
    const std::string text(bytes.begin(), bytes.end());
    try {
        checkEnd(text);
        const cv::FileStorage storage(text, cv::FileStorage::READ | cv::FileStorage::MEMORY);
        const cv::FileNode root = storage.root();
        const double threshold = readNumber(entry(root, kThresholdKey));
        const cv::FileNode list = entry(root, kComponentsKey);
        Components components;
        for (const cv::FileNode& node : list)
            components.push_back(readComponent(node));
        if (readNumber(entry(root, kCountKey)) != static_cast<double>(components.size()))
            throw Damage("it has another number of components than it says");
        mixture.swap(components);
        detectionThreshold = threshold;
    } catch (const cv::Exception& exception) {
        throw util::fileError(kLoad, file, exception.err);
    } catch (const std::exception& exception) {
        throw util::fileError(kLoad, file, exception.what());
    }
}

int ColorGMM::nofComponents() const
{
    return static_cast<int>(mixture.size());
}

void ColorGMM::train(const Image& samples, const Image* mask, int components)
{
    checkTrainingArguments(samples, mask, components);
    cv::Mat colours = selectedColours(samples, mask);
    if (colours.rows < components)
        throw std::runtime_error("ColorGMM::train(): expected at least a pixel for each of " +
                                 std::to_string(components) + " components, got " + std::to_string(colours.rows));
    if (colours.rows == 1)
        colours.push_back(colours.clone()); // OpenCV takes a single sample for a list of numbers
    mixture = estimate(colours, components);
}

} // namespace velmor::core::cvdata
