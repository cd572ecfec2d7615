#include "core/cvdata/Blobs.h"

#include "tests/support/FieldOrder.h"

#include <gtest/gtest.h>

using velmor::core::cvdata::Blobs;

namespace velmor::tests {
namespace {

TEST(Blobs, AddBlobAppendsZeros)
{
    Blobs blobs;
    EXPECT_TRUE(blobs.blobs.empty());
    blobs.addBlob();
    blobs.blobs.back().area = 7;
    blobs.addBlob();
    ASSERT_EQ(blobs.blobs.size(), 2u);
    EXPECT_EQ(blobs.blobs.front().area, 7u);

    const Blobs::BlobInfo& blob = blobs.blobs.back();
    for (const double number : {blob.majorAxis, blob.minorAxis, blob.angle, blob.x, blob.y, blob.eigenvalues[0],
                                blob.eigenvalues[1], blob.covariance[1][1], blob.eigenvectors[0][0]})
        EXPECT_EQ(number, 0.0);
    EXPECT_EQ(blob.area, 0u);
    EXPECT_EQ(blob.nofPoints, 0);
    for (const int number : {blob.boundingBox.x, blob.boundingBox.y, blob.boundingBox.width, blob.boundingBox.height})
        EXPECT_EQ(number, 0);
    EXPECT_EQ(blob.covariance.rows(), 2u);
    EXPECT_EQ(blob.eigenvectors.rows(), 2u);
    EXPECT_EQ(blob.eigenvalues.size(), 2u);
}

TEST(Blobs, ClearEmptiesTheList)
{
    Blobs blobs;
    blobs.addBlob();
    blobs.clear();
    EXPECT_TRUE(blobs.blobs.empty());
}

TEST(Blobs, SettersStore)
{
    Blobs::BlobInfo blob;
    blob.setMajorAxis(1.5);
    blob.setMinorAxis(-2.5);
    blob.setAngle(30.0);
    blob.setX(4.0);
    blob.setY(5.0);
    EXPECT_EQ(blob.majorAxis, 1.5);
    EXPECT_EQ(blob.minorAxis, -2.5);
    EXPECT_EQ(blob.angle, 30.0);
    EXPECT_EQ(blob.x, 4.0);
    EXPECT_EQ(blob.y, 5.0);
}

TEST(Blobs, FieldsStandInTheOrderStated)
{
    const Blobs::BlobInfo blob;
    EXPECT_TRUE(
        standInOrder({&blob.majorAxis, &blob.minorAxis, &blob.angle, &blob.x, &blob.y, &blob.area, &blob.nofPoints,
                      &blob.boundingBox, &blob.covariance, &blob.eigenvectors, &blob.eigenvalues}));
}

TEST(Blobs, ACopyKeepsItsOwnMatrices)
{
    Blobs::BlobInfo blob;
    blob.covariance[0][0] = 1.0;
    Blobs::BlobInfo copy(blob);
    copy.covariance[0][0] = 2.0;
    EXPECT_EQ(blob.covariance[0][0], 1.0);
}

} // namespace
} // namespace velmor::tests
