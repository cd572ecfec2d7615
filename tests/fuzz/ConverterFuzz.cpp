// Files of any kind, of any name, through GlShaderMgr::convertShaderFileToString(): what it writes is what its rule,
// which stands here once more, makes of them.

#include "cvprocess/gpuStdShaders/GlShaderMgr.h"
#include "tests/fuzz/Draws.h"
#include "tests/fuzz/Files.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace velmor::tests {
namespace {

using cvprocess::GlShaderMgr;

/// What an edit makes of a line, found character by character. Both marks are those of the line as it was read.
std::string convertedLine(const std::string& line, bool& inComment)
{
    const std::size_t opening = line.find("/*"), closing = line.find("*/");
    const bool opens = opening != std::string::npos, closes = closing != std::string::npos;
    std::string shortened;
    for (std::size_t i = 0; i < line.size(); ++i)
        if (!(opens && i == opening + 1))
            shortened += line[i];
    std::string edited;
    for (std::size_t i = 0; i < shortened.size(); ++i) {
        if (closes && i == closing)
            edited += "\\n\\\n";
        else if (!(closes && i == closing + 1))
            edited += shortened[i] == '"' ? "\\\"" : std::string(1, shortened[i]);
    }
    inComment = !closes && (opens || inComment);
    return (inComment ? "// " : "") + edited + "\\n\"\"\\\n";
}

std::string convertedText(const std::string& name, const std::string& text)
{
    std::string constant = name;
    constant[constant.find('.')] = '_';
    std::string result = "\n// ####### THIS STRING IS AUTOMATICALLY GENERATED FROM FILE: " + name +
                         " #######\nstd::string " + constant + "=\"\\\n";
    bool inComment = false;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        result += convertedLine(text.substr(begin, end - begin), inComment);
        begin = end + 1;
    }
    return result + "\"; // ### END OF SHADER STRING ###\n";
}

std::string drawName(Bytes& bytes)
{
    std::string name = bytes.ConsumeRandomLengthString(40);
    name.resize(std::min(name.size(), name.find('\0')));
    for (char& each : name)
        each = each == '/' ? '.' : each;
    return bytes.ConsumeBool() ? "a" + name + ".frag" : name;
}

bool isFolder(const std::string& name)
{
    return name == "." || name == "..";
}

void convertOnce(Bytes& bytes, std::string& collected)
{
    const std::string name = drawName(bytes);
    const std::string out = oneIn(bytes, 32) ? "nowhere/all" : "out"; // no input is of that name
    const bool appends = bytes.ConsumeBool();
    const std::string text = bytes.ConsumeRandomLengthString(2000);
    const bool isWritten = name != "out" && !name.empty() && !isFolder(name) && !oneIn(bytes, 32);
    if (isWritten)
        write(name, text);
    const bool opens = isWritten || isFolder(name);
    if (name == "out")
        return;
    const bool hasDot = name.find('.') != std::string::npos;
    const Errors errors;
    int result = 0;
    try {
        result = GlShaderMgr::convertShaderFileToString(name.c_str(), out.c_str(), appends);
    } catch (const std::out_of_range&) {
        require(opens && !hasDot, "a name with a dot is refused");
        result = -2;
    }
    if (isWritten)
        remove(name);
    require(result != 1 || (opens && hasDot), "a name without a dot, or no file, is taken");
    if (!opens)
        require(result == -1 && errors.text() == "Unable to open input file", "a file that is not there is opened");
    else if (hasDot && out != "out")
        require(result == -1 && errors.text() == "Unable to open output file", "an output is not opened");
    if (opens && !appends && out == "out") // which is made empty before the name is looked at
        collected.clear();
    if (result == 1)
        collected += convertedText(name, isFolder(name) ? "" : text);
    require(contentOf("out") == collected, "'" + name + "' is converted otherwise:\n" + text);
}

} // namespace
} // namespace velmor::tests

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace velmor::tests;
    static const WorkingFolder folder;
    Bytes bytes(data, size);
    write("out", "");
    std::string collected;
    for (int call = 0; call < 3 && bytes.remaining_bytes() > 0; ++call)
        convertOnce(bytes, collected);
    return 0;
}
