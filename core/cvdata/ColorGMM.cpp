#include "core/cvdata/ColorGMM.h"

#include "core/cvdata/Image.h"
#include "core/util/internal/EntryText.h"
#include "core/util/internal/OutOfMemory.h"
#include "core/util/internal/WholeFile.h"

#include <opencv2/core.hpp>
#include <opencv2/ml.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace velmor::core::cvdata {
namespace {

using util::TextDamage;
using util::TextEntry;

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

/// The largest files: those of some ten thousand components in two dimensions, which nobody has. What so many entries
/// are written in is less than so many bytes, so that a model that was loaded can be saved.
constexpr std::size_t kMostBytes = 16 << 20;
constexpr std::size_t kMostEntries = 200000;

struct Contents
{
    double threshold = 0.0;
    Components components;
};

// ---- writing

/// The shortest digits that come back as the same bits. There is always a point or an exponent: readers take a number
/// without for an int, and some make another number of one that no int holds.
std::string numberText(double number)
{
    if (std::isnan(number))
        return ".Nan";
    if (std::isinf(number))
        return number < 0.0 ? "-.Inf" : ".Inf";
    char digits[32]; // a double takes 24 at most
    const std::to_chars_result result = std::to_chars(std::begin(digits), std::end(digits), number);
    std::string text(std::begin(digits), result.ptr);
    return text.find_first_of(".e") == std::string::npos ? text + '.' : text;
}

/// Numbers, four to a line.
std::string numbersText(const double* numbers, unsigned count, const char* separator, const char* newLine)
{
    std::string text;
    for (unsigned k = 0; k < count; ++k)
        text += (k == 0 ? "" : separator) + std::string(k % 4 == 0 && k > 0 ? newLine : "") + numberText(numbers[k]);
    return text;
}

std::string meanText(const GM& component, const char* separator, const char* newLine)
{
    return numbersText(&component.mean[0], component.mean.size(), separator, newLine);
}

std::string inverseText(const GM& component, const char* separator, const char* newLine)
{
    const unsigned order = component.invCovariance.rows();
    return numbersText(component.invCovariance[0], order * order, separator, newLine);
}

std::string yamlText(const ColorGMM& model)
{
    const auto line = [](const char* indent, const char* key, const std::string& value) {
        return std::string(indent) + key + ':' + value + '\n';
    };
    const char* const indent = "      ";
    const char* const newLine = "\n          ";
    std::string text = "%YAML:1.0\n---\n";
    text += line("", kThresholdKey, ' ' + numberText(model.detectionThreshold));
    text += line("", kComponentsKey, model.mixture.empty() ? " []" : "");
    for (const boost::shared_ptr<GM>& component : model.mixture) {
        text += "   -\n";
        text += line(indent, kWeightKey, ' ' + numberText(component->weight));
        text += line(indent, kDimensionKey, ' ' + std::to_string(component->dimension));
        text += line(indent, kMeanKey, " [ " + meanText(*component, ", ", newLine) + " ]");
        text += line(indent, kDeterminantKey, ' ' + numberText(component->determinant));
        text += line(indent, kInverseKey, " [ " + inverseText(*component, ", ", newLine) + " ]");
    }
    return text + line("", kCountKey, ' ' + std::to_string(model.mixture.size()));
}

std::string xmlText(const ColorGMM& model)
{
    const auto element = [](const char* indent, const char* key, const std::string& value) {
        return std::string(indent) + '<' + key + '>' + value + "</" + key + ">\n";
    };
    const char* const indent = "    ";
    const char* const newLine = "\n      ";
    std::string components = "\n";
    for (const boost::shared_ptr<GM>& component : model.mixture) {
        components += "  <_>\n";
        components += element(indent, kWeightKey, numberText(component->weight));
        components += element(indent, kDimensionKey, std::to_string(component->dimension));
        components += element(indent, kMeanKey, newLine + meanText(*component, " ", newLine));
        components += element(indent, kDeterminantKey, numberText(component->determinant));
        components += element(indent, kInverseKey, newLine + inverseText(*component, " ", newLine));
        components += "  </_>\n";
    }
    return "<?xml version=\"1.0\"?>\n<opencv_storage>\n" +
           element("", kThresholdKey, numberText(model.detectionThreshold)) + element("", kComponentsKey, components) +
           element("", kCountKey, std::to_string(model.mixture.size())) + "</opencv_storage>\n";
}

// ---- reading

const TextEntry& entry(const TextEntry& parent, const char* key)
{
    const TextEntry* found = nullptr;
    for (const TextEntry& each : parent.elements) {
        if (each.key != key)
            continue;
        if (found)
            throw TextDamage("it has two entries named " + std::string(key));
        found = &each;
    }
    if (!found)
        throw TextDamage("it has no " + std::string(key));
    return *found;
}

double readNumber(const TextEntry& entry)
{
    if (entry.kind != TextEntry::Number)
        throw TextDamage("it has something other than a number where it needs one");
    return entry.number;
}

float readFloat(const TextEntry& entry)
{
    const double number = readNumber(entry);
    const auto rounded = static_cast<float>(number);
    if (std::isinf(rounded) && !std::isinf(number))
        throw TextDamage("it has a number that is too large for a " + std::string(entry.key));
    return rounded;
}

/// The numbers of a list. One of a single number is not told from a number in XML.
std::vector<double> readNumbers(const TextEntry& entry)
{
    if (entry.kind != TextEntry::List)
        return {readNumber(entry)};
    std::vector<double> numbers;
    for (const TextEntry& element : entry.elements)
        numbers.push_back(readNumber(element));
    return numbers;
}

boost::shared_ptr<GM> readComponent(const TextEntry& component)
{
    // Both lists are there before anything is made of the size that one of them says.
    const double dimension = readNumber(entry(component, kDimensionKey));
    const std::vector<double> mean = readNumbers(entry(component, kMeanKey));
    const std::vector<double> inverse = readNumbers(entry(component, kInverseKey));
    const std::size_t order = mean.size();
    if (order == 0 || dimension != static_cast<double>(order))
        throw TextDamage("its dimension differs from the number of elements of its " + std::string(kMeanKey));
    if (inverse.size() != order * order)
        throw TextDamage("its " + std::string(kInverseKey) + " does not have " + std::to_string(order * order) +
                         " elements");
    boost::shared_ptr<GM> gaussian(new GM(static_cast<int>(order)));
    gaussian->weight = readFloat(entry(component, kWeightKey));
    gaussian->determinant = readFloat(entry(component, kDeterminantKey));
    std::copy(mean.begin(), mean.end(), &gaussian->mean[0]);
    std::copy(inverse.begin(), inverse.end(), gaussian->invCovariance[0]);
    return gaussian;
}

Contents readContents(std::string_view text)
{
    const TextEntry root = util::parseEntries(text, kMostEntries);
    Contents contents;
    contents.threshold = readNumber(entry(root, kThresholdKey));
    const TextEntry& list = entry(root, kComponentsKey);
    if (list.kind != TextEntry::List && list.kind != TextEntry::Empty)
        throw TextDamage("its " + std::string(kComponentsKey) + " are not a list");
    for (const TextEntry& component : list.elements)
        contents.components.push_back(readComponent(component));
    if (readNumber(entry(root, kCountKey)) != static_cast<double>(contents.components.size()))
        throw TextDamage("it does not have as many components as it says");
    return contents;
}

// ---- training

/// The pixels that a mask selects, a row of two numbers each: floats, which OpenCV takes without a copy.
cv::Mat selectedColours(const Image& samples, const Image* mask)
{
    const auto forEach = [&](const auto& visit) {
        for (unsigned y = 0; y < samples.height(); ++y) {
            const unsigned char* const pixels = samples.imageBuffer() + std::size_t{y} * samples.allocatedWidth();
            const unsigned char* const selects =
                mask ? mask->imageBuffer() + std::size_t{y} * mask->allocatedWidth() : nullptr;
            for (unsigned x = 0; x < samples.width(); ++x)
                if (!selects || selects[x] != 0)
                    visit(pixels + 3 * x);
        }
    };
    int count = 0;
    forEach([&](const unsigned char*) { ++count; });
    cv::Mat colours(count, 2, CV_32F);
    auto* colour = colours.ptr<float>();
    forEach([&](const unsigned char* pixel) {
        *colour++ = pixel[0];
        *colour++ = pixel[1];
    });
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
    const std::string text = extension == ".xml" ? xmlText(*this) : yamlText(*this);
    try {
        readContents(text); // a file that load() would refuse replaces none
    } catch (const TextDamage& damage) {
        throw util::fileError(kSave, file, damage.what());
    }
    util::writeWholeFile(kSave, file, {text.begin(), text.end()});
}

void ColorGMM::load(const std::string& file)
{
    const std::vector<unsigned char> bytes = util::readWholeFile(kLoad, file, kMostBytes);
    try {
        Contents contents = readContents({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        mixture.swap(contents.components);
        detectionThreshold = contents.threshold;
    } catch (const TextDamage& damage) {
        throw util::fileError(kLoad, file, damage.what());
    }
}

int ColorGMM::nofComponents() const
{
    return static_cast<int>(mixture.size());
}

void ColorGMM::train(const Image& samples, const Image* mask, int components)
{
    checkTrainingArguments(samples, mask, components);
    Components estimated = util::orBadAlloc([&] {
        cv::Mat colours = selectedColours(samples, mask);
        if (colours.rows < components)
            throw std::runtime_error("ColorGMM::train(): expected at least a pixel for each of " +
                                     std::to_string(components) + " components, got " + std::to_string(colours.rows));
        if (colours.rows == 1)
            colours.push_back(colours.clone()); // OpenCV takes a single sample for a list of numbers
        return estimate(colours, components);
    });
    mixture.swap(estimated);
}

} // namespace velmor::core::cvdata
