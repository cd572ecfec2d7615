#include "tests/demo/DemoTest.h"
#include "tests/demo/SheetPictures.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>
#include <opencv2/videoio.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace velmor::tests {
namespace {

class CpuSections : public DemoTest
{
protected:
    void show(const Arguments& arguments)
    {
        Arguments all = arguments;
        all.insert(all.end(), {"--out", "out"});
        expectSuccess(run(all));
        mSummary = read("out/summary.txt");
        mShown = picturesOn(cv::imread(path("out/contact-sheet.png").string()));
    }

    cv::Mat shown(Place place) const
    {
        const std::size_t missing = place < HISTORY ? 0 : PLACES - mShown.size();
        return mShown.at(place - missing);
    }

    void expectLine(const std::string& form) const { EXPECT_TRUE(hasLine(mSummary, form)) << form << '\n' << mSummary; }

    /// What the summary says to have found, in its line of an operator.
    std::string found(const std::string& name) const
    {
        const std::size_t line = mSummary.find("\n" + name + "  ");
        if (line == std::string::npos) {
            ADD_FAILURE() << name << " is missing in\n" << mSummary;
            return {};
        }
        const std::size_t point = mSummary.find('.', line); // of the milliseconds
        const std::size_t begin = mSummary.find("  ", point) + 2;
        return mSummary.substr(begin, mSummary.find('\n', begin) - begin);
    }

    std::string mSummary;
    std::vector<cv::Mat> mShown;
};

/// The share that begins a text, in percent.
double percentIn(const std::string& text)
{
    double percent = -1;
    EXPECT_EQ(std::sscanf(text.c_str(), "%lf %%", &percent), 1) << text;
    return percent;
}

/// Pixels of exactly one colour.
int countOf(const cv::Mat& picture, const cv::Scalar& colour)
{
    cv::Mat mask;
    cv::inRange(picture, colour, colour, mask);
    return cv::countNonZero(mask);
}

// A larger and a smaller grey rectangle on red; as the later frame they are 4 pixels further to the right and down.
const cv::Scalar kGround(40, 60, 200);
const cv::Rect kLarger(60, 80, 101, 61);
const cv::Rect kSmaller(220, 150, 45, 30);
constexpr int kGreyPixels = 101 * 61 + 45 * 30;
constexpr int kColumns = 320, kRows = 240;

void writeRectangles(const std::string& file)
{
    cv::Mat picture(kRows, kColumns, CV_8UC3, kGround);
    for (const cv::Rect& place : {kLarger, kSmaller})
        cv::rectangle(picture, place, cv::Scalar::all(120), cv::FILLED);
    cv::imwrite(file, picture);
}

TEST_F(CpuSections, AModelOfOneColourFindsItsBlobs)
{
    writeRectangles(path("rectangles.png").string());
    show({"rectangles.png"});

    // Red and green are alike in the grey alone.
    const std::string set = "9.8 % of the pixels are set"; // 7511 of 76800
    EXPECT_EQ(found("ColourDetector"), set);
    EXPECT_EQ(found("ColourDetector, with morphology"), set);

    // A contour runs through the centres of the outermost pixels: 100 x 60 from (64, 84) on.
    EXPECT_EQ(found("Moments, of that mask"), "2 blobs, the largest of 6000 pixels at (114, 114), 0 degrees");

    const cv::Mat mask = shown(COLOUR), cleaned = shown(COLOUR_CLEANED);
    EXPECT_EQ(largestDifference(mask, cleaned), 0);
    EXPECT_NEAR(cv::mean(mask)[0] / 255, 7511.0 / 76800, 0.001);
}

TEST_F(CpuSections, TheBlobsAreDrawnWhereTheyAre)
{
    writeRectangles(path("rectangles.png").string());
    show({"rectangles.png"});
    const cv::Mat picture = shown(BLOBS);
    const double scale = picture.cols / 320.0;
    const auto isMarked = [&](double x, double y) {
        const cv::Point place(cvRound((x + 0.5) * scale - 0.5), cvRound((y + 0.5) * scale - 0.5));
        const cv::Vec3b pixel = picture.at<cv::Vec3b>(place);
        return pixel[2] > pixel[0] + 80; // red on grey
    };
    // Half axes of the ellipse with the second moments of a rectangle of sides a, b: a / sqrt(3), b / sqrt(3).
    const double half = 100 / std::sqrt(3.0), other = 60 / std::sqrt(3.0);
    for (const double sign : {-1.0, 1.0}) {
        EXPECT_TRUE(isMarked(114 + sign * half, 114));
        EXPECT_TRUE(isMarked(114, 114 + sign * other));
        EXPECT_TRUE(isMarked(114 + sign * half / 2, 114)); // the axes
        EXPECT_TRUE(isMarked(114, 114 + sign * other / 2));
        EXPECT_TRUE(isMarked(114 + half * 0.6, 114 + sign * other * 0.8)); // on the ellipse, as 0.36 + 0.64 = 1
        EXPECT_FALSE(isMarked(114 + sign * (half + 5), 114));
        EXPECT_FALSE(isMarked(114 + half * 0.5, 114 + sign * other * 0.5));
    }
}

TEST_F(CpuSections, HistogramsOfTwoColours)
{
    writeRectangles(path("rectangles.png").string());
    show({"rectangles.png"});
    // Without the last column and row, 319 x 239 pixels are counted. What changes is as much grey as ground.
    EXPECT_EQ(found("ColourHist2D"), "90.1 % of the pixels are of the most frequent colour");
    EXPECT_EQ(found("ColourHist2D, under a mask"), "50.0 % of the pixels are of the most frequent colour");

    // Bars of equal width, in the colour of the middle of their bins: from 32 to 64, from 96 to 128, from 192 to 224.
    const cv::Scalar ground(48, 48, 208), grey(112, 112, 112);
    const auto ratio = [&](const cv::Mat& chart) {
        return countOf(chart, grey) / static_cast<double>(countOf(chart, ground));
    };
    EXPECT_NEAR(ratio(shown(HISTOGRAM)), kGreyPixels / (319.0 * 239 - kGreyPixels), 0.01); // outlines are left out
    EXPECT_EQ(ratio(shown(HISTOGRAM_MASKED)), 1);
}

TEST_F(CpuSections, APictureHasNoMotionHistory)
{
    writeVideo("one.avi", 1);
    show({"one.avi"});
    expectLine("history   no motion history of a single frame");
    EXPECT_EQ(mSummary.find("MotionSegment"), std::string::npos);
}

TEST_F(CpuSections, WhatDoesNotMoveHasNoCentre)
{
    cv::VideoWriter writer(path("still.avi").string(), cv::CAP_OPENCV_MJPEG,
                           cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 5, {96, 64});
    for (int i = 0; i < 3; ++i)
        writer.write(cv::Mat(64, 96, CV_8UC3, cv::Scalar(60, 90, 120)));
    writer.release();
    show({"still.avi"});
    EXPECT_EQ(found("MotionSegment"), "0.0 % of the pixels are set");
    EXPECT_EQ(found("MotionSegment, centre of mass"), "nothing moves");
    EXPECT_EQ(found("ColourHist2D, under a mask"), "no pixels to count");
}

/// What one run over the first eight frames of a real video shows.
class CpuSectionsOfAVideo : public CpuSections
{
protected:
    void expectMasks() const;
    void expectHistory() const;
    void expectHistoryInClip() const;
    void expectHistogram() const;
    void expectFaces() const;
};

void CpuSectionsOfAVideo::expectMasks() const
{
    const cv::Mat mask = shown(COLOUR), cleaned = shown(COLOUR_CLEANED);
    EXPECT_NEAR(percentIn(found("ColourDetector")), 100 * cv::mean(mask)[0] / 255, 0.1);
    EXPECT_NEAR(percentIn(found("ColourDetector, with morphology")), 100 * cv::mean(cleaned)[0] / 255, 0.1);
    EXPECT_GT(cv::mean(cleaned)[0], 1);
    EXPECT_EQ(cv::countNonZero(cv::Mat(cleaned > mask + cv::Scalar::all(1)).reshape(1)), 0); // opening takes away alone
    expectLine("Moments, of that mask  .+  [0-9]+ blobs, the largest of [0-9]+ pixels at .+ degrees");
}

void CpuSectionsOfAVideo::expectHistory() const
{
    const cv::Mat history = shown(HISTORY);
    std::vector<cv::Mat> greys(8);
    for (int number = 1; number <= 8; ++number)
        cv::cvtColor(testFrame(number), greys[static_cast<std::size_t>(number - 1)], cv::COLOR_BGR2GRAY);
    cv::Mat everMoved = cv::Mat::zeros(greys[0].size(), CV_8U), movedLast;
    for (std::size_t k = 1; k < greys.size(); ++k) {
        cv::absdiff(greys[k - 1], greys[k], movedLast);
        cv::threshold(movedLast, movedLast, 20, 255, cv::THRESH_BINARY);
        everMoved |= movedLast;
    }
    // Where a mask is wholly set, or wholly unset, the average under a pixel of the sheet tells so.
    cv::resize(everMoved, everMoved, history.size(), 0, 0, cv::INTER_AREA);
    cv::resize(movedLast, movedLast, history.size(), 0, 0, cv::INTER_AREA);
    int last = 0;
    cv::Mat level;
    cv::extractChannel(history, level, 0);
    for (int y = 0; y < level.rows; ++y)
        for (int x = 0; x < level.cols; ++x) {
            if (movedLast.at<uchar>(y, x) == 255) {
                ++last;
                EXPECT_GE(level.at<uchar>(y, x), 254) << x << ", " << y;
            }
            if (everMoved.at<uchar>(y, x) == 0) {
                EXPECT_EQ(level.at<uchar>(y, x), 0) << x << ", " << y;
            }
        }
    EXPECT_GT(last, 100);

    const cv::Moments moments = cv::moments(level);
    const double scale = 768.0 / level.cols;
    double x = 0, y = 0;
    ASSERT_EQ(std::sscanf(found("MotionSegment, centre of mass").c_str(), "at (%lf, %lf)", &x, &y), 2);
    EXPECT_NEAR(x, (moments.m10 / moments.m00 + 0.5) * scale - 0.5, 1.5);
    EXPECT_NEAR(y, (moments.m01 / moments.m00 + 0.5) * scale - 0.5, 1.5);
}

void CpuSectionsOfAVideo::expectHistoryInClip() const
{
    cv::VideoCapture clip(path("out/motion.mp4").string(), cv::CAP_FFMPEG);
    cv::Mat moment;
    for (cv::Mat next; clip.read(next);)
        moment = next.clone();
    ASSERT_EQ(moment.size(), cv::Size(2000, 552));
    cv::Mat panel, history;
    cv::resize(moment(cv::Rect(1336, 24, 640, 480)), panel, shown(HISTORY).size(), 0, 0, cv::INTER_AREA);
    cv::extractChannel(panel, panel, 0); // blue, of which the cross has none
    cv::extractChannel(shown(HISTORY), history, 0);
    EXPECT_LT(cv::norm(panel, history, cv::NORM_L1), 0.4 * cv::norm(history, cv::NORM_L1)); // the codec loses something
}

void CpuSectionsOfAVideo::expectHistogram() const
{
    const cv::Mat frame = testFrame(8);
    std::array<int, 512> bins{};
    int counted = 0;
    for (int y = 0; y < frame.rows - 1; ++y)
        for (int x = 0; x < frame.cols - 1; ++x) {
            const cv::Vec3b& pixel = frame.at<cv::Vec3b>(y, x);
            if (pixel[0] == 0 || pixel[1] == 0 || pixel[2] == 0)
                continue;
            const int bin = pixel[0] / 32 + 8 * (pixel[1] / 32) + 64 * (pixel[2] / 32);
            ++bins[static_cast<std::size_t>(bin)];
            ++counted;
        }
    const double percent = 100.0 * *std::max_element(bins.begin(), bins.end()) / counted;
    EXPECT_NEAR(percentIn(found("ColourHist2D")), percent, 0.05 + 1e-9);
}

void CpuSectionsOfAVideo::expectFaces() const
{
    const cv::Mat photograph = cv::imread(VELMOR_TEST_PHOTOGRAPH);
    cv::CascadeClassifier classifier("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml");
    std::vector<cv::Rect> faces;
    classifier.detectMultiScale(photograph, faces, 1.1, 2, 0, {40, 40});
    ASSERT_EQ(faces.size(), 1U);
    const cv::Rect& face = faces.front();
    EXPECT_EQ(found("FaceDetect"), "1 face, at (" + std::to_string(face.x) + ", " + std::to_string(face.y) + "), " +
                                       std::to_string(face.width) + " x " + std::to_string(face.height) + " pixels");

    // The photograph is shown, and differs only where the face is framed.
    cv::Mat difference;
    cv::resize(photograph, difference, shown(FACES).size(), 0, 0, cv::INTER_AREA);
    cv::absdiff(difference, shown(FACES), difference);
    cv::cvtColor(difference, difference, cv::COLOR_BGR2GRAY);
    const cv::Rect marked = cv::boundingRect(difference > 10);
    const double scale = photograph.cols / 446.0;
    EXPECT_NEAR(marked.x * scale, face.x, 3);
    EXPECT_NEAR(marked.br().y * scale, face.br().y, 3);
}

TEST_F(CpuSectionsOfAVideo, ShowWhatTheOperatorsCompute)
{
    show({"--frames", "8"});
    expectMasks();
    expectHistory();
    expectHistoryInClip();
    expectHistogram();
    expectFaces();
}

} // namespace
} // namespace velmor::tests
