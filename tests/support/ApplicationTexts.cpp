#include "tests/support/ApplicationTexts.h"

#include <initializer_list>
#include <tuple>

namespace velmor::tests {
namespace {

std::string repeated(const std::string& piece, std::size_t times)
{
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

/// A fragment shader without its version.
struct Body
{
    std::string name;
    std::string text;
};

const char* const kOldVertex = "void main() { gl_Position = gl_Vertex; gl_FrontColor = gl_Color; }\n";
const char* const kNewVertex = "in vec4 position; void main() { gl_Position = position; }\n";

/// Shaders that write built-in outputs, for versions that have them.
std::vector<Body> oldBodies()
{
    return {
        {"Constant", "void main() { gl_FragColor = vec4(0.25, 0.5, 0.75, 1.0); }\n"},
        {"WrittenOnOnePath", "void main() { if (gl_FragCoord.x > 4.0) gl_FragColor = vec4(0.5); }\n"},
        {"WrittenByChannels", "void main() { gl_FragColor.r = 0.5; gl_FragColor[2] = 0.25; }\n"},
        {"OutputsByCondition", "#define MRT 1\nvoid main()\n{\n#if MRT\n    gl_FragData[0] = vec4(0.5);\n#else\n"
                               "    gl_FragColor = vec4(0.25);\n#endif\n}\n"},
        {"OutputsByTheOtherCondition",
         "#define MRT 0\nvoid main()\n{\n#if MRT\n    gl_FragData[0] = vec4(0.5);\n#else\n"
         "    gl_FragColor = vec4(0.25);\n#endif\n}\n"},
        {"OutputByMacro", "#define RESULT gl_FragColor\nvoid main() { RESULT = vec4(0.125); }\n"},
        {"OutputByMacroOfTwoMeanings",
         "#ifdef MRT\n#define RESULT gl_FragColor\n#else\n#define RESULT gl_FragData[0]\n#endif\n"
         "void main() { RESULT = vec4(0.375); }\n"},
        {"OutputByFunctionMacro", "#define WRITE(i, v) gl_FragData[i] = v\nvoid main() { WRITE(0, vec4(0.625)); }\n"},
        {"SeveralOutputs", "void main() { gl_FragData[0] = vec4(0.5); gl_FragData[1] = vec4(0.75); }\n"},
        {"ContinuedComment",
         "void main() { // of gl_FragData \\\n gl_FragColor = vec4(1.0);\n gl_FragData[0] = vec4(0.5); }\n"},
        {"ContinuedDirective",
         "#define RESULT(v) \\\n    gl_FragColor = \\\n        v\nvoid main() { RESULT(vec4(0.5)); }\n"},
        {"WindowsLines", "void main()\r\n{\r\n    // gl_FragData\r\n    gl_FragColor = vec4(0.5);\r\n}\r\n"},
        {"SpreadMain", "void\nmain\n(\nvoid\n)\n{\ngl_FragColor\n=\nvec4\n(\n0.5\n)\n;\n}"},
        {"CommentedMain", "void/* first */main/**/(/* none */)/* void main() { */{ gl_FragColor = vec4(0.5); }\n"},
        {"MainByMacro", "#define MAIN void main()\nMAIN { gl_FragColor = vec4(0.5); }\n"},
        {"MainOfTwoConditions",
         "#if 0\nvoid main() { gl_FragColor = nothing; }\n#else\nvoid main() { gl_FragColor = vec4(0.5); }\n#endif\n"},
        {"MainDeclaredFirst", "void main();\nvoid main() { gl_FragColor = vec4(0.5); }\n"},
        {"NamesLikeOurs", "float mainly(float gl) { return gl; }\nfloat velmorMain() { return 0.5; }\n"
                          "void main() { gl_FragColor = vec4(mainly(velmorMain())); }\n"},
        {"EarlyReturn", "void main() { gl_FragColor = vec4(0.25); if (gl_FragCoord.y < 4.0) return;"
                        " gl_FragColor = vec4(0.5); }\n"},
        {"Discard", "void main() { if (gl_FragCoord.x + gl_FragCoord.y < 8.0) discard; gl_FragColor = vec4(0.5); }\n"},
        {"ReadsItsOutput", "void main() { gl_FragColor = vec4(0.5); gl_FragColor = gl_FragColor * 0.5; }\n"},
        {"LoopOverOutput", "void main() { gl_FragColor = vec4(0.0);"
                           " for (int i = 0; i < 4; ++i) gl_FragColor[i] = float(i) * 0.25; }\n"},
        {"BothOutputs", "void main() { gl_FragColor = vec4(0.5); gl_FragData[0] = vec4(0.25); }\n"},
        {"Vectors", "uniform vec4 tint; uniform mat2 matrix;\n"
                    "void main() { gl_FragColor = tint + vec4(matrix[0], matrix[1]); }\n"},
        {"UnknownExtension", "#extension GL_NOBODY_knows_it : enable\nvoid main() { gl_FragColor = vec4(0.5); }\n"},
        {"ExtensionInAComment",
         "/* #extension GL_ARB_texture_rectangle : enable */\n"
         "// #extension GL_EXT_gpu_shader4 : enable\nvoid main() { gl_FragColor = vec4(0.5); }\n"},
        {"ExtensionThatIsTurnedOff",
         "#extension GL_ARB_texture_rectangle : disable\nvoid main() { gl_FragColor = vec4(0.5); }\n"},
        {"IntForFloat", "void main() { float one = 1; gl_FragColor = vec4(one) * 0.5; }\n"},
        {"DoesNotCompile", "void main() { gl_FragColor = nothing; }\n"},
        {"Empty", ""},
    };
}

/// Shaders that declare their outputs.
std::vector<Body> newBodies()
{
    return {
        {"Constant", "out vec4 colour;\nvoid main() { colour = vec4(0.5, 0.25, 0.125, 1.0); }\n"},
        {"OldOutputInADeadBranch", "out vec4 colour;\nvoid main()\n{\n#if __VERSION__ > 130\n    colour = vec4(0.5);\n"
                                   "#else\n    gl_FragColor = vec4(0.25);\n#endif\n}\n"},
        {"OldOutputInAComment", "out vec4 colour; // for gl_FragColor\nvoid main() { colour = vec4(0.75); }\n"},
        {"OutputByMacro",
         "#define gl_FragColour colour\nout vec4 colour;\nvoid main() { gl_FragColour = vec4(0.5); }\n"},
        {"ContinuedComment", "out vec4 colour;\nvoid main()\n{\n    // once \\\n    gl_FragColor = vec4(1.0);\n"
                             "    colour = vec4(0.5);\n}\n"},
        {"WrittenOnOnePath", "out vec4 colour;\nvoid main() { if (gl_FragCoord.x > 4.0) colour = vec4(0.5); }\n"},
        {"Vectors", "uniform vec4 tint; uniform mat2 matrix; out vec4 colour;\n"
                    "void main() { colour = tint + vec4(matrix[0], matrix[1]); }\n"},
        {"FunctionNamedAsABuiltIn",
         "out vec4 colour;\nvec4 texture2DRect(vec2 place) { return vec4(place, 0.0, 1.0); }\n"
         "void main() { colour = texture2DRect(vec2(0.5, 0.25)); }\n"},
        {"MacroNamedAsABuiltIn", "#define texture2DRect(s, p) vec4(p, 0.0, 1.0)\nout vec4 colour;\n"
                                 "void main() { colour = texture2DRect(0, vec2(0.5, 0.25)); }\n"},
    };
}

void addOld(std::vector<ApplicationProgram>& programs)
{
    for (const std::string version : {"", "#version 110\n", "#version 120\n", "#version 130\n",
                                      "#version 150 compatibility\n", "#version 450 compatibility\n"})
        for (const Body& body : oldBodies())
            programs.push_back({version.substr(0, version.size() - !version.empty()) + " " + body.name,
                                version + kOldVertex, version + body.text});
}

void addNew(std::vector<ApplicationProgram>& programs)
{
    for (const std::string version : {"#version 150\n", "#version 330 core\n", "// new\n#version 450 core\n"})
        for (const Body& body : newBodies())
            programs.push_back(
                {version.substr(0, version.size() - 1) + " " + body.name, version + kNewVertex, version + body.text});
    for (const std::string version : {"330", "400", "410", "420", "430", "440"})
        programs.push_back({version + " outputs at places", "#version " + version + "\n" + kNewVertex,
                            "#version " + version +
                                "\nlayout(location = 1) out vec4 second;\nlayout(location = 0) out vec4 first;\n"
                                "void main() { first = vec4(0.5); second = vec4(0.25); }\n"});
}

/// Texts of a size or a shape that is hard on whoever reads them.
void addLarge(std::vector<ApplicationProgram>& programs)
{
    const std::string simple = "void main() { gl_FragColor = vec4(0.5); }\n";
    const std::string name(100000, 'n');
    const std::vector<Body> bodies = {
        {"A comment of a line of 30,000 characters", "/*" + std::string(30000, 'c') + "*/" + simple},
        {"A comment of a line of a million", "/*" + std::string(1000000, 'c') + "*/" + simple},
        {"A line comment of a million", "//" + std::string(1000000, 'c') + "\n" + simple},
        {"100,000 blanks", std::string(100000, ' ') + simple},
        {"20,000 line ends", std::string(20000, '\n') + simple},
        {"20,000 lines", repeated("// a line that says nothing\n", 20000) + simple},
        {"20,000 statements",
         "void main() { float x = 0.0;\n" + repeated("x = 0.5;\n", 20000) + "gl_FragColor = vec4(x); }\n"},
        {"A name of 100,000 characters",
         "float " + name + "() { return 0.5; }\nvoid main() { gl_FragColor = vec4(" + name + "()); }\n"},
        {"100 macros", repeated("#undef X\n#define X gl_FragColor\n", 100) + "void main() { X = vec4(0.5); }\n"},
        {"Brackets within brackets",
         "void main() { gl_FragColor = vec4(" + repeated("(", 200) + "0.5" + repeated(")", 200) + "); }\n"},
    };
    for (const Body& body : bodies)
        programs.push_back({body.name, kOldVertex, body.text});
}

/// Vertex shaders that place what they draw in their own way.
void addVertices(std::vector<ApplicationProgram>& programs)
{
    const std::string colour = "void main() { gl_FragColor = gl_Color; }\n";
    for (const Body& body : std::vector<Body>{
             {"ftransform", "void main() { gl_Position = ftransform(); gl_FrontColor = vec4(0.5); }\n"},
             {"flat varying", "#version 130\nflat out vec4 x; void main() { x = gl_Vertex; gl_Position = gl_Vertex;"
                              " gl_FrontColor = x; }\n"},
             {"flat varying out in a comment", "// flat varying out vec4 x;\n" + std::string(kOldVertex)},
             {"clip plane", "void main() { gl_Position = gl_Vertex; gl_ClipVertex = gl_Vertex;"
                            " gl_FrontColor = vec4(0.25); }\n"},
             {"point size",
              "void main() { gl_Position = gl_Vertex; gl_PointSize = 2.0; gl_FrontColor = vec4(0.25); }\n"},
             {"macro of a built-in's name", "#define texture2DRect(s, p) vec4(p, 0.0, 1.0)\n"
                                            "void main() { gl_Position = gl_Vertex;"
                                            " gl_FrontColor = texture2DRect(0, gl_Vertex.xy); }\n"},
         })
        programs.push_back({body.name, body.text, colour});
}

} // namespace

std::vector<ApplicationProgram> applicationPrograms()
{
    std::vector<ApplicationProgram> programs;
    addOld(programs);
    addNew(programs);
    addLarge(programs);
    addVertices(programs);
    return programs;
}

std::vector<ApplicationProgram> classicPrograms()
{
    const std::string classic = "#extension GL_ARB_texture_rectangle : enable\n";
    std::vector<ApplicationProgram> programs;
    for (const Body& body : oldBodies())
        programs.push_back({"classic " + body.name, classic + kOldVertex, classic + body.text});
    for (const auto& [name, begin, end] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"extension in a condition", "#ifdef GL_ARB_texture_rectangle\n" + classic + "#endif\n", ""},
             {"extension after code", "float one() { return 1.0; }\n" + classic, ""},
             {"extension in the last line", "", classic.substr(0, classic.size() - 1)},
             {"open comment at the end", classic, "/* open"},
             {"continued comment at the end", classic, "// open \\"},
             {"main called main2", classic + "#define main main\n", ""},
             {"main undefined at the end", classic, "#undef main\n"},
             {"error where main is known", classic + "#ifdef main\n#error main\n#endif\n", ""},
             {"error by line", classic + "#if __LINE__ != 2\n#error lines\n#endif\n", ""},
         })
        programs.push_back({"classic " + name, begin + kOldVertex + end,
                            begin + "uniform sampler2DRect texels; void main() { gl_FragColor = vec4(0.5); }\n" + end});
    return programs;
}

} // namespace velmor::tests
