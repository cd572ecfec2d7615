#include "core/cvdata/TextureGpu.h"

#include <GL/glew.h>
#include <gtest/gtest.h>

#include <type_traits>

using velmor::core::cvdata::TextureGpu;

static_assert(std::has_virtual_destructor_v<TextureGpu>);

namespace velmor::tests {
namespace {

void expectDescribes(const TextureGpu& texture)
{
    EXPECT_EQ(texture.getTexId(), 7u);
    EXPECT_EQ(texture.width(), 640u);
    EXPECT_EQ(texture.height(), 480u);
    EXPECT_EQ(texture.getTexDataType(), GLenum{GL_FLOAT});
    EXPECT_EQ(texture.getTexChanSeq(), GLenum{GL_RGBA});
    EXPECT_EQ(texture.getTexInternalFormat(), GL_RGBA32F_ARB);
    EXPECT_EQ(texture.getTexTargetType(), GLenum{GL_TEXTURE_RECTANGLE_ARB});
}

TEST(TextureGpu, TellsWhatItWasMadeWith)
{
    expectDescribes(TextureGpu(7, 640, 480, GL_FLOAT, GL_RGBA, GL_RGBA32F_ARB, GL_TEXTURE_RECTANGLE_ARB));
}

TEST(TextureGpu, CopiesDescribeTheSameTexture)
{
    const TextureGpu original(7, 640, 480, GL_FLOAT, GL_RGBA, GL_RGBA32F_ARB, GL_TEXTURE_RECTANGLE_ARB);
    const TextureGpu copy(original);
    TextureGpu assigned(1, 2, 3, GL_UNSIGNED_BYTE, GL_RGB, GL_RGB8, GL_TEXTURE_2D);
    assigned = original;
    expectDescribes(copy);
    expectDescribes(assigned);
}

} // namespace
} // namespace velmor::tests
