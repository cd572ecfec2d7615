#pragma once

#include "catalogue/Catalogue.h"
#include "core/cvdata/TextureGpu.h"
#include "gstreamer/Models.h"

#include <memory>
#include <optional>
#include <string>

namespace velmor::cvprocess {
class GlFbo;
class GpuStdShaders;
} // namespace velmor::cvprocess
namespace velmor::glsupport {
class RectTexture;
}

namespace velmor::gstreamer {

class GlLevels;

/// What a texture of bytes shows.
struct GlFrame
{
    unsigned texture = 0; ///< OpenGL's name
    unsigned target = 0;  ///< rectangle or another one of two dimensions
    cv::Size size;        ///< of the texture
    cv::Rect part;        ///< of it that is the frame
};

/// An operator of the catalogue between textures of bytes, each of them another one for each frame.
///
/// What it gives is opaque: alpha is 1, whatever the operator makes of it, because video in OpenGL has no format
/// without alpha, and what shows or mixes it would take the rest of a computation for transparency.
///
/// Each result is its value times a scale plus an offset, within 0..1. The number of a class comes as a grey of so many
/// 255ths, and so does any result that is in red alone.
///
/// To be made, used and destroyed while the context is current, under a glsupport::StateGuard.
class GlOperator
{
public:
    /// What makes an operator another one.
    struct Settings
    {
        const catalogue::Operator* what = nullptr;
        catalogue::Values values;
        Models models; ///< none for an operator that needs none
        cv::Size size; ///< of all frames

        bool operator==(const Settings& other) const;

        /// Why there is no shader for these models; empty where there is one.
        std::string shortfall() const;
    };

    /// Compiles the operator's shader: see GlAdapted::compile().
    /// @throws std::invalid_argument  when the catalogue refuses the settings
    /// @throws std::runtime_error     when the driver has no room
    explicit GlOperator(const Settings& settings);
    GlOperator(const GlOperator&) = delete;
    GlOperator& operator=(const GlOperator&) = delete;
    ~GlOperator();

    const Settings& settings() const { return mSettings; }

    /// What makes colours of values.
    struct Levels
    {
        double scale = 1;
        double offset = 0;
    };

    /// Whether prepareFor() has nothing to do.
    bool isReadyFor(const Levels& levels) const;

    /// Compiles the shader of the levels where one is needed.
    /// @throws std::runtime_error  when the driver has no room
    void prepareFor(const Levels& levels);

    /// Filters a frame.
    /// @param levels  that this isReadyFor()
    /// @param source  of the size of the settings; copied first where it is not the whole of a rectangle texture
    /// @param result  OpenGL's name of a rectangle texture of RGBA8
    void run(const GlFrame& source, const Levels& levels, unsigned result);

private:
    bool needs(const Levels& levels) const;
    void runOpaquely();
    void runWithLevels(const Levels& levels);
    core::cvdata::TextureGpu wholeRectangle(const GlFrame& source);

    Settings mSettings;
    std::unique_ptr<cvprocess::GpuStdShaders> mFilter;
    std::unique_ptr<glsupport::RectTexture> mValues; ///< before scale and offset, once these were needed
    std::unique_ptr<GlLevels> mLevels;               ///< likewise
    std::unique_ptr<glsupport::RectTexture> mCopy;   ///< of frames, where they are copied
    std::unique_ptr<cvprocess::GlFbo> mCopied;       ///< which frames are copied from
    std::unique_ptr<cvprocess::GlFbo> mCleared;      ///< which results are cleared by
    std::optional<core::cvdata::TextureGpu> mSource; ///< of the frame, which filters keep the address of
    std::optional<core::cvdata::TextureGpu> mResult; ///< likewise
};

} // namespace velmor::gstreamer
