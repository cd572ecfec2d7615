#include "glsupport/adapter/ShaderText.h"

#include <gtest/gtest.h>

namespace velmor::tests {
namespace {

using namespace glsupport::adapter;

TEST(ShaderText, AVersionIsALineOfItsOwn)
{
    EXPECT_TRUE(hasVersion("#version 130\nvoid main() {}\n"));
    EXPECT_TRUE(hasVersion("// first\n /* and\n then */  #  version 120"));
    EXPECT_FALSE(hasVersion(""));
    EXPECT_FALSE(hasVersion("// #version 130\n/*\n#version 130\n*/\nint version;\n#extension x : enable\n"));
}

TEST(ShaderText, EmptyTextsHoldNoCode)
{
    for (const char* const text : {"", " \t\n", "// nothing", "/* nothing\n here */\n// at all\n", "/**/", "//"})
        EXPECT_TRUE(isEmptyText(text)) << text;
    for (const char* const text : {"void main() {}", "// comment\n;", "/* comment */ #", "/"})
        EXPECT_FALSE(isEmptyText(text)) << text;
}

TEST(ShaderText, Version120ComesFirstAndKeepsTheLineNumbers)
{
    EXPECT_EQ(inVersion120("#extension x : enable\nvoid main() {}\n"),
              "#version 120\n#line 0\n#extension x : enable\nvoid main() {}\n");
    EXPECT_EQ(inVersion120("// old\n#version 110\n"), "// old\n#version 110\n");
}

TEST(ShaderText, FlatVaryingsLoseOutOutsideComments)
{
    EXPECT_EQ(withoutFlatOut("flat varying out vec4 a; // flat varying out\nflat  varying\tout uvec4 b;\n"),
              "flat varying vec4 a; // flat varying out\nflat  varying uvec4 b;\n");
    EXPECT_EQ(withoutFlatOut("varying out vec4 a; flat varying vec4 outer;"),
              "varying out vec4 a; flat varying vec4 outer;");
}

TEST(ShaderText, TheColourIsSetFirstInMain)
{
    EXPECT_EQ(withInitialColour("// void main() { gl_FragColor }\nvoid main(void)\n{\ngl_FragColor = x;\n}"),
              "// void main() { gl_FragColor }\nvoid main(void)\n{ gl_FragColor = vec4(0.0);\ngl_FragColor = x;\n}");
    EXPECT_EQ(withInitialColour("void domain() {} void main(){gl_FragColor[0]=1.0;}"),
              "void domain() {} void main(){ gl_FragColor = vec4(0.0);gl_FragColor[0]=1.0;}");
    const std::string other = "void main() { gl_FragData[0] = x; } // gl_FragColor";
    EXPECT_EQ(withInitialColour(other), other);
}

TEST(ShaderText, VerticesAreShiftedWhereverMainReturns)
{
    EXPECT_EQ(withShiftedVertices("// void main()\nvoid main( void )\n{ if (x) return; }"),
              "// void main()\nvoid velmorMain( void )\n{ if (x) return; }\n"
              "uniform vec2 velmorVertexShift; void main() { velmorMain();"
              " gl_Position.xy += velmorVertexShift * gl_Position.w; }\n");
    const std::string other = "void domain() {}\n// void main() {}\n";
    EXPECT_EQ(withShiftedVertices(other), other);
}

TEST(ShaderText, TexelsAreReadInsideAndTheLinesStay)
{
    EXPECT_EQ(withInnerTexels("#extension x : enable\nvoid main() {}\n"),
              "#define texture2DRect(sampler, place) texture2DRect(sampler, (place) + 0.125)\n#line 0\n"
              "#extension x : enable\nvoid main() {}\n");
    EXPECT_EQ(withInnerTexels("#version 130\n"), "#version 130\n");
}

TEST(ShaderText, TheGeometryExtensionIsNamedByADirective)
{
    EXPECT_TRUE(usesGeometryShader4("#version 130\n#extension GL_EXT_geometry_shader4 : enable\n"));
    EXPECT_FALSE(usesGeometryShader4("#version 150\n// #extension GL_EXT_geometry_shader4 : enable\n"));
}

TEST(ShaderText, GeometryKeepsItsLinesAndReadsTheInputBlock)
{
    EXPECT_EQ(
        inVersion150("#version 130 // old\n"
                     "#extension GL_EXT_geometry_shader4 : enable\n"
                     "#extension GL_ARB_texture_rectangle : enable\n"
                     "void main()\n"
                     "{\n"
                     "    gl_Position = gl_PositionIn[ids[0]] + gl_PositionIn[gl_VerticesIn - 1]; // gl_PositionIn[9]\n"
                     "    gl_FrontColor = gl_TexCoordIn[1][2];\n"
                     "    EmitVertex();\n"
                     "}\n",
                     {"lines", "line_strip", 7, 7}),
        "#version 150 compatibility\n"
        "#line 0\n"
        "\n"
        "\n"
        "#extension GL_ARB_texture_rectangle : enable\n"
        "layout(lines) in; layout(line_strip, max_vertices = 7) out;\n"
        "#line 3\n"
        "void main()\n"
        "{\n"
        "    gl_Position = gl_in[ids[0]].gl_Position + gl_in[gl_in.length() - 1].gl_Position; // gl_PositionIn[9]\n"
        "    gl_FrontColor = gl_in[1].gl_TexCoord[2];\n"
        "    EmitVertex();\n"
        "}\n");
}

TEST(ShaderText, GeometryWithoutExtensionsDeclaresItsLayoutFirst)
{
    EXPECT_EQ(inVersion150("void main() {}\n", {"points", "points", 1, 1}),
              "#version 150 compatibility\n"
              "#line 0\n"
              "layout(points) in; layout(points, max_vertices = 1) out;\n"
              "#line 0\n"
              "void main() {}\n");
}

TEST(ShaderText, WithoutANumberOfVerticesThereIsNoneDeclared)
{
    EXPECT_NE(inVersion150("void main() {}\n", {"points", "points", 0, 4}).find("layout(points) out;"),
              std::string::npos);
}

TEST(ShaderText, ManyVerticesAreSharedOutAmongInvocations)
{
    const std::string text = inVersion150("void main() { EmitVertex(); } // EmitVertex\n", {"points", "points", 10, 4});
    EXPECT_EQ(text, "#version 150 compatibility\n"
                    "#extension GL_ARB_gpu_shader5 : require\n"
                    "#line 0\n"
                    "layout(points, invocations = 3) in; layout(points, max_vertices = 4) out;"
                    " int velmorEmitted = 0; void velmorEmitVertex()"
                    " { if (velmorEmitted / 4 == gl_InvocationID) EmitVertex(); velmorEmitted++; }\n"
                    "#line 0\n"
                    "void main() { velmorEmitVertex(); } // EmitVertex\n");
}

TEST(ShaderText, EmittedVerticesAreShiftedAlsoWhereTheyAreSharedOut)
{
    const std::string plain = "void main() { EmitVertex(); }\n";
    const std::string shift = "gl_Position.xy += velmorEmittedShift * gl_Position.w;";
    EXPECT_NE(inVersion150(plain, {"points", "points", 4, 4, true})
                  .find(" uniform vec2 velmorEmittedShift; void velmorEmitVertex() { " + shift + " EmitVertex(); }\n"),
              std::string::npos);
    const std::string spread = inVersion150(plain, {"points", "points", 10, 4, true});
    EXPECT_NE(spread.find(" int velmorEmitted = 0; uniform vec2 velmorEmittedShift; void velmorEmitVertex() { " +
                          shift + " if (velmorEmitted / 4 == gl_InvocationID) EmitVertex(); velmorEmitted++; }\n"),
              std::string::npos);
    EXPECT_NE(spread.find("{ velmorEmitVertex(); }"), std::string::npos);
}

TEST(ShaderText, StripsAreNeverSharedOut)
{
    const std::string text = inVersion150("void main() { EmitVertex(); }\n", {"points", "line_strip", 10, 4});
    EXPECT_NE(text.find("max_vertices = 10"), std::string::npos);
    EXPECT_EQ(text.find("invocations"), std::string::npos);
}

} // namespace
} // namespace velmor::tests
