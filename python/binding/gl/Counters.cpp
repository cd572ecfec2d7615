#include "python/binding/gl/Counters.h"

#include "cvprocess/gpuStdShaders/ColorHistShader.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "cvprocess/gpuStdShaders/PixelCount.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/gl/FilterParts.h"
#include "python/binding/gl/Methods.h"

#include <pybind11/stl.h>

#include <limits>

namespace velmor::python::gl {
namespace {

using glsupport::RectTexture;

constexpr long long kMostCells = 1000; ///< the shader has room for so many
constexpr long long kMostBins = 255;   ///< a histogram tells the number of its bins in a byte

std::string sizeText(const Texture& texture)
{
    return std::to_string(texture.width()) + " x " + std::to_string(texture.height());
}

void checkSameSize(const std::string& function, const Texture& source, const Texture& destination)
{
    if (source.width() != destination.width() || source.height() != destination.height())
        refuse(function, "a destination of the source's size, " + sizeText(source), "one of " + sizeText(destination));
}

void checkTileNumber(const std::string& function, long long tiles)
{
    if (tiles < 1 || tiles > std::numeric_limits<int>::max())
        refuse(function, "at least 1 tile, and fewer than the destination is wide", std::to_string(tiles));
}

cvprocess::ColorHistShader::Param paramOf(const std::array<long long, 3>& bins, long long blockSize,
                                          bool noGeometryShader)
{
    const std::string function = "gl.ColorHistShader";
    long long cells = 1;
    for (const long long count : bins) {
        if (count < 1 || count > kMostBins)
            refuse(function, "1 to " + std::to_string(kMostBins) + " bins of each channel", std::to_string(count));
        cells *= count;
    }
    if (cells > kMostCells)
        refuse(function, "at most " + std::to_string(kMostCells) + " cells", std::to_string(cells));
    if (blockSize < 1 || blockSize > std::numeric_limits<int>::max())
        refuse(function, "a block size of at least 1", std::to_string(blockSize));
    cvprocess::ColorHistShader::Param param;
    param.mNBins1 = static_cast<int>(bins[0]);
    param.mNBins2 = static_cast<int>(bins[1]);
    param.mNBins3 = static_cast<int>(bins[2]);
    param.mBlockSize = static_cast<int>(blockSize);
    param.mNoGeometryShader = noGeometryShader;
    return param;
}

std::unique_ptr<cvprocess::GpuStdShaders> makeHistogramFilter(cvprocess::ColorHistShader::Param param)
{
    if (!glProgramParameteriEXT)
        fail("gl.ColorHistShader", "a driver with GL_EXT_geometry_shader4", "one without");
    return std::make_unique<cvprocess::ColorHistShader>(&param, nullptr);
}

} // namespace

PixelCount::PixelCount(long long tiles)
    : Filter("PixelCount",
             [tiles] {
                 checkTileNumber("gl.PixelCount", tiles);
                 return std::make_unique<cvprocess::PixelCount>();
             }),
      mTiles(tiles)
{
}

void PixelCount::check(const Textures& textures) const
{
    const std::string name = function("prepare_execution");
    const Texture& destination = *textures[1];
    if (destination.format() != RectTexture::R32UI && destination.format() != RectTexture::RGBA32UI)
        refuse(name, "a destination of the format R32UI", "one of the format " + nameOf(destination.format()));
    checkSameSize(name, *textures[0], destination);
    checkTiles(name, mTiles, destination);
}

void PixelCount::checkTiles(const std::string& name, long long tiles, const Texture& destination) const
{
    if (tiles >= destination.width())
        refuse(name, "fewer tiles than the destination is wide",
               std::to_string(tiles) + " for a width of " + std::to_string(destination.width()));
}

void PixelCount::adjust(const Textures&)
{
    filter<cvprocess::PixelCount>().setMaxNofTiles(static_cast<unsigned>(mTiles));
}

void PixelCount::setMaxNofTiles(long long tiles)
{
    const std::string name = function("set_max_nof_tiles");
    checkTileNumber(name, tiles);
    context()->run(name, [&] {
        if (!textures().empty())
            checkTiles(name, tiles, *textures()[1]);
        mTiles = tiles;
        mIsExecuted = false;
        filter<cvprocess::PixelCount>().setMaxNofTiles(static_cast<unsigned>(tiles));
    });
}

unsigned PixelCount::nofTiles()
{
    return context()->run(function("get_nof_tiles"), [this] {
        return mIsExecuted ? filter<cvprocess::PixelCount>().getNofTiles() : static_cast<unsigned>(mTiles);
    });
}

unsigned PixelCount::count()
{
    const std::string name = function("get_count");
    return context()->run(name, [&] {
        checkWasExecuted(name);
        auto& counter = filter<cvprocess::PixelCount>();
        framebufferOf(counter).bind(); // the filter reads from whichever is bound
        return counter.getCount();
    });
}

ColorHistShader::ColorHistShader(const std::array<long long, 3>& bins, long long blockSize, bool noGeometryShader)
    : Filter("ColorHistShader", [&] { return makeHistogramFilter(paramOf(bins, blockSize, noGeometryShader)); }),
      mBins{static_cast<int>(bins[0]), static_cast<int>(bins[1]), static_cast<int>(bins[2])}
{
}

void ColorHistShader::check(const Textures& textures) const
{
    const std::string name = function("prepare_execution");
    const Texture& destination = *textures[2];
    if (destination.format() != RectTexture::RGBA32F)
        refuse(name, "a destination of the format RGBA32F", "one of the format " + nameOf(destination.format()));
    checkSameSize(name, *textures[0], destination);
    const long long cells = static_cast<long long>(mBins[0]) * mBins[1] * mBins[2];
    const long long texels = static_cast<long long>(destination.width()) * destination.height();
    if (cells > texels)
        refuse(name, "a destination of at least as many texels as there are cells, " + std::to_string(cells),
               "one of " + std::to_string(texels));
}

void ColorHistShader::adjust(const Textures& textures)
{
    auto* const param = filter<cvprocess::ColorHistShader>().params();
    param->mXres = static_cast<int>(textures[0]->width());
    param->mYres = static_cast<int>(textures[0]->height());
}

/// In this filter alone the second corner belongs to the region.
void ColorHistShader::setRegions(const std::vector<std::array<long long, 4>>& regions)
{
    for (const auto& [x, y, width, height] : regions)
        filter<cvprocess::ColorHistShader>().addROI(static_cast<int>(x), static_cast<int>(y),
                                                    static_cast<int>(x + width - 1), static_cast<int>(y + height - 1));
}

core::cvdata::ColourHist2d ColorHistShader::histogram()
{
    const std::string name = function("copy_histo_from_gpu");
    const auto bins = [this](std::size_t i) {
        return static_cast<unsigned char>(mBins[i]);
    };
    core::cvdata::ColourHist2d histogram(bins(0), bins(1), bins(2));
    context()->run(name, [&] {
        checkWasExecuted(name);
        filter<cvprocess::ColorHistShader>().copyHistoFromGPU(histogram);
    });
    return histogram;
}

void defineCounters(py::module_& module, py::class_<Filter, std::shared_ptr<Filter>>& filter)
{
    Class<PixelCount, std::shared_ptr<PixelCount>>(module, "PixelCount", filter, docstring("gl.PixelCount"))
        .def(py::init([](long long tiles) { return std::make_shared<PixelCount>(tiles); }), py::arg("tiles") = 32)
        .def("set_max_nof_tiles", method(&PixelCount::setMaxNofTiles), py::arg("tiles"),
             docstring("gl.PixelCount.set_max_nof_tiles"))
        .def("get_nof_tiles", method(&PixelCount::nofTiles), docstring("gl.PixelCount.get_nof_tiles"))
        .def("get_count", method(&PixelCount::count), docstring("gl.PixelCount.get_count"));
    Class<ColorHistShader, std::shared_ptr<ColorHistShader>>(module, "ColorHistShader", filter,
                                                             docstring("gl.ColorHistShader"))
        .def(py::init([](const std::array<long long, 3>& bins, long long blockSize, bool noGeometryShader) {
                 return std::make_shared<ColorHistShader>(bins, blockSize, noGeometryShader);
             }),
             py::arg("bins") = std::array<long long, 3>{4, 4, 4}, py::arg("block_size") = 10,
             py::arg("no_geometry_shader") = false)
        .def("copy_histo_from_gpu", method(&ColorHistShader::histogram),
             docstring("gl.ColorHistShader.copy_histo_from_gpu"));
}

} // namespace velmor::python::gl
