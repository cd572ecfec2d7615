// Order of virtual functions and of fields: what a program that was compiled against the records relies on. This file
// is compiled without access control, so that it can take the addresses of protected and private fields.

#include "core/cvdata/Blobs.h"
#include "core/cvdata/ColorGMM.h"
#include "core/cvdata/GM.h"
#include "core/cvdata/Image.h"
#include "core/cvdata/TextureGpu.h"
#include "core/util/AbstractParameter.h"
#include "core/util/ParameterContainer.h"
#include "math/SquareMatrix.h"
#include "math/Vector.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/VirtualSlot.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

using velmor::core::cvdata::Blobs;
using velmor::core::cvdata::ColorGMM;
using velmor::core::cvdata::GM;
using velmor::core::cvdata::Image;
using velmor::core::cvdata::TextureGpu;
using velmor::core::util::AbstractParameter;
using velmor::core::util::ParameterContainer;
using velmor::math::Matrix;
using velmor::math::SquareMatrix;
using velmor::math::Vector;

namespace velmor::tests {
namespace {

struct Container : ParameterContainer
{
    void init() override {}
};

/// Counts, when it is deleted, what its container still has in the first list.
struct Counting : AbstractParameter
{
    Counting(const ParameterContainer& itsContainer, std::size_t& result) : container(itsContainer), count(result) {}
    ~Counting() override { count = container.mParameters.size(); }

    const ParameterContainer& container;
    std::size_t& count;
};

TEST(Layout, ImageHasCloneInTheFourthSlotAndNofChannelsInTheFifth)
{
    EXPECT_EQ(virtualSlot(&Image::clear), 3u);
    EXPECT_EQ(virtualSlot(&Image::clone), 4u);
    EXPECT_EQ(virtualSlot(&Image::nofChannels), 5u);
    EXPECT_EQ(virtualSlotCount<Image>(), 5u);
}

TEST(Layout, ImageLayoutsKeepTheirValues)
{
    EXPECT_EQ(Image::GREYSCALE, 0);
    EXPECT_EQ(Image::BGR, 1);
    EXPECT_EQ(Image::RGB, 2);
}

TEST(Layout, TextureGpuHasItsFieldsInOrder)
{
    const TextureGpu texture(1, 2, 3, GL_FLOAT, GL_RGBA, GL_RGBA32F_ARB, GL_TEXTURE_RECTANGLE_ARB);
    EXPECT_TRUE(standInOrder({&texture, &texture.mTexId, &texture.mWidth, &texture.mHeight, &texture.mTexDataType,
                              &texture.mTexChanSeq, &texture.mTexInternalFormat, &texture.mTexTargetType}));
    const auto address = [](const GLenum& field) {
        return reinterpret_cast<std::uintptr_t>(&field);
    };
    EXPECT_EQ(address(texture.mTexTargetType) - address(texture.mTexChanSeq), 8u); // with one field between them
}

TEST(Layout, ParameterContainerHasInitInTheThirdSlotAndTheCallBackInTheFourth)
{
    EXPECT_EQ(virtualSlot(&ParameterContainer::init), 3u);
    EXPECT_EQ(virtualSlot(&ParameterContainer::onlineParameterChangedCallBack), 4u);
    EXPECT_EQ(virtualSlotCount<ParameterContainer>(), 4u);
}

TEST(Layout, ParameterContainerHasItsListsBeforeItsStatus)
{
    const Container container;
    EXPECT_TRUE(standInOrder(
        {&container, &container.mParameters, &container.mSecondaryParameters, &container.mParameterStatus}));
    EXPECT_TRUE((std::is_same_v<decltype(container.mParameterStatus), std::int32_t>));
}

TEST(Layout, ParameterContainerIsDoneWithTheFirstListBeforeItDeletesTheSecond)
{
    std::size_t left = 99;
    {
        Container container;
        container.mParameters = {nullptr, new AbstractParameter};
        container.mSecondaryParameters = {new Counting(container, left)};
    }
    EXPECT_EQ(left, 0u);
}

TEST(Layout, AbstractParameterHasItsDestructorsAlone)
{
    EXPECT_EQ(virtualSlotCount<AbstractParameter>(), 2u);
}

// Their order is tested with each record.
TEST(Layout, ColourModelsAndBlobsHaveFieldsOfTheStatedTypes)
{
    static_assert(std::is_same_v<decltype(GM::invCovariance), SquareMatrix>);
    static_assert(std::is_same_v<decltype(GM::determinant), float>);
    static_assert(std::is_same_v<decltype(GM::dimension), std::int32_t>);
    static_assert(std::is_same_v<decltype(GM::mean), Vector>);
    static_assert(std::is_same_v<decltype(GM::weight), float>);

    static_assert(std::is_same_v<decltype(ColorGMM::mixture), std::vector<boost::shared_ptr<GM>>>);
    static_assert(std::is_same_v<decltype(ColorGMM::detectionThreshold), double>);

    using BlobInfo = Blobs::BlobInfo;
    static_assert(std::is_same_v<decltype(BlobInfo::majorAxis), double>);
    static_assert(std::is_same_v<decltype(BlobInfo::minorAxis), double>);
    static_assert(std::is_same_v<decltype(BlobInfo::angle), double>);
    static_assert(std::is_same_v<decltype(BlobInfo::x), double>);
    static_assert(std::is_same_v<decltype(BlobInfo::y), double>);
    static_assert(std::is_same_v<decltype(BlobInfo::area), unsigned int>);
    static_assert(std::is_same_v<decltype(BlobInfo::nofPoints), int>);
    static_assert(std::is_same_v<decltype(BlobInfo::boundingBox), CvRect>);
    static_assert(std::is_same_v<decltype(BlobInfo::covariance), SquareMatrix>);
    static_assert(std::is_same_v<decltype(BlobInfo::eigenvectors), SquareMatrix>);
    static_assert(std::is_same_v<decltype(BlobInfo::eigenvalues), Vector>);
}

TEST(Layout, MathRecordsHaveVirtualElementAccessLoadAndDecomposition)
{
    EXPECT_NE(virtualSlot(&Matrix::at), 0u);
    EXPECT_NE(virtualSlot(&SquareMatrix::load), 0u);
    EXPECT_NE(virtualSlot(&SquareMatrix::eigenSymmetric), 0u);
}

} // namespace
} // namespace velmor::tests
