#include "core/cvdata/ColorGMM.h"

#include "core/cvdata/Image.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/Pictures.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/Symmetric2x2.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"
#include "tests/support/VirtualSlot.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/ml.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::GM;
using velmor::core::cvdata::Image;

namespace velmor::tests {
namespace {

boost::shared_ptr<GM> component(double mean0, double mean1, double c00, double c01, double c11, float weight)
{
    math::Vector mean(2);
    mean[0] = mean0;
    mean[1] = mean1;
    return GM::fromCovariance(symmetric2x2(c00, c01, c11), mean, weight);
}

ColorGMM twoComponents()
{
    ColorGMM model;
    model.mixture = {component(100.0 / 3.0, 41.1, 30.0, 7.0, 21.0, 0.6f),
                     component(200.2, 190.9, 3.0, -1.0, 2.0, 0.4f)};
    model.detectionThreshold = 1e-4 / 3.0;
    return model;
}

template<typename Number>
bool sameBits(Number a, Number b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0; // NOLINT(bugprone-suspicious-memory-comparison): bits are meant
}

void expectSameModel(const ColorGMM& actual, const ColorGMM& expected)
{
    EXPECT_TRUE(sameBits(actual.detectionThreshold, expected.detectionThreshold));
    ASSERT_EQ(actual.mixture.size(), expected.mixture.size());
    for (std::size_t k = 0; k < expected.mixture.size(); ++k) {
        const GM& a = *actual.mixture[k];
        const GM& b = *expected.mixture[k];
        ASSERT_EQ(a.dimension, b.dimension);
        ASSERT_EQ(a.mean.size(), b.mean.size());
        ASSERT_EQ(a.invCovariance.rows(), b.invCovariance.rows());
        EXPECT_TRUE(sameBits(a.determinant, b.determinant)) << a.determinant << " and " << b.determinant;
        EXPECT_TRUE(sameBits(a.weight, b.weight)) << a.weight << " and " << b.weight;
        for (unsigned r = 0; r < b.mean.size(); ++r) {
            EXPECT_TRUE(sameBits(a.mean[r], b.mean[r])) << a.mean[r] << " and " << b.mean[r];
            for (unsigned c = 0; c < b.mean.size(); ++c)
                EXPECT_TRUE(sameBits(a.invCovariance[r][c], b.invCovariance[r][c]))
                    << a.invCovariance[r][c] << " and " << b.invCovariance[r][c];
        }
    }
}

std::string loadError(ColorGMM& model, const std::string& file)
{
    return thrownText<std::runtime_error>([&] { model.load(file); });
}

/// Why a text is no model: the error behind the attempt and the file's name.
std::string loadReason(const std::string& text)
{
    MemoryFile file;
    file.write(text);
    ColorGMM model = twoComponents();
    const std::string prefix = "ColorGMM::load(): cannot load '" + file.path() + "': ";
    const std::string error = loadError(model, file.path());
    if (error != "no exception")
        expectSameModel(model, twoComponents());
    return error.rfind(prefix, 0) == 0 ? error.substr(prefix.size()) : error;
}

ColorGMM modelOf(const std::string& text)
{
    MemoryFile file;
    file.write(text);
    ColorGMM model;
    model.load(file.path());
    return model;
}

std::string textOf(const ColorGMM& model, const std::string& extension)
{
    const TemporaryFolder folder;
    model.save(folder.file("model" + extension));
    return contentOf(folder.file("model" + extension));
}

std::string replaced(std::string text, const std::string& old, const std::string& replacement)
{
    EXPECT_NE(text.find(old), std::string::npos) << old << " in " << text;
    for (std::size_t place = 0; (place = text.find(old, place)) != std::string::npos; place += replacement.size())
        text.replace(place, old.size(), replacement);
    return text;
}

/// The numbers of a model in the order of its file.
std::vector<double> numbersOf(const ColorGMM& model)
{
    std::vector<double> numbers = {model.detectionThreshold};
    for (const boost::shared_ptr<GM>& gm : model.mixture) {
        numbers.insert(numbers.end(), {gm->weight, static_cast<double>(gm->dimension)});
        numbers.insert(numbers.end(), &gm->mean[0], &gm->mean[0] + gm->mean.size());
        numbers.push_back(gm->determinant);
        const unsigned order = gm->invCovariance.rows();
        numbers.insert(numbers.end(), gm->invCovariance[0], gm->invCovariance[0] + order * order);
    }
    numbers.push_back(model.nofComponents());
    return numbers;
}

/// Numbers of any bits but those of no number; whole ones beyond an int among them.
ColorGMM randomModel()
{
    std::mt19937_64 random(1);
    const auto number = [&] {
        const std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof(value));
        return std::isfinite(value) ? value : std::numeric_limits<double>::denorm_min();
    };
    const auto single = [&] {
        const auto bits = static_cast<std::uint32_t>(random());
        float value;
        std::memcpy(&value, &bits, sizeof(value));
        return std::isfinite(value) ? value : std::numeric_limits<float>::infinity();
    };
    const auto whole = [&] {
        return static_cast<double>(static_cast<std::int64_t>(random()) >> random() % 64);
    };
    ColorGMM model;
    model.detectionThreshold = -std::numeric_limits<double>::infinity();
    for (int k = 0; k < 300; ++k) {
        const int dimension = 1 + k % 3;
        boost::shared_ptr<GM> gm(new GM(dimension));
        gm->weight = single();
        gm->determinant = k % 5 == 0 ? static_cast<float>(whole()) : single();
        for (unsigned r = 0; r < gm->mean.size(); ++r) {
            gm->mean[r] = k % 3 == 0 ? whole() : number();
            for (unsigned c = 0; c < gm->mean.size(); ++c)
                gm->invCovariance[r][c] = k % 7 == 0 ? -0.0 : number();
        }
        model.mixture.push_back(gm);
    }
    model.mixture[0]->weight = -std::numeric_limits<float>::infinity();
    return model;
}

TEST(ColorGMM, StartsWithoutComponents)
{
    const ColorGMM model;
    EXPECT_EQ(model.nofComponents(), 0);
    EXPECT_EQ(model.detectionThreshold, 1.0 / 65536.0);
}

TEST(ColorGMM, CountsItsComponents)
{
    EXPECT_EQ(twoComponents().nofComponents(), 2);
}

TEST(ColorGMM, ListStandsBeforeTheThresholdAndTheCountIsTheFifthVirtualFunction)
{
    const ColorGMM model;
    EXPECT_TRUE(standInOrder({&model.mixture, &model.detectionThreshold}));
    EXPECT_EQ(virtualSlot(&ColorGMM::nofComponents), 5u);
}

// ---- files

class ColorGMMFile : public testing::TestWithParam<const char*>
{
protected:
    std::string file() const { return folder.file(std::string("model") + GetParam()); }

    const TemporaryFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Formats, ColorGMMFile, testing::Values(".yml", ".yaml", ".xml"),
                         [](const auto& format) { return std::string(format.param + 1); });

TEST_P(ColorGMMFile, BringsBackEveryNumber)
{
    const ColorGMM model = twoComponents();
    model.save(file());
    ColorGMM loaded;
    loaded.load(file());
    expectSameModel(loaded, model);
}

TEST_P(ColorGMMFile, BringsBackAModelWithoutComponents)
{
    ColorGMM().save(file());
    ColorGMM loaded = twoComponents();
    loaded.load(file());
    expectSameModel(loaded, ColorGMM());
}

TEST_P(ColorGMMFile, BringsBackNumbersOfAnySize)
{
    const ColorGMM model = randomModel();
    model.save(file());
    ColorGMM loaded;
    loaded.load(file());
    expectSameModel(loaded, model);
}

// Versions of this library that load through OpenCV get these numbers.
TEST_P(ColorGMMFile, HasTheSameNumbersForOpenCv)
{
    const ColorGMM model = randomModel();
    model.save(file());
    const cv::FileStorage storage(file(), cv::FileStorage::READ);
    std::vector<double> numbers;
    const auto take = [&](const cv::FileNode& node) {
        EXPECT_TRUE(node.isReal() || node.isInt());
        numbers.push_back(static_cast<double>(node));
    };
    const auto takeAll = [&](const cv::FileNode& list) {
        for (const cv::FileNode& node : list)
            take(node);
    };
    take(storage["detection_threshold"]);
    for (const cv::FileNode& component : storage["components"]) {
        take(component["weight"]);
        take(component["dimension"]);
        takeAll(component["mean"]);
        take(component["determinant"]);
        takeAll(component["inverse_covariance"]);
    }
    take(storage["number_of_components"]);
    const std::vector<double> expected = numbersOf(model);
    ASSERT_EQ(numbers.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_TRUE(sameBits(numbers[k], expected[k])) << numbers[k] << " and " << expected[k];
}

TEST_P(ColorGMMFile, BringsBackThatAValueIsNoNumber)
{
    ColorGMM model = twoComponents();
    model.detectionThreshold = std::nan("1");
    model.mixture[1]->weight = -std::nanf("");
    model.save(file());
    ColorGMM loaded;
    loaded.load(file());
    EXPECT_TRUE(std::isnan(loaded.detectionThreshold));
    EXPECT_TRUE(std::isnan(loaded.mixture[1]->weight));
    EXPECT_EQ(loaded.mixture[0]->weight, model.mixture[0]->weight);
    const cv::FileStorage storage(file(), cv::FileStorage::READ);
    EXPECT_TRUE(std::isnan(static_cast<double>(storage["detection_threshold"])));
}

TEST_P(ColorGMMFile, SavingReplacesAFileAsAWhole)
{
    folder.write(std::string("model") + GetParam(), "something else");
    twoComponents().save(file());
    ColorGMM loaded;
    loaded.load(file());
    expectSameModel(loaded, twoComponents());
}

/// A model with whole numbers that no int holds, a negative zero, and an infinity.
ColorGMM wholeNumbers()
{
    ColorGMM model;
    model.detectionThreshold = 0.25;
    boost::shared_ptr<GM> one(new GM(1));
    one->weight = 0.5f;
    one->determinant = 581.0f;
    one->mean[0] = -206374240256.0;
    one->invCovariance[0][0] = std::numeric_limits<double>::infinity();
    boost::shared_ptr<GM> two(new GM(2));
    two->weight = 0.1f;
    two->determinant = 299999985664.0f; // the float next to 3e11
    two->mean[0] = 2147483648.0;
    two->mean[1] = 1e300;
    two->invCovariance[0][0] = 9007199254740991.0;
    two->invCovariance[1][0] = two->invCovariance[0][1] = -0.0;
    two->invCovariance[1][1] = 1.0 / 3.0;
    model.mixture = {one, two};
    return model;
}

// A number has a point or an exponent, as some versions of OpenCV take others for ints; 0.1f is the double
// 0.10000000149011612.
const char* const kYaml = R"(%YAML:1.0
---
detection_threshold: 0.25
components:
   -
      weight: 0.5
      dimension: 1
      mean: [ -206374240256. ]
      determinant: 581.
      inverse_covariance: [ .Inf ]
   -
      weight: 0.10000000149011612
      dimension: 2
      mean: [ 2147483648., 1e+300 ]
      determinant: 299999985664.
      inverse_covariance: [ 9007199254740991., -0., -0., 0.3333333333333333 ]
number_of_components: 2
)";

const char* const kXml = R"(<?xml version="1.0"?>
<opencv_storage>
<detection_threshold>0.25</detection_threshold>
<components>
  <_>
    <weight>0.5</weight>
    <dimension>1</dimension>
    <mean>
      -206374240256.</mean>
    <determinant>581.</determinant>
    <inverse_covariance>
      .Inf</inverse_covariance>
  </_>
  <_>
    <weight>0.10000000149011612</weight>
    <dimension>2</dimension>
    <mean>
      2147483648. 1e+300</mean>
    <determinant>299999985664.</determinant>
    <inverse_covariance>
      9007199254740991. -0. -0. 0.3333333333333333</inverse_covariance>
  </_>
</components>
<number_of_components>2</number_of_components>
</opencv_storage>
)";

// Files of earlier versions, which wrote through OpenCV: up to 4.6 in this form, later without points.
const char* const kEarlierYaml = R"(%YAML:1.0
---
detection_threshold: 2.5000000000000000e-01
components:
   -
      weight: 5.0000000000000000e-01
      dimension: 1
      mean: [ -2.0637424025600000e+11 ]
      determinant: 581.
      inverse_covariance: [ .Inf ]
   -
      weight: 1.0000000149011612e-01
      dimension: 2
      mean: [ 2147483648., 1.0000000000000001e+300 ]
      determinant: 2.9999998566400000e+11
      inverse_covariance: [ 9.0071992547409910e+15, -0., -0.,
          3.3333333333333331e-01 ]
number_of_components: 2
)";

const char* const kEarlierXml = R"(<?xml version="1.0"?>
<opencv_storage>
<detection_threshold>0.25</detection_threshold>
<components>
  <_>
    <weight>0.5</weight>
    <dimension>1</dimension>
    <mean>
      -206374240256</mean>
    <determinant>581</determinant>
    <inverse_covariance>
      .Inf</inverse_covariance></_>
  <_>
    <weight>0.10000000149011612</weight>
    <dimension>2</dimension>
    <mean>
      2147483648 1.0000000000000001e+300</mean>
    <determinant>299999985664</determinant>
    <inverse_covariance>
      9007199254740991 -0. -0. 0.33333333333333331</inverse_covariance></_></components>
<number_of_components>2</number_of_components>
</opencv_storage>
)";

TEST(ColorGMMFiles, AreWrittenSoThatEveryVersionReadsThem)
{
    EXPECT_EQ(textOf(wholeNumbers(), ".yml"), kYaml);
    EXPECT_EQ(textOf(wholeNumbers(), ".yaml"), kYaml);
    EXPECT_EQ(textOf(wholeNumbers(), ".xml"), kXml);
}

TEST(ColorGMMFiles, OfEarlierVersionsAreRead)
{
    for (const char* const text : {kYaml, kXml, kEarlierYaml, kEarlierXml}) {
        SCOPED_TRACE(text);
        expectSameModel(modelOf(text), wholeNumbers());
    }
    ColorGMM none;
    none.detectionThreshold = 0.5;
    for (const char* const text :
         {"%YAML:1.0\n---\ndetection_threshold: 5.0000000000000000e-01\ncomponents:\n   []\nnumber_of_components: 0\n",
          "<?xml "
          "version=\"1.0\"?>\n<opencv_storage>\n<detection_threshold>5.0000000000000000e-01</detection_threshold>\n"
          "<components>\n  </components>\n<number_of_components>0</number_of_components>\n</opencv_storage>\n"}) {
        SCOPED_TRACE(text);
        expectSameModel(modelOf(text), none);
    }
}

TEST(ColorGMMFiles, MayBeEditedByHand)
{
    for (const auto& [text, old, replacement] : std::initializer_list<std::array<const char*, 3>>{
             {kYaml, "%", "\xEF\xBB\xBF%"},
             {kYaml, "%YAML:1.0", "%YAML 1.2 # with a space, as others write it"},
             {kYaml, "\n", "\r\n"},
             {kYaml, "\n", "\n\n # a line with a comment\n\t\n"},
             {kYaml, "0.25", "  +25E-2\t# a quarter"},
             {kYaml, "0.25", ".25"},
             {kYaml, ".Inf", ".inf"},
             {kYaml, "-\n      weight", "-  weight"},
             {kYaml, "      ", "       "},
             {kYaml, "   -\n", "-\n"},
             {kYaml, ", ", ","},
             {kYaml, "[ ", "\n         [\n# a comment\n"},
             {kYaml, "dimension", "name: \"skin: #1\"\n      colours: [ [ red, [] ], green ]\n      dimension"},
             {kYaml, "number", "seen:\n   by: [ me ]\n   at: { day: 3 }\n   and:\n   - 1\n   -\nnumber"},
             {kYaml, "dimension", "other-name:\n      dimension"},
             {kYaml, "components: 2\n", "components: 2\n...\n"},
             {kYaml, "components: 2\n", "components: 2"},
             {kXml, "<?", "\xEF\xBB\xBF<?"},
             {kXml, "\n", " "},
             {kXml, "\n", "\r\n\t"},
             {kXml, "\n", "\n<!-- a <comment> -->\n"},
             {kXml, "?>", " encoding=\"UTF-8\"?>"},
             {kXml, "weight>", "weight >"},
             {kXml, "<dimension", "<name>of skin</name><seen/><by><_><a>1</a></_><_>2</_></by><dimension"},
         }) {
        const std::string edited = replaced(text, old, replacement);
        SCOPED_TRACE(edited);
        expectSameModel(modelOf(edited), wholeNumbers());
    }
    const std::string first = "detection_threshold: 0.25\n";
    expectSameModel(modelOf(replaced(kYaml, first, "") + first), wholeNumbers());
}

TEST(ColorGMMFiles, SaysWhatIsWrong)
{
    const std::string yaml = textOf(twoComponents(), ".yml");
    const std::string xml = textOf(twoComponents(), ".xml");
    const auto errorWith = [&](const std::string& old, const std::string& replacement) {
        return loadReason(replaced(yaml, old, replacement));
    };
    const auto xmlErrorWith = [&](const std::string& old, const std::string& replacement) {
        return loadReason(replaced(xml, old, replacement));
    };
    EXPECT_EQ(errorWith("detection_threshold", "threshold"), "it has no detection_threshold");
    EXPECT_EQ(errorWith("\ncomponents:", "\nparts:"), "it has no components");
    EXPECT_EQ(errorWith("weight", "width"), "it has no weight");
    EXPECT_EQ(errorWith("determinant", "terminant"), "it has no determinant");
    EXPECT_EQ(errorWith("number_of_components: 2", "number_of_components: 3"),
              "it does not have as many components as it says");
    EXPECT_EQ(errorWith("dimension: 2", "dimension: 3"),
              "its dimension differs from the number of elements of its mean");
    EXPECT_EQ(errorWith("mean: [ ", "mean: [] # "), "its dimension differs from the number of elements of its mean");
    EXPECT_EQ(loadReason("%YAML:1.0\n---\ndetection_threshold: 1\ncomponents:\n - weight: 1\n   determinant: 1\n"
                         "   dimension: 0\n   mean: []\n   inverse_covariance: []\nnumber_of_components: 1\n"),
              "its dimension differs from the number of elements of its mean");
    EXPECT_EQ(errorWith("dimension: 2", "dimension: two"), "it has something other than a number where it needs one");
    EXPECT_EQ(errorWith("inverse_covariance: [", "inverse_covariance: [ 1,"),
              "its inverse_covariance does not have 4 elements");
    EXPECT_EQ(errorWith("dimension", "mean: [ 1., 2. ]\n      dimension"), "it has two entries named mean");
    EXPECT_EQ(errorWith("number_of_components", "detection_threshold: 1.\nnumber_of_components"),
              "it has two entries named detection_threshold");
    EXPECT_EQ(errorWith("\ncomponents:", "\ncomponents: 3.\nothers:"), "its components are not a list");
    EXPECT_EQ(errorWith("weight: 0", "weight: 1e39 #"), "it has a number that is too large for a weight");
    EXPECT_EQ(errorWith("determinant: ", "determinant: -1e39 #"),
              "it has a number that is too large for a determinant");
    EXPECT_EQ(errorWith("threshold: 3", "threshold: 1e999 #"),
              "it has a number that is too large or too small in line 3");
    for (const char* const number : {"0x10", "1,5", "1.5.", "1e", "--1", ".", "-", "inf", "nan", "1_000", "1 2"})
        EXPECT_EQ(errorWith("threshold: 3", std::string("threshold: ") + number + " #"),
                  "it has something other than a number where it needs one")
            << number;
    EXPECT_EQ(loadReason("{ \"detection_threshold\": 1 }"), "it begins neither with %YAML nor with <?xml");
    for (const char byte : {'\0', '\x1F', '\x7F'})
        EXPECT_EQ(errorWith("weight", std::string("weight") + byte), "it has a byte that no text may have in line 6");
    EXPECT_EQ(errorWith("%YAML:1.0", "%YAML:2.0"), "it is not understood in line 1");
    for (const char* const start : {"--", " ---", "----"})
        EXPECT_EQ(errorWith("---", start), "it is not understood in line 2");
    EXPECT_EQ(errorWith(" ]\n   -\n", " ]\n -\n"), "it is not understood in line 11");
    EXPECT_EQ(errorWith("number_of_components:", "number_of_components"), "it is not understood in line 17");
    EXPECT_EQ(errorWith(" ]\n", " ] 1.\n"), "it is not understood in line 8");
    EXPECT_EQ(errorWith(" ]\n", " ]#\n"), "it is not understood in line 8");
    EXPECT_EQ(errorWith(" ]\n", ", ]\n"), "it is not understood in line 8");
    EXPECT_EQ(errorWith(" ]\n", "\n"), "it is not understood in line 9");
    EXPECT_EQ(xmlErrorWith("<weight>", "<weight type=\"real\">"), "it is not understood in line 6");
    EXPECT_EQ(xmlErrorWith("</weight>", "</waight>"), "it is not understood in line 6");
    EXPECT_EQ(xmlErrorWith("<weight>", "1<weight>"), "it is not understood in line 6");
    EXPECT_EQ(xmlErrorWith("<weight>", "<_>1</_><weight>"), "it is not understood in line 13");
    EXPECT_EQ(xmlErrorWith("</weight>", "</weight> 1"), "it is not understood in line 6");
    EXPECT_EQ(xmlErrorWith("</mean>", " <_>1</_></mean>"), "it is not understood in line 9");
    EXPECT_EQ(xmlErrorWith("</opencv_storage>", "</opencv_storage> more"), "it is not understood in line 25");
    EXPECT_EQ(xmlErrorWith("opencv_storage", "storage"), "its root is not opencv_storage");
    EXPECT_EQ(xmlErrorWith("</opencv_storage>", "<!-- "), "it is cut off");
    EXPECT_EQ(xmlErrorWith("?>", ">"), "it is not understood in line 1");
}

// OpenCV's parser never comes back from this text.
TEST(ColorGMMFiles, ThatHangAParserAreRefused)
{
    EXPECT_EQ(loadReason("%YAML:1.\n---%:1\ne---\ne"), "it is not understood in line 1");
}

TEST(ColorGMMFiles, HaveLimitsOnSizeEntriesAndDepth)
{
    const std::string yaml = kYaml;
    const auto repeated = [](const std::string& part, int count) {
        std::string text;
        while (count-- > 0)
            text += part;
        return text;
    };
    const std::size_t most = 16 << 20;
    expectSameModel(modelOf(yaml + std::string(most - yaml.size(), '\n')), wholeNumbers());
    EXPECT_EQ(loadReason(yaml + std::string(most - yaml.size() + 1, '\n')), "it is larger than 16777216 bytes");
    // The model has 3 entries, 2 components of 5, and 3 and 5 numbers in lists; then come the list and its numbers.
    expectSameModel(modelOf(yaml + "more: [" + repeated("1,", 200000 - 25) + "1]"), wholeNumbers());
    EXPECT_EQ(loadReason(yaml + "more: [" + repeated("1,", 200000 - 24) + "1]"), "it has more than 200000 entries");
    // Of 16 levels the root's map is one.
    expectSameModel(modelOf(yaml + "more: " + repeated("[", 15) + repeated("]", 15)), wholeNumbers());
    for (const int depth : {16, 2000000})
        EXPECT_EQ(loadReason(yaml + "more: " + repeated("[", depth)), "it is nested too deeply in line 18");
    EXPECT_EQ(loadReason(yaml + "more:\n" + repeated(" -", 2000000)), "it is nested too deeply in line 19");
    EXPECT_EQ(loadReason("<?xml?>\n" + repeated("<a>", 1000000)), "it is nested too deeply in line 2");
}

/// What a model's text says, by a reading of its own: the words that are numbers, in their order.
std::vector<double> numbersIn(const std::string& text)
{
    std::string words = text.substr(text[0] == '%' ? text.find("---") + 3 : text.find("?>") + 2);
    bool isTag = false;
    for (char& character : words) {
        isTag = character == '<' || (isTag && character != '>');
        if (isTag || std::strchr(">[],", character))
            character = ' ';
    }
    std::vector<double> numbers;
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        if (word == "-" || word.back() == ':')
            continue;
        if (word.back() == 'f' || word.back() == 'F') // strtod() knows infinity without a point
            word.erase(word.find('.'), 1);
        char* end = nullptr;
        numbers.push_back(std::strtod(word.c_str(), &end));
        EXPECT_EQ(*end, '\0') << word;
    }
    return numbers;
}

class ColorGMMDamaged : public testing::TestWithParam<const char*>
{
protected:
    /// Loads a text into a model, which then has what the text says or what it had.
    void load(const std::string& text)
    {
        mFile.write(text);
        ColorGMM model = mBefore;
        const std::string error = loadError(model, mFile.path());
        if (error != "no exception") {
            ++mRefused;
            const std::string prefix = "ColorGMM::load(): cannot load '" + mFile.path() + "': it";
            EXPECT_EQ(error.rfind(prefix, 0), 0u) << error;
            expectSameModel(model, mBefore);
            return;
        }
        ++mLoaded;
        EXPECT_EQ(model.nofComponents(), 2) << text;
        const std::vector<double> actual = numbersOf(model);
        const std::vector<double> expected = numbersIn(text);
        ASSERT_EQ(actual.size(), expected.size()) << text;
        for (std::size_t k = 0; k < expected.size(); ++k) // a float where the model has a float
            EXPECT_TRUE(actual[k] == expected[k] || actual[k] == static_cast<double>(static_cast<float>(expected[k])))
                << actual[k] << " and " << expected[k] << " in " << text;
    }

    MemoryFile mFile;
    const ColorGMM mBefore = twoComponents();
    std::size_t mLoaded = 0;
    std::size_t mRefused = 0;
};

std::string formOf(const testing::TestParamInfo<const char*>& test)
{
    const std::string format = test.param[0] == '%' ? "Yaml" : "Xml";
    return test.param == kYaml || test.param == kXml ? format : "Earlier" + format;
}

INSTANTIATE_TEST_SUITE_P(Files, ColorGMMDamaged, testing::Values(kYaml, kXml, kEarlierYaml, kEarlierXml), formOf);

TEST_P(ColorGMMDamaged, CutAnywhereIsRefused)
{
    const std::string text = GetParam();
    // What comes behind the last digit is the end of a line and, in XML, of elements.
    const std::size_t size = text[0] == '%' ? text.find_last_of("0123456789") : text.rfind('>');
    for (std::size_t k = 1; k < text.size(); ++k)
        load(text.substr(0, k));
    EXPECT_EQ(mRefused, size);
    EXPECT_EQ(mLoaded, text.size() - 1 - size);
}

TEST_P(ColorGMMDamaged, WithAnyByteChangedHasWhatTheTextSaysOrIsRefused)
{
    const std::string text = GetParam();
    for (std::size_t place = 0; place < text.size(); ++place) {
        for (const int mask : {1, 2, 16, 64, 256}) {
            std::string damaged = text;
            damaged[place] = mask == 256 ? '\0' : static_cast<char>(text[place] ^ mask);
            load(damaged);
        }
    }
    EXPECT_GT(mLoaded, 100u); // digits that became other digits
    EXPECT_GT(mRefused, 1000u);
}

TEST(ColorGMMFiles, ErrorsNameTheFileAndTheReason)
{
    const TemporaryFolder folder;
    ColorGMM model = twoComponents();
    const auto reasonFor = [&](const std::string& file) {
        const std::string prefix = "ColorGMM::load(): cannot load '" + file + "': ";
        const std::string error = loadError(model, file);
        EXPECT_EQ(error.rfind(prefix, 0), 0u) << error;
        return error.substr(std::min(error.size(), prefix.size()));
    };
    EXPECT_EQ(reasonFor(folder.file("none.yml")), "No such file or directory");
    EXPECT_EQ(reasonFor(folder.file("")), "it is a folder");
    EXPECT_EQ(reasonFor(folder.write("empty.yml", "")), "it is empty");
    EXPECT_EQ(reasonFor("/dev/zero"), "it is larger than 16777216 bytes");
    EXPECT_EQ(reasonFor(folder.write("other.yml", "%YAML:1.0\n---\na: 1\n")), "it has no detection_threshold");
    EXPECT_FALSE(reasonFor(folder.write("picture.yml", "\x89PNG\r\n\x1a\n and more")).empty());
    EXPECT_FALSE(reasonFor(folder.write("text.xml", "<?xml version=\"1.0\"?>\n<opencv_storage>\n<a>")).empty());
    expectSameModel(model, twoComponents());

    const auto saveError = [&](const std::string& file) {
        return thrownText<std::runtime_error>([&] { model.save(file); });
    };
    const std::string nowhere = folder.file("nowhere/model.yml");
    EXPECT_EQ(saveError(nowhere), "ColorGMM::save(): cannot save '" + nowhere + "': No such file or directory");
    const std::string unknown = folder.file("model.txt");
    EXPECT_EQ(saveError(unknown),
              "ColorGMM::save(): cannot save '" + unknown + "': no model format has the extension '.txt'");
    EXPECT_EQ(saveError("/dev/full/model.yml").rfind("ColorGMM::save(): cannot save '/dev/full/model.yml': ", 0), 0u);
}

TEST(ColorGMMFiles, ThatCouldNotBeLoadedReplaceNone)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("model.yml", "the old one");
    const auto errorOf = [&](const ColorGMM& model) {
        return thrownText<std::runtime_error>([&] { model.save(file); });
    };
    const std::string prefix = "ColorGMM::save(): cannot save '" + file + "': ";
    ColorGMM other = twoComponents();
    other.mixture[1]->dimension = 3;
    EXPECT_EQ(errorOf(other), prefix + "its dimension differs from the number of elements of its mean");
    ColorGMM large;
    large.mixture.assign(16667, component(1.0, 2.0, 3.0, 1.0, 2.0, 1.0f)); // of 12 entries each
    EXPECT_EQ(errorOf(large), prefix + "it has more than 200000 entries");
    EXPECT_EQ(contentOf(file), "the old one");
}

TEST(ColorGMMFiles, AreNotTouchedWhenTheDiskIsFull)
{
    const TemporaryFolder folder;
    const std::string result = onSmallDisk(folder.path(), [&](const std::string& full) {
        for (const char* const name : {"model.yml", "model.xml"}) {
            const std::string file = folder.file(name);
            twoComponents().save(file);
            const std::string old = contentOf(file);
            ColorGMM large;
            large.mixture.assign(500, component(1.0, 2.0, 3.0, 1.0, 2.0, 1.0f));
            const std::string error = thrownText<std::runtime_error>([&] { large.save(file); });
            if (error != "ColorGMM::save(): cannot save '" + file + "': " + full)
                return error;
            if (contentOf(file) != old)
                return file + " is another one";
            std::filesystem::remove(file);
            if (!std::filesystem::is_empty(folder.path()))
                return "there is something beside " + file;
        }
        return std::string("not touched");
    });
    EXPECT_EQ(result, "not touched");
}

// ---- training

/// An image of random colours of a Gaussian, as bytes.
void fillGaussian(Image& image, unsigned fromRow, unsigned toRow, double mean0, double mean1, double deviation0,
                  double deviation1, unsigned seed)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    const auto byte = [](double value) {
        return static_cast<unsigned char>(std::clamp(std::round(value), 0.0, 255.0));
    };
    for (unsigned y = fromRow; y < toRow; ++y) {
        for (unsigned x = 0; x < image.width(); ++x) {
            unsigned char* const pixel = image.imageBuffer() + y * image.allocatedWidth() + 3 * x;
            pixel[0] = byte(mean0 + deviation0 * normal(random));
            pixel[1] = byte(mean1 + deviation1 * normal(random));
            pixel[2] = static_cast<unsigned char>(random());
        }
    }
}

/// Mean and covariance of the first two channels, and the determinant with 1/12 added to each variance.
struct Statistics
{
    double mean[2] = {0.0, 0.0};
    double covariance[2][2] = {{0.0, 0.0}, {0.0, 0.0}};

    Statistics(const Image& image, unsigned fromRow, unsigned toRow)
    {
        const double count = static_cast<double>(image.width()) * (toRow - fromRow);
        const auto forEach = [&](const auto& visit) {
            for (unsigned y = fromRow; y < toRow; ++y)
                for (unsigned x = 0; x < image.width(); ++x)
                    visit(image.imageBuffer() + y * image.allocatedWidth() + 3 * x);
        };
        forEach([&](const unsigned char* pixel) {
            mean[0] += pixel[0] / count;
            mean[1] += pixel[1] / count;
        });
        forEach([&](const unsigned char* pixel) {
            for (int r = 0; r < 2; ++r)
                for (int c = 0; c < 2; ++c)
                    covariance[r][c] += (pixel[r] - mean[r]) * (pixel[c] - mean[c]) / count;
        });
        covariance[0][0] += 1.0 / 12.0;
        covariance[1][1] += 1.0 / 12.0;
    }

    double determinant() const { return covariance[0][0] * covariance[1][1] - covariance[0][1] * covariance[1][0]; }
};

void expectComponent(const GM& actual, const Statistics& expected, double weight, double relative)
{
    const double determinant = expected.determinant();
    EXPECT_NEAR(actual.mean[0], expected.mean[0], relative * expected.mean[0]);
    EXPECT_NEAR(actual.mean[1], expected.mean[1], relative * expected.mean[1]);
    EXPECT_NEAR(actual.determinant, determinant, relative * determinant);
    EXPECT_NEAR(actual.weight, weight, relative * weight);
    const double inverse[2][2] = {{expected.covariance[1][1] / determinant, -expected.covariance[0][1] / determinant},
                                  {-expected.covariance[1][0] / determinant, expected.covariance[0][0] / determinant}};
    for (unsigned r = 0; r < 2; ++r)
        for (unsigned c = 0; c < 2; ++c)
            EXPECT_NEAR(actual.invCovariance[r][c], inverse[r][c], relative * inverse[r][r]);
}

TEST(ColorGMMTraining, OneComponentIsMeanAndCovarianceOfTheSamples)
{
    Image samples(61, 37, Image::RGB);
    fillGaussian(samples, 0, 37, 120.0, 90.0, 9.0, 4.0, 1);
    ColorGMM model;
    model.detectionThreshold = 0.25;
    model.train(samples, nullptr, 1);
    ASSERT_EQ(model.nofComponents(), 1);
    expectComponent(*model.mixture[0], Statistics(samples, 0, 37), 1.0, 1e-6);
    EXPECT_EQ(model.mixture[0]->dimension, 2);
    EXPECT_EQ(model.detectionThreshold, 0.25);
}

TEST(ColorGMMTraining, FindsGroupsThatLieApart)
{
    Image samples(50, 40, Image::BGR);
    fillGaussian(samples, 0, 10, 40.0, 60.0, 3.0, 5.0, 1);
    fillGaussian(samples, 10, 40, 200.0, 180.0, 6.0, 2.0, 2);
    ColorGMM model;
    model.train(samples, nullptr, 2);
    ASSERT_EQ(model.nofComponents(), 2);
    std::sort(model.mixture.begin(), model.mixture.end(),
              [](const auto& a, const auto& b) { return a->mean[0] < b->mean[0]; });
    expectComponent(*model.mixture[0], Statistics(samples, 0, 10), 0.25, 1e-6);
    expectComponent(*model.mixture[1], Statistics(samples, 10, 40), 0.75, 1e-6);
}

TEST(ColorGMMTraining, ReadsThePixelsUnderTheMaskOnly)
{
    Image samples(50, 40, Image::RGB);
    fillGaussian(samples, 0, 20, 40.0, 60.0, 3.0, 5.0, 1);
    fillGaussian(samples, 20, 40, 200.0, 180.0, 6.0, 2.0, 2);
    Image mask(50, 40, Image::GREYSCALE);
    for (unsigned y = 20; y < 40; ++y)
        std::fill_n(mask.imageBuffer() + y * mask.allocatedWidth(), 50, static_cast<unsigned char>(y));
    ColorGMM model;
    model.train(samples, &mask, 1);
    expectComponent(*model.mixture[0], Statistics(samples, 20, 40), 1.0, 1e-6);
}

/// What OpenCV's own search makes of the pixels under a mask, as doubles: the colours are whole numbers in any type.
ColorGMM estimatedByOpenCv(const Image& samples, const Image& mask, int components)
{
    std::vector<cv::Vec2d> colours;
    for (unsigned y = 0; y < samples.height(); ++y)
        for (unsigned x = 0; x < samples.width(); ++x)
            if (byteAt(mask, x, y) != 0)
                colours.emplace_back(byteAt(samples, x, y, 0), byteAt(samples, x, y, 1));
    cv::theRNG() = cv::RNG(1);
    const cv::Ptr<cv::ml::EM> estimator = cv::ml::EM::create();
    estimator->setClustersNumber(components);
    estimator->setCovarianceMatrixType(cv::ml::EM::COV_MAT_GENERIC);
    estimator->trainEM(cv::Mat(colours).reshape(1));
    std::vector<cv::Mat> covariances;
    estimator->getCovs(covariances);
    ColorGMM model;
    for (int k = 0; k < components; ++k) {
        const cv::Mat& covariance = covariances[static_cast<std::size_t>(k)];
        const cv::Mat mean = estimator->getMeans().row(k);
        model.mixture.push_back(component(mean.at<double>(0), mean.at<double>(1),
                                          covariance.at<double>(0, 0) + 1.0 / 12.0, covariance.at<double>(0, 1),
                                          covariance.at<double>(1, 1) + 1.0 / 12.0,
                                          static_cast<float>(estimator->getWeights().at<double>(k))));
    }
    return model;
}

TEST(ColorGMMTraining, HasTheBitsOfOpenCvsSearch)
{
    std::mt19937 random(1);
    for (int k = 0; k < 3; ++k) {
        const unsigned width = 5 + randomSide(random) / 4, height = 5 + randomSide(random) / 4;
        const Image samples = randomImage(width, height, k % 2 == 0 ? Image::RGB : Image::BGR, random);
        Image mask = randomImage(width, height, Image::GREYSCALE, random, 3);
        ColorGMM model;
        model.train(samples, &mask, 1 + k % 3);
        expectSameModel(model, estimatedByOpenCv(samples, mask, 1 + k % 3));
        fillRectangle(mask, 0, 0, width, height, 1);
        model.train(samples, nullptr, 1 + k % 3);
        expectSameModel(model, estimatedByOpenCv(samples, mask, 1 + k % 3));
    }
}

TEST(ColorGMMTraining, IsRepeatableAndLeavesTheRandomGeneratorAlone)
{
    Image samples(16, 16, Image::RGB);
    fillGaussian(samples, 0, 16, 120.0, 90.0, 30.0, 40.0, 1);
    ColorGMM first, second;
    first.train(samples, nullptr, 3);
    cv::theRNG() = cv::RNG(4711);
    second.train(samples, nullptr, 3);
    EXPECT_EQ(cv::theRNG().state, cv::RNG(4711).state);
    expectSameModel(second, first);
}

TEST(ColorGMMTraining, ASingleColourMakesAModel)
{
    Image samples(20, 20, Image::RGB);
    std::fill_n(samples.imageBuffer(), samples.height() * samples.allocatedWidth(), static_cast<unsigned char>(77));
    for (const int count : {1, 2, 5}) {
        ColorGMM model;
        model.train(samples, nullptr, count);
        ASSERT_EQ(model.nofComponents(), count);
        double weights = 0.0;
        for (const auto& gm : model.mixture) {
            EXPECT_NEAR(gm->mean[0], 77.0, 1e-9);
            EXPECT_NEAR(gm->mean[1], 77.0, 1e-9);
            EXPECT_NEAR(gm->determinant, 1.0 / 144.0, 1e-8);
            weights += gm->weight;
        }
        EXPECT_NEAR(weights, 1.0, 1e-6);
    }
}

TEST(ColorGMMTraining, TakesAsManyPixelsAsComponents)
{
    Image samples(3, 1, Image::RGB);
    unsigned char* const bytes = samples.imageBuffer();
    bytes[0] = 10;
    bytes[3] = 100;
    bytes[6] = 200;
    ColorGMM model;
    model.train(samples, nullptr, 3);
    std::vector<double> means;
    for (const auto& gm : model.mixture)
        means.push_back(gm->mean[0]);
    std::sort(means.begin(), means.end());
    EXPECT_NEAR(means[0], 10.0, 1e-9);
    EXPECT_NEAR(means[1], 100.0, 1e-9);
    EXPECT_NEAR(means[2], 200.0, 1e-9);

    Image mask(3, 1, Image::GREYSCALE);
    mask.imageBuffer()[1] = 1;
    model.train(samples, &mask, 1); // a single pixel
    ASSERT_EQ(model.nofComponents(), 1);
    EXPECT_EQ(model.mixture[0]->mean[0], 100.0);
    EXPECT_NEAR(model.mixture[0]->determinant, 1.0 / 144.0, 1e-8);
}

TEST(ColorGMMTraining, RefusesWrongArgumentsAndLeavesTheModelAsItWas)
{
    ColorGMM model = twoComponents();
    Image samples(4, 2, Image::RGB);
    Image grey(4, 2, Image::GREYSCALE);
    Image small(3, 2, Image::GREYSCALE);
    const auto argumentError = [&](const Image& image, const Image* mask, int components) {
        return thrownText<std::invalid_argument>([&] { model.train(image, mask, components); });
    };
    EXPECT_EQ(argumentError(grey, nullptr, 1),
              "ColorGMM::train(): expected samples of 3 channels, got 4 x 2 pixels of 1 channels");
    EXPECT_EQ(argumentError(samples, &samples, 1), "ColorGMM::train(): expected a mask of 1 channel of the samples' "
                                                   "size, got 4 x 2 pixels of 3 channels for 4 x 2 pixels of 3 "
                                                   "channels");
    EXPECT_EQ(argumentError(samples, &small, 1),
              "ColorGMM::train(): expected a mask of 1 channel of the samples' size, "
              "got 3 x 2 pixels of 1 channels for 4 x 2 pixels of 3 channels");
    EXPECT_EQ(argumentError(samples, nullptr, 0), "ColorGMM::train(): expected at least 1 component, got 0");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { model.train(samples, nullptr, 9); }),
              "ColorGMM::train(): expected at least a pixel for each of 9 components, got 8");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { model.train(samples, &grey, 1); }),
              "ColorGMM::train(): expected at least a pixel for each of 1 components, got 0");
    EXPECT_EQ(thrownText<std::runtime_error>([&] { model.train(Image(0, 0, Image::RGB), nullptr, 1); }),
              "ColorGMM::train(): expected at least a pixel for each of 1 components, got 0");
    expectSameModel(model, twoComponents());
}

} // namespace
} // namespace velmor::tests
