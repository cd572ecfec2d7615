#include "glsupport/adapter/ShaderText.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <sstream>
#include <vector>

namespace velmor::glsupport::adapter {
namespace {

/// The text with a space for every character of a comment but the line ends.
std::string withoutComments(std::string text)
{
    for (std::size_t at = text.find('/'); at != std::string::npos; at = text.find('/', at + 1)) {
        std::size_t end = at;
        if (text.compare(at, 2, "//") == 0)
            end = std::min(text.find('\n', at), text.size());
        else if (text.compare(at, 2, "/*") == 0)
            end = std::min(text.find("*/", at + 2), text.size() - 2) + 2;
        std::replace_if(
            text.begin() + static_cast<std::ptrdiff_t>(at), text.begin() + static_cast<std::ptrdiff_t>(end),
            [](char each) { return each != '\n'; }, ' ');
    }
    return text;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

bool isDirective(const std::string& line, const std::string& name)
{
    return std::regex_search(line, std::regex("^\\s*#\\s*" + name + "\\b"));
}

/// Replaces what a pattern finds outside comments. The replacement has no line end.
std::string replaceCode(std::string text, const std::string& pattern, const std::string& replacement)
{
    const std::string code = withoutComments(text);
    const std::regex expression(pattern);
    std::vector<std::smatch> found(std::sregex_iterator(code.begin(), code.end(), expression), std::sregex_iterator());
    for (auto match = found.rbegin(); match != found.rend(); ++match)
        text.replace(static_cast<std::size_t>(match->position()), static_cast<std::size_t>(match->length()),
                     match->format(replacement));
    return text;
}

bool usesCode(const std::string& text, const std::string& pattern)
{
    return std::regex_search(withoutComments(text), std::regex(pattern));
}

/// `gl_XIn[index]` as `gl_in[index].gl_X`, for every built-in input X.
std::string withInputBlock(std::string text)
{
    static const std::regex input("\\bgl_(\\w+)In\\s*\\[");
    std::string code = withoutComments(text);
    for (std::smatch match; std::regex_search(code, match, input); code = withoutComments(text)) {
        const auto begin = static_cast<std::size_t>(match.position());
        const auto index = begin + static_cast<std::size_t>(match.length());
        std::size_t end = index;
        for (int open = 1; open > 0 && end < code.size(); ++end)
            open += code[end] == '[' ? 1 : code[end] == ']' ? -1 : 0;
        text.insert(end, ".gl_" + match[1].str());
        text.replace(begin, index - begin, "gl_in[");
    }
    return text;
}

std::string shiftBy(const std::string& uniform)
{
    return "gl_Position.xy += " + uniform + " * gl_Position.w;";
}

/// The function that stands in for EmitVertex(). Where several invocations share the work, each emits its share.
std::string emitFunction(const GeometryLayout& layout, bool isSpread)
{
    std::ostringstream out;
    if (isSpread)
        out << " int velmorEmitted = 0;";
    if (layout.shifted)
        out << " uniform vec2 velmorEmittedShift;";
    out << " void velmorEmitVertex() {";
    if (layout.shifted)
        out << ' ' << shiftBy("velmorEmittedShift");
    if (isSpread)
        out << " if (velmorEmitted / " << layout.verticesAnInvocation << " == gl_InvocationID) EmitVertex();"
            << " velmorEmitted++; }";
    else
        out << " EmitVertex(); }";
    return out.str();
}

/// The words that follow the extension lines: the layout, and the function that stands in for EmitVertex() if there is
/// to be one.
std::string declarations(const GeometryLayout& layout, bool isSpread)
{
    const int vertices = isSpread ? layout.verticesAnInvocation : layout.vertices;
    const int invocations = isSpread ? (layout.vertices + vertices - 1) / vertices : 1;
    std::ostringstream out;
    out << "layout(" << layout.input;
    if (isSpread)
        out << ", invocations = " << invocations;
    out << ") in; layout(" << layout.output;
    if (vertices > 0)
        out << ", max_vertices = " << vertices;
    out << ") out;";
    if (isSpread || layout.shifted)
        out << emitFunction(layout, isSpread);
    return out.str();
}

} // namespace

bool hasVersion(const std::string& text)
{
    for (const std::string& line : linesOf(withoutComments(text)))
        if (isDirective(line, "version"))
            return true;
    return false;
}

bool isEmptyText(const std::string& text)
{
    const std::string code = withoutComments(text);
    return std::all_of(code.begin(), code.end(), [](unsigned char each) { return std::isspace(each) != 0; });
}

std::string inVersion120(const std::string& text)
{
    return hasVersion(text) ? text : "#version 120\n#line 0\n" + text;
}

std::string withoutFlatOut(const std::string& text)
{
    return replaceCode(text, "\\bflat([ \\t]+)varying[ \\t]+out\\b", "flat$1varying");
}

std::string withInitialColour(const std::string& text)
{
    if (!usesCode(text, "\\bgl_FragColor\\b"))
        return text;
    return replaceCode(text, "\\bvoid\\s+main\\s*\\(\\s*(void)?\\s*\\)\\s*\\{", "$& gl_FragColor = vec4(0.0);");
}

std::string withShiftedVertices(const std::string& text)
{
    const std::string renamed =
        replaceCode(text, "\\bvoid(\\s+)main(\\s*\\(\\s*(void)?\\s*\\)\\s*\\{)", "void$1velmorMain$2");
    if (renamed == text)
        return text;
    return renamed + "\nuniform vec2 velmorVertexShift; void main() { velmorMain(); " + shiftBy("velmorVertexShift") +
           " }\n";
}

std::string withInnerTexels(const std::string& text)
{
    return hasVersion(text) ? text
                            : "#define texture2DRect(sampler, place) texture2DRect(sampler, (place) + 0.125)\n"
                              "#line 0\n" +
                                  text;
}

bool usesGeometryShader4(const std::string& text)
{
    for (const std::string& line : linesOf(withoutComments(text)))
        if (isDirective(line, "extension\\s+GL_EXT_geometry_shader4"))
            return true;
    return false;
}

std::string inVersion150(const std::string& text, const GeometryLayout& layout)
{
    const bool isSpread = layout.output == "points" && layout.vertices > layout.verticesAnInvocation;
    std::string body = withInputBlock(text);
    body = replaceCode(body, "\\bgl_VerticesIn\\b", "gl_in.length()");
    if (isSpread || layout.shifted)
        body = replaceCode(body, "\\bEmitVertex\\b", "velmorEmitVertex");

    std::vector<std::string> lines = linesOf(body);
    const std::vector<std::string> code = linesOf(withoutComments(body));
    std::size_t lastExtension = 0; // counted from 1; 0 where there is none
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (isDirective(code[i], "extension"))
            lastExtension = i + 1;
        if (isDirective(code[i], "version") || isDirective(code[i], "extension\\s+GL_EXT_geometry_shader4"))
            lines[i].clear();
    }

    std::ostringstream out;
    out << "#version 150 compatibility\n";
    if (isSpread)
        out << "#extension GL_ARB_gpu_shader5 : require\n";
    out << "#line 0\n";
    for (std::size_t i = 0; i <= lines.size(); ++i) {
        if (i == lastExtension)
            out << declarations(layout, isSpread) << "\n#line " << i << '\n';
        if (i < lines.size())
            out << lines[i] << '\n';
    }
    return out.str();
}

} // namespace velmor::glsupport::adapter
