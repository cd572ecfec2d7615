#pragma once

#include "core/cvdata/TextureGpu.h"
#include "glsupport/Export.h"

namespace velmor::core::cvdata {
class Image;
}

namespace velmor::glsupport {

/// A rectangle texture that owns its OpenGL texture: nearest filter, clamp to edge.
///
/// For every operation the OpenGL context of the texture must be current and GLEW initialised. Texture binding,
/// pixel-store state and pixel buffer bindings stay as they were. Texel row 0 is row 0 of the image.
class VELMOR_GLSUPPORT_EXPORT RectTexture : public core::cvdata::TextureGpu
{
public:
    /// What a texel holds, and what a shader reads of it.
    enum Format : unsigned
    {
        GREY8,    ///< one byte v; a shader reads (v, v, v, 1) on 0..1
        RGB8,     ///< three bytes on 0..1, alpha 1
        RGBA8,    ///< four bytes on 0..1
        R32F,     ///< one float, unclamped
        RGBA32F,  ///< four floats, unclamped
        R16UI,    ///< one unsigned 16-bit integer, for integer samplers
        R32UI,    ///< one unsigned 32-bit integer, for integer samplers
        RGBA16UI, ///< four unsigned 16-bit integers, for integer samplers
        RGBA32UI  ///< four unsigned 32-bit integers, for integer samplers
    };

    /// Makes a texture whose texels are all zero.
    /// @param width, height  in texels, at least 1
    /// @param format         what a texel holds
    /// @throws std::runtime_error  when the driver cannot make such a texture
    RectTexture(unsigned width, unsigned height, Format format);
    RectTexture(const RectTexture&) = delete;
    RectTexture& operator=(const RectTexture&) = delete;

    /// Deletes the OpenGL texture.
    ~RectTexture() override;

    /// What a texel holds.
    Format format() const { return mFormat; }

    /// Copies an image of the same size into the texture, whatever the image's row stride. In every layout the
    /// texture's red is the image's red. A byte b becomes b / 255 in float formats and stays b in integer formats.
    /// Alpha becomes 1. A greyscale image goes into every format: into all three colours, but in integer formats only
    /// into red. A colour image goes into formats of three and four channels.
    /// @throws std::runtime_error  when size or layout do not fit; the texture stays as it was
    void upload(const core::cvdata::Image& image);

    /// Copies tightly packed rows of texels, in the texture's own channel order and data type.
    /// @param texels  width * height texels of 1, 3 or 4 components of getTexDataType()
    void upload(const void* texels);

    /// Copies the texture into an image of the same size, whatever the image's row stride. Floats are clamped to
    /// 0..1 and scaled to bytes. GREY8 and R32F go into greyscale images, RGB8, RGBA8 and RGBA32F into colour images.
    /// @throws std::runtime_error  when size, layout or format do not fit; the image stays as it was
    void download(core::cvdata::Image& image) const;

    /// Copies the texture into tightly packed rows of texels, in the texture's own channel order and data type.
    /// @param[out] texels  room for width * height texels of 1, 3 or 4 components of getTexDataType()
    void download(void* texels) const;

private:
    Format mFormat;
};

} // namespace velmor::glsupport
