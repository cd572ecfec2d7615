#include "python/binding/gl/Texture.h"

#include "core/cvdata/Image.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Dtypes.h"
#include "python/binding/gl/Methods.h"

#include <opencv2/imgproc.hpp>
#include <pybind11/stl.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace velmor::python::gl {
namespace {

using core::cvdata::Image;
using glsupport::RectTexture;
using Format = Texture::Format;

struct FormatInfo
{
    const char* name;
    Format format;
    int type;
};

constexpr std::array<FormatInfo, 9> kFormats = {{
    {"GREY8", RectTexture::GREY8, CV_8UC1},
    {"RGB8", RectTexture::RGB8, CV_8UC3},
    {"RGBA8", RectTexture::RGBA8, CV_8UC4},
    {"R32F", RectTexture::R32F, CV_32FC1},
    {"RGBA32F", RectTexture::RGBA32F, CV_32FC4},
    {"R16UI", RectTexture::R16UI, CV_16UC1},
    {"R32UI", RectTexture::R32UI, CV_32SC1},
    {"RGBA16UI", RectTexture::RGBA16UI, CV_16UC4},
    {"RGBA32UI", RectTexture::RGBA32UI, CV_32SC4},
}};

const FormatInfo& info(Format format)
{
    return kFormats.at(static_cast<std::size_t>(format));
}

std::string sizeText(long long width, long long height)
{
    return std::to_string(width) + " x " + std::to_string(height) + " texels";
}

/// The format whose texels a picture's pixels are, or, of three floats, nearly are.
Format formatFor(const Source& source, const std::string& function)
{
    const cv::Mat& picture = source.picture();
    for (const FormatInfo& each : kFormats)
        if (each.type == picture.type())
            return each.format;
    if (picture.type() == CV_32FC3)
        return RectTexture::RGBA32F;
    refuse(function, "an array of 1 or 4 channels, or of 3 of uint8 or float32", source.description());
}

/// Whether bytes become texels by the rules for images: shades in all colours, and alpha 1.
bool isImageFor(const cv::Mat& picture, Format format)
{
    return picture.type() == CV_8UC1 || (picture.type() == CV_8UC3 && CV_MAT_CN(info(format).type) >= 3);
}

/// Creates the texture; says a failure in the words of the call.
std::unique_ptr<RectTexture> make(unsigned width, unsigned height, Format format, const std::string& function)
{
    try {
        return std::make_unique<RectTexture>(width, height, format);
    } catch (const std::runtime_error& error) {
        const std::string what = error.what();
        throw std::runtime_error("velmor." + function + what.substr(what.find("(): ")));
    }
}

} // namespace

int pictureType(Format format)
{
    return info(format).type;
}

bool holdsIntegers(Format format)
{
    const int depth = CV_MAT_DEPTH(info(format).type);
    return depth == CV_16U || depth == CV_32S;
}

std::string nameOf(Format format)
{
    return info(format).name;
}

Texture::Texture(long long width, long long height, Format format) : Texture("gl.Texture", width, height, format) {}

Texture::Texture(const std::string& function, long long width, long long height, Format format)
    : mWidth(static_cast<unsigned>(width)), mHeight(static_cast<unsigned>(height)), mFormat(format)
{
    if (static_cast<std::size_t>(format) >= kFormats.size())
        refuse(function, "a member of Format", std::to_string(static_cast<int>(format)));
    constexpr long long most = 1 << 30; // any driver's own limit is lower, and is told by the library
    if (width < 1 || height < 1 || width > most || height > most)
        refuse(function, "a width and a height of at least 1", sizeText(width, height));
    mContext = Context::current(function);
    mTexture = mContext->run(function, [&] { return mContext->own(make(mWidth, mHeight, format, function)); });
}

std::shared_ptr<Texture> Texture::fromArray(py::handle array, std::optional<Format> format)
{
    const std::string function = "gl.Texture.from_array";
    const Source source(array, function);
    const cv::Mat& picture = source.picture();
    const std::shared_ptr<Texture> texture(
        new Texture(function, picture.cols, picture.rows, format ? *format : formatFor(source, function)));
    texture->upload(source, function);
    return texture;
}

void Texture::upload(py::handle array)
{
    const std::string function = "gl.Texture.upload";
    const Source source(array, function);
    upload(source, function);
}

void Texture::upload(const Source& source, const std::string& function)
{
    const cv::Mat& picture = source.picture();
    if (picture.cols != static_cast<int>(mWidth) || picture.rows != static_cast<int>(mHeight))
        refuse(function, "an array of " + sizeText(mWidth, mHeight), "one of " + sizeText(picture.cols, picture.rows));
    const bool isSame = picture.type() == info(mFormat).type;
    const bool lacksAlpha = picture.type() == CV_32FC3 && mFormat == RectTexture::RGBA32F;
    if (!isSame && !lacksAlpha && !isImageFor(picture, mFormat))
        refuse(function, std::string("an array that fits the format ") + info(mFormat).name, source.description());

    mContext->run(function, [&] {
        if (isSame) {
            texture().upload((picture.isContinuous() ? picture : picture.clone()).ptr<void>());
        } else if (lacksAlpha) {
            cv::Mat texels;
            cv::cvtColor(picture, texels, cv::COLOR_RGB2RGBA); // alpha 1
            texture().upload(texels.ptr<void>());
        } else {
            texture().upload(Image(mWidth, mHeight, picture.channels() == 1 ? Image::GREYSCALE : Image::RGB,
                                   const_cast<unsigned char*>(picture.data), static_cast<unsigned>(picture.step)));
        }
    });
}

py::object Texture::toArray(py::handle out)
{
    const std::string function = "gl.Texture.to_array";
    const py::module_ numpy = py::module_::import("numpy");
    if (!out.is_none() && !py::isinstance<py::array>(out))
        refuse(function, "out to be an array of numpy", py::str(py::type::handle_of(out).attr("__name__")));
    const auto given = out.is_none() ? py::array() : py::reinterpret_borrow<py::array>(out);
    if (!out.is_none()) {
        if (!py::object(given.attr("shape")).equal(shape()) || !given.dtype().equal(dtype()))
            refuse(function, "out of shape " + std::string(py::str(shape())) + " and " + std::string(py::str(dtype())),
                   "one of shape " + std::string(py::str(given.attr("shape"))) + " and " +
                       std::string(py::str(given.dtype())));
        if (!given.writeable())
            refuse(function, "out to be writeable", "a read-only array");
    }
    // An array of its own in between: out may have any layout, or be given other memory while others run.
    py::array texels = numpy.attr("empty")(shape(), dtype());
    void* const pixels = texels.mutable_data();
    mContext->run(function, [&] { texture().download(pixels); });
    if (out.is_none())
        return texels;
    numpy.attr("copyto")(given, texels);
    return given;
}

int Texture::channels() const
{
    return CV_MAT_CN(info(mFormat).type);
}

py::tuple Texture::shape() const
{
    return channels() == 1 ? py::make_tuple(mHeight, mWidth) : py::make_tuple(mHeight, mWidth, channels());
}

py::dtype Texture::dtype() const
{
    return dtypeOf(CV_MAT_DEPTH(info(mFormat).type));
}

std::string Texture::text() const
{
    return "<velmor.gl.Texture of " + description() + '>';
}

std::string Texture::description() const
{
    return sizeText(mWidth, mHeight) + " " + info(mFormat).name;
}

void defineTexture(py::module_& module)
{
    py::enum_<Format> formats(module, "Format", docstring("gl.Format"));
    for (const FormatInfo& each : kFormats)
        formats.value(each.name, each.format);

    Class<Texture, std::shared_ptr<Texture>>(module, "Texture", docstring("gl.Texture"))
        .def(py::init([](long long width, long long height, Format format) {
                 return std::make_shared<Texture>(width, height, format);
             }),
             py::arg("width"), py::arg("height"), py::arg("format"))
        .def_static("from_array", &Texture::fromArray, py::arg("array"), py::arg("format") = py::none(),
                    docstring("gl.Texture.from_array"))
        .def("upload", method(py::overload_cast<py::handle>(&Texture::upload)), py::arg("array"),
             docstring("gl.Texture.upload"))
        .def("to_array", method(&Texture::toArray), py::arg("out") = py::none(), docstring("gl.Texture.to_array"))
        .def_property_readonly("width", method(&Texture::width), docstring("gl.Texture.width"))
        .def_property_readonly("height", method(&Texture::height), docstring("gl.Texture.height"))
        .def_property_readonly("format", method(&Texture::format), docstring("gl.Texture.format"))
        .def_property_readonly("shape", method(&Texture::shape), docstring("gl.Texture.shape"))
        .def_property_readonly("dtype", method(&Texture::dtype), docstring("gl.Texture.dtype"))
        .def("__repr__", method(&Texture::text));
}

} // namespace velmor::python::gl
