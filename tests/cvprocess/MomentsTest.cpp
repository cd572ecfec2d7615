// Compiled without access control, to see fields.

#include "cvprocess/Moments.h"

#include "core/cvdata/Blobs.h"
#include "imageio/ImageIo.h"
#include "math/SquareMatrix.h"
#include "math/Units.h"
#include "tests/support/Contours.h"
#include "tests/support/DeathText.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/Pictures.h"
#include "tests/support/Rounds.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/imgproc/imgproc_c.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>

using velmor::core::cvdata::Blobs;
using velmor::core::cvdata::Image;
using velmor::cvprocess::Moments;

namespace velmor::tests {
namespace {

using Contour = std::vector<cv::Point>;

constexpr double kPi = 3.141592653589793;

/// Area, centroid and central second moments of a polygon, by Green's theorem over its edges.
struct Polygon
{
    double area = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0, yy = 0.0;

    explicit Polygon(const Contour& contour)
    {
        // Relative to the first corner, so that little is lost where the central moments are taken.
        const double originX = contour[0].x, originY = contour[0].y;
        double m00 = 0.0, m10 = 0.0, m01 = 0.0, m20 = 0.0, m11 = 0.0, m02 = 0.0;
        for (std::size_t k = 0; k < contour.size(); ++k) {
            const double x0 = contour[k].x - originX, y0 = contour[k].y - originY;
            const double x1 = contour[(k + 1) % contour.size()].x - originX;
            const double y1 = contour[(k + 1) % contour.size()].y - originY;
            const double cross = x0 * y1 - x1 * y0;
            m00 += cross / 2.0;
            m10 += cross * (x0 + x1) / 6.0;
            m01 += cross * (y0 + y1) / 6.0;
            m20 += cross * (x0 * x0 + x0 * x1 + x1 * x1) / 12.0;
            m02 += cross * (y0 * y0 + y0 * y1 + y1 * y1) / 12.0;
            m11 += cross * (2.0 * x0 * y0 + x0 * y1 + x1 * y0 + 2.0 * x1 * y1) / 24.0;
        }
        const double sign = m00 < 0.0 ? -1.0 : 1.0;
        area = sign * m00;
        x = originX + m10 / m00;
        y = originY + m01 / m00;
        xx = sign * (m20 - m10 * m10 / m00);
        xy = sign * (m11 - m10 * m01 / m00);
        yy = sign * (m02 - m01 * m01 / m00);
    }
};

/// The outer contours as OpenCV's C++ function has them, of an image whose outermost pixels are cleared, turned into
/// the order of the C scan.
std::vector<Contour> contoursOf(const Image& image)
{
    cv::Mat pixels = image.mat().clone();
    pixels.row(0) = 0;
    pixels.row(pixels.rows - 1) = 0;
    pixels.col(0) = 0;
    pixels.col(pixels.cols - 1) = 0;
    std::vector<Contour> contours;
    cv::findContours(pixels, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    std::reverse(contours.begin(), contours.end());
    return contours;
}

/// Compares a blob with its contour. The moments of both are sums of some hundred products of exact numbers: 1e-9 is
/// far above their rounding, and far below any other answer.
void expectBlob(const Blobs::BlobInfo& blob, const Contour& contour)
{
    const Polygon polygon(contour);
    const double area = std::floor(polygon.area);
    EXPECT_EQ(blob.area, static_cast<unsigned>(area));
    EXPECT_EQ(blob.nofPoints, static_cast<int>(contour.size()));
    EXPECT_EQ(cv::Rect(blob.boundingBox), cv::boundingRect(contour));
    EXPECT_NEAR(blob.x, polygon.x, 1e-9);
    EXPECT_NEAR(blob.y, polygon.y, 1e-9);

    const double factor = area / (polygon.area * polygon.area);
    const double c00 = polygon.xx * factor, c01 = -polygon.xy * factor, c11 = polygon.yy * factor;
    const double tolerance = 1e-9 * (1.0 + c00 + c11);
    EXPECT_NEAR(blob.covariance[0][0], c00, tolerance);
    EXPECT_NEAR(blob.covariance[0][1], c01, tolerance);
    EXPECT_NEAR(blob.covariance[1][1], c11, tolerance);
    EXPECT_EQ(blob.covariance[1][0], blob.covariance[0][1]);

    const double radius = std::hypot((c00 - c11) / 2.0, c01);
    EXPECT_NEAR(blob.eigenvalues[0], (c00 + c11) / 2.0 + radius, tolerance);
    EXPECT_NEAR(blob.eigenvalues[1], (c00 + c11) / 2.0 - radius, tolerance);
    EXPECT_EQ(blob.majorAxis, 2.0 * std::sqrt(blob.eigenvalues[0]));
    EXPECT_EQ(blob.minorAxis, 2.0 * std::sqrt(blob.eigenvalues[1]));
    if (radius > 1e-6 * (c00 + c11)) { // else every direction is one of the longer axis
        const double difference = blob.angle + 0.5 * std::atan2(2.0 * c01, c00 - c11) * 180.0 / kPi;
        EXPECT_NEAR(std::remainder(difference, 180.0), 0.0, 1e-6);
    }
    EXPECT_GE(blob.angle, -90.0);
    EXPECT_LT(blob.angle, 90.0);
}

Image rectangleImage(unsigned width, unsigned height, unsigned x0, unsigned y0, unsigned x1, unsigned y1)
{
    Image image(width, height, Image::GREYSCALE);
    fillRectangle(image, x0, y0, x1, y1, 255);
    return image;
}

/// Coarse random shapes rather than single pixels.
Image randomShapes(unsigned width, unsigned height, std::mt19937& random)
{
    Image image(width, height, Image::GREYSCALE);
    const auto grain = static_cast<unsigned>(1 + random() % 6);
    const auto share = static_cast<unsigned>(1 + random() % 9);
    for (unsigned y = 0; y < height; y += grain)
        for (unsigned x = 0; x < width; x += grain)
            if (random() % 10 < share)
                fillRectangle(image, x, y, std::min(x + grain, width), std::min(y + grain, height),
                              static_cast<unsigned char>(1 + random() % 255));
    return image;
}

// ---- against the polygons

TEST(Moments, MatchesPolygonIntegralsOnRandomImages)
{
    std::mt19937 random(1);
    Moments moments;
    Blobs blobs;
    unsigned long total = 0;
    for (int k = 0, rounds = randomRounds(); k < rounds; ++k) {
        const Image image = randomShapes(randomSide(random), randomSide(random), random);
        std::vector<Contour> expected;
        for (const Contour& contour : contoursOf(image))
            if (Polygon(contour).area > 3.5)
                expected.push_back(contour);
        ASSERT_EQ(moments.findBlobs(image, blobs, -1, 3.5), static_cast<int>(expected.size())) << "image " << k;
        ASSERT_EQ(blobs.blobs.size(), expected.size());
        for (std::size_t n = 0; n < expected.size(); ++n)
            expectBlob(blobs.blobs[n], expected[n]);
        ASSERT_FALSE(HasFailure()) << "image " << k << ", " << image.width() << " x " << image.height();
        total += expected.size();
    }
    EXPECT_GT(total, static_cast<unsigned long>(randomRounds()));
}

TEST(Moments, MatchesPolygonIntegralsOnAPhotograph)
{
    Image photograph = imageio::load(VELMOR_TEST_PHOTOGRAPH, Image::GREYSCALE);
    photograph.mat().setTo(0, photograph.mat() < 128);
    std::vector<Contour> expected;
    for (const Contour& contour : contoursOf(photograph))
        if (Polygon(contour).area > 20.0)
            expected.push_back(contour);
    Moments moments;
    Blobs blobs;
    ASSERT_EQ(moments.findBlobs(photograph, blobs, -1, 20.0), static_cast<int>(expected.size()));
    EXPECT_GT(expected.size(), 20u);
    for (std::size_t n = 0; n < expected.size(); ++n)
        expectBlob(blobs.blobs[n], expected[n]);
}

// ---- against OpenCV's C functions, bit for bit

/// What the scan of OpenCV's C interface finds, put into words as the class page does.
CvSeq* scan(const cv::Mat& pixels, CvMemStorage* storage, int maxBlobs, double minArea, Blobs& blobs)
{
    cv::Mat work = pixels.clone();
    IplImage header = cvIplImage(work);
    CvContourScanner scanner = cvStartFindContours(&header, storage, sizeof(CvContour), CV_RETR_EXTERNAL,
                                                   CV_CHAIN_APPROX_SIMPLE, cvPoint(0, 0));
    while (CvSeq* const contour = cvFindNextContour(scanner)) {
        CvMoments moments;
        cvMoments(contour, &moments, 1);
        const bool isFull = maxBlobs >= 0 && static_cast<int>(blobs.blobs.size()) >= maxBlobs;
        if (isFull || !(moments.m00 > minArea)) {
            cvSubstituteContour(scanner, nullptr);
            continue;
        }
        blobs.addBlob();
        Blobs::BlobInfo& blob = blobs.blobs.back();
        blob.x = moments.m10 / moments.m00;
        blob.y = moments.m01 / moments.m00;
        blob.area = static_cast<unsigned>(moments.m00);
        blob.nofPoints = contour->total;
        blob.boundingBox = cvBoundingRect(contour, 1);
        blob.covariance[0][0] = cvGetNormalizedCentralMoment(&moments, 2, 0) * blob.area;
        blob.covariance[1][1] = cvGetNormalizedCentralMoment(&moments, 0, 2) * blob.area;
        blob.covariance[0][1] = -cvGetNormalizedCentralMoment(&moments, 1, 1) * blob.area;
        blob.covariance[1][0] = blob.covariance[0][1];
        blob.covariance.eigenSymmetric(blob.eigenvectors, blob.eigenvalues);
        blob.majorAxis = 2 * std::sqrt(blob.eigenvalues[0]);
        blob.minorAxis = 2 * std::sqrt(blob.eigenvalues[1]);
        blob.angle = math::Units::toDeg(-std::atan2(blob.eigenvectors[0][1], blob.eigenvectors[0][0]));
    }
    return cvEndFindContours(&scanner);
}

/// The bits of all numbers of a blob that are not whole.
std::vector<std::uint64_t> bitsOf(const Blobs::BlobInfo& blob)
{
    std::vector<double> numbers = {
        blob.x, blob.y, blob.majorAxis, blob.minorAxis, blob.angle, blob.eigenvalues[0], blob.eigenvalues[1]};
    for (const math::SquareMatrix* matrix : {&blob.covariance, &blob.eigenvectors})
        numbers.insert(numbers.end(), (*matrix)[0], (*matrix)[2]);
    std::vector<std::uint64_t> bits(numbers.size());
    std::memcpy(bits.data(), numbers.data(), numbers.size() * sizeof(double));
    return bits;
}

bool sameBits(const Blobs::BlobInfo& a, const Blobs::BlobInfo& b)
{
    return bitsOf(a) == bitsOf(b) && a.area == b.area && a.nofPoints == b.nofPoints &&
           cv::Rect(a.boundingBox) == cv::Rect(b.boundingBox);
}

/// Compares with the scan: blobs, contours, and where these lie in the storage.
void expectLikeOpenCv(Moments& moments, const cv::Mat& mask, CvMemStorage* storage, int maxBlobs, double minArea)
{
    const Image image(static_cast<unsigned>(mask.cols), static_cast<unsigned>(mask.rows), Image::GREYSCALE, mask.data,
                      static_cast<unsigned>(mask.step));
    Blobs blobs, expected;
    const CvSeq* contours = nullptr;
    if (mask.cols >= 3 && mask.rows >= 3) // OpenCV would read below smaller ones
        contours = scan(mask, storage, maxBlobs, minArea, expected);
    EXPECT_EQ(moments.findBlobs(image, blobs, maxBlobs, minArea), static_cast<int>(expected.blobs.size()));
    ASSERT_EQ(blobs.blobs.size(), expected.blobs.size());
    for (std::size_t k = 0; k < blobs.blobs.size(); ++k)
        EXPECT_TRUE(sameBits(blobs.blobs[k], expected.blobs[k])) << "blob " << k;
    EXPECT_TRUE(sameContours(moments.mContours, moments.mStorage, contours, storage));
}

void expectOfRandomMasks(int rounds, unsigned seed)
{
    std::mt19937 random(seed);
    const double areas[] = {-1.0, 0.0, 0.5, 3.0, 20.0, 150.0, std::numeric_limits<double>::quiet_NaN()};
    std::optional<Moments> moments;
    std::optional<Storage> storage;
    for (int k = 0; k < rounds; ++k) {
        if (k % 100 == 0) {
            moments.emplace();
            storage.emplace();
        }
        const cv::Size size(1 + static_cast<int>(random() % 100), 1 + static_cast<int>(random() % 70));
        const cv::Mat padded = randomMask(size + cv::Size(static_cast<int>(random() % 9), 0), random);
        const int maxBlobs = random() % 3 == 0 ? static_cast<int>(random() % 10) : -1;
        const double minArea = areas[random() % std::size(areas)];
        expectLikeOpenCv(*moments, padded.colRange(0, size.width), *storage, maxBlobs, minArea);
        ASSERT_FALSE(testing::Test::HasFailure()) << "mask " << k << " of " << size;
    }
}

TEST(Moments, AreThoseOfOpenCvToTheBitOnRandomMasks)
{
    expectOfRandomMasks(randomRounds(), 1);
}

TEST(MomentsSweep, AreThoseOfOpenCvToTheBitOnRandomMasks)
{
    expectOfRandomMasks(100000, 2);
}

// Sums of third powers of its places have more bits than a double holds.
TEST(Moments, AreThoseOfOpenCvToTheBitOnALargeMask)
{
    cv::Mat mask = cv::Mat::zeros(1500, 2500, CV_8UC1);
    cv::ellipse(mask, {1300, 800}, {1100, 600}, 20, 0, 360, 255, cv::FILLED);
    cv::circle(mask, {2300, 1300}, 90, 128, 3);
    Moments moments;
    const Storage storage;
    expectLikeOpenCv(moments, mask, storage, -1, 0.0);
}

// ---- shapes whose moments are known

// The contour runs through pixel centres: 10 x 10 pixels make a square with a side of 9, whose variance is 81 / 12.
TEST(Moments, DescribesASquare)
{
    Moments moments;
    Blobs blobs;
    ASSERT_EQ(moments.findBlobs(rectangleImage(30, 20, 7, 5, 17, 15), blobs, -1, 0.0), 1);
    const Blobs::BlobInfo& blob = blobs.blobs[0];
    EXPECT_EQ(blob.area, 81u);
    EXPECT_EQ(blob.x, 11.5);
    EXPECT_EQ(blob.y, 9.5);
    EXPECT_EQ(blob.nofPoints, 4);
    EXPECT_EQ(cv::Rect(blob.boundingBox), cv::Rect(7, 5, 10, 10));
    EXPECT_NEAR(blob.covariance[0][0], 81.0 / 12.0, 1e-12);
    EXPECT_NEAR(blob.covariance[1][1], 81.0 / 12.0, 1e-12);
    EXPECT_NEAR(blob.majorAxis, 2.0 * std::sqrt(6.75), 1e-12);
    EXPECT_NEAR(blob.minorAxis, 2.0 * std::sqrt(6.75), 1e-12);
}

TEST(Moments, DescribesUprightRectangles)
{
    Moments moments;
    Blobs blobs;
    ASSERT_EQ(moments.findBlobs(rectangleImage(40, 40, 4, 6, 25, 17), blobs, -1, 0.0), 1); // sides 20 and 10
    EXPECT_EQ(blobs.blobs[0].covariance[0][1], 0.0);
    EXPECT_NEAR(blobs.blobs[0].covariance[0][0], 400.0 / 12.0, 1e-11);
    EXPECT_NEAR(blobs.blobs[0].covariance[1][1], 100.0 / 12.0, 1e-11);
    EXPECT_NEAR(blobs.blobs[0].majorAxis, 2.0 * std::sqrt(400.0 / 12.0), 1e-11);
    EXPECT_NEAR(blobs.blobs[0].minorAxis, 2.0 * std::sqrt(100.0 / 12.0), 1e-11);
    EXPECT_EQ(blobs.blobs[0].angle, 0.0);

    ASSERT_EQ(moments.findBlobs(rectangleImage(40, 40, 6, 4, 17, 25), blobs, -1, 0.0), 1);
    EXPECT_EQ(blobs.blobs[0].angle, -90.0);
    EXPECT_NEAR(blobs.blobs[0].majorAxis, 2.0 * std::sqrt(400.0 / 12.0), 1e-11);
}

// Rows count downwards: a bar from the upper left to the lower right leans towards growing y.
TEST(Moments, TheAngleIsPositiveTowardsGrowingRows)
{
    Image image(60, 60, Image::GREYSCALE);
    for (unsigned k = 5; k < 50; ++k)
        fillRectangle(image, k, k, k + 4, k + 4, 255);
    Moments moments;
    Blobs blobs;
    ASSERT_EQ(moments.findBlobs(image, blobs, -1, 0.0), 1);
    EXPECT_NEAR(blobs.blobs[0].angle, 45.0, 1e-9);
    EXPECT_LT(blobs.blobs[0].covariance[0][1], 0.0);
}

// A right triangle of pixels, with legs of 6 and 5 between their centres, is half of 30; the factor is 15 then, and 22
// for legs of 9 and 5, whose half is 22.5.
TEST(Moments, TheAreaIsTruncatedAndIsAFactor)
{
    const Contour corners = {{5, 5}, {14, 5}, {5, 10}};
    Image image(30, 30, Image::GREYSCALE);
    cv::Mat pixels = image.mat();
    for (int y = 5; y <= 10; ++y)
        for (int x = 5; x <= 14; ++x)
            if (5 * (x - 5) + 9 * (y - 5) <= 45)
                pixels.at<unsigned char>(y, x) = 255;
    Moments moments;
    Blobs blobs;
    ASSERT_EQ(moments.findBlobs(image, blobs, -1, 0.0), 1);
    const std::vector<Contour> contours = contoursOf(image);
    ASSERT_EQ(contours.size(), 1u);
    const Polygon polygon(contours[0]);
    EXPECT_NE(polygon.area, std::floor(polygon.area)); // half a pixel is dropped
    EXPECT_EQ(blobs.blobs[0].area, static_cast<unsigned>(polygon.area));
    EXPECT_NEAR(blobs.blobs[0].covariance[0][0] * polygon.area * polygon.area, polygon.xx * std::floor(polygon.area),
                1e-6);
}

TEST(Moments, HolesHaveNoBlobsAndNoPart)
{
    Image image = rectangleImage(40, 40, 5, 5, 30, 30);
    Moments moments;
    Blobs solid, hollow;
    ASSERT_EQ(moments.findBlobs(image, solid, -1, 0.0), 1);
    fillRectangle(image, 10, 10, 25, 25, 0);
    fillRectangle(image, 15, 15, 20, 20, 255); // an island in the hole
    ASSERT_EQ(moments.findBlobs(image, hollow, -1, 0.0), 1);
    EXPECT_EQ(hollow.blobs[0].area, solid.blobs[0].area);
    EXPECT_EQ(hollow.blobs[0].majorAxis, solid.blobs[0].majorAxis);
}

TEST(Moments, TheOutermostPixelsAreBackground)
{
    Moments moments;
    Blobs blobs;
    ASSERT_EQ(moments.findBlobs(rectangleImage(10, 8, 0, 0, 10, 8), blobs, -1, 0.0), 1);
    EXPECT_EQ(cv::Rect(blobs.blobs[0].boundingBox), cv::Rect(1, 1, 8, 6));
    EXPECT_EQ(blobs.blobs[0].area, 7u * 5u);
    for (const auto& [width, height] : {std::pair{1u, 1u}, std::pair{1u, 9u}, std::pair{9u, 2u}, std::pair{2u, 2u}})
        EXPECT_EQ(moments.findBlobs(rectangleImage(width, height, 0, 0, width, height), blobs, -1, -1.0), 0);
}

// ---- which blobs

/// Squares of several sizes, from the top downwards and, in the lowest row, from left to right.
class MomentsOfSquares : public testing::Test
{
protected:
    MomentsOfSquares()
    {
        fillRectangle(image, 40, 2, 46, 8, 255);   // area 25
        fillRectangle(image, 10, 12, 21, 23, 255); // area 100
        fillRectangle(image, 3, 30, 7, 34, 255);   // area 9
        fillRectangle(image, 12, 30, 23, 41, 255); // area 100
        fillRectangle(image, 30, 30, 46, 46, 255); // area 225
    }

    std::vector<unsigned> areas(int maxBlobs, double minArea)
    {
        const int count = moments.findBlobs(image, blobs, maxBlobs, minArea);
        std::vector<unsigned> result;
        for (const Blobs::BlobInfo& blob : blobs.blobs)
            result.push_back(blob.area);
        EXPECT_EQ(count, static_cast<int>(result.size()));
        return result;
    }

    using Areas = std::vector<unsigned>;

    Image image{50, 50, Image::GREYSCALE};
    Moments moments;
    Blobs blobs;
};

TEST_F(MomentsOfSquares, ComeByRowThenColumn)
{
    EXPECT_EQ(areas(-1, 0.0), (Areas{25, 100, 9, 100, 225}));
}

TEST_F(MomentsOfSquares, StopAtTheLargestNumber)
{
    EXPECT_EQ(areas(0, 0.0), Areas{});
    EXPECT_EQ(areas(1, 0.0), Areas{25});
    EXPECT_EQ(areas(4, 0.0), (Areas{25, 100, 9, 100}));
    EXPECT_EQ(areas(5, 0.0), (Areas{25, 100, 9, 100, 225}));
    EXPECT_EQ(areas(99, 0.0), (Areas{25, 100, 9, 100, 225}));
    EXPECT_EQ(areas(std::numeric_limits<int>::min(), 0.0), (Areas{25, 100, 9, 100, 225}));
    EXPECT_EQ(areas(2, 50.0), (Areas{100, 100})); // those too small do not count
}

TEST_F(MomentsOfSquares, MustExceedTheSmallestArea)
{
    EXPECT_EQ(areas(-1, 100.0), Areas{225});
    EXPECT_EQ(areas(-1, std::nextafter(100.0, 0.0)), (Areas{100, 100, 225}));
    EXPECT_EQ(areas(-1, 225.0), Areas{});
    EXPECT_EQ(areas(-1, std::numeric_limits<double>::quiet_NaN()), Areas{});
}

TEST_F(MomentsOfSquares, ReplaceTheListOfTheCallBefore)
{
    areas(-1, 0.0);
    EXPECT_EQ(areas(2, 0.0), (Areas{25, 100}));
    image.clear();
    EXPECT_EQ(areas(-1, -1.0), Areas{});
}

TEST_F(MomentsOfSquares, ContoursThatAreDroppedAreNotKept)
{
    areas(2, 50.0);
    int kept = 0;
    for (const CvSeq* contour = moments.mContours; contour; contour = contour->h_next)
        ++kept;
    EXPECT_EQ(kept, 2);
}

TEST(Moments, ANegativeSmallestAreaLetsContoursWithoutAnAreaThrough)
{
    Image image(20, 20, Image::GREYSCALE);
    byteAt(image, 4, 5) = 1;                  // a single pixel
    fillRectangle(image, 8, 10, 15, 11, 255); // a line
    Moments moments;
    Blobs blobs;
    EXPECT_EQ(moments.findBlobs(image, blobs, -1, 0.0), 0);
    ASSERT_EQ(moments.findBlobs(image, blobs, -1, -1.0), 2);
    for (const Blobs::BlobInfo& blob : blobs.blobs) {
        EXPECT_TRUE(std::isnan(blob.x));
        EXPECT_TRUE(std::isnan(blob.y));
        EXPECT_EQ(blob.area, 0u);
        EXPECT_EQ(blob.majorAxis, 0.0);
        EXPECT_EQ(blob.minorAxis, 0.0);
    }
    EXPECT_EQ(blobs.blobs[0].nofPoints, 1);
    EXPECT_EQ(cv::Rect(blobs.blobs[0].boundingBox), cv::Rect(4, 5, 1, 1));
    EXPECT_EQ(blobs.blobs[1].nofPoints, 2);
    EXPECT_EQ(cv::Rect(blobs.blobs[1].boundingBox), cv::Rect(8, 10, 7, 1));
}

// ---- images and objects

TEST(Moments, LeavesTheImageAsItWas)
{
    std::mt19937 random(1);
    Moments moments;
    Blobs blobs;
    for (int k = 0; k < 20; ++k) {
        const Image image = randomShapes(randomSide(random), randomSide(random), random);
        const Image before(image);
        moments.findBlobs(image, blobs, -1, 0.0);
        EXPECT_EQ(differences(image, before), 0u);
    }
    PaddedImage padded(20, 10, Image::GREYSCALE, 200);
    EXPECT_EQ(moments.findBlobs(padded.image, blobs, -1, 0.0), 1);
    EXPECT_EQ(blobs.blobs[0].area, 17u * 7u);
    EXPECT_EQ(cv::countNonZero(padded.image.mat() == 200), 200);
    EXPECT_TRUE(padded.paddingIs(200));
}

class ClonedImage : public Image
{
public:
    using Image::Image;
    Image* clone() const override
    {
        ++clones;
        return Image::clone();
    }
    mutable int clones = 0;
};

TEST(Moments, ClonesTheFirstImageAndWorksInTheClone)
{
    ClonedImage image(20, 10, Image::GREYSCALE);
    fillRectangle(image, 3, 3, 8, 8, 255);
    Moments moments;
    EXPECT_EQ(moments.mWorkImage, nullptr);
    Blobs blobs;
    moments.findBlobs(image, blobs, -1, 0.0);
    const Image* const workImage = moments.mWorkImage;
    fillRectangle(image, 10, 3, 13, 6, 255);
    EXPECT_EQ(moments.findBlobs(image, blobs, -1, 0.0), 2);
    for (const auto& [width, height] : {std::pair{21u, 10u}, std::pair{21u, 30u}, std::pair{2u, 90u}}) {
        moments.findBlobs(rectangleImage(width, height, 1, 1, 2, 2), blobs, -1, 0.0);
        EXPECT_EQ(workImage->width(), width);
        EXPECT_EQ(workImage->height(), height);
    }
    EXPECT_EQ(image.clones, 1);
    EXPECT_EQ(moments.mWorkImage, workImage);
}

/// Keeps what it is given, and by when it was decomposed.
class RecordingMatrix : public math::SquareMatrix
{
public:
    RecordingMatrix() : SquareMatrix(2) {}
    void load(const math::Matrix& other) override
    {
        SquareMatrix::load(other);
        loaded.push_back(*this);
    }
    void eigenSymmetric(math::SquareMatrix& vectors, math::Vector& values) const override
    {
        decomposedAfter.push_back(loaded.size());
        SquareMatrix::eigenSymmetric(vectors, values);
    }

    std::vector<math::SquareMatrix> loaded;
    mutable std::vector<std::size_t> decomposedAfter; ///< how many were loaded before each decomposition
};

TEST_F(MomentsOfSquares, TheWorkMatrixTakesEachCovarianceAndDecomposesIt)
{
    auto* const matrix = new RecordingMatrix;
    delete moments.mEigenMatrix;
    moments.mEigenMatrix = matrix;
    areas(-1, 50.0); // of three blobs
    ASSERT_EQ(matrix->loaded.size(), 3u);
    for (std::size_t k = 0; k < 3; ++k)
        for (const auto& [row, column] : {std::pair{0u, 0u}, std::pair{0u, 1u}, std::pair{1u, 0u}, std::pair{1u, 1u}})
            EXPECT_EQ(matrix->loaded[k][row][column], blobs.blobs[k].covariance[row][column]);
    EXPECT_EQ(matrix->decomposedAfter, (std::vector<std::size_t>{1, 2, 3}));
}

// A call adds its contours to the storage; nothing takes them away.
TEST(Moments, TheStorageGrowsUntilTheObjectGoes)
{
    const Image image = rectangleImage(30, 20, 7, 5, 17, 15);
    Moments moments;
    Blobs blobs;
    const auto used = [&] {
        long bytes = 0;
        for (const CvMemBlock* block = moments.mStorage->bottom; block; block = block->next)
            bytes += moments.mStorage->block_size;
        return bytes - moments.mStorage->free_space;
    };
    moments.findBlobs(image, blobs, -1, 0.0);
    long before = used();
    for (int k = 0; k < 1000; ++k) {
        moments.findBlobs(image, blobs, -1, 0.0);
        ASSERT_GT(used(), before);
        before = used();
    }
}

TEST(Moments, FieldsStandInTheOrderStated)
{
    const Moments moments;
    EXPECT_TRUE(standInOrder({&moments, &moments.mStorage, &moments.mEigenMatrix, &moments.mWorkImage}));
    EXPECT_EQ(static_cast<const void*>(&moments), &moments.mContours);
    EXPECT_EQ(moments.mContours, nullptr);
    EXPECT_EQ(moments.mEigenMatrix->rows(), 2u);
    static_assert(!std::is_polymorphic_v<Moments>);
}

// ---- misuse

#ifndef NDEBUG
TEST(MomentsDeathTest, ThreeChannels)
{
    Moments moments;
    Blobs blobs;
    EXPECT_DEATH(moments.findBlobs(Image(5, 5, Image::RGB), blobs, -1, 0.0),
                 assertion("cvprocess/Moments.cpp", "inputImage.nofChannels() == 1"));
}

TEST(MomentsDeathTest, AnImageWithoutPixels)
{
    Moments moments;
    Blobs blobs;
    for (const auto& [width, height] : {std::pair{0u, 0u}, std::pair{0u, 5u}, std::pair{5u, 0u}})
        EXPECT_DEATH(moments.findBlobs(Image(width, height, Image::GREYSCALE), blobs, -1, 0.0),
                     assertion("cvprocess/Moments.cpp", "inputImage.width() > 0 && inputImage.height() > 0 && "
                                                        "\"ERROR: the input image is empty!\""));
}
#endif

} // namespace
} // namespace velmor::tests
