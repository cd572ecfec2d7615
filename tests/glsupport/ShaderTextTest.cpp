#include "glsupport/internal/adapter/ShaderText.h"

#include <gtest/gtest.h>

namespace velmor::tests {
namespace {

using namespace glsupport::adapter;

const std::string kClassic = "#extension GL_ARB_texture_rectangle : enable\n";

TEST(ShaderText, AVersionIsALineOfItsOwn)
{
    EXPECT_TRUE(factsOf("#version 130\nvoid main() {}\n").hasVersion);
    EXPECT_TRUE(factsOf("// first\n /* and\n then */  #  version 120").hasVersion);
    EXPECT_TRUE(factsOf("# \\\n version 120").hasVersion);
    EXPECT_FALSE(factsOf("").hasVersion);
    EXPECT_FALSE(factsOf("// #version 130\n/*\n#version 130\n*/\nint version;\n#extension x : enable\n").hasVersion);
    EXPECT_FALSE(factsOf("// to be continued \\\n#version 130\n").hasVersion);
    EXPECT_FALSE(factsOf("// to be continued \\\r\n#version 130\n").hasVersion);
}

TEST(ShaderText, EmptyTextsHoldNoCode)
{
    for (const char* const text :
         {"", " \t\n", "// nothing", "/* nothing\n here */\n// at all\n", "/**/", "//", "\\\n"})
        EXPECT_TRUE(factsOf(text).isEmpty) << text;
    for (const char* const text :
         {"void main() {}", "// comment\n;", "/* comment */ #", "/", "/*/ */ x", "\\", "/* no end"})
        EXPECT_FALSE(factsOf(text).isEmpty) << text;
}

TEST(ShaderText, TheClassicDialectSaysSoByItsExtensions)
{
    for (const std::string name :
         {"GL_ARB_texture_rectangle", "GL_EXT_gpu_shader4", "GL_EXT_geometry_shader4", "GL_ARB_color_buffer_float"}) {
        for (const std::string& line :
             {"#extension " + name + " : enable\n", "  #  extension " + name + ":require // why\n",
              "/* so */ #extension " + name + " /* and so */ : warn\n",
              std::string("#extension \\\n") + name + " : enable"})
            EXPECT_TRUE(isClassic("uniform int before;\n" + line)) << line;
        EXPECT_FALSE(isClassic("#extension " + name + " : disable\n"));
        EXPECT_FALSE(isClassic("// #extension " + name + " : enable\n"));
        EXPECT_FALSE(isClassic("#extension " + name + "_too : enable\n"));
        EXPECT_EQ(isClassic("#version 130\n#extension " + name + " : enable\n"), name == "GL_EXT_geometry_shader4");
    }
    EXPECT_FALSE(isClassic(""));
    EXPECT_FALSE(isClassic("void main() { gl_FragColor = vec4(0.0); }\n"));
    EXPECT_FALSE(isClassic("#extension GL_ARB_draw_buffers : enable\n"));
    EXPECT_FALSE(isClassic("#version 120\n" + kClassic));
}

TEST(ShaderText, WhatIsMadeOfAClassicTextIsOneToo)
{
    EXPECT_TRUE(isClassic(inVersion120(kClassic)));
    EXPECT_TRUE(isClassic(inVersion150("#extension GL_EXT_geometry_shader4 : enable\n")));
}

TEST(ShaderText, Version120ComesFirstAndKeepsTheLineNumbers)
{
    EXPECT_EQ(inVersion120("#extension x : enable\nvoid main() {}\n"),
              "#version 120 // of the classic dialect\n#line 0\n#extension x : enable\nvoid main() {}\n");
    EXPECT_EQ(inVersion120("// old\n#version 110\n"), "// old\n#version 110\n");
}

TEST(ShaderText, FlatVaryingsLoseOutOutsideComments)
{
    EXPECT_EQ(withoutFlatOut("flat varying out vec4 a; // flat varying out\nflat  varying\tout/**/uvec4 b;\n"),
              "flat varying     vec4 a; // flat varying out\nflat  varying\t   /**/uvec4 b;\n");
    const std::string other =
        "varying out vec4 a; flat varying vec4 outer; flat\nvarying out vec4 b; flat; varying out";
    EXPECT_EQ(withoutFlatOut(other), other);
}

TEST(ShaderText, TheColourIsSetBeforeMain)
{
    EXPECT_EQ(withInitialColour(kClassic + "void main(void)\n{\ngl_FragColor = x;\n}"),
              "#define main velmorMain\n#line 1\n" + kClassic +
                  "void main(void)\n{\ngl_FragColor = x;\n}\n\n#undef main\n"
                  "void main() { gl_FragColor = vec4(0.0); velmorMain(); }\n");
    EXPECT_EQ(withInitialColour(inVersion120("void main(){gl_FragColor[0]=1.0;}")),
              "#version 120 // of the classic dialect\n#define main velmorMain\n#line 0\n"
              "void main(){gl_FragColor[0]=1.0;}\n\n#undef main\n"
              "void main() { gl_FragColor = vec4(0.0); velmorMain(); }\n");
    for (const char* const other :
         {"void main() { gl_FragData[0] = x; } // gl_FragColor",
          "#if MRT\ngl_FragData[0] = x;\n#else\ngl_FragColor = x;\n#endif\n", "my_gl_FragColor", "gl_FragColora",
          "gl_FragColorz", "gl_FragColorA", "gl_FragColorZ", "gl_FragColor0", "gl_FragColor9"})
        EXPECT_EQ(withInitialColour(other), other);
}

TEST(ShaderText, VerticesOfShadersThatReadTexelsAreShiftedWhereverMainReturns)
{
    EXPECT_EQ(withShiftedVertices("#version 130\nvoid main( void )\n{ if (x == texture2DRect(s, p)) return; }"),
              "#version 130\n#define main velmorMain\n#line 2\n"
              "void main( void )\n{ if (x == texture2DRect(s, p)) return; }\n\n#undef main\n"
              "uniform vec2 velmorVertexShift; void main() { velmorMain();"
              " gl_Position.xy += velmorVertexShift * gl_Position.w; }\n");
    const std::string other = "void main() {} // texture2DRect\n";
    EXPECT_EQ(withShiftedVertices(other), other);
}

TEST(ShaderText, CornersOfTexelsAreReadInside)
{
    const std::string function = "vec2 velmorInner(vec2 place)"
                                 " { return place + 0.125 * vec2(equal(fract(place), vec2(0.0))); }\n"
                                 "#define texture2DRect(sampler, place) texture2DRect(sampler, velmorInner(place))\n";
    const std::string code = "void main() { x = texture2DRect(s, p); }\n";
    EXPECT_EQ(withInnerTexels(kClassic + code), kClassic + function + "#line 2\n" + code);
    EXPECT_EQ(withInnerTexels(inVersion120(code)),
              "#version 120 // of the classic dialect\n" + function + "#line 0\n" + code);
    EXPECT_EQ(withInnerTexels(inVersion120(kClassic + code)),
              "#version 120 // of the classic dialect\n#line 0\n" + kClassic + function + "#line 1\n" + code);
    EXPECT_EQ(withInnerTexels(code), function + "#line 1\n" + code);
    for (const std::string& other : {"#version 130\n" + code, std::string("void main() {} // texture2DRect\n")})
        EXPECT_EQ(withInnerTexels(other), other);
}

TEST(ShaderText, GeometryKeepsItsLinesAndReadsTheInputBlock)
{
    const std::string text =
        inVersion150("#version 130 // old\n"
                     "#extension GL_EXT_geometry_shader4 : enable /* needed\n"
                     "here */\n"
                     "#extension GL_ARB_texture_rectangle : enable\n"
                     "void main()\n"
                     "{\n"
                     "    gl_Position = gl_PositionIn[ids[0]] + gl_PositionIn[gl_VerticesIn - 1]; // gl_PositionIn[9]\n"
                     "    gl_FrontColor = gl_TexCoordIn[int(gl_PointSizeIn [0])][2];\n"
                     "    EmitVertex();\n"
                     "}\n");
    EXPECT_TRUE(isInVersion150(text));
    EXPECT_EQ(
        withLayout(text, {"lines", "line_strip", 7, 7}),
        "#version 150 compatibility // of the classic dialect\n"
        "#line 0\n"
        "             // old\n"
        "                                            /* needed\n"
        "here */\n"
        "#extension GL_ARB_texture_rectangle : enable\n"
        "layout(lines) in; layout(line_strip, max_vertices = 7) out; void velmorEmitVertex() { EmitVertex(); }\n"
        "#line 4\n"
        "void main()\n"
        "{\n"
        "    gl_Position = gl_in[ids[0]].gl_Position + gl_in[gl_in.length() - 1].gl_Position; // gl_PositionIn[9]\n"
        "    gl_FrontColor = gl_in[int(gl_in [0].gl_PointSize)].gl_TexCoord[2];\n"
        "    velmorEmitVertex();\n"
        "}\n");
}

TEST(ShaderText, GeometryWithoutExtensionsDeclaresItsLayoutFirst)
{
    EXPECT_EQ(withLayout(inVersion150("void main() {}\n"), {"points", "points", 1, 1}),
              "#version 150 compatibility // of the classic dialect\n"
              "#line 0\n"
              "layout(points) in; layout(points, max_vertices = 1) out; void velmorEmitVertex() { EmitVertex(); }\n"
              "#line 0\n"
              "void main() {}\n");
}

TEST(ShaderText, WithoutANumberOfVerticesThereIsNoneDeclared)
{
    EXPECT_NE(withLayout(inVersion150("void main() {}\n"), {"points", "points", 0, 4}).find("layout(points) out;"),
              std::string::npos);
}

TEST(ShaderText, ManyVerticesAreSharedOutAmongInvocations)
{
    const std::string text = inVersion150("void main() { EmitVertex(); } // EmitVertex\n");
    EXPECT_EQ(withLayout(text, {"points", "points", 10, 4}),
              "#version 150 compatibility // of the classic dialect\n"
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
    const std::string plain = inVersion150("void main() { EmitVertex(); }\n");
    const std::string shift = "gl_Position.xy += velmorEmittedShift * gl_Position.w;";
    EXPECT_NE(withLayout(plain, {"points", "points", 4, 4, true})
                  .find(" uniform vec2 velmorEmittedShift; void velmorEmitVertex() { " + shift + " EmitVertex(); }\n"),
              std::string::npos);
    const std::string spread = withLayout(plain, {"points", "points", 10, 4, true});
    EXPECT_NE(spread.find(" int velmorEmitted = 0; uniform vec2 velmorEmittedShift; void velmorEmitVertex() { " +
                          shift + " if (velmorEmitted / 4 == gl_InvocationID) EmitVertex(); velmorEmitted++; }\n"),
              std::string::npos);
}

TEST(ShaderText, StripsAreNeverSharedOut)
{
    const std::string text = withLayout(inVersion150("void main() {}\n"), {"points", "line_strip", 10, 4});
    EXPECT_NE(text.find("max_vertices = 10"), std::string::npos);
    EXPECT_EQ(text.find("invocations"), std::string::npos);
}

/// Every function here on a text; the sum of what they give, so that nothing is left out.
std::size_t sizeOfAllRewritten(const std::string& text)
{
    std::size_t size = isClassic(text) ? 1 : 0;
    for (const auto rewrite :
         {inVersion120, withoutFlatOut, inVersion150, withInitialColour, withShiftedVertices, withInnerTexels})
        size += rewrite(text).size();
    return size;
}

TEST(ShaderText, TextsMayBeOfAnySizeAndShape)
{
    constexpr std::size_t size = 100000;
    const auto many = [](const std::string& piece) {
        std::string text;
        while (text.size() < size)
            text += piece;
        return text;
    };
    for (const std::string piece :
         {" ", "x", "\n", "\r", "/", "*", "\\\n", "[", "]", "#", "gl_FragColor ", "gl_PositionIn[", "flat varying out ",
          "#extension GL_ARB_texture_rectangle : enable\n", "#version 130\n", "// comment\n", "/* x */",
          "EmitVertex();"}) {
        SCOPED_TRACE(piece);
        EXPECT_GE(sizeOfAllRewritten(many(piece)), 5 * size);
        EXPECT_GE(sizeOfAllRewritten("/*" + many(piece)), 5 * size);
        EXPECT_GE(sizeOfAllRewritten(kClassic + "//" + many(piece) + "\nvoid main() {}\n"), 5 * size);
    }
}

} // namespace
} // namespace velmor::tests
