#include "glsupport/RectTexture.h"

#include "core/cvdata/Image.h"
#include "glsupport/internal/PixelBuffers.h"

#include <GL/glew.h>

#include <array>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::glsupport {

using core::cvdata::Image;
using core::cvdata::TextureGpu;

namespace {

constexpr GLenum kTarget = GL_TEXTURE_RECTANGLE_ARB;

struct FormatInfo
{
    const char* name;
    GLint internalFormat;
    GLenum chanSeq;
    GLenum dataType;
    unsigned texelBytes;
};

/// Many drivers do not draw into luminance textures, nor into others while one is attached. A red one that is read as
/// (v, v, v, 1) looks the same to shaders.
bool canReadRedAsGrey()
{
    return (GLEW_VERSION_3_0 || GLEW_ARB_texture_rg) &&
           (GLEW_VERSION_3_3 || GLEW_ARB_texture_swizzle || GLEW_EXT_texture_swizzle);
}

const FormatInfo kLuminance = {"GREY8", GL_LUMINANCE8, GL_LUMINANCE, GL_UNSIGNED_BYTE, 1};

const FormatInfo& info(RectTexture::Format format)
{
    static const FormatInfo table[] = {
        {"GREY8", GL_R8, GL_RED, GL_UNSIGNED_BYTE, 1},
        {"RGB8", GL_RGB8, GL_RGB, GL_UNSIGNED_BYTE, 3},
        {"RGBA8", GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 4},
        {"R32F", GL_R32F, GL_RED, GL_FLOAT, 4},
        {"RGBA32F", GL_RGBA32F_ARB, GL_RGBA, GL_FLOAT, 16},
        {"R16UI", GL_R16UI, GL_RED_INTEGER, GL_UNSIGNED_SHORT, 2},
        {"R32UI", GL_R32UI, GL_RED_INTEGER, GL_UNSIGNED_INT, 4},
        {"RGBA16UI", GL_RGBA16UI, GL_RGBA_INTEGER, GL_UNSIGNED_SHORT, 8},
        {"RGBA32UI", GL_RGBA32UI, GL_RGBA_INTEGER, GL_UNSIGNED_INT, 16},
    };
    return format == RectTexture::GREY8 && !canReadRedAsGrey() ? kLuminance : table[format];
}

bool isInteger(const FormatInfo& format)
{
    return format.chanSeq == GL_RED_INTEGER || format.chanSeq == GL_RGBA_INTEGER;
}

bool hasThreeColours(const FormatInfo& format)
{
    return format.chanSeq == GL_RGB || format.chanSeq == GL_RGBA || format.chanSeq == GL_RGBA_INTEGER;
}

std::string sizeText(unsigned width, unsigned height)
{
    return std::to_string(width) + " x " + std::to_string(height);
}

void checkSameSize(const char* function, const Image& image, const TextureGpu& texture)
{
    if (image.width() != texture.width() || image.height() != texture.height())
        throw std::runtime_error(std::string(function) + ": expected an image of " +
                                 sizeText(texture.width(), texture.height()) + " pixels, the texture's size, got " +
                                 sizeText(image.width(), image.height()));
}

/// The pixel format under which GL takes an image's bytes for the colours that they are.
GLenum uploadFormat(Image::ChannelLayout layout, bool integer)
{
    switch (layout) {
    case Image::BGR:
        return integer ? GL_BGR_INTEGER : GL_BGR;
    case Image::RGB:
        return integer ? GL_RGB_INTEGER : GL_RGB;
    default:
        return integer ? GL_RED_INTEGER : GL_LUMINANCE;
    }
}

GLenum downloadFormat(Image::ChannelLayout layout)
{
    switch (layout) {
    case Image::BGR:
        return GL_BGR;
    case Image::RGB:
        return GL_RGB;
    default:
        return GL_RED;
    }
}

/// How GL finds the rows of a picture in client memory.
struct RowLayout
{
    GLint alignment = 1;
    GLint rowLength = 0; ///< in pixels, 0: as wide as the picture
};

/// The row layout of an image, or nothing where GL has no words for its row stride.
std::optional<RowLayout> rowLayout(const Image& image)
{
    const unsigned channels = image.nofChannels();
    const unsigned stride = image.allocatedWidth();
    for (const unsigned alignment : {1u, 2u, 4u, 8u})
        if ((image.width() * channels + alignment - 1) / alignment * alignment == stride)
            return RowLayout{static_cast<GLint>(alignment), 0};
    if (stride % channels == 0)
        return RowLayout{1, static_cast<GLint>(stride / channels)};
    return std::nullopt;
}

/// Binds a texture and default pixel-store state, and puts back what was there.
class TransferScope
{
public:
    explicit TransferScope(GLuint texture)
    {
        glGetIntegerv(GL_TEXTURE_BINDING_RECTANGLE_ARB, &mSavedTexture);
        mBuffers.save();
        for (std::size_t i = 0; i < kLayout.size(); ++i) { // the attribute stack may be full of the application's
            glGetIntegerv(kLayout[i], &mSavedLayout[i]);
            glPixelStorei(kLayout[i], kLayout[i] == GL_UNPACK_ALIGNMENT || kLayout[i] == GL_PACK_ALIGNMENT ? 1 : 0);
        }
        mBuffers.release();
        glBindTexture(kTarget, texture);
    }
    TransferScope(const TransferScope&) = delete;
    TransferScope& operator=(const TransferScope&) = delete;
    ~TransferScope()
    {
        glBindTexture(kTarget, static_cast<GLuint>(mSavedTexture));
        for (std::size_t i = 0; i < kLayout.size(); ++i)
            glPixelStorei(kLayout[i], mSavedLayout[i]);
        mBuffers.restore();
    }

    void setRows(const RowLayout& rows)
    {
        glPixelStorei(GL_UNPACK_ALIGNMENT, rows.alignment);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, rows.rowLength);
        glPixelStorei(GL_PACK_ALIGNMENT, rows.alignment);
        glPixelStorei(GL_PACK_ROW_LENGTH, rows.rowLength);
    }

private:
    static constexpr std::array<GLenum, 12> kLayout = {
        GL_UNPACK_SWAP_BYTES,  GL_UNPACK_LSB_FIRST, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS,
        GL_UNPACK_SKIP_PIXELS, GL_UNPACK_ALIGNMENT, GL_PACK_SWAP_BYTES,   GL_PACK_LSB_FIRST,
        GL_PACK_ROW_LENGTH,    GL_PACK_SKIP_ROWS,   GL_PACK_SKIP_PIXELS,  GL_PACK_ALIGNMENT};

    PixelBuffers mBuffers;
    std::array<GLint, 12> mSavedLayout = {};
    GLint mSavedTexture = 0;
};

GLsizei size(unsigned extent)
{
    return static_cast<GLsizei>(extent);
}

/// Defines level 0 of a target; false when the driver has no such texture.
bool define(GLenum target, unsigned width, unsigned height, const FormatInfo& format, const void* texels)
{
    glTexImage2D(target, 0, format.internalFormat, size(width), size(height), 0, format.chanSeq, format.dataType,
                 texels);
    GLint definedWidth = 0;
    glGetTexLevelParameteriv(target, 0, GL_TEXTURE_WIDTH, &definedWidth);
    return definedWidth == static_cast<GLint>(width);
}

GLuint makeTexture(unsigned width, unsigned height, const FormatInfo& format)
{
    const std::string wanted = "RectTexture::RectTexture(): cannot make a rectangle texture of " +
                               sizeText(width, height) + " texels " + format.name;
    GLint limit = 0;
    glGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &limit);
    if (width == 0 || height == 0 || width > static_cast<unsigned>(limit) || height > static_cast<unsigned>(limit))
        throw std::runtime_error(wanted + ": this driver takes sides of 1 to " + std::to_string(limit) + " texels");
    const std::vector<unsigned char> zeros(static_cast<std::size_t>(width) * height * format.texelBytes);
    const TransferScope scope(0);
    if (!define(GL_PROXY_TEXTURE_RECTANGLE_ARB, width, height, format, nullptr))
        throw std::runtime_error(wanted + ": this driver refuses the format at that size");

    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(kTarget, texture);
    if (!define(kTarget, width, height, format, zeros.data())) {
        glDeleteTextures(1, &texture);
        throw std::runtime_error(wanted + ": the driver has no memory for it");
    }
    glTexParameteri(kTarget, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(kTarget, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(kTarget, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(kTarget, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    if (format.internalFormat == GL_R8) {
        const GLint grey[] = {GL_RED, GL_RED, GL_RED, GL_ONE};
        glTexParameteriv(kTarget, GL_TEXTURE_SWIZZLE_RGBA, grey);
    }
    return texture;
}

} // namespace

RectTexture::RectTexture(unsigned width, unsigned height, Format format)
    : TextureGpu(makeTexture(width, height, info(format)), width, height, info(format).dataType, info(format).chanSeq,
                 info(format).internalFormat, kTarget),
      mFormat(format)
{
}

RectTexture::~RectTexture()
{
    glDeleteTextures(1, &mTexId);
}

void RectTexture::upload(const Image& image)
{
    const FormatInfo& format = info(mFormat);
    checkSameSize("RectTexture::upload()", image, *this);
    if (image.channels() != Image::GREYSCALE && !hasThreeColours(format))
        throw std::runtime_error(std::string("RectTexture::upload(): expected a greyscale image for a texture of "
                                             "format ") +
                                 format.name + ", got a colour image");

    const GLenum pixelFormat = uploadFormat(image.channels(), isInteger(format));
    TransferScope scope(mTexId);
    if (const auto rows = rowLayout(image)) {
        scope.setRows(*rows);
        glTexSubImage2D(kTarget, 0, 0, 0, size(mWidth), size(mHeight), pixelFormat, GL_UNSIGNED_BYTE,
                        image.imageBuffer());
    } else {
        for (unsigned y = 0; y < mHeight; ++y)
            glTexSubImage2D(kTarget, 0, 0, static_cast<GLint>(y), size(mWidth), 1, pixelFormat, GL_UNSIGNED_BYTE,
                            image.imageBuffer() + static_cast<std::size_t>(y) * image.allocatedWidth());
    }
}

void RectTexture::upload(const void* texels)
{
    const TransferScope scope(mTexId);
    glTexSubImage2D(kTarget, 0, 0, 0, size(mWidth), size(mHeight), mTexChanSeq, mTexDataType, texels);
}

void RectTexture::download(Image& image) const
{
    const FormatInfo& format = info(mFormat);
    checkSameSize("RectTexture::download()", image, *this);
    const bool greyscale = image.channels() == Image::GREYSCALE;
    if (isInteger(format) || hasThreeColours(format) == greyscale)
        throw std::runtime_error(std::string("RectTexture::download(): a texture of format ") + format.name +
                                 " does not fit a " + (greyscale ? "greyscale" : "colour") + " image");

    const GLenum pixelFormat = downloadFormat(image.channels());
    TransferScope scope(mTexId);
    if (const auto rows = rowLayout(image)) {
        scope.setRows(*rows);
        glGetTexImage(kTarget, 0, pixelFormat, GL_UNSIGNED_BYTE, image.imageBuffer());
    } else {
        const std::size_t rowBytes = static_cast<std::size_t>(mWidth) * image.nofChannels();
        std::vector<unsigned char> packed(rowBytes * mHeight);
        glGetTexImage(kTarget, 0, pixelFormat, GL_UNSIGNED_BYTE, packed.data());
        for (unsigned y = 0; y < mHeight; ++y)
            std::memcpy(image.imageBuffer() + static_cast<std::size_t>(y) * image.allocatedWidth(),
                        packed.data() + y * rowBytes, rowBytes);
    }
}

void RectTexture::download(void* texels) const
{
    const TransferScope scope(mTexId);
    glGetTexImage(kTarget, 0, mTexChanSeq, mTexDataType, texels);
}

} // namespace velmor::glsupport
