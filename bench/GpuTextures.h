#pragma once

#include "bench/Operators.h"
#include "catalogue/GpuFilters.h"
#include "glsupport/RectTexture.h"

#include <iostream>
#include <memory>
#include <sstream>

namespace velmor::bench {

/// Drops what is printed on a stream while it lives.
class Quiet
{
public:
    explicit Quiet(std::ostream& stream) : mStream(stream), mSaved(stream.rdbuf(mDropped.rdbuf())) {}
    ~Quiet() { mStream.rdbuf(mSaved); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    std::ostringstream mDropped;
    std::ostream& mStream;
    std::streambuf* mSaved;
};

/// What the textures of a pass hold.
struct Formats
{
    using RectTexture = glsupport::RectTexture;

    RectTexture::Format source;
    RectTexture::Format destination;

    /// Four bytes a texel wherever the filter takes and gives pictures.
    static Formats ofPass(const Operator& measured)
    {
        using catalogue::Data;
        Formats result{RectTexture::RGBA8, RectTexture::RGBA8};
        if (measured.takes == Data::INTEGERS)
            result.source = RectTexture::R32UI;
        if (measured.gives == Data::COUNTS)
            result.destination = RectTexture::R32UI;
        if (measured.gives == Data::HISTOGRAM)
            result.destination = RectTexture::RGBA32F;
        return result;
    }

    /// The same, but one byte a texel for pictures of one channel.
    static Formats ofRoundTrip(const Operator& measured)
    {
        Formats result = ofPass(measured);
        if (hasOneChannel(measured.takes))
            result.source = RectTexture::GREY8;
        if (hasOneChannel(measured.gives))
            result.destination = RectTexture::GREY8;
        return result;
    }

    static bool hasOneChannel(catalogue::Data data)
    {
        using catalogue::Data;
        return data == Data::GREY || data == Data::MOSAIC || data == Data::MASK || data == Data::CLASSES;
    }
};

/// The textures of a pass, with random content in the sources.
struct Textures
{
    using RectTexture = glsupport::RectTexture;

    Textures(const Operator& measured, const cv::Size& size, const Formats& formats)
        : sources(measured.sources), source1(make(size, formats.source)), source2(make(size, formats.source)),
          destination(make(size, formats.destination))
    {
        cv::Mat texels(size, formats.source == RectTexture::R32UI ? CV_32SC1 : CV_8UC4);
        cv::RNG random(1);
        for (RectTexture* const source : {source1.get(), source2.get()}) {
            random.fill(texels, cv::RNG::UNIFORM, 0, 256);
            source->upload(texels.data);
        }
    }

    /// Filters warn of integer textures each time.
    void prepare(cvprocess::GpuStdShaders& filter) const
    {
        const Quiet quiet(std::cerr);
        if (sources == 2)
            filter.prepareExecution(*source1, *source2, *destination);
        else
            filter.prepareExecution(*source1, *destination);
    }

    int sources;
    std::unique_ptr<RectTexture> source1;
    std::unique_ptr<RectTexture> source2;
    std::unique_ptr<RectTexture> destination;

private:
    static std::unique_ptr<RectTexture> make(const cv::Size& size, RectTexture::Format format)
    {
        return std::make_unique<RectTexture>(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height),
                                             format);
    }
};

/// Models for a filter on textures. By design ColorGMM takes those of two components there.
inline Models modelsOnTextures(const Operator& measured)
{
    return measured.name == "ColorGMM" ? Models(1, 2) : Models(3, 3);
}

/// Makes a filter, and drops what its construction prints.
inline std::unique_ptr<cvprocess::GpuStdShaders> makeQuietly(const Operator& measured, const cv::Size& size,
                                                             Models& models, const catalogue::Values& values = {})
{
    const Quiet quiet(std::cout);
    return catalogue::makeGpu(measured.name, values, models.given(measured, size));
}

} // namespace velmor::bench
