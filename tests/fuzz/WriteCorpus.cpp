// Writes the texts that the fuzzers begin with into a folder: velmor_fuzz_adapter_corpus <folder>

#include "tests/support/ApplicationTexts.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: velmor_fuzz_adapter_corpus <folder>\n";
        return 2;
    }
    int count = 0;
    const auto write = [&](char stage, const std::string& text) {
        const std::string file = std::string(argv[1]) + "/text" + std::to_string(count++);
        std::ofstream out(file, std::ios::binary);
        out << stage << text;
        if (!out.flush()) {
            std::cerr << "velmor_fuzz_adapter_corpus: cannot write " << file << '\n';
            std::exit(1);
        }
    };
    for (const auto& programs : {velmor::tests::applicationPrograms(), velmor::tests::classicPrograms()}) {
        for (const auto& program : programs) {
            write(0, program.fragmentText);
            write(1, program.vertexText);
        }
    }
    write(2, "#version 130\n#extension GL_EXT_geometry_shader4 : enable\nuniform int count;\nvoid main()\n{\n"
             "    for (int i = 0; i < gl_VerticesIn; i++)\n    {\n        gl_Position = gl_PositionIn[i];\n"
             "        gl_FrontColor = gl_FrontColorIn[i];\n        EmitVertex();\n    }\n    EndPrimitive();\n}\n");
    write(2, "#version 150 compatibility\nlayout(triangles) in; layout(triangle_strip, max_vertices = 3) out;\n"
             "void main() { for (int i = 0; i < 3; i++) { gl_Position = gl_in[i].gl_Position; EmitVertex(); } }\n");
    write(1, "#extension GL_EXT_gpu_shader4 : enable\nflat varying out uvec4 counter;\n"
             "void main() { counter = uvec4(1u); gl_Position = ftransform(); }\n");
}
