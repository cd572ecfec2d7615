#pragma once

#include "glsupport/RectTexture.h"
#include "python/binding/Arrays.h"
#include "python/binding/gl/Context.h"

#include <pybind11/numpy.h>

#include <optional>

namespace velmor::python::gl {

/// A rectangle texture, for Python.
class Texture
{
public:
    using Format = glsupport::RectTexture::Format;

    /// A texture of zeros in the context that is current.
    Texture(long long width, long long height, Format format);

    /// A texture of an array's size and texels, of the format that fits the array unless one is given.
    static std::shared_ptr<Texture> fromArray(py::handle array, std::optional<Format> format);

    /// Copies an array of the texture's size, as it is or as far as its texels can become those of the texture.
    void upload(py::handle array);

    /// The texels: (height, width) or (height, width, channels), in a new array or in out.
    py::object toArray(py::handle out);

    unsigned width() const { return mWidth; }
    unsigned height() const { return mHeight; }
    Format format() const { return mFormat; }

    int channels() const;
    py::tuple shape() const;
    py::dtype dtype() const;

    /// Such as "32 x 20 texels RGBA8".
    std::string description() const;

    /// What Python shows of it.
    std::string text() const;

    const std::shared_ptr<Context>& context() const { return mContext; }

    /// What filters take; inside run() of its context.
    glsupport::RectTexture& texture() const { return **mTexture; }

private:
    Texture(const std::string& function, long long width, long long height, Format format);

    void upload(const Source& source, const std::string& function);

    unsigned mWidth;
    unsigned mHeight;
    Format mFormat;
    std::shared_ptr<Context> mContext;
    Owner<glsupport::RectTexture> mTexture;
};

/// What a format's texels are, as cv::Mat says it; CV_32S for unsigned numbers of 32 bits.
int pictureType(Texture::Format format);

/// Whether a format holds integers, which only integer samplers read.
bool holdsIntegers(Texture::Format format);

/// A format's name.
std::string nameOf(Texture::Format format);

/// Texture and its formats, for Python.
void defineTexture(py::module_& module);

} // namespace velmor::python::gl
