#pragma once

namespace velmor::glsupport::adapter {

/// What can be adapted, as bits of a set. Expectations.cpp tells the story of each.
enum Adaptation : unsigned
{
    kClassicTexts = 1u << 0,     ///< texts without #version
    kFlatOut = 1u << 1,          ///< flat varying out
    kGeometryShaders = 1u << 2,  ///< EXT_geometry_shader4
    kEmptyGeometry = 1u << 3,    ///< an empty geometry stage is left out
    kMatrixUniforms = 1u << 4,   ///< glUniform4f() to a mat2
    kClippingSources = 1u << 5,  ///< attachments that are not drawn into do not clip
    kUnwrittenColours = 1u << 6, ///< an unwritten gl_FragColor is 0
    kCornerPoints = 1u << 7,     ///< a point on the corner of a pixel fills the pixel beyond it
    kCornerTexels = 1u << 8,     ///< in a vertex shader the corner of a texel reads the texel beyond it
};

/// What a context gets.
struct Treatment
{
    unsigned adaptations = 0;     ///< of Adaptation
    bool always = false;          ///< also for what the driver would have taken
    int verticesAnInvocation = 0; ///< most that one invocation of a geometry shader emits

    bool includes(unsigned anyOf) const { return (adaptations & anyOf) != 0; }
};

} // namespace velmor::glsupport::adapter
