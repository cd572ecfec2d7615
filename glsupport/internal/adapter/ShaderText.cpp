#include "glsupport/internal/adapter/ShaderText.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace velmor::glsupport::adapter {
namespace {

using std::string_view;

/// What translated texts begin with. The comment tells them from an application's own texts of these versions.
constexpr string_view kHead120 = "#version 120 // of the classic dialect\n";
constexpr string_view kHead150 = "#version 150 compatibility // of the classic dialect\n";

/// Lines behind it count from 1.
constexpr string_view kFirstLine = "#line 0\n";

bool beginsWith(string_view text, string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

bool isLineEnd(char each)
{
    return each == '\n' || each == '\r';
}

bool isBlank(char each)
{
    return each == ' ' || each == '\t' || each == '\v' || each == '\f';
}

bool isOfWord(char each)
{
    return ('a' <= each && each <= 'z') || ('A' <= each && each <= 'Z') || ('0' <= each && each <= '9') || each == '_';
}

/// How long the line end is that begins here; of two characters where they are different.
std::size_t lineEndLength(string_view text, std::size_t at)
{
    if (at >= text.size() || !isLineEnd(text[at]))
        return 0;
    return at + 1 < text.size() && isLineEnd(text[at + 1]) && text[at + 1] != text[at] ? 2 : 1;
}

/// Where the comment ends that begins here, or here where none begins; nowhere where it does not end.
std::size_t endOfComment(string_view code, std::size_t at)
{
    if (code.substr(at, 2) == "//")
        return std::min(code.find_first_of("\r\n", at), code.size());
    if (code.substr(at, 2) != "/*")
        return at;
    const std::size_t end = code.find("*/", at + 2);
    return end == string_view::npos ? end : end + 2;
}

/// The text with blanks for comments and for continuations of lines, as long as before. All line ends that are left
/// end a line of code. A comment that does not end is code: no compiler takes it.
std::string codeOf(string_view text)
{
    std::string code(text);
    const auto blank = [&code](std::size_t begin, std::size_t end) {
        std::fill(code.begin() + static_cast<std::ptrdiff_t>(begin), code.begin() + static_cast<std::ptrdiff_t>(end),
                  ' ');
    };
    for (std::size_t at = text.find('\\'); at != string_view::npos; at = text.find('\\', at + 1))
        if (const std::size_t length = lineEndLength(text, at + 1))
            blank(at, at + 1 + length);
    for (std::size_t at = code.find('/'); at != std::string::npos; at = code.find('/', at + 1)) {
        const std::size_t end = endOfComment(code, at);
        if (end == std::string::npos)
            break;
        blank(at, end);
    }
    return code;
}

/// Reads words from a line, one after the other.
class Words
{
public:
    explicit Words(string_view line) : mRest(line) {}

    /// The next word, or the next other character; nothing at the end.
    string_view next()
    {
        const auto begin = std::find_if_not(mRest.begin(), mRest.end(), isBlank);
        mRest.remove_prefix(static_cast<std::size_t>(begin - mRest.begin()));
        const auto end = std::find_if_not(mRest.begin(), mRest.end(), isOfWord);
        const auto length = std::max<std::ptrdiff_t>(end - mRest.begin(), mRest.empty() ? 0 : 1);
        const string_view word = mRest.substr(0, static_cast<std::size_t>(length));
        mRest.remove_prefix(word.size());
        return word;
    }

private:
    string_view mRest;
};

/// A preprocessor line.
struct Directive
{
    std::size_t begin;     ///< where its line of code begins
    std::size_t end;       ///< where the line ends, before the line end
    std::size_t behind;    ///< behind the line end
    string_view name;      ///< such as "extension"
    string_view extension; ///< for `#extension name : behaviour`
    string_view behaviour; ///< likewise
};

/// Calls an action with each preprocessor line.
template<typename Action>
void forEachDirective(string_view code, const Action& action)
{
    for (std::size_t begin = 0; begin < code.size();) {
        const std::size_t end = std::min(code.find_first_of("\r\n", begin), code.size());
        const std::size_t behind = end + lineEndLength(code, end);
        Words words(code.substr(begin, end - begin));
        if (words.next() == "#") {
            Directive directive = {begin, end, behind, words.next(), words.next(), {}};
            if (words.next() == ":")
                directive.behaviour = words.next();
            action(directive);
        }
        begin = behind;
    }
}

bool enables(const Directive& directive, std::initializer_list<string_view> extensions)
{
    return directive.name == "extension" && directive.behaviour != "disable" &&
           std::find(extensions.begin(), extensions.end(), directive.extension) != extensions.end();
}

TextFacts factsOfCode(string_view code)
{
    TextFacts facts;
    facts.isEmpty = std::all_of(code.begin(), code.end(), [](char each) { return isBlank(each) || isLineEnd(each); });
    bool usesClassicExtension = false;
    forEachDirective(code, [&](const Directive& directive) {
        if (directive.name == "version") {
            facts.hasVersion = true;
            facts.behindVersion = directive.behind;
        }
        if (directive.name == "version" || directive.name == "extension")
            facts.behindExtensions = directive.behind;
        facts.usesGeometryShader4 = facts.usesGeometryShader4 || enables(directive, {"GL_EXT_geometry_shader4"});
        usesClassicExtension =
            usesClassicExtension || enables(directive, {"GL_ARB_texture_rectangle", "GL_EXT_gpu_shader4",
                                                        "GL_EXT_geometry_shader4", "GL_ARB_color_buffer_float"});
    });
    facts.isClassic = usesClassicExtension && (!facts.hasVersion || facts.usesGeometryShader4);
    return facts;
}

/// A word of code.
struct Word
{
    std::size_t begin;
    string_view text;

    std::size_t end() const { return begin + text.size(); }
};

/// The next word of code from a place on; an empty one behind the last.
Word wordFrom(string_view code, std::size_t at)
{
    const auto from = code.begin() + static_cast<std::ptrdiff_t>(at);
    const auto begin = std::find_if(from, code.end(), isOfWord);
    const auto end = std::find_if_not(begin, code.end(), isOfWord);
    return {static_cast<std::size_t>(begin - code.begin()),
            code.substr(static_cast<std::size_t>(begin - code.begin()), static_cast<std::size_t>(end - begin))};
}

bool hasWord(string_view code, string_view text)
{
    for (Word word = wordFrom(code, 0); !word.text.empty(); word = wordFrom(code, word.end()))
        if (word.text == text)
            return true;
    return false;
}

/// Whether nothing but blanks stands between two places.
bool isBlankBetween(string_view code, std::size_t begin, std::size_t end)
{
    const string_view between = code.substr(begin, end - begin);
    return std::all_of(between.begin(), between.end(), isBlank);
}

std::size_t lineOf(string_view text, std::size_t at)
{
    std::size_t lines = 0;
    for (std::size_t end = text.find_first_of("\r\n"); end < at; end = text.find_first_of("\r\n", end)) {
        end += lineEndLength(text, end);
        ++lines;
    }
    return lines;
}

/// `#line` with which messages about what follows keep their numbers.
std::string keepLine(std::size_t lines)
{
    return "#line " + std::to_string(lines) + "\n";
}

/// `#line` with which `__LINE__` keeps its value behind a place, where no message is seen: Mesa gives it one less than
/// messages. Translated texts count as their beginning has it.
std::string keepLineMacro(string_view text, std::size_t at)
{
    const std::size_t lines = lineOf(text, at);
    if (!beginsWith(text, kHead120))
        return keepLine(lines + 1);
    constexpr std::size_t ofOurs = 2; // the second of which is such a line itself
    return lines < ofOurs ? "" : keepLine(lines - ofOurs);
}

std::string shiftBy(const std::string& uniform)
{
    return "gl_Position.xy += " + uniform + " * gl_Position.w;";
}

/// The text with main() called by another one, in which something comes first or last. The preprocessor gives it the
/// other name, so it does not matter how it is written.
std::string withMainAround(const std::string& text, const std::string& globals, const std::string& first,
                           const std::string& last)
{
    std::string result = text;
    const std::size_t at = factsOf(text).behindVersion;
    result.insert(at, "#define main velmorMain\n" + keepLineMacro(text, at));
    return result + "\n\n#undef main\n" + globals + "void main() { " + first + "velmorMain(); " + last + "}\n";
}

/// The input that a word of EXT_geometry_shader4 reads: "Position" of `gl_PositionIn`; nothing where it is another
/// word.
string_view inputOf(string_view word)
{
    const bool isInput =
        word.size() > 5 && beginsWith(word, "gl_") && word.substr(word.size() - 2) == "In" && word != "gl_VerticesIn";
    return isInput ? word.substr(3, word.size() - 5) : string_view();
}

/// The code of a geometry shader with the inputs of the newer language, and a function of ours to emit vertices.
std::string withInputBlock(const std::string& text)
{
    const std::string code = codeOf(text);
    std::string result;
    std::size_t done = 0;
    const auto replace = [&](std::size_t begin, std::size_t end, const std::string& replacement) {
        result.append(text, done, begin - done).append(replacement);
        done = end;
    };
    std::vector<string_view> openBrackets; // what to add behind each
    for (std::size_t at = 0; at < code.size();) {
        if (!isOfWord(code[at])) {
            if (code[at] == '[')
                openBrackets.emplace_back();
            if (code[at] == ']' && !openBrackets.empty()) {
                if (!openBrackets.back().empty())
                    replace(at + 1, at + 1, ".gl_" + std::string(openBrackets.back()));
                openBrackets.pop_back();
            }
            ++at;
            continue;
        }
        const Word word = wordFrom(code, at);
        at = word.end();
        const std::size_t bracket = std::min(code.find_first_not_of(" \t\r\n\v\f", at), code.size());
        if (word.text == "gl_VerticesIn") {
            replace(word.begin, word.end(), "gl_in.length()");
        } else if (word.text == "EmitVertex") {
            replace(word.begin, word.end(), "velmorEmitVertex");
        } else if (!inputOf(word.text).empty() && bracket < code.size() && code[bracket] == '[') {
            replace(word.begin, word.end(), "gl_in");
            openBrackets.push_back(inputOf(word.text));
            at = bracket + 1;
        }
    }
    return result.append(text, done, std::string::npos);
}

bool isSpread(const GeometryLayout& layout)
{
    return layout.output == "points" && layout.vertices > layout.verticesAnInvocation;
}

/// The function that stands in for EmitVertex(). Where several invocations share the work, each emits its share.
std::string emitFunction(const GeometryLayout& layout)
{
    std::string text;
    if (isSpread(layout))
        text += " int velmorEmitted = 0;";
    if (layout.shifted)
        text += " uniform vec2 velmorEmittedShift;";
    text += " void velmorEmitVertex() {";
    if (layout.shifted)
        text += ' ' + shiftBy("velmorEmittedShift");
    if (isSpread(layout))
        text += " if (velmorEmitted / " + std::to_string(layout.verticesAnInvocation) +
                " == gl_InvocationID) EmitVertex(); velmorEmitted++; }";
    else
        text += " EmitVertex(); }";
    return text;
}

/// The line that follows the extension lines: the layout, and the function that stands in for EmitVertex().
std::string declarations(const GeometryLayout& layout)
{
    const int vertices = isSpread(layout) ? layout.verticesAnInvocation : layout.vertices;
    std::string text = "layout(" + layout.input;
    if (isSpread(layout))
        text += ", invocations = " + std::to_string((layout.vertices + vertices - 1) / vertices);
    text += ") in; layout(" + layout.output;
    if (vertices > 0)
        text += ", max_vertices = " + std::to_string(vertices);
    return text + ") out;" + emitFunction(layout) + '\n';
}

/// What stands in a text of version 1.50 until its program is known.
std::string provisionalDeclarations()
{
    return declarations({"triangles_adjacency", "points", 1, 1});
}

} // namespace

TextFacts factsOf(const std::string& text)
{
    return factsOfCode(codeOf(text));
}

bool isClassic(const std::string& text)
{
    if (beginsWith(text, kHead120) || beginsWith(text, kHead150))
        return true;
    const bool mayBe = text.find("extension") != std::string::npos; // the rest, which is most, is not read
    return mayBe && factsOf(text).isClassic;
}

std::string inVersion120(const std::string& text)
{
    return factsOf(text).hasVersion ? text : std::string(kHead120).append(kFirstLine) + text;
}

std::string withoutFlatOut(const std::string& text)
{
    const std::string code = codeOf(text);
    std::string result = text;
    Word words[2] = {};
    for (Word word = wordFrom(code, 0); !word.text.empty(); word = wordFrom(code, word.end())) {
        if (words[0].text == "flat" && words[1].text == "varying" && word.text == "out" &&
            isBlankBetween(code, words[0].end(), words[1].begin) && isBlankBetween(code, words[1].end(), word.begin))
            result.replace(word.begin, word.text.size(), "   ");
        words[0] = words[1];
        words[1] = word;
    }
    return result;
}

std::string inVersion150(const std::string& text)
{
    std::string body = withInputBlock(text);
    const std::string code = codeOf(body);
    const std::size_t behindExtensions = factsOfCode(code).behindExtensions;
    forEachDirective(code, [&](const Directive& directive) {
        if (directive.name != "version" && !enables(directive, {"GL_EXT_geometry_shader4"}))
            return;
        for (std::size_t at = directive.begin; at < directive.end; ++at)
            if (code[at] != ' ') // comments stay: one may go on in the next line
                body[at] = ' ';
    });
    body.insert(behindExtensions, provisionalDeclarations() + keepLine(lineOf(body, behindExtensions)));
    return std::string(kHead150).append(kFirstLine) + body;
}

bool isInVersion150(const std::string& text)
{
    return beginsWith(text, kHead150);
}

std::string withLayout(const std::string& text, const GeometryLayout& layout)
{
    std::string result = text;
    const std::string provisional = provisionalDeclarations();
    const std::size_t at = result.find(provisional);
    if (at != std::string::npos)
        result.replace(at, provisional.size(), declarations(layout));
    if (isSpread(layout))
        result.insert(kHead150.size(), "#extension GL_ARB_gpu_shader5 : require\n");
    return result;
}

std::string withInitialColour(const std::string& text)
{
    const std::string code = codeOf(text);
    if (!hasWord(code, "gl_FragColor") || hasWord(code, "gl_FragData"))
        return text;
    return withMainAround(text, "", "gl_FragColor = vec4(0.0); ", "");
}

std::string withShiftedVertices(const std::string& text)
{
    if (!hasWord(codeOf(text), "texture2DRect"))
        return text;
    return withMainAround(text, "uniform vec2 velmorVertexShift; ", "", shiftBy("velmorVertexShift") + ' ');
}

std::string withInnerTexels(const std::string& text)
{
    const std::string code = codeOf(text);
    const TextFacts facts = factsOfCode(code);
    const bool hasVersionOfItsOwn = facts.hasVersion && !beginsWith(text, kHead120);
    if (hasVersionOfItsOwn || !hasWord(code, "texture2DRect"))
        return text;
    std::string result = text;
    return result.insert(facts.behindExtensions,
                         "vec2 velmorInner(vec2 place)"
                         " { return place + 0.125 * vec2(equal(fract(place), vec2(0.0))); }\n"
                         "#define texture2DRect(sampler, place) texture2DRect(sampler, velmorInner(place))\n" +
                             keepLineMacro(text, facts.behindExtensions));
}

} // namespace velmor::glsupport::adapter
