// GlShaderMgr's two operations on shader files that need no OpenGL.

#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "tests/support/Capture.h"
#include "tests/support/DeathText.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

using velmor::cvprocess::GlShaderMgr;

namespace velmor::tests {
namespace {

/// A folder of its own as working directory, since the name of the constant is that of the file as it is given.
class ShaderConverter : public testing::Test
{
protected:
    void SetUp() override
    {
        mBefore = std::filesystem::current_path();
        std::filesystem::current_path(folder.path());
    }

    void TearDown() override { std::filesystem::current_path(mBefore); }

    /// The whole result for a file a.frag of these converted lines.
    static std::string definition(const std::string& lines)
    {
        return "\n// ####### THIS STRING IS AUTOMATICALLY GENERATED FROM FILE: a.frag #######\n"
               "std::string a_frag=\"\\\n" +
               lines + "\"; // ### END OF SHADER STRING ###\n";
    }

    /// Converts a.frag of this text.
    std::string converted(const std::string& text) const
    {
        folder.write("a.frag", text);
        EXPECT_EQ(GlShaderMgr::convertShaderFileToString("a.frag", "a.h", false), 1);
        return contentOf("a.h");
    }

    const TemporaryFolder folder;

private:
    std::filesystem::path mBefore;
};

const std::string kTail = "\\n\"\"\\\n"; // backslash, n, two double quotes, backslash, line end

TEST_F(ShaderConverter, LinesAreJoinedIntoOneLiteral)
{
    EXPECT_EQ(converted("void main()\n{ }\n"), definition("void main()" + kTail + "{ }" + kTail));
    EXPECT_EQ(converted("no line end"), definition("no line end" + kTail));
    EXPECT_EQ(converted("\n\n"), definition(kTail + kTail));
    EXPECT_EQ(converted(""), definition(""));
}

TEST_F(ShaderConverter, QuotesAreEscaped)
{
    EXPECT_EQ(converted("a \"quoted\" word\n"), definition("a \\\"quoted\\\" word" + kTail));
    EXPECT_EQ(converted("\"\"\n"), definition("\\\"\\\"" + kTail));
}

TEST_F(ShaderConverter, EveryOtherByteStaysAsItIs)
{
    EXPECT_EQ(converted("one\r\n\r\ntwo\r"), definition("one\r" + kTail + "\r" + kTail + "two\r" + kTail));
    std::string bytes; // in an order that makes no mark of a comment
    for (int code = 0; code < 256; ++code)
        if (code != '\n' && code != '"')
            bytes += static_cast<char>(code);
    EXPECT_EQ(converted(bytes), definition(bytes + kTail));
}

TEST_F(ShaderConverter, BlockCommentsBecomeLineComments)
{
    EXPECT_EQ(
        converted("/* opened\nstill open\nclosed */ code\nmore\n"),
        definition("// / opened" + kTail + "// still open" + kTail + "closed \\n\\\n code" + kTail + "more" + kTail));
    EXPECT_EQ(converted("code /* word\n"), definition("// code / word" + kTail));
}

TEST_F(ShaderConverter, AClosingMarkAloneIsAnEscapedLineEnd)
{
    EXPECT_EQ(converted("*/\n"), definition("\\n\\\n" + kTail));
    EXPECT_EQ(converted("end */\nnext\n"), definition("end \\n\\\n" + kTail + "next" + kTail));
}

TEST_F(ShaderConverter, AMarkOfEachKindOnALineIsOneCharacterOff)
{
    // Marks at 2 and 8 of the line as read. The first edit leaves "a /note*/ b", whose place 8 is the slash of the
    // closing mark: the slash and the blank behind it go, and the star stays.
    EXPECT_EQ(converted("a /*note*/ b\n"), definition("a /note*\\n\\\nb" + kTail));
}

TEST_F(ShaderConverter, TheSecondMarkMayEndTheLine)
{
    // "/**/": marks at 0 and 2, "/*/" after the first edit; place 2 is the last character, the next one is the end.
    EXPECT_EQ(converted("/**/\n"), definition("/*\\n\\\n" + kTail));
    // "/*/": marks at 0 and 1, "//" after the first edit.
    EXPECT_EQ(converted("/*/\n"), definition("/\\n\\\n" + kTail));
}

TEST_F(ShaderConverter, AClosingMarkBeforeAnOpeningOneClosesTheComment)
{
    // "*/" at 0, "/*" at 3: the flag is set and then cleared.
    EXPECT_EQ(converted("*/ /*x\nnext\n"), definition("\\n\\\n /x" + kTail + "next" + kTail));
}

TEST_F(ShaderConverter, OnlyTheFirstMarkOfAKindIsEdited)
{
    EXPECT_EQ(converted("/* a /* b\n*/ c */\n"), definition("// / a /* b" + kTail + "\\n\\\n c */" + kTail));
}

TEST_F(ShaderConverter, MarksAreFoundBeforeQuotesAreEscaped)
{
    EXPECT_EQ(converted("\"a\" /* \"b\"\n\"c\" */ \"d\"\n"),
              definition("// \\\"a\\\" / \\\"b\\\"" + kTail + "\\\"c\\\" \\n\\\n \\\"d\\\"" + kTail));
    EXPECT_EQ(converted("/*x*/\"y\"\n"), definition("/x*\\n\\\ny\\\"" + kTail)); // the first quote is the one replaced
}

TEST_F(ShaderConverter, AppendingCollectsDefinitions)
{
    folder.write("a.frag", "one\n");
    folder.write("b.c.vert", "two\n");
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("a.frag", "all.h", true), 1);
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("b.c.vert", "all.h", true), 1);
    EXPECT_EQ(contentOf("all.h"),
              definition("one" + kTail) +
                  "\n// ####### THIS STRING IS AUTOMATICALLY GENERATED FROM FILE: b.c.vert #######\n"
                  "std::string b_c.vert=\"\\\n" // the first dot alone
                  "two" +
                  kTail + "\"; // ### END OF SHADER STRING ###\n");
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("a.frag", "all.h", false), 1);
    EXPECT_EQ(contentOf("all.h"), definition("one" + kTail));
}

TEST_F(ShaderConverter, FilesThatDoNotOpenAreReportedWithoutALineEnd)
{
    const Output in = capture([] { EXPECT_EQ(GlShaderMgr::convertShaderFileToString("no.frag", "a.h", false), -1); });
    EXPECT_EQ(in.err, "Unable to open input file");
    EXPECT_EQ(in.out, "");
    EXPECT_FALSE(std::filesystem::exists("a.h"));
    folder.write("a.frag", "text\n");
    const Output out =
        capture([] { EXPECT_EQ(GlShaderMgr::convertShaderFileToString("a.frag", "nowhere/a.h", false), -1); });
    EXPECT_EQ(out.err, "Unable to open output file");
    EXPECT_EQ(out.out, "");
}

TEST_F(ShaderConverter, WhatCannotBeReadIsEmpty)
{
    std::filesystem::create_directory("a.frag");
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("a.frag", "a.h", false), 1);
    EXPECT_EQ(contentOf("a.h"), definition(""));
}

TEST_F(ShaderConverter, ANameWithoutADotThrowsAfterBothFilesWereOpened)
{
    folder.write("shader", "text\n");
    folder.write("out.h", "old\n");
    EXPECT_THROW(GlShaderMgr::convertShaderFileToString("shader", "out.h", false), std::out_of_range);
    EXPECT_EQ(contentOf("out.h"), "");
    EXPECT_THROW(GlShaderMgr::convertShaderFileToString("shader", "nowhere/out.h", false), std::out_of_range);
}

TEST_F(ShaderConverter, AFolderStaysInTheNameOfTheConstant)
{
    folder.write("a.frag", "");
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("./a.frag", "a.h", false), 1);
    EXPECT_EQ(contentOf("a.h"), "\n// ####### THIS STRING IS AUTOMATICALLY GENERATED FROM FILE: ./a.frag #######\n"
                                "std::string _/a.frag=\"\\\n\"; // ### END OF SHADER STRING ###\n");
}

TEST_F(ShaderConverter, TheResultOfCommentFreeShadersIsTheSourceForTheCompiler)
{
    const std::string shader = "uniform sampler2DRect texUnit0;\n\nvoid main(void)\n{\n    vec4 c = vec4(0.5);\n"
                               "\tgl_FragColor = c; // \"half\"\n}\n";
    const std::string other = "\n#define HALF 0.5\n\n";
    folder.write("a.frag", shader);
    folder.write("b.vert", other);
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("a.frag", "shaders.h", true), 1);
    EXPECT_EQ(GlShaderMgr::convertShaderFileToString("b.vert", "shaders.h", true), 1);
    folder.write("program.cpp", "#include <iostream>\n#include <string>\n#include \"shaders.h\"\n"
                                "int main() { std::cout << a_frag << b_vert; }\n");
    ASSERT_EQ(std::system(VELMOR_CXX_COMPILER " -std=c++17 program.cpp -o program 2> compiler.txt"), 0)
        << contentOf("compiler.txt");
    ASSERT_EQ(std::system("./program > output.txt"), 0);
    EXPECT_EQ(contentOf("output.txt"), shader + other);
}

TEST(ShaderConverterReadShaderFile, AnEmptyFileIsAnEmptyText)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("a.frag", "");
    const std::unique_ptr<char[]> text(GlShaderMgr::readShaderFile(file.c_str()));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text.get(), "");
}

TEST(ShaderConverterReadShaderFile, AFileThatDoesNotOpenIsNull)
{
    const Output output = capture([] { EXPECT_EQ(GlShaderMgr::readShaderFile("/nowhere/a.frag"), nullptr); });
    EXPECT_EQ(output.out + output.err, "");
}

TEST(ShaderConverterReadShaderFile, EveryOtherFileEndsTheProcess)
{
    const TemporaryFolder folder;
    for (const std::string& content : {std::string("void main() {}"), std::string(1, '\0')}) {
        const std::string file = folder.write("a.frag", content);
        EXPECT_EXIT(GlShaderMgr::readShaderFile(file.c_str()), testing::ExitedWithCode(255),
                    exactly("ERROR: Could not load shader file: " + file + "\n"));
    }
    EXPECT_EXIT(GlShaderMgr::readShaderFile("/tmp"), testing::ExitedWithCode(255),
                exactly("ERROR: Could not load shader file: /tmp\n"));
}

} // namespace
} // namespace velmor::tests
