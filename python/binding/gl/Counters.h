#pragma once

#include "core/cvdata/ColourHist2d.h"
#include "python/binding/gl/Filter.h"

namespace velmor::python::gl {

/// Counts the pixels of a mask, for Python.
class PixelCount : public Filter
{
public:
    explicit PixelCount(long long tiles);

    void setMaxNofTiles(long long tiles);
    unsigned nofTiles();
    unsigned count();

private:
    void check(const Textures& textures) const override;
    void adjust(const Textures& textures) override;
    void checkTiles(const std::string& function, long long tiles, const Texture& destination) const;

    long long mTiles;
};

/// Counts colours, for Python.
class ColorHistShader : public Filter
{
public:
    ColorHistShader(const std::array<long long, 3>& bins, long long blockSize, bool noGeometryShader);

    core::cvdata::ColourHist2d histogram();

private:
    void check(const Textures& textures) const override;
    void adjust(const Textures& textures) override;
    void setRegions(const std::vector<std::array<long long, 4>>& regions) override;

    std::array<int, 3> mBins;
};

/// Both, for Python.
void defineCounters(py::module_& module, py::class_<Filter, std::shared_ptr<Filter>>& filter);

} // namespace velmor::python::gl
