#include "tests/demo/DemoTest.h"
#include "tests/demo/GpuExpectations.h"
#include "tests/demo/SheetPictures.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <cmath>

namespace velmor::tests {
namespace {

const std::set<std::string> kFilesOfVideo = {"contact-sheet.png", "messages.log", "motion.mp4", "summary.txt"};
const std::set<std::string> kFilesOfPicture = {"contact-sheet.png", "messages.log", "summary.txt"};

class Results : public DemoTest
{
protected:
    cv::Mat sheet(const std::string& folder) const
    {
        const cv::Mat result = cv::imread(path(folder + "/contact-sheet.png").string());
        EXPECT_EQ(result.cols, 2000);
        return result;
    }

    /// The pictures of the sheet, which are all there.
    std::vector<cv::Mat> pictures(const std::string& folder, std::size_t count = PLACES) const
    {
        std::vector<cv::Mat> result = picturesOn(sheet(folder));
        EXPECT_EQ(result.size(), count);
        result.resize(count);
        return result;
    }

    void expectSheetOf(const std::string& input)
    {
        SCOPED_TRACE(input);
        const ProgramEnd end = run({input, "--out", "out"});
        expectSuccess(end);
        EXPECT_EQ(filesIn("out"), kFilesOfPicture);
        EXPECT_FALSE(sheet("out").empty());
        EXPECT_NE(end.out.find("no moving result of a single frame"), std::string::npos) << end.out;
    }

    void expectInput(const std::string& description) const
    {
        EXPECT_EQ(read("out/summary.txt").substr(0, description.size()), description);
    }
};

void expectNoneBlank(const std::vector<cv::Mat>& shown)
{
    for (std::size_t i = 0; i < shown.size(); ++i) {
        SCOPED_TRACE(i);
        // Four columns, and the frame's 4:3, or the photograph's 548:342.
        EXPECT_EQ(shown[i].size(), cv::Size(446, i >= PHOTOGRAPH ? 278 : 335));
        cv::Scalar mean, deviation;
        cv::meanStdDev(shown[i], mean, deviation);
        EXPECT_GT(deviation[0] + deviation[1] + deviation[2], 10);
    }
}

void expectFramesAndFilters(const std::vector<cv::Mat>& shown, const cv::Mat& earlier, const cv::Mat& later)
{
    const cv::Size size = shown[LATER].size();
    EXPECT_LE(largestDifference(shown[EARLIER], reduced(earlier, size)), 1);
    EXPECT_LE(largestDifference(shown[LATER], reduced(later, size)), 1);
    EXPECT_LE(largestDifference(shown[SUBTRACT], reduced(differenceOf(earlier, later) * 3, size)), 1);
    EXPECT_LE(largestDifference(shown[NOT], reduced(cv::Scalar::all(255) - later, size)), 1);

    // Reducing a picture averages pixels, so what holds for sums of masks holds for the sums of their pictures, but for
    // the rounding of each by half a level.
    const auto isSum = [&shown](Place sum, Place a, Place b) {
        return largestDifference(shown[sum], shown[a] + shown[b]) <= 1.5;
    };
    EXPECT_TRUE(isSum(OR, SUBTRACT_MASKS, AND));
    EXPECT_TRUE(isSum(DARK, XOR_DARK, AND));
    EXPECT_TRUE(isSum(MOVING, XOR_MOVING, AND));
    EXPECT_TRUE(isSum(SUBTRACT_MASKS, XOR_MOVING, XOR_DARK));
}

/// Where a mask is wholly set, or wholly unset, the average under the pixel tells so too.
void expectMasks(const std::vector<cv::Mat>& shown, const cv::Mat& earlier, const cv::Mat& later)
{
    const cv::Size size = shown[LATER].size();
    cv::Mat grey, moving, dark;
    cv::cvtColor(later, grey, cv::COLOR_BGR2GRAY);
    const double limit = cv::mean(grey)[0] / 3;
    grey = reduced(grey, size);
    const cv::Mat change = reduced(differenceOf(earlier, later), size);
    cv::extractChannel(shown[MOVING], moving, 0);
    cv::extractChannel(shown[DARK], dark, 0);
    int movingPixels = 0, darkPixels = 0;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const cv::Vec3b& changed = change.at<cv::Vec3b>(y, x);
            if (moving.at<uchar>(y, x) == 255) {
                ++movingPixels;
                EXPECT_GT(changed[0] + changed[1] + changed[2], 40) << x << ", " << y;
            }
            if (dark.at<uchar>(y, x) == 255) {
                ++darkPixels;
                EXPECT_LE(grey.at<uchar>(y, x), limit + 1) << x << ", " << y;
            } else if (dark.at<uchar>(y, x) == 0) {
                EXPECT_GE(grey.at<uchar>(y, x), limit - 1) << x << ", " << y;
            }
        }
    EXPECT_GT(movingPixels, 100);
    EXPECT_GT(darkPixels, 100);
}

void expectRegions(const std::vector<cv::Mat>& shown)
{
    const auto at = [&shown](Place place, double x, double y) {
        const cv::Size size = shown[place].size();
        return shown[place].at<cv::Vec3b>(static_cast<int>(y * size.height), static_cast<int>(x * size.width));
    };
    for (const auto& [x, y] : {std::pair(0.25, 0.4), std::pair(0.1, 0.2), std::pair(0.7, 0.6), std::pair(0.9, 0.85)})
        EXPECT_EQ(at(NOT_REGIONS, x, y), at(NOT, x, y)) << x << ", " << y;
    for (const auto& [x, y] : {std::pair(0.5, 0.5), std::pair(0.25, 0.1), std::pair(0.25, 0.8), std::pair(0.95, 0.6)})
        EXPECT_EQ(at(NOT_REGIONS, x, y), at(LATER, x, y)) << x << ", " << y;
}

/// What one run over the first eight frames of a real video leaves.
class ResultsOfARealVideo : public Results
{
protected:
    void expectSummary(const std::string& output) const;
    void expectSheet() const;
    void expectGpuFilters() const;
    void expectClip() const;
};

void ResultsOfARealVideo::expectSummary(const std::string& output) const
{
    EXPECT_EQ(filesIn("out"), kFilesOfVideo);
    EXPECT_EQ(output, read("out/summary.txt"));
    EXPECT_NE(output.find("written into " + path("out").string() + "\n"), std::string::npos);
    const std::string messages = read("out/messages.log");
    EXPECT_TRUE(hasLine(messages, "(accepted|adapted )  attachments that are not drawn into do not clip"));
    EXPECT_TRUE(hasLine(messages, "GL_ARB_texture_rectangle : present"));

    const std::string summary = read("out/summary.txt");
    expectInput(std::string("input     ") + VELMOR_TEST_VIDEO + ", 768 x 576 pixels, 8 frames\n");
    EXPECT_TRUE(hasLine(summary, "renderer  .+, OpenGL [0-9].+"));
    EXPECT_TRUE(hasLine(summary, "driver    of what filters expect, [0-7] accepted, [0-7] adapted, 0 missing"));
    EXPECT_TRUE(
        hasLine(summary, "motion    [0-9.]+ % of the pixels move on average, [0-9.]+ % at most, in frame [2-8]"));
    for (const char* const name : {"Subtract",
                                   "Subtract, of the masks",
                                   "And",
                                   "Or",
                                   "Xor, of moving and dark",
                                   "Xor, of dark and moving",
                                   "Not",
                                   "Not, in two regions",
                                   "BGR2GRAY",
                                   "RGB2GRAY",
                                   "BGR2HSV",
                                   "RGB2HSV",
                                   "BayerRG2RGB",
                                   "BayerRG2GRAY",
                                   "GRAY2Sobel",
                                   "NonMaxSupression",
                                   "Laplacian",
                                   "Laplacian, four neighbours",
                                   "Laplacian, eight neighbours",
                                   "Classify",
                                   "Classify, backwards",
                                   "FlipV",
                                   "DebugUInt2Float",
                                   "ColorGMM",
                                   "ColorGMM, in colour",
                                   "ColorGMM, behind BGR2HSV",
                                   "ColorGMM2",
                                   "PixelCount"})
        EXPECT_TRUE(hasLine(summary, std::string(name) + " +768 x 576 +[0-9]+\\.[0-9]{2}  .+")) << name;
    const long brightness = std::lround(255 - averageLevel(testFrame(8)));
    EXPECT_TRUE(hasLine(summary, "Not  .+  average brightness " + std::to_string(brightness) + " of 255"));
    EXPECT_TRUE(hasLine(summary, "  motion.mp4         7 pictures, 10 per second, .+"));
}

void ResultsOfARealVideo::expectSheet() const
{
    const std::vector<cv::Mat> shown = pictures("out");
    expectNoneBlank(shown);
    expectFramesAndFilters(shown, testFrame(4), testFrame(8));
    expectMasks(shown, testFrame(4), testFrame(8));
    expectRegions(shown);
}

void ResultsOfARealVideo::expectGpuFilters() const
{
    const std::vector<cv::Mat> shown = pictures("out");
    const std::string summary = read("out/summary.txt");
    expectColourFilters(shown, summary, testFrame(8));
    expectBayerFilters(shown, summary, testFrame(8));
    expectEdgeFilters(shown, summary, testFrame(8));
    expectViews(shown, summary, testFrame(4), testFrame(8));
    expectMixtures(shown, summary);
    expectCounts(shown, summary, testFrame(8));
}

void ResultsOfARealVideo::expectClip() const
{
    cv::VideoCapture clip(path("out/motion.mp4").string(), cv::CAP_FFMPEG);
    ASSERT_TRUE(clip.isOpened());
    EXPECT_EQ(clip.get(cv::CAP_PROP_FPS), 10); // as the input
    std::vector<cv::Mat> moments;
    for (cv::Mat moment; clip.read(moment);)
        moments.push_back(moment.clone());
    ASSERT_EQ(moments.size(), 7U); // the first frame has none before it

    const cv::Mat frame = moments.back()(cv::Rect(24, 24, 640, 480));
    const cv::Mat seen = moments.back()(cv::Rect(680, 24, 640, 480));
    const cv::Mat difference = reduced(differenceOf(testFrame(4), testFrame(8)) * 3, seen.size());
    // The codec loses something: colours are kept at half the resolution, and quantised.
    EXPECT_LT(averageLevel(differenceOf(frame, reduced(testFrame(8), frame.size()))), 5);
    EXPECT_LT(averageLevel(differenceOf(seen, difference)), averageLevel(difference) / 2);
}

TEST_F(ResultsOfARealVideo, SheetClipAndSummaryShowWhatTheySay)
{
    const ProgramEnd end = run({"--frames", "8", "--out", "out"});
    expectSuccess(end);
    expectSummary(end.out);
    expectSheet();
    expectGpuFilters();
    expectClip();
}

TEST_F(Results, SequenceInsteadOfAVideo)
{
    writeVideo("moving.avi", 5);
    expectSuccess(run({"moving.avi", "--frames", "4", "--sequence", "--out", "out"}));
    std::set<std::string> expected = kFilesOfPicture;
    expected.insert({"motion", "motion/frame-0001.png", "motion/frame-0002.png", "motion/frame-0003.png"});
    EXPECT_EQ(filesIn("out"), expected);
    for (int number = 1; number <= 3; ++number) {
        const std::string name = "out/motion/frame-000" + std::to_string(number) + ".png";
        const cv::Mat moment = cv::imread(path(name).string());
        EXPECT_EQ(moment.size(), cv::Size(2000, 500)) << name; // three panels of 640 x 427, margins and a caption
    }
}

TEST_F(Results, ARerunReplacesResultsAndLeavesOtherFiles)
{
    writeVideo("moving.avi", 5);
    writeVideo("single.avi", 1);
    write("out/notes.txt", "mine");
    write("out/motion/notes.txt", "mine");
    const std::set<std::string> others = {"notes.txt", "motion", "motion/notes.txt"};
    const auto withOthers = [&others](std::set<std::string> files) {
        files.insert(others.begin(), others.end());
        return files;
    };
    expectSuccess(run({"moving.avi", "--sequence", "--out", "out"}));
    EXPECT_EQ(filesIn("out").count("motion/frame-0004.png"), 1U);
    expectSuccess(run({"moving.avi", "--out", "out"}));
    EXPECT_EQ(filesIn("out"), withOthers(kFilesOfVideo));
    expectSuccess(run({"single.avi", "--out", "out/"}));
    EXPECT_EQ(filesIn("out"), withOthers(kFilesOfPicture));
    EXPECT_EQ(read("out/notes.txt") + read("out/motion/notes.txt"), "minemine");
}

TEST_F(Results, AVideoOfTwoFrames)
{
    writeVideo("two.avi", 2);
    expectSuccess(run({"two.avi", "--out", "out"}));
    EXPECT_EQ(filesIn("out"), kFilesOfVideo);
    expectInput("input     two.avi, 96 x 64 pixels, 2 frames\n");
    EXPECT_NE(read("out/summary.txt").find("  1 picture, 5 per second, "), std::string::npos);
}

TEST_F(Results, AVideoOfOneFrameIsAPicture)
{
    writeVideo("one.avi", 1);
    expectSheetOf("one.avi");
    expectInput("input     one.avi, 96 x 64 pixels, 1 frame\n");
}

TEST_F(Results, APictureIsComparedWithAShiftedCopy)
{
    // Large pixels, so that the shift of 4 is one of them and the sheet shows them undistorted.
    cv::Mat picture(60, 80, CV_8UC3);
    cv::RNG random(1);
    random.fill(picture, cv::RNG::UNIFORM, 0, 256);
    cv::resize(picture, picture, {}, 4, 4, cv::INTER_NEAREST);
    cv::imwrite(path("noise.png").string(), picture);
    expectSheetOf("noise.png");
    const std::vector<cv::Mat> shown = pictures("out", PLACES - 2); // without the motion history
    const auto colourOf = [&shown](Place place, int column, int row) {
        return shown[place].at<cv::Vec3b>(cvRound((row * 4 + 2) * 335.0 / 240),
                                          cvRound((column * 4 + 2) * 446.0 / 320));
    };
    for (int row = 1; row < 60; ++row)
        for (int column = 1; column < 80; ++column)
            ASSERT_EQ(colourOf(LATER, column, row), colourOf(EARLIER, column - 1, row - 1)) << column << ", " << row;
}

TEST_F(Results, PicturesOfOtherDepthsAndShapes)
{
    const cv::Mat frame = testFrame(1)(cv::Rect(10, 20, 317, 211));
    cv::Mat grey, deep, transparent;
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    frame.convertTo(deep, CV_16U, 257);
    cv::cvtColor(frame, transparent, cv::COLOR_BGR2BGRA);
    const std::map<std::string, std::pair<cv::Mat, std::string>> pictures = {
        {"grey.png", {grey, "317 x 211 pixels, 1 frame"}},
        {"deep.png", {deep, "317 x 211 pixels, 1 frame"}},
        {"transparent.png", {transparent, "317 x 211 pixels, 1 frame"}},
        {"pixel.png", {frame(cv::Rect(9, 9, 1, 1)), "1 x 1 pixels, 1 frame"}},
        {"column.png", {frame(cv::Rect(9, 9, 1, 7)), "1 x 7 pixels, 1 frame"}},
        {"wide.png",
         {cv::Mat(30, 20000, CV_8U, cv::Scalar(99)), "20000 x 30 pixels, scaled down to 4096 x 6, 1 frame"}},
    };
    for (const auto& [name, picture] : pictures) {
        cv::imwrite(path(name).string(), picture.first);
        expectSheetOf(name);
        expectInput("input     " + name + ", " + picture.second + "\n");
    }
}

TEST_F(Results, ADamagedVideoIsShownAsFarAsItCanBe)
{
    std::string content = read(VELMOR_TEST_VIDEO).substr(0, 300000);
    for (std::size_t i = 30000; i < content.size(); i += 1009)
        content[i] = static_cast<char>(~content[i]);
    write("damaged.avi", content);
    expectSuccess(run({"damaged.avi", "--frames", "12", "--out", "out"}));
    EXPECT_EQ(filesIn("out"), kFilesOfVideo);
}

TEST_F(Results, NamesThatLookLikeSomethingElse)
{
    for (const char* const name : {"folder/below.avi", "pipe:1.avi", "%03d.avi", "-dash.avi", "\xc3\xa4 b.avi"}) {
        SCOPED_TRACE(name);
        writeVideo(name, 2);
        expectSuccess(run({"--out", "out", "--", name}));
        expectInput("input     " + std::string(name) + ", 96 x 64 pixels, 2 frames\n");
    }
}

TEST_F(Results, AFullDiskIsNoticed)
{
    // A limit on the size of files: as on a full disk, writing fails on the way.
    writeVideo("moving.avi", 3);
    const ProgramEnd end = runCommand({"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 20; exec \"$0\" \"$@\"",
                                       VELMOR_DEMO_PROGRAM, "moving.avi", "--out", "out"});
    expectFailure(end, 1,
                  "velmor_demo: save(): cannot save '" + path("out/contact-sheet.png").string() + "': File too large");
    EXPECT_EQ(filesIn("out"), std::set<std::string>{"motion.mp4"}); // of the sheet no part is left
}

} // namespace
} // namespace velmor::tests
