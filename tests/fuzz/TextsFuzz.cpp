// Texts of any kind through what the driver adapter makes of them, without a driver: each rewriting ends, keeps what it
// says it keeps, and leaves alone what it says it leaves alone.

#include "glsupport/internal/adapter/ShaderText.h"
#include "tests/fuzz/Draws.h"

#include <cstdint>

namespace velmor::tests {
namespace {

using namespace glsupport::adapter;

bool has(const std::string& text, const std::string& word)
{
    return text.find(word) != std::string::npos;
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Whether lines may go on in the next one, so that words may be where none seem to be.
bool mayGoOn(const std::string& text)
{
    return has(text, "\\");
}

/// Whether a text is one that a rewriting has made, or looks like it.
bool mayBeMade(const std::string& text)
{
    return text.compare(0, 8, "#version") == 0;
}

void checkFacts(const std::string& text, const TextFacts& facts)
{
    require(facts.behindExtensions <= text.size(), "a place is outside of:\n" + text);
    require(facts.behindVersion <= facts.behindExtensions, "extensions end before the version:\n" + text);
    require(facts.hasVersion == (facts.behindVersion > 0), "a version has no end:\n" + text);
    require(facts.isClassic == isClassic(text) || mayBeMade(text), "a text is classic in one way only:\n" + text);
    require(!facts.isClassic || has(text, "extension"), "nothing makes it classic:\n" + text);
    require(!facts.isEmpty || !(facts.isClassic || facts.hasVersion), "what has a line is empty:\n" + text);
}

void checkVersion120(const std::string& text, const TextFacts& facts)
{
    const std::string versioned = inVersion120(text);
    require(facts.hasVersion ? versioned == text : factsOf(versioned).hasVersion, "no version is given:\n" + text);
    require(endsWith(versioned, text), "a text changes behind its version:\n" + text);
    require(inVersion120(versioned) == versioned, "a version is given twice:\n" + text);
    require(facts.hasVersion || isClassic(versioned), "what was made is not known again:\n" + text);
}

/// Of words like `out` blanks are made, and of nothing else.
void checkFlatOut(const std::string& text)
{
    const std::string flat = withoutFlatOut(text);
    require(flat.size() == text.size(), "lines change with flat varyings:\n" + text);
    for (std::size_t i = 0; i < text.size(); ++i)
        require(flat[i] == text[i] || (flat[i] == ' ' && has("out", std::string(1, text[i]))),
                "more changes than flat varyings:\n" + text);
    const std::string again = withoutFlatOut(flat);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (again[i] == flat[i])
            continue;
        // The second one of `out out` may stay: the text is wrong with it, and the driver says so.
        std::size_t behind = i;
        while (behind > 0 && flat[behind - 1] == text[behind - 1])
            --behind;
        require(behind > 0 && factsOf(text.substr(behind, i - behind)).isEmpty, "flat varyings are left:\n" + text);
        i += 2; // the rest of the word
    }
    require(isClassic(flat) == isClassic(text), "flat varyings change the dialect:\n" + text);
}

/// What is behind a place stays, and where nothing asks for a change all does.
void checkInsertion(const std::string& text, const std::string& rewritten, std::size_t place, bool isAsked)
{
    require(isAsked || rewritten == text, "a text changes that is to stay:\n" + text);
    require(has(rewritten, text.substr(place)), "a text is lost:\n" + text);
    require(rewritten.compare(0, place, text, 0, place) == 0, "what comes first changes:\n" + text);
}

void checkForLink(const std::string& text, const TextFacts& facts)
{
    const bool hasColour = has(text, "gl_FragColor"), readsTexels = has(text, "texture2DRect");
    checkInsertion(text, withInitialColour(text), facts.behindVersion, hasColour);
    checkInsertion(text, withShiftedVertices(text), facts.behindVersion, readsTexels);
    checkInsertion(text, withInnerTexels(text), facts.behindExtensions,
                   readsTexels && (!facts.hasVersion || mayBeMade(text)));
}

void checkGeometry(Bytes& bytes, const std::string& text)
{
    const std::string newer = inVersion150(text);
    require(isInVersion150(newer) && isClassic(newer), "a geometry stage is not known again:\n" + text);
    GeometryLayout layout{oneOf(bytes, std::vector<std::string>{"points", "lines", "triangles"}), "points",
                          bytes.ConsumeIntegralInRange(0, 2000), bytes.ConsumeIntegralInRange(1, 2000)};
    layout.shifted = bytes.ConsumeBool();
    const std::string whole = withLayout(newer, layout);
    require(has(whole, "layout(" + layout.input), "the layout of a geometry stage is lost:\n" + text);
    require(isInVersion150(whole), "a layout makes it another one:\n" + text);
    require(mayGoOn(text) || has(text, "In") || has(text, "EmitVertex") || has(text, "version") ||
                has(text, "extension") || endsWith(newer, text),
            "a stage changes without a reason:\n" + text);
}

} // namespace
} // namespace velmor::tests

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace velmor::tests;
    Bytes bytes(data, size);
    const std::string text = bytes.ConsumeRandomLengthString(); // what is left draws a layout
    const TextFacts facts = factsOf(text);
    checkFacts(text, facts);
    checkVersion120(text, facts);
    checkFlatOut(text);
    checkForLink(text, facts);
    checkGeometry(bytes, text);
    return 0;
}
