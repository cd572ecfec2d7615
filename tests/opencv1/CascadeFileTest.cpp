#include "opencv1/CascadeFile.h"

#include "opencv1/HaarCascade.h"
#include "tests/support/Cascades.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ThrownText.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/core/core_c.h>
#include <valgrind/valgrind.h>

#include <clocale>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::tests {
namespace {

using opencv1::checkedCascade;

const std::string kHaar = contentOf(kSmallCascades[0]);
const std::string kLbp = contentOf(kSmallCascades[1]);
const std::string kOld = contentOf(kSmallCascades[2]);

/// From one byte to the next that is damaged.
const std::size_t kStep = [] {
    return RUNNING_ON_VALGRIND ? 17u : 1u;
}();

std::string reasonAgainst(const std::string& file)
{
    return thrownText<std::runtime_error>([&] { checkedCascade(file); });
}

/// The reason against a good file with a part replaced.
std::string reasonAgainst(const std::string& file, const std::string& part, const std::string& by)
{
    return reasonAgainst(replaced(file, part, by));
}

/// A part of a file, what stands there instead, and the reason against the file then.
struct Damage
{
    std::string part, by, reason;
};

void expectReasons(const std::string& file, const std::vector<Damage>& damages)
{
    for (const Damage& each : damages)
        EXPECT_EQ(reasonAgainst(file, each.part, each.by), each.reason) << each.part << " -> " << each.by;
}

/// Loads a file and searches a small picture with what has loaded; whether it has.
bool searches(const std::string& file)
{
    auto* cascade = static_cast<CvHaarClassifierCascade*>(cvLoad(file.c_str()));
    if (!cascade)
        return false;
    static const cv::Mat pixels = [] {
        cv::Mat result(48, 64, CV_8U);
        cv::theRNG().state = 1;
        cv::randu(result, 0, 256);
        return result;
    }();
    const IplImage image = cvIplImage(pixels);
    CvMemStorage* storage = cvCreateMemStorage(0);
    EXPECT_NE(cvHaarDetectObjects(&image, cascade, storage, 1.3, 2), nullptr);
    cvReleaseMemStorage(&storage);
    cvReleaseHaarClassifierCascade(&cascade);
    return true;
}

TEST(CascadeFile, WritesBothFormatsInTheOneOfToday)
{
    for (const std::string& file : {kHaar, kLbp, kOld}) {
        const std::string once = checkedCascade(file);
        EXPECT_EQ(checkedCascade(once), once);
    }
    // The same by hand: each node has a feature, each value a leaf, by their order.
    std::string same = replaced(kHaar, "<stageThreshold>-1.<", "<stageThreshold>-3.<");
    same = replaced(same, "<maxWeakCount>2</maxWeakCount>\n      <stageT", "<stageT");
    const std::size_t second = same.find("        <_>\n          <internalNodes>\n            -1 0 2 1.");
    same.erase(second, same.find("</weakClassifiers>", second) - second);
    EXPECT_EQ(checkedCascade(kOld), checkedCascade(same));
}

TEST(CascadeFile, NumbersAreOfSinglePrecisionWhateverTheLocale)
{
    // 0.1 as the nearest number of single precision is 0.100000001490116119...; no number looks like an integer.
    const std::string file = replaced(kHaar, "0 -1 0 1.2e-03", "0 -1 0 0.1");
    const std::string before = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // where there is one
    const std::string text = checkedCascade(file);
    std::setlocale(LC_NUMERIC, before.c_str());
    EXPECT_NE(text.find("0 -1 0 1.0000000149011612e-01 "), std::string::npos) << text;
    EXPECT_NE(checkedCascade(replaced(kHaar, "-1 0 2 1.<", "-1 0 2 -206374240256<")).find("-2.0637424025600000e+11"),
              std::string::npos);
}

TEST(CascadeFile, NamesLineAndReasonOfWhatIsNoXml)
{
    EXPECT_EQ(reasonAgainst(""), "line 1: no element found");
    EXPECT_EQ(reasonAgainst("no cascade\n"), "line 1: syntax error");
    EXPECT_EQ(reasonAgainst("<a>\n<b>\n</a>"), "line 3: mismatched tag");
    EXPECT_EQ(reasonAgainst("<a>\n\n"), "line 3: no element found");
    EXPECT_EQ(reasonAgainst("<a/>\n<b/>"), "line 2: junk after document element");
    EXPECT_EQ(reasonAgainst("<!DOCTYPE a [<!ENTITY b \"c\">]>\n<a>&b;</a>"), "line 1: there is a document type");
    EXPECT_EQ(reasonAgainst(cascadeWithZeros()), "line 1: not well-formed (invalid token)");
    std::string deep;
    for (int k = 0; k < 16; ++k)
        deep += "<a>\n";
    EXPECT_EQ(reasonAgainst(deep), "line 17: no element found");
    EXPECT_EQ(reasonAgainst(deep + "<a>"), "line 17: elements nest too deep");
    std::string many = "<a>\n";
    for (int k = 1; k < 150000; ++k)
        many += "<b/>";
    EXPECT_EQ(reasonAgainst(many), "line 2: no element found");
    EXPECT_EQ(reasonAgainst(many + "\n<b/>"), "line 3: there are too many elements");
    std::string words;
    for (int k = 2; k < 1000000; ++k)
        words += " \t\r\n"[k % 4] + std::string("1");
    EXPECT_EQ(reasonAgainst("<a>" + words + " </a>"), "line 1: <a> is not a storage of one cascade");
    EXPECT_EQ(reasonAgainst("<a>" + words + " 1 </a>"), "line 1: there are too many words");
}

TEST(CascadeFile, NamesLineAndReasonOfWhatIsNoCascade)
{
    const char* const none = "line 1: <a> is not a storage of one cascade";
    EXPECT_EQ(reasonAgainst("<a/>"), none);
    EXPECT_EQ(reasonAgainst("<opencv_storage>\n</opencv_storage>"),
              "line 1: <opencv_storage> is not a storage of one cascade");
    EXPECT_EQ(reasonAgainst("<opencv_storage>\n<a/><b/></opencv_storage>"),
              "line 1: <opencv_storage> is not a storage of one cascade");
    EXPECT_EQ(reasonAgainst("<opencv_storage>\n<a/></opencv_storage>"), "line 2: <a> has no <stageType>");
}

TEST(CascadeFile, NamesWhatIsWrongInTheFormatOfToday)
{
    expectReasons(kHaar,
                  {
                      {"BOOST", "BOOSTS", "line 4: <stageType> is not BOOST"},
                      {"HAAR", "HOG", "line 5: <featureType> is neither HAAR nor LBP"},
                      {"<height>20", "<height>2", "line 6: <height> holds 2, which is not between 3 and 4096"},
                      {"<width>24", "<width>4097", "line 7: <width> holds 4097, which is not between 3 and 4096"},
                      {"<width>24", "<width>24 24", "line 7: <width> holds 2 values instead of 1"},
                      {"<width>24", "<width>99999999999", "line 7: <width> holds '99999999999' instead of a number"},
                      {"<height>20", "<width>1</width><height>20", "line 7: <width> is given twice"},
                      {"<maxCatCount>0", "<maxCatCount>1", "line 10: <featureParams> has a maxCatCount other than 0"},
                      {"<stageNum>2", "<stageNum>3", "line 12: <stageNum> should be 2"},
                      {"<maxWeakCount>1", "<maxWeakCount>2", "line 15: <maxWeakCount> should be 1"},
                      {"5.0000000000000000e-01", "nan",
                       "line 16: <stageThreshold> holds nan, which is not a single-precision number"},
                      {"5.0000000000000000e-01", "1e39",
                       "line 16: <stageThreshold> holds 1e39, which is not a single-precision number"},
                      {"5.0000000000000000e-01", "0.5 <a/>",
                       "line 16: <stageThreshold> holds elements instead of numbers or a word"},
                  });
    EXPECT_EQ(reasonAgainst(kLbp, "<maxCatCount>256", "<maxCatCount>32"),
              "line 12: <featureParams> has a maxCatCount other than 256");
}

TEST(CascadeFile, NamesWhatIsWrongInATree)
{
    EXPECT_EQ(reasonAgainst(cascadeWithoutItsFeature()),
              "line 19: <internalNodes> holds 1000000, which is not between 0 and 2");
    expectReasons(
        kHaar,
        {
            {"0 -1 0 1.2e-03", "0 -1 -1 1.2e-03", "line 19: <internalNodes> holds -1, which is not between 0 and 2"},
            {"0 -1 0 1.2e-03", "0 -1 p 1.2e-03", "line 19: <internalNodes> holds 'p' instead of a number"},
            {"0 -1 0 1.2e-03", "0 -1 0", "line 19: <internalNodes> holds 3 values, but a node has 4"},
            {"0 -1 0 1.2e-03", "", "line 19: <internalNodes> holds 0 values, but a node has 4"},
            {"0. 1.<", "0. 1. 2.<", "line 18: <_> has 3 leaves and 1 nodes"},
            // A leaf that is not there, a node that is not there, and two that lead a search round and round.
            {"0 -1 0 1.2e-03", "0 -2 0 1.2e-03", "line 18: <_> has a branch from node 0 to -2"},
            {"0 -1 0 1.2e-03", "0 -2147483648 0 1.2e-03", "line 18: <_> has a branch from node 0 to -2147483648"},
            {"-1 -2 2 7.5e-01", "2 -2 2 7.5e-01", "line 27: <_> has a branch from node 1 to 2"},
            {"-1 -2 2 7.5e-01", "-1 1 2 7.5e-01", "line 27: <_> has a branch from node 1 to 1"},
        });
    EXPECT_EQ(reasonAgainst(kLbp, "2147483647 -2147483648 0 -1 1 2 3 4", "1 2 3 4 5 6 7"),
              "line 31: <internalNodes> holds 10 values, but a node has 11");
}

TEST(CascadeFile, NamesWhatIsWrongInAList)
{
    EXPECT_EQ(reasonAgainst(kHaar, "<_>\n          12 0 12 20 2.</_>", "<a>12 0 12 20 2.</a>"),
              "line 42: <a> has no place in a list");
    const std::string tree = "\n        <_>\n          <internalNodes>\n            0 -1 0 1.2e-03</internalNodes>"
                             "\n          <leafValues>\n            0. 1.</leafValues></_>";
    EXPECT_EQ(reasonAgainst(kHaar, tree, ""), "line 17: <weakClassifiers> is empty");
}

TEST(CascadeFile, NamesWhatIsWrongInAFeature)
{
    expectReasons(kHaar,
                  {
                      {"12 0 12 20 2.", "12 0 13 20 2.", "line 42: <_> lies outside the window"},
                      {"12 0 12 20 2.", "12 1 12 20 2.", "line 42: <_> lies outside the window"},
                      {"12 0 12 20 2.", "-1 0 12 20 2.", "line 42: <_> holds -1, which is not between 0 and 23"},
                      {"12 0 12 20 2.", "24 0 12 20 2.", "line 42: <_> holds 24, which is not between 0 and 23"},
                      {"12 0 12 20 2.", "12 20 12 20 2.", "line 42: <_> holds 20, which is not between 0 and 19"},
                      {"12 0 12 20 2.", "12 0 25 20 2.", "line 42: <_> holds 25, which is not between 1 and 24"},
                      {"12 0 12 20 2.", "12 0 0 20 2.", "line 42: <_> holds 0, which is not between 1 and 24"},
                      {"12 0 12 20 2.", "12 0 12 -2000000000 2.",
                       "line 42: <_> holds -2000000000, which is not between 1 and 20"},
                      {"12 0 12 20 2.", "12 0 12 20", "line 42: <_> holds 4 values instead of 5"},
                      // A tilted one reaches its height to the left and its width and height down.
                      {"8 4 6 8 -1.", "7 4 6 8 -1.", "line 55: <_> lies outside the window"},
                      {"8 4 6 8 -1.", "8 7 6 8 -1.", "line 55: <_> lies outside the window"},
                      {"8 4 6 8 -1.", "8 6 6 8 -1.", "no exception"},
                      {"<tilted>1", "<tilted>2", "line 59: <tilted> holds 2, which is not between 0 and 1"},
                  });
    // Nine rectangles stand side by side.
    expectReasons(kLbp, {
                            {"0 0 6 8", "3 0 6 8", "line 37: <rect> lies outside the window"},
                            {"0 0 6 8", "0 1 6 8", "line 37: <rect> lies outside the window"},
                            {"0 0 6 8", "2 0 6 8", "no exception"},
                        });
    // No loader has room for more than three.
    std::string many = "\n        <_>\n          8 4 3 8 2.</_></rects>";
    for (const int count : {1, 3, 4, 5000}) {
        std::string more;
        for (int k = 1; k < count; ++k)
            more += "<_>8 4 3 8 2.</_>";
        EXPECT_EQ(reasonAgainst(kHaar, many, more + "</rects>"),
                  count == 3 ? "no exception"
                             : "line 54: <rects> holds " + std::to_string(count) + " rectangles instead of 2 or 3");
    }
}

TEST(CascadeFile, NamesWhatIsWrongInTheOldFormat)
{
    expectReasons(kOld, {
                            {"24 20<", "24<", "line 5: <size> holds 1 values instead of 2"},
                            {"24 20<", "12 20<", "line 17: <_> holds 24, which is not between 1 and 12"},
                            {"<left_node>1<", "<left_node>2<", "line 30: <_> has a branch from node 0 to 2"},
                            {"<left_node>1<", "<left_node>0<",
                             "line 42: <left_node> holds 0, which is not between 1 and 2147483647"},
                            {"<left_node>1</left_node>", "", "line 31: <_> has no <left_node>"},
                            {"<left_node>1<", "<left_val>2.</left_val><left_node>1<",
                             "line 31: <_> has both <left_val> and <left_node>"},
                            {"<parent>0<", "<parent>2<", "line 56: <parent> holds 2, which is not between -1 and 1"},
                            {"<stage_threshold>0.5</stage_threshold>", "", "line 8: <_> has no <stage_threshold>"},
                        });
    std::string rectangles;
    for (int k = 0; k < 5000; ++k)
        rectangles += "<_>\n12 0 12 20 2.</_>";
    EXPECT_EQ(reasonAgainst(kOld, "<_>\n                  12 0 12 20 2.</_>", rectangles),
              "line 16: <rects> holds 5001 rectangles instead of 2 or 3");
}

TEST(CascadeFile, EveryBytePositionCutOrZeroedIsAnErrorWithLineAndReason)
{
    for (const std::string& file : {kHaar, kLbp, kOld}) {
        const std::size_t end = file.rfind('>');
        for (std::size_t place = 0; place < file.size(); place += kStep) {
            const std::string cut = reasonAgainst(file.substr(0, place));
            EXPECT_EQ(cut.rfind("line ", 0) == 0, place <= end) << place << ": " << cut;
            std::string zeroed = file;
            zeroed[place] = '\0';
            const std::string reason = reasonAgainst(zeroed);
            EXPECT_EQ(reason.rfind("line ", 0), 0u) << place << ": " << reason;
        }
    }
}

TEST(CascadeFile, EveryBytePositionFlippedIsAnErrorOrSafeToSearchWith)
{
    const TemporaryFolder folder;
    for (const std::string& file : {kHaar, kLbp, kOld}) {
        std::size_t refused = 0, taken = 0;
        for (std::size_t place = 0; place < file.size(); place += kStep) {
            for (const unsigned bits : {1u << place % 8, 0xFFu}) {
                std::string flipped = file;
                flipped[place] = static_cast<char>(static_cast<unsigned char>(flipped[place]) ^ bits);
                const std::string reason = reasonAgainst(flipped);
                const bool isTaken = reason == "no exception";
                EXPECT_TRUE(isTaken || reason.rfind("line ", 0) == 0) << place << ": " << reason;
                EXPECT_EQ(searches(folder.write("flipped.xml", flipped)), isTaken) << place;
                ++(isTaken ? taken : refused);
            }
        }
        EXPECT_GT(refused, taken); // names and most of the numbers
        EXPECT_GT(taken, 0u);      // comments, the last digits, other numbers in range
    }
}

TEST(CascadeFile, AFileOfMoreThanSixteenMebibytesIsNoCascade)
{
    const TemporaryFolder folder;
    const std::size_t blanks = (16u << 20) - kHaar.size();
    EXPECT_TRUE(searches(folder.write("full.xml", kHaar + std::string(blanks, ' '))));
    EXPECT_FALSE(searches(folder.write("over.xml", kHaar + std::string(blanks + 1, ' '))));
    EXPECT_FALSE(searches("/dev/zero")); // it has no end
}

} // namespace
} // namespace velmor::tests
