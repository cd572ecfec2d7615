// The table of operators, and that it is the library's.

#include "catalogue/Catalogue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace velmor::tests {
namespace {

using catalogue::Kind;
using catalogue::Operator;
using catalogue::Parameter;

using Names = std::set<std::string>;

Names namesOf(Kind kind)
{
    Names names;
    for (const Operator& each : catalogue::operators())
        if (each.kind == kind)
            names.insert(each.name);
    return names;
}

/// The classes of a folder's headers, each named as its header, whose declarations begin as told.
/// @param declaration  a regular expression, with # for the name
Names classesIn(const std::string& folder, const std::string& declaration)
{
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(VELMOR_TEST_SOURCES "/" + folder)) {
        if (entry.path().extension() != ".h")
            continue;
        const std::string name = entry.path().stem();
        std::ifstream file(entry.path());
        const std::string text(std::istreambuf_iterator<char>(file), {});
        const std::regex form(std::regex_replace(declaration, std::regex("#"), name));
        if (std::regex_search(text, form))
            names.insert(name);
    }
    return names;
}

TEST(Catalogue, NamesTheFiltersOfTheLibrary)
{
    const Names filters = classesIn("cvprocess/gpuStdShaders", R"(\nclass \w+ # : public GpuStdShaders\n)");
    EXPECT_GT(filters.size(), 0u);
    EXPECT_EQ(namesOf(Kind::FILTER), filters);
}

TEST(Catalogue, NamesTheOperatorsOnImagesOfTheLibrary)
{
    const Names operators = classesIn("cvprocess", R"(\nclass \w+ #\n)");
    EXPECT_GT(operators.size(), 0u);
    EXPECT_EQ(namesOf(Kind::CPU_OPERATOR), operators);
}

TEST(Catalogue, NamesEachOperatorOnce)
{
    Names names;
    for (const Operator& each : catalogue::operators())
        EXPECT_TRUE(names.insert(each.name).second) << each.name;
}

TEST(Catalogue, SaysInOneShortSentenceWhatEachDoes)
{
    Names meanings;
    for (const Operator& each : catalogue::operators()) {
        EXPECT_TRUE(std::regex_match(each.meaning, std::regex("[A-Z][a-z].{10,78}[^. ]"))) << each.meaning;
        EXPECT_TRUE(meanings.insert(each.meaning).second) << each.meaning;
    }
}

TEST(Catalogue, FindsEachOperatorByItsName)
{
    for (const Operator& each : catalogue::operators())
        EXPECT_EQ(catalogue::find(each.name), &each);
    EXPECT_EQ(catalogue::find(""), nullptr);
    EXPECT_EQ(catalogue::find("not"), nullptr);
    EXPECT_EQ(catalogue::find("Not "), nullptr);
}

TEST(Catalogue, TakesOneOrTwoSources)
{
    for (const Operator& each : catalogue::operators())
        EXPECT_TRUE(each.sources == 1 || (each.sources == 2 && each.kind == Kind::FILTER)) << each.name;
    EXPECT_EQ(catalogue::find("Subtract")->sources, 2);
    EXPECT_EQ(catalogue::find("Not")->sources, 1);
}

bool isWhole(double value)
{
    return value == std::floor(value);
}

void expectParameter(const Parameter& parameter)
{
    EXPECT_TRUE(std::regex_match(parameter.name, std::regex("[a-z]+(-[a-z]+)*")));
    EXPECT_TRUE(std::regex_match(parameter.meaning, std::regex("[a-z].{10,78}[^. ]")));
    EXPECT_LT(parameter.least, parameter.most);
    EXPECT_GE(parameter.initial, parameter.least);
    EXPECT_LE(parameter.initial, parameter.most);
    EXPECT_GT(parameter.step, 0);
    EXPECT_LE(parameter.step, parameter.most - parameter.least);
    for (const double value : {parameter.initial, parameter.least, parameter.most, parameter.step})
        EXPECT_TRUE(isWhole(value) || !parameter.isWhole) << value;
    if (!parameter.choices.empty()) {
        EXPECT_TRUE(parameter.isWhole);
        EXPECT_EQ(parameter.least, 0);
        EXPECT_EQ(parameter.most, static_cast<double>(parameter.choices.size() - 1));
        EXPECT_EQ(Names(parameter.choices.begin(), parameter.choices.end()).size(), parameter.choices.size());
    }
}

TEST(Catalogue, GivesEachParameterARangeAndAnInitialValueInIt)
{
    for (const Operator& each : catalogue::operators()) {
        Names names;
        for (const Parameter& parameter : each.parameters) {
            SCOPED_TRACE(each.name + ": " + parameter.name);
            EXPECT_TRUE(names.insert(parameter.name).second);
            expectParameter(parameter);
        }
    }
}

TEST(Catalogue, TellsPicturesFromOtherData)
{
    using catalogue::Data;
    for (const Data data : {Data::PICTURE, Data::COLOUR, Data::GREY, Data::MOSAIC, Data::MASK, Data::GRADIENTS})
        EXPECT_TRUE(catalogue::isPicture(data));
    for (const Data data : {Data::DIRECTIONS, Data::INTEGERS, Data::CLASSES, Data::COUNTS, Data::HISTOGRAM, Data::BLOBS,
                            Data::RECTANGLES})
        EXPECT_FALSE(catalogue::isPicture(data));
}

} // namespace
} // namespace velmor::tests
