#include "tests/examples/ExampleTest.h"
#include "tests/examples/Videos.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <regex>

namespace velmor::tests {
namespace {

constexpr int kSide = 16; ///< of a square: that of the blocks in which the video is coded, so that they blur little
constexpr int kBorder = 2;
const cv::Scalar kRed(40, 40, 220), kGreen(40, 160, 60);

cv::Mat green()
{
    return {cv::Size(12, 6) * kSide, CV_8UC3, kGreen};
}

/// Paints a square; counted in squares from the upper left corner.
void paintSquare(cv::Mat& frame, int column, int row)
{
    frame(cv::Rect(column * kSide, row * kSide, kSide, kSide)) = kRed;
}

/// One line of what the example prints.
struct Sighting
{
    int count;
    bool found;
    cv::Point place;
};

std::vector<Sighting> sightingsIn(const std::string& text)
{
    const std::regex form(R"(frame (\d+): (\d+) pixels, (?:lost|at \[(\d+), (\d+)\])\n)");
    std::vector<Sighting> result;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        EXPECT_EQ(std::stoul((*match)[1]), result.size() + 1);
        const bool found = (*match)[3].matched;
        result.push_back({std::stoi((*match)[2]), found,
                          found ? cv::Point(std::stoi((*match)[3]), std::stoi((*match)[4])) : cv::Point()});
    }
    return result;
}

class ColourTracking : public ExampleTest
{
protected:
    ColourTracking() : ExampleTest("colour_tracking") {}

    /// One square goes to the right by its own width per frame, and has gone in the last frame; one stays.
    void writeMovingSquare()
    {
        std::vector<cv::Mat> frames;
        for (int i = 0; i < 6; ++i) {
            frames.push_back(green());
            paintSquare(frames.back(), 9, 4);
            if (i < 5)
                paintSquare(frames.back(), 1 + i, 1);
        }
        writeFrames(path("squares.avi").string(), frames);
    }
};

/// Pixels of so many squares, but for blurred ones at their borders.
void expectSquares(int count, int squares)
{
    EXPECT_LE(count, squares * kSide * kSide);
    EXPECT_GE(count, squares * (kSide - 2 * kBorder) * (kSide - 2 * kBorder));
}

TEST_F(ColourTracking, FollowsOneOfTwoSquares)
{
    writeMovingSquare();
    const ProgramEnd end = run({"squares.avi", "tracked.avi", "18", "18", "12", "12"});
    expectSuccess(end);
    const std::vector<Sighting> sightings = sightingsIn(end.out);
    ASSERT_EQ(sightings.size(), 6U);
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        const Sighting& sighting = sightings[static_cast<std::size_t>(i)];
        expectSquares(sighting.count, 2);
        ASSERT_TRUE(sighting.found);
        EXPECT_NEAR(sighting.place.x, (1 + i) * kSide + (kSide - 1) / 2.0, 1);
        EXPECT_NEAR(sighting.place.y, kSide + (kSide - 1) / 2.0, 1);
    }
    expectSquares(sightings.back().count, 1);
    EXPECT_FALSE(sightings.back().found);
}

TEST_F(ColourTracking, DrawsThePathOverTheVideo)
{
    writeMovingSquare();
    expectSuccess(run({"squares.avi", "tracked.avi", "18", "18", "12", "12"}));
    const std::vector<cv::Mat> frames = readFrames(path("tracked.avi").string());
    ASSERT_EQ(frames.size(), 6U);
    // Where the square went it is green again in the last frame, but for the path. Coding blurs colours by some levels.
    constexpr double kOtherColour = 60;
    for (int x = 2 * kSide; x < 5 * kSide; ++x) {
        const cv::Vec3b onPath = frames.back().at<cv::Vec3b>(kSide + kSide / 2, x);
        const cv::Vec3b beside = frames.back().at<cv::Vec3b>(3 * kSide, x);
        EXPECT_GT(cv::norm(cv::Scalar(onPath) - kGreen), kOtherColour) << x;
        EXPECT_LT(cv::norm(cv::Scalar(beside) - kGreen), kOtherColour) << x;
    }
}

/// How far a place is from the centre of the nearest dark region of a frame, in pixels.
double distanceToDarkRegion(const cv::Mat& frame, const cv::Point& place)
{
    constexpr int kDark = 40, kLeastArea = 150;
    cv::Mat grey, labels, stats, centres;
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    const int regions = cv::connectedComponentsWithStats(grey < kDark, labels, stats, centres);
    double least = HUGE_VAL;
    for (int i = 1; i < regions; ++i) // 0 is the rest of the frame
        if (stats.at<int>(i, cv::CC_STAT_AREA) > kLeastArea)
            least = std::min(least, cv::norm(centres.at<cv::Point2d>(i) - cv::Point2d(place)));
    return least;
}

TEST_F(ColourTracking, FollowsAPedestrian)
{
    const std::vector<cv::Mat> frames = readFrames(VELMOR_TEST_VIDEO, 20);
    writeFrames(path("walk.avi").string(), frames);
    const ProgramEnd end = run({"walk.avi", "tracked.avi", "658", "256", "16", "32"}); // a man in a black coat
    expectSuccess(end);
    const std::vector<Sighting> sightings = sightingsIn(end.out);
    ASSERT_EQ(sightings.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(sightings[i].found);
        EXPECT_LT(distanceToDarkRegion(frames[i], sightings[i].place), 10); // shoes and hair are not quite as dark
    }
    EXPECT_LT(sightings.back().place.x, sightings.front().place.x - 100); // he walks to the left
}

TEST_F(ColourTracking, SaysWhatIsWrong)
{
    expectRefusal({"a.avi", "b.avi"}, "expected a video to read, one to write, and left, top, width, height");
    expectRefusal({"nothing.avi", "b.avi", "1", "1", "4", "4"}, "cannot read 'nothing.avi': it is no video");
    write("text.avi", "no video");
    expectRefusal({"text.avi", "b.avi", "1", "1", "4", "4"}, "cannot read 'text.avi': it is no video");
    writeMovingSquare();
    expectRefusal({"squares.avi", "no/folder.avi", "1", "1", "4", "4"},
                  "cannot write 'no/folder.avi', which is to be an .avi file");
    const std::string inside = "expected a patch of at least 2 x 2 pixels inside the frame";
    expectRefusal({"squares.avi", "b.avi", "-1", "1", "4", "4"}, inside);
    expectRefusal({"squares.avi", "b.avi", "189", "1", "4", "4"}, inside); // of 192 columns
    expectRefusal({"squares.avi", "b.avi", "1", "93", "4", "4"}, inside);  // of 96 rows
    expectRefusal({"squares.avi", "b.avi", "1", "1", "1", "4"}, inside);
    expectRefusal({"squares.avi", "b.avi", "x", "1", "2147483647", "4"}, inside);
}

} // namespace
} // namespace velmor::tests
