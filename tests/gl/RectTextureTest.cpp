#include "glsupport/RectTexture.h"

#include "core/cvdata/Image.h"
#include "cvprocess/gpuStdShaders/Or.h"
#include "tests/gl/GlTest.h"

#include <cstring>
#include <numeric>
#include <stdexcept>
#include <vector>

using velmor::core::cvdata::Image;
using velmor::glsupport::RectTexture;

namespace velmor::tests {
namespace {

using RectTextureTest = GlTest;

struct FormatCase
{
    RectTexture::Format format;
    const char* name;
    unsigned texelBytes;
    unsigned channels;
    GLenum dataType;
    GLenum chanSeq;
};

const FormatCase kFormats[] = {
    {RectTexture::GREY8, "GREY8", 1, 1, GL_UNSIGNED_BYTE, GL_RED},
    {RectTexture::RGB8, "RGB8", 3, 3, GL_UNSIGNED_BYTE, GL_RGB},
    {RectTexture::RGBA8, "RGBA8", 4, 4, GL_UNSIGNED_BYTE, GL_RGBA},
    {RectTexture::R32F, "R32F", 4, 1, GL_FLOAT, GL_RED},
    {RectTexture::RGBA32F, "RGBA32F", 16, 4, GL_FLOAT, GL_RGBA},
    {RectTexture::R16UI, "R16UI", 2, 1, GL_UNSIGNED_SHORT, GL_RED_INTEGER},
    {RectTexture::R32UI, "R32UI", 4, 1, GL_UNSIGNED_INT, GL_RED_INTEGER},
    {RectTexture::RGBA16UI, "RGBA16UI", 8, 4, GL_UNSIGNED_SHORT, GL_RGBA_INTEGER},
    {RectTexture::RGBA32UI, "RGBA32UI", 16, 4, GL_UNSIGNED_INT, GL_RGBA_INTEGER},
};

bool isInteger(const FormatCase& each)
{
    return each.chanSeq == GL_RED_INTEGER || each.chanSeq == GL_RGBA_INTEGER;
}

/// An image whose every byte differs from its neighbours.
void number(Image& image)
{
    for (unsigned y = 0; y < image.height(); ++y)
        for (unsigned i = 0; i < image.width() * image.nofChannels(); ++i)
            image.imageBuffer()[y * image.allocatedWidth() + i] = static_cast<unsigned char>(37 * y + 11 * i + 5);
}

bool samePixels(const Image& a, const Image& b)
{
    return cv::norm(a.mat(), b.mat(), cv::NORM_INF) == 0.0;
}

template<typename Element>
Element element(const std::array<unsigned char, 16>& bytes, unsigned index)
{
    Element value;
    std::memcpy(&value, bytes.data() + index * sizeof(Element), sizeof(Element));
    return value;
}

template<typename Code>
std::string errorOf(const Code& code)
{
    try {
        code();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no error";
}

TEST_F(RectTextureTest, ARectTextureDescribesItself)
{
    for (const FormatCase& each : kFormats) {
        SCOPED_TRACE(each.name);
        const RectTexture texture(7, 5, each.format);
        EXPECT_NE(texture.getTexId(), 0u);
        EXPECT_EQ(texture.width(), 7u);
        EXPECT_EQ(texture.height(), 5u);
        EXPECT_EQ(texture.format(), each.format);
        EXPECT_EQ(texture.getTexTargetType(), static_cast<GLenum>(GL_TEXTURE_RECTANGLE_ARB));
        EXPECT_EQ(texture.getTexDataType(), each.dataType);
        EXPECT_EQ(texture.getTexChanSeq(), each.chanSeq);
    }
}

TEST_F(RectTextureTest, ARectTextureHasNearestFilterAndClampsToItsEdge)
{
    const RectTexture texture(7, 5, RectTexture::RGBA8);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, texture.getTexId());
    const auto parameter = [](GLenum name) {
        GLint value = 0;
        glGetTexParameteriv(GL_TEXTURE_RECTANGLE_ARB, name, &value);
        return value;
    };
    EXPECT_EQ(parameter(GL_TEXTURE_MIN_FILTER), GL_NEAREST);
    EXPECT_EQ(parameter(GL_TEXTURE_MAG_FILTER), GL_NEAREST);
    EXPECT_EQ(parameter(GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
    EXPECT_EQ(parameter(GL_TEXTURE_WRAP_T), GL_CLAMP_TO_EDGE);
}

TEST_F(RectTextureTest, ARectTextureIsDeletedWithItsObject)
{
    GLuint id = 0;
    {
        const RectTexture texture(7, 5, RectTexture::RGBA8);
        id = texture.getTexId();
        EXPECT_TRUE(glIsTexture(id));
    }
    EXPECT_FALSE(glIsTexture(id));
}

TEST_F(RectTextureTest, TexelsStartAtZeroAndComeBackAsTheyWere)
{
    for (const FormatCase& each : kFormats) {
        for (const auto& [width, height] : {std::pair(1u, 1u), std::pair(7u, 5u), std::pair(31u, 2u)}) {
            SCOPED_TRACE(std::string(each.name) + " " + std::to_string(width) + " x " + std::to_string(height));
            RectTexture texture(width, height, each.format);
            std::vector<unsigned char> texels(static_cast<std::size_t>(width) * height * each.texelBytes, 99);
            texture.download(texels.data());
            EXPECT_EQ(texels, std::vector<unsigned char>(texels.size(), 0));

            std::iota(texels.begin(), texels.end(), static_cast<unsigned char>(3));
            if (each.dataType == GL_FLOAT) {
                for (std::size_t i = 0; i < texels.size() / 4; ++i) {
                    const float value = static_cast<float>(i) * 1.5f - 4.0f; // outside 0..1 too
                    std::memcpy(&texels[4 * i], &value, 4);
                }
            }
            texture.upload(texels.data());
            std::vector<unsigned char> back(texels.size());
            texture.download(back.data());
            EXPECT_EQ(back, texels);
            expectNoGlError(each.name);
        }
    }
}

TEST_F(RectTextureTest, ImagesComeBackAsTheyWereWhateverTheirRowStride)
{
    const std::pair<RectTexture::Format, Image::ChannelLayout> table[] = {
        {RectTexture::GREY8, Image::GREYSCALE}, {RectTexture::R32F, Image::GREYSCALE}, {RectTexture::RGB8, Image::BGR},
        {RectTexture::RGB8, Image::RGB},        {RectTexture::RGBA8, Image::BGR},      {RectTexture::RGBA8, Image::RGB},
        {RectTexture::RGBA32F, Image::BGR},     {RectTexture::RGBA32F, Image::RGB},
    };
    for (const auto& [format, layout] : table) {
        for (const unsigned padding : {0u, 1u, 2u, 3u, 5u, 8u, 64u}) {
            for (const unsigned width : {1u, 6u, 13u}) {
                SCOPED_TRACE("format " + std::to_string(format) + ", layout " + std::to_string(layout) + ", width " +
                             std::to_string(width) + ", padding " + std::to_string(padding));
                const unsigned height = 4;
                const unsigned stride = width * (layout == Image::GREYSCALE ? 1 : 3) + padding;
                std::vector<unsigned char> memory(stride * height, 0), backMemory(stride * height, 0xEE);
                Image image(width, height, layout, memory.data(), stride);
                Image back(width, height, layout, backMemory.data(), stride);
                number(image);
                RectTexture texture(width, height, format);
                texture.upload(image);
                texture.download(back);
                EXPECT_TRUE(samePixels(image, back));
                for (unsigned y = 0; y + 1 < height; ++y) // the padding of the last row is nobody's
                    for (unsigned i = stride - padding; i < stride; ++i)
                        EXPECT_EQ(backMemory[y * stride + i], 0xEE);
                expectNoGlError("transfer");
            }
        }
    }
}

TEST_F(RectTextureTest, TheRedOfATextureIsTheRedOfTheImageInEveryLayout)
{
    Image bgr(1, 1, Image::BGR), rgb(1, 1, Image::RGB), grey(1, 1, Image::GREYSCALE);
    const unsigned char blueFirst[] = {30, 20, 10}, redFirst[] = {10, 20, 30};
    std::memcpy(bgr.imageBuffer(), blueFirst, 3);
    std::memcpy(rgb.imageBuffer(), redFirst, 3);
    grey.imageBuffer()[0] = 40;
    const auto texelOf = [](RectTexture::Format format, const Image& image) {
        RectTexture texture(1, 1, format);
        texture.upload(image);
        std::array<unsigned char, 16> bytes{};
        texture.download(bytes.data());
        std::vector<double> values;
        for (const FormatCase& each : kFormats) {
            if (each.format != format)
                continue;
            for (unsigned i = 0; i < each.channels; ++i) {
                if (each.dataType == GL_UNSIGNED_BYTE)
                    values.push_back(bytes[i]);
                else if (each.dataType == GL_FLOAT)
                    values.push_back(element<float>(bytes, i) * 255.0);
                else if (each.dataType == GL_UNSIGNED_SHORT)
                    values.push_back(element<unsigned short>(bytes, i));
                else
                    values.push_back(element<unsigned>(bytes, i));
            }
        }
        for (double& value : values)
            value = std::round(value * 1000.0) / 1000.0; // b / 255 * 255 in float
        return values;
    };
    using Values = std::vector<double>;
    for (const Image* const colour : {&bgr, &rgb}) {
        EXPECT_EQ(texelOf(RectTexture::RGB8, *colour), (Values{10, 20, 30}));
        EXPECT_EQ(texelOf(RectTexture::RGBA8, *colour), (Values{10, 20, 30, 255}));
        EXPECT_EQ(texelOf(RectTexture::RGBA32F, *colour), (Values{10, 20, 30, 255}));
        EXPECT_EQ(texelOf(RectTexture::RGBA16UI, *colour), (Values{10, 20, 30, 1}));
        EXPECT_EQ(texelOf(RectTexture::RGBA32UI, *colour), (Values{10, 20, 30, 1}));
    }
    EXPECT_EQ(texelOf(RectTexture::GREY8, grey), Values{40});
    EXPECT_EQ(texelOf(RectTexture::RGB8, grey), (Values{40, 40, 40}));
    EXPECT_EQ(texelOf(RectTexture::RGBA8, grey), (Values{40, 40, 40, 255}));
    EXPECT_EQ(texelOf(RectTexture::R32F, grey), Values{40});
    EXPECT_EQ(texelOf(RectTexture::RGBA32F, grey), (Values{40, 40, 40, 255}));
    EXPECT_EQ(texelOf(RectTexture::R16UI, grey), Values{40});
    EXPECT_EQ(texelOf(RectTexture::R32UI, grey), Values{40});
    EXPECT_EQ(texelOf(RectTexture::RGBA16UI, grey), (Values{40, 0, 0, 1}));
    EXPECT_EQ(texelOf(RectTexture::RGBA32UI, grey), (Values{40, 0, 0, 1}));
}

TEST_F(RectTextureTest, WhatAShaderReadsOfEachFormat)
{
    // The saturated sum with an empty texture copies what the shader reads.
    const auto filter = makeQuietly<cvprocess::Or>(nullptr);
    Image grey(1, 1, Image::GREYSCALE), colour(1, 1, Image::RGB);
    grey.imageBuffer()[0] = 51;
    const unsigned char texel[] = {51, 102, 153};
    std::memcpy(colour.imageBuffer(), texel, 3);
    const auto readOf = [&](RectTexture::Format format, const Image& image) {
        RectTexture source(1, 1, format), empty(1, 1, RectTexture::RGBA32F), result(1, 1, RectTexture::RGBA32F);
        source.upload(image);
        filter->prepareExecution(source, empty, result);
        filter->execute();
        std::vector<float> values(4);
        result.download(values.data());
        return values;
    };
    const auto expectRead = [&](RectTexture::Format format, const Image& image, const std::vector<float>& expected) {
        const std::vector<float> values = readOf(format, image);
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_NEAR(values[i], expected[i], 6e-8f)
                << "format " << format << ", channel " << i; // a unit in the last place
    };
    expectRead(RectTexture::GREY8, grey, {0.2f, 0.2f, 0.2f, 1.0f});
    expectRead(RectTexture::RGB8, colour, {0.2f, 0.4f, 0.6f, 1.0f});
    expectRead(RectTexture::RGBA8, colour, {0.2f, 0.4f, 0.6f, 1.0f});
    expectRead(RectTexture::RGBA32F, colour, {0.2f, 0.4f, 0.6f, 1.0f});
    expectRead(RectTexture::R32F, grey, {0.2f});
}

TEST_F(RectTextureTest, DownloadsClampFloatsToBytes)
{
    const float texels[] = {-0.5f, 0.0f, 0.5f, 1.0f, 7.0f};
    RectTexture texture(5, 1, RectTexture::R32F);
    texture.upload(texels);
    Image image(5, 1, Image::GREYSCALE);
    texture.download(image);
    EXPECT_EQ(image.imageBuffer()[0], 0);
    EXPECT_EQ(image.imageBuffer()[1], 0);
    EXPECT_TRUE(image.imageBuffer()[2] == 127 || image.imageBuffer()[2] == 128);
    EXPECT_EQ(image.imageBuffer()[3], 255);
    EXPECT_EQ(image.imageBuffer()[4], 255);
}

TEST_F(RectTextureTest, TransfersLeaveBindingAndPixelStoreAsTheyWere)
{
    GLuint other = 0, buffers[2];
    glGenTextures(1, &other);
    glBindTexture(GL_TEXTURE_RECTANGLE_ARB, other);
    glGenBuffers(2, buffers);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffers[0]);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffers[1]);
    const std::pair<GLenum, GLint> settings[] = {
        {GL_UNPACK_SWAP_BYTES, 1},  {GL_UNPACK_LSB_FIRST, 1}, {GL_UNPACK_ROW_LENGTH, 77}, {GL_UNPACK_SKIP_ROWS, 3},
        {GL_UNPACK_SKIP_PIXELS, 5}, {GL_UNPACK_ALIGNMENT, 8}, {GL_PACK_SWAP_BYTES, 1},    {GL_PACK_LSB_FIRST, 1},
        {GL_PACK_ROW_LENGTH, 78},   {GL_PACK_SKIP_ROWS, 4},   {GL_PACK_SKIP_PIXELS, 6},   {GL_PACK_ALIGNMENT, 2},
    };
    for (const auto& [name, value] : settings)
        glPixelStorei(name, value);
    const auto integer = [](GLenum name) {
        GLint value = 0;
        glGetIntegerv(name, &value);
        return value;
    };
    while (integer(GL_CLIENT_ATTRIB_STACK_DEPTH) < integer(GL_MAX_CLIENT_ATTRIB_STACK_DEPTH)) // no room for ours
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);

    Image image(13, 4, Image::RGB), back(13, 4, Image::RGB);
    number(image);
    RectTexture texture(13, 4, RectTexture::RGB8), counts(13, 4, RectTexture::R32UI);
    texture.upload(image);
    texture.download(back);
    EXPECT_TRUE(samePixels(image, back));
    std::vector<unsigned> numbers(13 * 4), numbersBack(13 * 4);
    std::iota(numbers.begin(), numbers.end(), 1000000u);
    counts.upload(numbers.data());
    counts.download(numbersBack.data());
    EXPECT_EQ(numbersBack, numbers);

    EXPECT_EQ(integer(GL_CLIENT_ATTRIB_STACK_DEPTH), integer(GL_MAX_CLIENT_ATTRIB_STACK_DEPTH));
    EXPECT_EQ(integer(GL_TEXTURE_BINDING_RECTANGLE_ARB), static_cast<GLint>(other));
    EXPECT_EQ(integer(GL_PIXEL_UNPACK_BUFFER_BINDING), static_cast<GLint>(buffers[0]));
    EXPECT_EQ(integer(GL_PIXEL_PACK_BUFFER_BINDING), static_cast<GLint>(buffers[1]));
    for (const auto& [name, value] : settings)
        EXPECT_EQ(integer(name), value) << name;
    glDeleteBuffers(2, buffers);
    glDeleteTextures(1, &other);
}

TEST_F(RectTextureTest, TransfersOfAnotherSizeAreRefused)
{
    RectTexture texture(7, 5, RectTexture::RGB8);
    Image image(5, 7, Image::RGB);
    EXPECT_EQ(errorOf([&] { texture.upload(image); }),
              "RectTexture::upload(): expected an image of 7 x 5 pixels, the texture's size, got 5 x 7");
    EXPECT_EQ(errorOf([&] { texture.download(image); }),
              "RectTexture::download(): expected an image of 7 x 5 pixels, the texture's size, got 5 x 7");
}

TEST_F(RectTextureTest, TransfersOfAnotherLayoutAreRefused)
{
    const std::string upload = "RectTexture::upload(): expected a greyscale image for a texture of format ";
    const std::string download = "RectTexture::download(): a texture of format ";
    Image grey(3, 2, Image::GREYSCALE), colour(3, 2, Image::BGR);
    for (const FormatCase& each : kFormats) {
        SCOPED_TRACE(each.name);
        RectTexture texture(3, 2, each.format);
        EXPECT_EQ(errorOf([&] { texture.upload(grey); }), "no error");
        EXPECT_EQ(errorOf([&] { texture.upload(colour); }),
                  each.channels == 1 ? upload + each.name + ", got a colour image" : "no error");
        EXPECT_EQ(errorOf([&] { texture.download(grey); }),
                  each.channels == 1 && !isInteger(each) ? "no error"
                                                         : download + each.name + " does not fit a greyscale image");
        EXPECT_EQ(errorOf([&] { texture.download(colour); }),
                  each.channels >= 3 && !isInteger(each) ? "no error"
                                                         : download + each.name + " does not fit a colour image");
    }
}

TEST_F(RectTextureTest, ATextureThatTheDriverCannotMakeIsRefused)
{
    GLint limit = 0;
    glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &limit);
    const auto tooLarge = static_cast<unsigned>(limit) + 1;
    EXPECT_EQ(errorOf([&] { RectTexture(tooLarge, 1, RectTexture::GREY8); }),
              "RectTexture::RectTexture(): cannot make a rectangle texture of " + std::to_string(tooLarge) +
                  " x 1 texels GREY8: this driver takes sides of 1 to " + std::to_string(limit) + " texels");
    EXPECT_EQ(errorOf([&] { RectTexture(0, 0, RectTexture::GREY8); }),
              "RectTexture::RectTexture(): cannot make a rectangle texture of 0 x 0 texels GREY8: this driver takes "
              "sides of 1 to " +
                  std::to_string(limit) + " texels");
}

} // namespace
} // namespace velmor::tests
