// Order of virtual functions and of fields: what a program that was compiled against the records relies on. This file
// is compiled without access control, so that it can take the addresses of protected and private fields.

#include "core/cvdata/Image.h"
#include "core/cvdata/TextureGpu.h"
#include "core/util/AbstractParameter.h"
#include "core/util/ParameterContainer.h"
#include "tests/support/Slots.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <type_traits>

using velmor::core::cvdata::Image;
using velmor::core::cvdata::TextureGpu;
using velmor::core::util::AbstractParameter;
using velmor::core::util::ParameterContainer;

namespace {

void expectAscending(std::initializer_list<const void*> fields)
{
    const void* previous = nullptr;
    int place = 0;
    for (const void* const field : fields) {
        EXPECT_LT(previous, field) << "field " << place;
        previous = field;
        ++place;
    }
}

/// Its own function takes the first slot that its base leaves free.
template<typename Base>
struct Extended : Base
{
    virtual void firstOfItsOwn() {}
};

struct Container : ParameterContainer
{
    void init() override {}
};

} // namespace

TEST(Layout, ImageHasCloneInTheFourthSlotAndNofChannelsInTheFifth)
{
    EXPECT_EQ(slotOf(&Image::clear), 2);
    EXPECT_EQ(slotOf(&Image::clone), 3);
    EXPECT_EQ(slotOf(&Image::nofChannels), 4);
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
    expectAscending({&texture, &texture.mTexId, &texture.mWidth, &texture.mHeight, &texture.mTexDataType,
                     &texture.mTexChanSeq, &texture.mTexInternalFormat, &texture.mTexTargetType});
    EXPECT_EQ(&texture.mTexTargetType - &texture.mTexChanSeq, 2); // with one field between them
}

TEST(Layout, ParameterContainerHasInitInTheThirdSlotAndTheCallBackInTheFourth)
{
    EXPECT_EQ(slotOf(&ParameterContainer::init), 2);
    EXPECT_EQ(slotOf(&ParameterContainer::onlineParameterChangedCallBack), 3);
    EXPECT_EQ(slotOf(&Extended<Container>::firstOfItsOwn), 4);
}

TEST(Layout, ParameterContainerHasItsListsBeforeItsStatus)
{
    const Container container;
    expectAscending(
        {&container, &container.mParameters, &container.mSecondaryParameters, &container.mParameterStatus});
    EXPECT_TRUE((std::is_same_v<decltype(container.mParameterStatus), std::int32_t>));
}

TEST(Layout, AbstractParameterHasItsDestructorsAlone)
{
    EXPECT_EQ(slotOf(&Extended<AbstractParameter>::firstOfItsOwn), 2);
}
