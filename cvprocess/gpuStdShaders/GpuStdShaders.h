#pragma once

#include "core/cvdata/TextureGpu.h"
#include "core/util/ParameterContainer.h"
#include "cvprocess/Export.h"

#include <GL/glew.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace velmor::cvprocess {

class GlFbo;
class GlShaderMgr;

/// Base of every GPU filter: one pass of a GLSL program from one or two source textures into a destination texture.
///
/// The base owns the framebuffer objects, the shader manager, the display list and the fixed OpenGL state of a pass. A
/// filter adds its shader text, builds its program in its constructor, and overrides a stage where it needs more.
///
/// Textures are rectangle textures, addressed in pixels. They belong to the caller; the filter keeps their addresses,
/// so they must outlive its last execute(). The pass draws into colour attachment 1 (the destination) of the filter's
/// own framebuffer; the sources are attached to 0 and 2.
///
/// After a pass the framebuffer object stays bound, viewport and matrices keep the values of the pass, and depth
/// testing stays off. An application that draws too puts a glsupport::StateGuard around its passes.
///
/// Construction, preparation and destruction change state as well, and the guard helps there too. Construction binds
/// for reading what is bound for drawing. A preparation does the same, or leaves the filter's framebuffer bound.
/// Destruction leaves program 0 and framebuffer 0.
///
/// Behaviour to know:
/// - The display list keeps the sizes of the preparation before its first execute() until regions change. For textures
///   of a new size call resetROIs() first.
/// - Of two sources the size of the first one counts. Without regions the first is stretched over the destination, and
///   the second is read at the same places, in pixels. Beyond the edge of the second its wrap mode decides.
/// - The id of a texture tells whether it is attached already. A destination that was deleted while another framebuffer
///   was bound stays attached. A new texture that gets the same id is mistaken for it, and the pass draws into the dead
///   one. Make new textures before the old ones go, or make a new filter.
/// - By design the display list is not deleted with the filter, and neither is a list that addROI() or resetROIs() has
///   made stale. Each such change, followed by an execute(), leaves one list behind in the context: four vertices per
///   region, some hundred bytes in usual drivers.
/// - Misuse (the wrong form of prepareExecution(), execute() before it) stops on an assertion. An incomplete
///   framebuffer and OpenGL errors are reported on std::cerr, and the pass goes on.
///
/// To run a filter, a context must be current and GLEW initialised.
///
/// Example:
///
///     And filter;
///     filter.prepareExecution(source1, source2, destination); // when the textures change
///     filter.execute();                                       // per frame; done when it returns
class VELMOR_CVPROCESS_EXPORT GpuStdShaders : public core::util::ParameterContainer
{
public:
    /// What filters draw from and into.
    using TextureGpu = core::cvdata::TextureGpu;

    /// Ends the process when the driver lacks rectangle textures or OpenGL 2.0.
    /// @param additionalInput  whether the filter takes a second source texture
    explicit GpuStdShaders(bool additionalInput);

    /// Detaches and deletes the framebuffer objects, then the program and its shaders.
    ~GpuStdShaders() override;

    /// Clears the parameter status.
    void init() override;

    /// Runs the pass; it is complete when the function returns.
    virtual void execute();

    /// Adds a region of interest, the pixels x0 <= x < x1, y0 <= y < y1 of the destination. With regions a pass writes
    /// nothing outside them, and reads the source at the same places. Regions are not checked.
    virtual void addROI(int x0, int y0, int x1, int y1);

    /// Removes all regions: the pass covers the whole destination again, with the source stretched over it.
    virtual void resetROIs();

    /// Prepares a filter of one source. Textures whose ids are attached already stay attached.
    virtual void prepareExecution(TextureGpu& src, TextureGpu& dst);

    /// Prepares a filter of two sources.
    virtual void prepareExecution(TextureGpu& src1, TextureGpu& src2, TextureGpu& dst);

    // The stages of a pass, which filters override.

    /// Builds the display list: a quad per region, or one over the whole destination.
    virtual void prepareDisplayList();

    /// Sets viewport and matrices so that a unit of vertex position is a pixel of the destination.
    virtual void setGlOne2OneTexelMapping();

    /// Does everything in a pass that comes before the drawing.
    virtual void executeInitStage();

    /// Does everything in a pass that comes after the drawing.
    virtual void executeCleanUpStage() const;

    /// Makes a framebuffer object current for this filter.
    /// @param name   "_ENFORCE_NEW_" for a fresh one; any other name finds the one made before for that name and index
    /// @param index  tells framebuffers of one name apart
    /// @return       owned by the filter
    GlFbo* getGlFbo(const std::string& name, int index);

    /// The filter's shader manager, made when there is none yet; owned by the filter.
    GlShaderMgr* getGlShaderMgr();

protected:
    // The steps in which filters build their program. A filter that has to act between them calls them one by one.

    /// Gets a framebuffer object and registers the program.
    /// @param framebufferName  as for getGlFbo()
    /// @param programName      path of the filter's source file, without its ending
    /// @return                 true when the program is new and has to be built
    bool beginProgram(const std::string& framebufferName, const std::string& programName);

    /// Compiles a shader and attaches it to the program.
    void attachShader(GLenum shaderType, const std::string& source);

    /// Links the program.
    void linkProgram();

    /// Takes all these steps, for a program of one fragment shader.
    void buildProgram(const std::string& framebufferName, const std::string& programName,
                      const std::string& fragmentSource);

    // For filters that have a preparation or a geometry of their own.

    /// Records the first source and its size.
    void setSource1(TextureGpu& texture);

    /// Records the destination and its size.
    void setDestination(TextureGpu& texture);

    /// Opens a new display list; deletes the old one if it is valid.
    void beginDisplayList();

    /// Closes the display list, which is valid from now on.
    void endDisplayList();

    /// Draws a corner of a quad, with the place in the source that it shows.
    static void corner(int sourceX, int sourceY, int x, int y);

    std::map<std::string, GlFbo*> mFbos;          ///< owned, by name, counter and index
    std::int32_t mFboCounter = 0;                 ///< number of "_ENFORCE_NEW_" requests so far
    GlFbo* mCurrentFbo = nullptr;                 ///< framebuffer of the next pass, one of mFbos
    GlShaderMgr* mShaderMgr = nullptr;            ///< owned
    std::uint32_t mProgObj = 0;                   ///< owned by mShaderMgr
    bool mDisplayListValid = false;               ///< the display list fits the regions
    std::uint32_t mDisplayList = 0;               ///< OpenGL name of the display list; 0 before the first
    TextureGpu* mSrcTex1 = nullptr;               ///< borrowed; null until prepareExecution()
    TextureGpu* mSrcTex2 = nullptr;               ///< borrowed; null for filters of one source
    TextureGpu* mDstTex1 = nullptr;               ///< borrowed; null until prepareExecution()
    std::int32_t mTexUnit0Loc = -1;               ///< location of the sampler "texUnit0"
    std::int32_t mTexUnit1Loc = -1;               ///< location of the sampler "texUnit1"
    std::int32_t mXresSrcTex1 = 0;                ///< width of the first source
    std::int32_t mYresSrcTex1 = 0;                ///< height of the first source
    std::int32_t mXresSrcTex2 = 0;                ///< width of the second source
    std::int32_t mYresSrcTex2 = 0;                ///< height of the second source
    std::int32_t mXresDstTex1 = 0;                ///< width of the destination
    std::int32_t mYresDstTex1 = 0;                ///< height of the destination
    bool mAdditionalInput;                        ///< whether the filter takes a second source
    std::vector<std::vector<std::int32_t>> mROIs; ///< (x0, y0, x1, y1) each
    bool mUseROIs = false;                        ///< whether there are regions

private:
    void attachIfChanged(const TextureGpu* previous, const TextureGpu& texture, GLenum attachment);
};

} // namespace velmor::cvprocess
