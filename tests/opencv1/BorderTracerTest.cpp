#include "opencv1/BorderTracer.h"

#include "tests/support/Contours.h"
#include "tests/support/GuardedMemory.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/Rounds.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <cmath>
#include <functional>

using velmor::opencv1::BorderTracer;

namespace velmor::tests {
namespace {

using Points = std::vector<cv::Point>;

/// Whether the border with a number, from 0, is kept.
using Choice = std::function<bool(int number)>;

const Choice kAll = [](int) {
    return true;
};

/// A mask with the memory that it is traced in, of the size stated.
struct Scene
{
    explicit Scene(const cv::Mat& picture)
        : mask(picture), work(BorderTracer::workBytes(picture.cols, picture.rows), 170)
    {
    }

    /// The tracer's list. Each area is compared with what `area` says.
    CvSeq* trace(CvMemStorage* storage, const Choice& keeps, const std::vector<double>& areas)
    {
        const IplImage header = cvIplImage(mask);
        BorderTracer tracer(header, work.data(), storage);
        std::size_t number = 0;
        for (; tracer.next(); ++number) {
            if (number >= areas.size() || tracer.area() != areas[number])
                ADD_FAILURE() << "border " << number << " has an area of " << tracer.area();
            if (!keeps(static_cast<int>(number)))
                continue;
            CvContour* const contour = tracer.keep();
            EXPECT_EQ(reinterpret_cast<CvSeq*>(contour), tracer.contours());
        }
        EXPECT_EQ(number, areas.size());
        return tracer.contours();
    }

    cv::Mat mask;
    std::vector<unsigned char> work;
};

/// OpenCV's list, and m00 of all contours.
CvSeq* scan(const cv::Mat& mask, CvMemStorage* storage, const Choice& keeps, std::vector<double>& areas)
{
    cv::Mat work = mask.clone(); // the scan writes into it
    IplImage header = cvIplImage(work);
    const CvContourScanner scanner = cvStartFindContours(&header, storage, sizeof(CvContour), CV_RETR_EXTERNAL,
                                                         CV_CHAIN_APPROX_SIMPLE, cvPoint(0, 0));
    while (CvSeq* const contour = cvFindNextContour(scanner)) {
        CvMoments moments;
        cvMoments(contour, &moments, 1);
        areas.push_back(moments.m00);
        if (!keeps(static_cast<int>(areas.size()) - 1))
            cvSubstituteContour(scanner, nullptr);
    }
    CvContourScanner end = scanner;
    return cvEndFindContours(&end);
}

/// Compares with OpenCV's scan, storages included.
void expectLikeOpenCv(const cv::Mat& mask, CvMemStorage* storage, CvMemStorage* expectedStorage,
                      const Choice& keeps = kAll)
{
    std::vector<double> areas;
    const CvSeq* const expected = scan(mask, expectedStorage, keeps, areas);
    EXPECT_TRUE(sameContours(Scene(mask).trace(storage, keeps, areas), storage, expected, expectedStorage));
}

void expectLikeOpenCv(const cv::Mat& mask, const Choice& keeps = kAll)
{
    static const Storage storage, expectedStorage;
    cvClearMemStorage(storage);
    cvClearMemStorage(expectedStorage);
    expectLikeOpenCv(mask, storage, expectedStorage, keeps);
}

/// Every mask of a size, or those with numbers that are `step` apart: alone, in a frame of background, and in the hole
/// of a ring.
void expectOfEveryMask(cv::Size size, unsigned step)
{
    const cv::Rect inner(cv::Point(3, 3), size);
    for (unsigned number = 0; number < 1u << size.area(); number += step) {
        cv::Mat mask(size, CV_8UC1);
        for (int k = 0; k < size.area(); ++k)
            mask.data[k] = (number >> k & 1) != 0 ? 255 : 0;
        expectLikeOpenCv(mask);
        cv::Mat framed = cv::Mat::zeros(size + cv::Size(6, 6), CV_8UC1);
        mask.copyTo(framed(inner));
        expectLikeOpenCv(framed);
        cv::rectangle(framed, cv::Rect(cv::Point(1, 1), size + cv::Size(4, 4)), 255);
        expectLikeOpenCv(framed);
        ASSERT_FALSE(testing::Test::HasFailure()) << "mask " << number;
    }
}

cv::Size randomSize(std::mt19937& random)
{
    return {3 + static_cast<int>(random() % 98), 3 + static_cast<int>(random() % 68)};
}

void expectOfRandomMasks(int rounds, unsigned seed)
{
    std::mt19937 random(seed);
    int contours = 0;
    for (int k = 0; k < rounds; ++k) {
        const cv::Size size = randomSize(random);
        cv::Mat padded = randomMask(size + cv::Size(static_cast<int>(random() % 9), 0), random);
        const unsigned share = random() % 4;
        const auto keys = random();
        expectLikeOpenCv(padded.colRange(0, size.width), [&](int number) {
            ++contours;
            return share == 0 || (keys >> (number % 32) & 1) != 0;
        });
        ASSERT_FALSE(testing::Test::HasFailure()) << "mask " << k << " of " << size;
    }
    EXPECT_GT(contours, rounds);
}

// ---- beside OpenCV

TEST(BorderTracer, FindsWhatOpenCvFindsInSmallMasks)
{
    expectOfEveryMask({4, 4}, RUNNING_ON_VALGRIND ? 997 : 7);
    expectOfEveryMask({3, 5}, RUNNING_ON_VALGRIND ? 499 : 5);
    expectOfEveryMask({5, 3}, RUNNING_ON_VALGRIND ? 499 : 5);
    expectOfEveryMask({3, 3}, 1);
}

TEST(BorderTracer, FindsWhatOpenCvFindsInRandomMasks)
{
    expectOfRandomMasks(randomRounds(), 1);
}

TEST(BorderTracerSweep, FindsWhatOpenCvFindsInEverySmallMask)
{
    expectOfEveryMask({4, 4}, 1);
    expectOfEveryMask({3, 5}, 1);
    expectOfEveryMask({5, 3}, 1);
}

TEST(BorderTracerSweep, FindsWhatOpenCvFindsInRandomMasks)
{
    expectOfRandomMasks(100000, 2);
}

TEST(BorderTracer, GivesTheSameUnderEachInstructionSet)
{
    onEachInstructionSet([](const std::string& name) {
        expectOfRandomMasks(RUNNING_ON_VALGRIND ? 50 : 1000, 3);
        for (int width = 3; width < 200; ++width) { // ends of rows and of planes
            cv::Mat mask = cv::Mat::zeros(5, width, CV_8UC1);
            for (int x = 1; x < width; x += 2)
                mask.at<unsigned char>(1 + x % 3, x) = 1;
            expectLikeOpenCv(mask);
            mask = 1;
            expectLikeOpenCv(mask);
        }
        ASSERT_FALSE(testing::Test::HasFailure()) << name;
    });
}

TEST(BorderTracer, TakesEveryByteButZeroAsForeground)
{
    for (int value = 1; value < 256; ++value) {
        cv::Mat mask = cv::Mat::zeros(9, 70, CV_8UC1);
        cv::rectangle(mask, {2, 2, 60, 4}, value, cv::FILLED);
        cv::rectangle(mask, {20, 3, 20, 2}, 256 - value, cv::FILLED);
        expectLikeOpenCv(mask);
    }
}

// A comb, whose border turns four times a tooth, and a spiral, whose border is as long as its pixels are many.
TEST(BorderTracer, FollowsLongBorders)
{
    const int teeth = RUNNING_ON_VALGRIND ? 2000 : 40000;
    cv::Mat comb = cv::Mat::zeros(9, 2 * teeth + 1, CV_8UC1);
    for (int x = 1; x < comb.cols; x += 2)
        comb.col(x) = 255;
    comb.row(7) = 255;
    std::vector<double> areas;
    const Storage storage;
    const CvSeq* const contour = scan(comb, storage, kAll, areas);
    ASSERT_NE(contour, nullptr);
    EXPECT_GE(contour->total, 3 * teeth);
    expectLikeOpenCv(comb);
    expectLikeOpenCv(comb, [](int) { return false; });
    expectLikeOpenCv(comb.t());

    cv::Mat spiral = cv::Mat::zeros(700, 900, CV_8UC1);
    drawSpiral(spiral);
    expectLikeOpenCv(spiral);
}

// Contours of several calls, kept and not, across many of the storage's blocks of 64 KiB.
TEST(BorderTracer, FillsTheStorageAsOpenCvDoes)
{
    std::mt19937 random(4);
    const Storage storage, expectedStorage;
    for (int k = 0; k < (RUNNING_ON_VALGRIND ? 40 : 400); ++k) {
        const auto keys = random();
        const auto keeps = [&](int number) {
            return (keys >> (number % 32) & 1) != 0;
        };
        expectLikeOpenCv(randomMask({250, 200}, random), storage, expectedStorage, keeps);
        ASSERT_FALSE(HasFailure()) << "mask " << k;
    }
    EXPECT_GT(blocksOf(storage), 10);
}

// What OpenCV's functions do with sequences goes on with them.
TEST(BorderTracer, MakesSequencesThatGrow)
{
    cv::Mat mask = cv::Mat::zeros(20, 30, CV_8UC1);
    cv::rectangle(mask, {3, 4, 10, 7}, 255, cv::FILLED);
    const Storage storage;
    CvSeq* const contour = Scene(mask).trace(storage, kAll, {54.0});
    const CvPoint more = {5, 6};
    for (int k = 0; k < 1000; ++k)
        cvSeqPush(contour, &more);
    EXPECT_EQ(contour->total, 1004);
    EXPECT_EQ(pointsOf(contour)[0], cv::Point(3, 4));
    EXPECT_EQ(pointsOf(contour)[1003], cv::Point(5, 6));
}

// ---- beside the definition

/// The background around all regions: what can be reached from the corner by sides.
cv::Mat surroundings(const cv::Mat& mask)
{
    cv::Mat labels;
    cv::Mat background = mask == 0;
    cv::connectedComponents(background, labels, 4);
    return labels == labels.at<int>(0, 0);
}

/// The points of the border that begins at a pixel: from each, the next is the first one counterclockwise from the one
/// before. Those where it does not turn are left out.
Points borderFrom(const cv::Mat& mask, cv::Point start)
{
    const cv::Point directions[] = {{1, 0}, {1, -1}, {0, -1}, {-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}};
    const auto firstFrom = [&](cv::Point place, int direction, int turn) { // -1 where there is none
        for (int k = 0; k < 8; ++k) {
            direction = (direction + turn + 8) % 8;
            if (mask.at<unsigned char>(place + directions[direction]) != 0)
                return direction;
        }
        return -1;
    };
    int back = firstFrom(start, 4, -1); // clockwise from the left, where the background is
    if (back < 0)
        return {start};
    const cv::Point last = start + directions[back];
    Points points;
    int direction = -1;
    for (cv::Point place = start, before;; back = (direction + 4) % 8) {
        const int next = firstFrom(place, back, 1);
        if (next != direction)
            points.push_back(place);
        direction = next;
        before = place;
        place += directions[next];
        if (before == last && place == start)
            return points;
    }
}

/// The outer borders of the regions that touch the surroundings at a side, in the order of their first pixels.
std::vector<Points> outerBorders(cv::Mat mask)
{
    cv::rectangle(mask, {0, 0, mask.cols, mask.rows}, 0);
    cv::Mat labels, outside;
    const int count = cv::connectedComponents(mask, labels, 8);
    cv::dilate(surroundings(mask), outside, cv::getStructuringElement(cv::MORPH_CROSS, {3, 3}));
    std::vector<bool> isOuter(static_cast<std::size_t>(count)), isFound(static_cast<std::size_t>(count));
    for (int y = 0; y < mask.rows; ++y)
        for (int x = 0; x < mask.cols; ++x)
            if (outside.at<unsigned char>(y, x) != 0)
                isOuter[static_cast<std::size_t>(labels.at<int>(y, x))] = true;
    std::vector<Points> borders;
    for (int y = 0; y < mask.rows; ++y)
        for (int x = 0; x < mask.cols; ++x) {
            const auto label = static_cast<std::size_t>(labels.at<int>(y, x));
            if (label == 0 || !isOuter[label] || isFound[label])
                continue;
            isFound[label] = true;
            borders.push_back(borderFrom(mask, {x, y}));
        }
    return borders;
}

TEST(BorderTracer, FindsTheBordersByTheirDefinition)
{
    std::mt19937 random(5);
    for (int k = 0; k < randomRounds() / 4; ++k) {
        const cv::Mat mask = randomMask(randomSize(random), random);
        const std::vector<Points> expected = outerBorders(mask.clone());
        std::vector<double> areas;
        for (const Points& points : expected)
            areas.push_back(std::abs(cv::contourArea(points)));
        const Storage storage;
        std::vector<Points> found;
        for (const CvSeq* contour = Scene(mask).trace(storage, kAll, areas); contour; contour = contour->h_next)
            found.insert(found.begin(), pointsOf(contour));
        ASSERT_EQ(found, expected) << "mask " << k;
        ASSERT_FALSE(HasFailure()) << "mask " << k;
    }
}

// ---- memory

TEST(BorderTracer, NeedsNoMoreMemoryThanTheMask)
{
    for (int width = 3; width < 5000; ++width)
        for (const int height : {3, 4, 1000})
            ASSERT_LE(BorderTracer::workBytes(width, height), static_cast<std::size_t>(width * height));
}

TEST(BorderTracer, TouchesNothingBehindTheMaskAndItsMemory)
{
    std::mt19937 random(6);
    onEachInstructionSet([&](const std::string& name) {
        for (int k = 0; k < 150; ++k) {
            const cv::Size size(3 + k, 3 + static_cast<int>(random() % 20));
            const cv::Mat source = randomMask(size, random);
            const GuardedMemory pixels(source.total());
            const std::size_t bytes = BorderTracer::workBytes(size.width, size.height);
            const GuardedMemory work(bytes);
            const cv::Mat mask = pixels.copyOf(source);
            const cv::Mat memory = work.picture({static_cast<int>(bytes), 1}, CV_8UC1);
            const IplImage header = cvIplImage(mask);
            const Storage storage;
            BorderTracer tracer(header, memory.data, storage);
            std::size_t count = 0;
            for (; tracer.next(); ++count)
                tracer.keep();
            EXPECT_EQ(count, outerBorders(source.clone()).size()) << name << ", " << size;
            EXPECT_EQ(cv::countNonZero(mask != source), 0);
        }
    });
}

} // namespace
} // namespace velmor::tests
