#include "catalogue/Catalogue.h"
#include "catalogue/NativeFilters.h"
#include "tests/demo/DemoTest.h"
#include "tests/demo/SheetPictures.h"

#include <opencv2/imgcodecs.hpp>

#include <regex>
#include <sstream>

namespace velmor::tests {
namespace {

class GalleryPage : public DemoTest
{
protected:
    void SetUp() override { writeVideo("moving.avi", 6); }

    /// What the page shows of an operator.
    std::string entry(const std::string& name) const
    {
        const std::string page = "\n" + read("out/gallery.md");
        const std::string heading = "\n## " + name + "\n";
        const std::size_t begin = page.find(heading);
        if (begin == std::string::npos)
            return "";
        return page.substr(begin, page.find("\n## ", begin + 1) - begin);
    }

    cv::Mat picture(const std::string& name) const
    {
        return cv::imread(path("out/gallery/picture-" + name + ".png").string());
    }

    void expectEntries() const;
    void expectThePicturesOfTheSheet() const;
    void expectOverview() const;
};

/// Files that a part of the page shows, relative to the page.
std::vector<std::string> filesShown(const std::string& text)
{
    const std::regex link("!\\[[^\\]]+\\]\\(([^)]+)\\)");
    std::vector<std::string> files;
    for (std::sregex_iterator match(text.begin(), text.end(), link), end; match != end; ++match)
        files.push_back((*match)[1]);
    return files;
}

/// The line of a text that begins so; nothing when there is none.
std::string lineOf(const std::string& text, const std::string& beginning)
{
    const std::size_t begin = text.find("\n" + beginning);
    return begin == std::string::npos ? "" : text.substr(begin + 1, text.find('\n', begin + 1) - begin - 1);
}

/// What the page is to say of the way without OpenGL.
std::string nativeLine(const catalogue::Operator& each)
{
    if (each.name == "ColorHistShader")
        return "In main memory: `native::colorHistShader()`.";
    if (each.name == "PixelCount")
        return "In main memory: `native::pixelCount()`.";
    return catalogue::hasNative(each) ? "In main memory: `native::" + each.name + "`." : "";
}

void GalleryPage::expectEntries() const
{
    const std::string summary = read("out/summary.txt");
    for (const catalogue::Operator& each : catalogue::operators()) {
        SCOPED_TRACE(each.name);
        const std::vector<std::string> files = filesShown(entry(each.name));
        EXPECT_NE(entry(each.name).find("\n\n" + each.meaning + ".\n"), std::string::npos);
        EXPECT_EQ(lineOf(entry(each.name), "In main memory: "), nativeLine(each));
        const bool isShown = hasLine(summary, each.name + "(,.*)? +[0-9]+ x [0-9]+ .*");
        EXPECT_EQ(files.size() >= 2, isShown);
        for (const std::string& file : files)
            EXPECT_EQ(cv::imread(path("out/" + file).string()).cols, 446) << file;
    }
    EXPECT_TRUE(hasLine(entry("Laplacian"), "\\| Frame 6 \\| Laplacian \\| Laplacian, four neighbours \\| "
                                            "Laplacian, eight neighbours \\|"));
    EXPECT_TRUE(hasLine(entry("Subtract"), "\\| Frame 2 \\| Frame 6 \\| Subtract \\| Subtract, of the masks \\|"));
}

void GalleryPage::expectThePicturesOfTheSheet() const
{
    const std::vector<cv::Mat> onSheet = picturesOn(cv::imread(path("out/contact-sheet.png").string()));
    ASSERT_EQ(onSheet.size(), static_cast<std::size_t>(PLACES));
    const std::pair<const char*, Place> expected[] = {
        {"frame-2", EARLIER},       {"frame-6", LATER},   {"subtract-of-the-masks", SUBTRACT_MASKS},
        {"laplacian", LAPLACIAN},   {"not", NOT},         {"mask-moving", MOVING},
        {"photograph", PHOTOGRAPH}, {"facedetect", FACES}};
    for (const auto& [name, place] : expected) {
        ASSERT_EQ(picture(name).size(), onSheet[place].size()) << name;
        EXPECT_EQ(largestDifference(picture(name), onSheet[place]), 0) << name;
    }
}

void GalleryPage::expectOverview() const
{
    const cv::Mat overview = cv::imread(path("out/overview.jpg").string());
    ASSERT_EQ(overview.cols, 1100);
    const double scale = 1100 / 1522.0; // three columns of 446 pixels, two gaps of 32, two margins of 60
    int column = 0;
    for (const char* const name : {"frame-2", "frame-6", "subtract"}) {
        SCOPED_TRACE(name);
        const cv::Mat original = picture(name);
        const cv::Size size(cvRound(original.cols * scale), cvRound(original.rows * scale));
        const cv::Point corner(cvRound((60 + column++ * 478) * scale), cvRound(214 * scale)); // below title and heading
        const cv::Mat shown = overview(cv::Rect(corner, size));
        // The codec loses something.
        EXPECT_LT(averageLevel(differenceOf(shown, reduced(original, size))), 6);
    }
}

TEST_F(GalleryPage, ShowsBeforeAndAfterOfEveryOperator)
{
    expectSuccess(run({"moving.avi", "--gallery", "--out", "out"}));
    expectEntries();
    expectThePicturesOfTheSheet();
    expectOverview();
}

TEST_F(GalleryPage, GoesWithARunThatMakesNone)
{
    write("out/gallery.md", "of an earlier run");
    write("out/overview.jpg", "of an earlier run");
    write("out/gallery/picture-and.png", "of an earlier run");
    write("out/gallery/mine.png", "not of this program");
    expectSuccess(run({"moving.avi", "--out", "out"}));
    EXPECT_EQ(filesIn("out"), (std::set<std::string>{"contact-sheet.png", "gallery", "gallery/mine.png", "messages.log",
                                                     "motion.mp4", "summary.txt"}));
}

} // namespace
} // namespace velmor::tests
