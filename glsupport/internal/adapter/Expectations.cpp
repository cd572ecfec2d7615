#include "glsupport/internal/adapter/Expectations.h"

#include "glsupport/internal/Integer.h"
#include "glsupport/internal/adapter/Trials.h"

#include <GL/glew.h>

#include <algorithm>

// One story after the other, in the order of the report. Each tells on which drivers it was seen that the expectation
// is not met, what a user sees of that, what the adapter does about it, and which tests show it. The probe follows,
// and the record that joins it all.
//
// "Mesa 22.3" stands for its drivers llvmpipe, softpipe, and zink over lavapipe, where no fewer are named. The same
// tests pass on llvmpipe and softpipe of Mesa 25.0.
//
// DriverAdapterInstall.EveryShortcomingIsMadeGoodAndReported runs every probe, without its adaptation and with it.

namespace velmor::glsupport::adapter {
namespace {

/// What makes a text one of the classic dialect.
const std::string kClassic = "#extension GL_ARB_texture_rectangle : enable\n";

const std::string kPassColour = kClassic + "void main() { gl_FragColor = gl_Color; }\n";
const char* const kPassVertex = "void main() { gl_Position = gl_Vertex; gl_FrontColor = gl_Color; }\n";

/// A point on the lower left corner of each pixel, row by row.
void drawPointOnEachCorner(GLsizei width, GLsizei height)
{
    glMatrixMode(GL_PROJECTION);
    glOrtho(0, width, 0, height, -1, 1);
    glBegin(GL_POINTS);
    for (GLint y = 0; y < height; ++y)
        for (GLint x = 0; x < width; ++x)
            glVertex2i(x, y);
    glEnd();
}

// Texts without #version
//
// Seen:    Mesa 22.3
// Symptom: "array constructors forbidden in GLSL 1.10", and the like of an int where a float is due. The shader of
//          ColorGMM2 does not compile, and the process ends.
// Help:    where the driver refuses a text, compileShader() gives it what inVersion120() makes of it.
// Tests:   DriverAdapterTest.TextsInPiecesAreTranslatedAsOne, DriverAdapterTest.MessagesNameTheLinesOfTheText,
//          ShaderText.Version120ComesFirstAndKeepsTheLineNumbers, and those of ColorGMM2

std::string tryClassicTexts()
{
    return shortfallOfWhite(TrialProgram({{GL_FRAGMENT_SHADER, kClassic + R"(float values[2] = float[2](0.0, 1.0);
void main()
{
    int one = 1;
    gl_FragColor = vec4(values[one]);
    gl_FragColor[0] = one;
}
)"}}));
}

constexpr Expectation kOfClassicTexts = {kClassicTexts,
                                         "shaders without #version have int to float and array constructors",
                                         tryClassicTexts, kProgramEntryPoints};

// Flat varyings
//
// Seen:    Mesa 22.3
// Symptom: "duplicate storage qualifier". The shader of PixelCount does not compile, and the process ends.
// Help:    where the driver refuses the text of a vertex shader, compileShader() gives it that of withoutFlatOut().
// Tests:   ShaderText.FlatVaryingsLoseOutOutsideComments, and those of PixelCount

std::string tryFlatOut()
{
    return shortfallOfWhite(TrialProgram({{GL_VERTEX_SHADER, R"(#extension GL_EXT_gpu_shader4 : enable
flat varying out vec4 colour;
void main()
{
    colour = vec4(1.0);
    gl_Position = gl_Vertex;
}
)"},
                                          {GL_FRAGMENT_SHADER, R"(#extension GL_EXT_gpu_shader4 : enable
flat varying vec4 colour;
void main()
{
    gl_FragColor = colour;
}
)"}}));
}

constexpr Expectation kOfFlatOut = {kFlatOut, "vertex shaders write 'flat varying out'", tryFlatOut,
                                    kProgramEntryPoints};

// Geometry shaders
//
// Seen:    Mesa 22.3
// Symptom: glProgramParameteriEXT() is a null pointer, and the shader of ColorHistShader does not compile: the process
//          ends. Where one invocation emits fewer vertices than it should, texels of the histogram stay empty.
// Help:    programParameteri() keeps the parameters, compileShader() takes what inVersion150() makes of the text, and
//          linkProgram() gives it the parameters as its layout. It spreads the vertices over several invocations where
//          the driver refuses so many from one.
// Tests:   DriverAdapterTest.ParametersCountAtTheLinkAfterThem, DriverAdapterTest.NoVertexIsLostUpToTheLimit,
//          DriverAdapterTest.LinesComeInPairs, ShaderText.GeometryKeepsItsLinesAndReadsTheInputBlock,
//          ShaderText.ManyVerticesAreSharedOutAmongInvocations, and those of ColorHistShader

/// One point becomes as many as there can be, side by side.
std::string tryGeometryShaders()
{
    if (!glProgramParameteriEXT)
        return "glProgramParameteriEXT is missing";
    const int vertices = mostVertices();
    const TrialProgram program({{GL_VERTEX_SHADER, kPassVertex},
                                {GL_GEOMETRY_SHADER_EXT, R"(#version 130
#extension GL_EXT_geometry_shader4 : enable
uniform int count;
void main(void)
{
    for (int i = 0; i < count; i++)
    {
        gl_Position = gl_PositionIn[gl_VerticesIn - 1] + vec4(float(2 * i) / float(count), 0.0, 0.0, 0.0);
        gl_FrontColor = gl_FrontColorIn[0];
        EmitVertex();
    }
    EndPrimitive();
}
)"},
                                {GL_FRAGMENT_SHADER, kPassColour}},
                               [vertices](GLuint name) {
                                   glProgramParameteriEXT(name, GL_GEOMETRY_INPUT_TYPE_EXT, GL_POINTS);
                                   glProgramParameteriEXT(name, GL_GEOMETRY_OUTPUT_TYPE_EXT, GL_POINTS);
                                   glProgramParameteriEXT(name, GL_GEOMETRY_VERTICES_OUT_EXT, vertices);
                               });
    if (!program.shortfall().empty())
        return program.shortfall();
    const TrialCanvas canvas(vertices, 1);
    program.use();
    glUniform1i(program.location("count"), vertices);
    glBegin(GL_POINTS);
    glVertex2f(-1.0f + 1.0f / static_cast<GLfloat>(vertices), 0.0f); // the middle of the first pixel
    glEnd();
    return canvas.compare(white);
}

constexpr Expectation kOfGeometryShaders = {kGeometryShaders,
                                            "EXT_geometry_shader4 emits as many vertices as there can be",
                                            tryGeometryShaders, kProgramEntryPoints | kParameterEntryPoints};

// Empty geometry stages
//
// Seen:    Mesa 22.3
// Symptom: "syntax error, unexpected end of file". ColorHistShader with mNoGeometryShader does not compile, and the
//          process ends.
// Help:    compileShader() compiles a placeholder, and linkProgram() leaves it out.
// Tests:   DriverAdapterTest.AnEmptyGeometryStageIsLeftOutOfEveryLink, ShaderText.EmptyTextsHoldNoCode

std::string tryEmptyGeometry()
{
    return shortfallOfWhite(TrialProgram(
        {{GL_VERTEX_SHADER, kPassVertex}, {GL_GEOMETRY_SHADER_EXT, ""}, {GL_FRAGMENT_SHADER, kPassColour}}));
}

constexpr Expectation kOfEmptyGeometry = {kEmptyGeometry, "an empty geometry stage is left out", tryEmptyGeometry,
                                          kProgramEntryPoints};

// Matrix uniforms
//
// Seen:    Mesa 22.3
// Symptom: GL_INVALID_OPERATION, and the matrix stays 0: ColorGMM2 recognises no pixel.
// Help:    uniform4f() sends the numbers as a matrix, the first column from the first two.
// Tests:   DriverAdapterTest.FourNumbersAreAMatrixByColumns, DriverAdapterTest.FourNumbersAreForTheProgramThatIsInUse

std::string tryMatrixUniforms()
{
    const TrialProgram program({{GL_FRAGMENT_SHADER, kClassic + R"(uniform mat2 matrix;
void main()
{
    gl_FragColor = vec4(matrix[0][0], matrix[0][1], matrix[1][0], matrix[1][1]);
}
)"}});
    if (!program.shortfall().empty())
        return program.shortfall();
    const TrialCanvas canvas(4, 4);
    program.use();
    glUniform4f(program.location("matrix"), 1.0f, 0.0f, 1.0f, 1.0f);
    drawQuad();
    return canvas.compare([](GLsizei) { return Pixel{255, 0, 255, 255}; });
}

constexpr Expectation kOfMatrixUniforms = {kMatrixUniforms, "glUniform4f() sets a mat2", tryMatrixUniforms,
                                           kProgramEntryPoints | kUniformEntryPoints};

// Clipping sources
//
// Seen:    Mesa 22.3
// Symptom: a filter whose destination is larger than a source draws only as far as the smallest texture goes that is
//          attached.
// Help:    useProgram() takes sources off that are smaller than what is drawn into, and puts them back when the program
//          is put away.
// Tests:   those of DriverAdapterClipping, DriverAdapterAccepted.AttachmentsThatDoNotClipStayInPlace

std::string tryClippingSources()
{
    const TrialProgram program({{GL_FRAGMENT_SHADER, kPassColour}});
    if (!program.shortfall().empty())
        return program.shortfall();
    const TrialCanvas canvas(4, 4, true);
    program.use();
    drawQuad();
    return canvas.compare(white);
}

constexpr Expectation kOfClippingSources = {kClippingSources, "attachments that are not drawn into do not clip",
                                            tryClippingSources,
                                            kProgramEntryPoints | kUseEntryPoints | kDeleteEntryPoints};

// Unwritten colours
//
// Seen:    Mesa 22.3
// Symptom: a path that writes no colour gives that of the path that does: ColorGMM2 of one class may be all white.
// Help:    linkProgram() links what withInitialColour() makes of fragment shaders.
// Tests:   DriverAdapterTest.AnUnwrittenColourIsZero, ShaderText.TheColourIsSetBeforeMain

std::string tryUnwrittenColours()
{
    const TrialProgram program({{GL_FRAGMENT_SHADER, kClassic + R"(uniform float bound;
void main()
{
    if (gl_FragCoord.x < bound)
        gl_FragColor = vec4(1.0);
}
)"}});
    if (!program.shortfall().empty())
        return program.shortfall();
    const TrialCanvas canvas(8, 1);
    program.use();
    glUniform1f(program.location("bound"), 4.0f);
    drawQuad();
    return canvas.compare([](GLsizei i) { return i < 4 ? kWhite : kBlack; });
}

constexpr Expectation kOfUnwrittenColours = {kUnwrittenColours, "a gl_FragColor that is not written is 0",
                                             tryUnwrittenColours, kProgramEntryPoints};

// Points on corners
//
// Seen:    Mesa 22.3, softpipe and zink
// Symptom: a few points are rounded to less than the corner, and fill the pixel before it: sums of PixelCount and
//          ColorHistShader are in the wrong texels, or nowhere.
// Help:    linkProgram() links what withShiftedVertices() makes of vertex shaders, and geometry shaders with a layout
//          that is shifted. useProgram() sets the shift, an eighth of a pixel of what is drawn into. What binds or
//          attaches something else to draw into sets it anew.
// Tests:   DriverAdapterTest.APointOnACornerFillsThePixelBeyond, DriverAdapterTest.PointsOnCornersFollowTheFramebuffer,
//          ShaderText.VerticesOfShadersThatReadTexelsAreShiftedWhereverMainReturns

/// Many points, so that some round to less than the corner where they can.
std::string tryCornerPoints()
{
    const TrialProgram program({{GL_VERTEX_SHADER, kClassic + R"(uniform sampler2DRect texels;
void main()
{
    gl_Position = ftransform();
    gl_FrontColor = gl_Color + 0.0 * texture2DRect(texels, vec2(0.5));
}
)"},
                                {GL_FRAGMENT_SHADER, kPassColour}});
    if (!program.shortfall().empty())
        return program.shortfall();
    constexpr GLsizei width = 720, height = 3;
    const TrialCanvas canvas(width, height);
    const TrialTexture texture(1, 1, &kBlack);
    program.use();
    drawPointOnEachCorner(width, height);
    return canvas.compare(white);
}

constexpr Expectation kOfCornerPoints = {kCornerPoints, "a point on the corner of a pixel fills the pixel beyond it",
                                         tryCornerPoints, kProgramEntryPoints | kUseEntryPoints | kBindEntryPoints};

// Corners of texels
//
// Seen:    Mesa 22.3, zink
// Symptom: vertex shaders read texels by quotients that are rounded, and get the texel before the corner: sums of
//          PixelCount are off by a few pixels.
// Help:    linkProgram() links what withInnerTexels() makes of vertex shaders.
// Tests:   DriverAdapterTest.ACornerOfATexelIsReadAsTheTexelBeyond, ShaderText.CornersOfTexelsAreReadInside

/// A point for each texel, as the texel says of itself at its corner. The sides are no powers of two, whose quotients
/// would be exact.
std::string tryCornerTexels()
{
    const TrialProgram program({{GL_VERTEX_SHADER, R"(#extension GL_ARB_texture_rectangle : enable
uniform sampler2DRect texels;
void main()
{
    gl_FrontColor = texture2DRect(texels, gl_Vertex.xy);
    gl_Position = gl_ModelViewProjectionMatrix * (gl_Vertex + vec4(0.5, 0.5, 0.0, 0.0));
}
)"},
                                {GL_FRAGMENT_SHADER, kPassColour}});
    if (!program.shortfall().empty())
        return program.shortfall();
    constexpr GLsizei width = 60, height = 31;
    const auto pixel = [](GLsizei i) {
        return Pixel{static_cast<unsigned char>(i % width), static_cast<unsigned char>(i / width), 0, 255};
    };
    std::vector<Pixel> pixels;
    for (GLsizei i = 0; i < width * height; ++i)
        pixels.push_back(pixel(i));
    const TrialCanvas canvas(width, height);
    const TrialTexture texture(width, height, pixels.data());
    program.use();
    glUniform1i(program.location("texels"), 0);
    drawPointOnEachCorner(width, height);
    return canvas.compare(pixel);
}

constexpr Expectation kOfCornerTexels = {kCornerTexels,
                                         "in a vertex shader the corner of a texel reads the texel beyond it",
                                         tryCornerTexels, kProgramEntryPoints};

} // namespace

const std::vector<Expectation>& expectations()
{
    static const std::vector<Expectation> all = {
        kOfClassicTexts,    kOfFlatOut,          kOfGeometryShaders, kOfEmptyGeometry, kOfMatrixUniforms,
        kOfClippingSources, kOfUnwrittenColours, kOfCornerPoints,    kOfCornerTexels,
    };
    return all;
}

int mostVertices()
{
    return std::clamp(integer(GL_MAX_GEOMETRY_OUTPUT_VERTICES_EXT), 0, 1024);
}

} // namespace velmor::glsupport::adapter
