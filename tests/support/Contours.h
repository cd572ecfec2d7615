#pragma once

#include <gtest/gtest.h>
#include <opencv2/core/core_c.h>
#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

namespace velmor::tests {

// ---- storages

/// A storage that is released.
class Storage
{
public:
    Storage() : mStorage(cvCreateMemStorage(0)) {}
    ~Storage() { cvReleaseMemStorage(&mStorage); }
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;
    operator CvMemStorage*() const { return mStorage; }
    CvMemStorage* operator->() const { return mStorage; }

private:
    CvMemStorage* mStorage;
};

/// Where something lies in a storage: the number of its block, and the bytes before it there.
using Place = std::pair<int, long>;
inline Place placeIn(const CvMemStorage* storage, const void* address)
{
    int number = 0;
    for (const CvMemBlock* block = storage->bottom; block; block = block->next, ++number) {
        const auto offset = reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(block);
        if (offset < static_cast<std::uintptr_t>(storage->block_size))
            return {number, static_cast<long>(offset)};
    }
    return {-1, 0};
}

inline int blocksOf(const CvMemStorage* storage)
{
    int number = 0;
    for (const CvMemBlock* block = storage->bottom; block; block = block->next)
        ++number;
    return number;
}

/// Bytes up to where the next thing is put.
inline long usedBytes(const CvMemStorage* storage)
{
    if (!storage->top)
        return static_cast<long>(sizeof(CvMemBlock));
    return static_cast<long>(placeIn(storage, storage->top).first) * storage->block_size + storage->block_size -
           storage->free_space;
}

// ---- contours

inline std::vector<cv::Point> pointsOf(const CvSeq* contour)
{
    std::vector<cv::Point> points(static_cast<std::size_t>(contour->total));
    if (!points.empty())
        cvCvtSeqToArray(contour, points.data(), CV_WHOLE_SEQ);
    return points;
}

/// All that a contour's header holds, but for the links to others.
inline auto headerOf(const CvSeq* contour, const CvMemStorage* storage)
{
    const auto* const whole = reinterpret_cast<const CvContour*>(contour);
    return std::tuple(contour->flags, contour->header_size, contour->elem_size, contour->total, contour->delta_elems,
                      cv::Rect(whole->rect), whole->color, whole->reserved[0], whole->reserved[1], whole->reserved[2],
                      placeIn(storage, contour), placeIn(storage, contour->first), placeIn(storage, contour->ptr),
                      placeIn(storage, contour->block_max), contour->storage == storage, contour->free_blocks,
                      contour->v_prev, contour->v_next);
}

/// Whether two lists hold the same contours, at the same places of their storages.
inline testing::AssertionResult sameContours(const CvSeq* list, const CvMemStorage* storage, const CvSeq* expected,
                                             const CvMemStorage* expectedStorage)
{
    const CvSeq* before = nullptr;
    int number = 0;
    for (; list && expected; before = list, list = list->h_next, expected = expected->h_next, ++number) {
        if (list->h_prev != before)
            return testing::AssertionFailure() << "contour " << number << " is not linked with the one before";
        if (headerOf(list, storage) != headerOf(expected, expectedStorage))
            return testing::AssertionFailure() << "contour " << number << " has another header";
        if (pointsOf(list) != pointsOf(expected))
            return testing::AssertionFailure() << "contour " << number << " has other points";
    }
    if (list || expected)
        return testing::AssertionFailure() << "there are " << (list ? "more" : "fewer") << " than " << number;
    if (usedBytes(storage) != usedBytes(expectedStorage))
        return testing::AssertionFailure()
               << usedBytes(storage) << " bytes of the storage are used, not " << usedBytes(expectedStorage);
    if (blocksOf(storage) > blocksOf(expectedStorage))
        return testing::AssertionFailure() << "the storage has more blocks";
    return testing::AssertionSuccess();
}

// ---- masks

/// Draws a spiral of lines one pixel wide, with as much space between them.
inline void drawSpiral(cv::Mat& mask)
{
    cv::Point place(1, 1), step(1, 0);
    const cv::Rect inside(1, 1, mask.cols - 2, mask.rows - 2);
    const auto isSet = [&](const cv::Point& point) {
        return inside.contains(point) && mask.at<unsigned char>(point) != 0;
    };
    const auto isFree = [&](const cv::Point& next) {
        return inside.contains(next) && !isSet(next) && !isSet(next + step);
    };
    for (int turns = 0; turns < 2;) {
        mask.at<unsigned char>(place.y, place.x) = 255;
        if (isFree(place + step)) {
            place += step;
            turns = 0;
        } else {
            step = {-step.y, step.x};
            ++turns;
        }
    }
}

/// A mask of random size and kind: single pixels, coarse shapes, lines, rings in each other, chequers or a spiral, with
/// few or many of all. Foreground has all values, or one alone.
inline cv::Mat randomMask(cv::Size size, std::mt19937& random)
{
    cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const auto place = [&] {
        return cv::Point(below(size.width), below(size.height));
    };
    const int percent = 1 + below(99);
    switch (below(6)) {
    case 0:
    case 1: {
        const int grain = random() % 2 == 0 ? 1 : 1 + below(6);
        for (int y = 0; y < size.height; y += grain)
            for (int x = 0; x < size.width; x += grain)
                if (below(100) < percent)
                    mask(cv::Rect(x, y, grain, grain) & cv::Rect({0, 0}, size)) = 255;
        break;
    }
    case 2:
        for (int k = 0; k < 1 + percent / 5; ++k)
            cv::line(mask, place(), place(), random() % 4 == 0 ? 0 : 255, 1 + below(3));
        break;
    case 3:
        for (int k = 0; k < 1 + percent / 10; ++k) {
            const cv::Point centre = place();
            for (int radius = below(30); radius >= 0; radius -= 2 + below(3))
                if (random() % 2 == 0)
                    cv::circle(mask, centre, radius, 255);
                else
                    cv::rectangle(mask, centre - cv::Point(radius, radius), centre + cv::Point(radius, radius), 255);
        }
        break;
    case 4: {
        const int side = 1 + below(3), gap = 1 + below(3);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                if ((x % (side + gap) < side) != (y % (side + gap) < side))
                    mask.at<unsigned char>(y, x) = 255;
        break;
    }
    default:
        if (size.width >= 3 && size.height >= 3)
            drawSpiral(mask);
        for (int k = 0; k < percent / 20; ++k)
            mask.at<unsigned char>(place()) ^= 255;
    }
    const unsigned char values[] = {1, 2, 127, 128, 254, 255};
    const int one = below(7);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            if (mask.at<unsigned char>(y, x) != 0)
                mask.at<unsigned char>(y, x) = one < 6 ? values[one] : static_cast<unsigned char>(1 + below(255));
    return mask;
}

} // namespace velmor::tests
