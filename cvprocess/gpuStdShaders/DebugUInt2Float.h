#pragma once

#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <string>

namespace velmor::cvprocess {

/// Makes a texture of unsigned integers visible: `out = in / 65535`, channel by channel.
///
/// 65535 becomes 1. Larger integers give values above 1, which only a float destination keeps.
///
/// The filter has two modes, and the last preparation chooses between them. After prepareExecution(src, dst), execute()
/// draws into the destination. After prepareExecution(src), outputToScreen() draws onto the current GLUT window, which
/// the application has made; execute() is then an assertion.
///
/// Input: one rectangle texture of unsigned integers (RectTexture::R16UI, RGBA16UI, ...). Output: r, g, b, a.
/// There are no parameters. Each pixel is computed from its own place alone, so there is no border rule.
///
/// By design:
/// - outputToScreen() draws at the size of the destination of the last prepareExecution(src, dst), although the window
///   takes the size of the source. Without such a preparation it draws nothing.
/// - prepareExecution(src, dst) attaches both textures each time. With assertions compiled in, textures that are
///   attached already cause the warning of GlFbo::attachTexture().
///
/// Example:
///
///     DebugUInt2Float view;
///     view.prepareExecution(counts, picture); // counts: RectTexture::R16UI, picture: RectTexture::RGBA32F
///     view.execute();
class VELMOR_CVPROCESS_EXPORT DebugUInt2Float : public GpuStdShaders
{
public:
    /// Compiles the program; a context must be current.
    DebugUInt2Float();

    ~DebugUInt2Float() override;

    using GpuStdShaders::prepareExecution;

    /// Prepares drawing into a texture.
    void prepareExecution(TextureGpu& src, TextureGpu& dst) override;

    /// Prepares drawing onto the current GLUT window: gives it the size of the source and shows it.
    void prepareExecution(TextureGpu& src);

    /// Draws into the destination; only after prepareExecution(src, dst).
    void execute() override;

    /// Draws onto the current GLUT window and swaps its buffers; only after prepareExecution(src).
    void outputToScreen();

private:
    std::string mShaderSrc;
    bool outputToScreenEnabled; ///< whether the last preparation was for the window
};

} // namespace velmor::cvprocess
