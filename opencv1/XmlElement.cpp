#include "opencv1/XmlElement.h"

#include <expat.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace velmor::opencv1 {
namespace {

constexpr std::size_t kMaxDepth = 16;        ///< the old format needs 10
constexpr std::size_t kMaxElements = 150000; ///< the largest of Debian's opencv-data has 130,000
constexpr std::size_t kMaxWords = 1000000;   ///< the largest of Debian's has 200,000

std::runtime_error errorAt(unsigned long line, const std::string& reason)
{
    return std::runtime_error("line " + std::to_string(line) + ": " + reason);
}

/// The number of words between spaces, tags among them: a value of a few bytes takes ten times as much memory.
std::size_t wordsIn(const std::string& text)
{
    std::size_t count = 0;
    bool isWord = false;
    for (const char each : text) {
        const bool isSpace = each == ' ' || each == '\t' || each == '\r' || each == '\n';
        count += !isSpace && !isWord;
        isWord = !isSpace;
    }
    return count;
}

/// Builds elements from what expat finds. Its C code must not be left by an exception: one is kept until it has ended.
class Builder
{
public:
    // Each byte is a character of its own: what a cascade says is ASCII, and in comments any encoding will do.
    Builder() : mParser(XML_ParserCreate("ISO-8859-1"), XML_ParserFree)
    {
        if (!mParser)
            throw std::bad_alloc();
        XML_SetUserData(mParser.get(), this);
        XML_SetElementHandler(
            mParser.get(), [](void* self, const XML_Char* name, const XML_Char**) { of(self).open(name); },
            [](void* self, const XML_Char*) { of(self).close(); });
        XML_SetCharacterDataHandler(mParser.get(),
                                    [](void* self, const XML_Char* text, int size) { of(self).addText(text, size); });
        XML_SetStartDoctypeDeclHandler(mParser.get(), [](void* self, const XML_Char*, const XML_Char*, const XML_Char*,
                                                         int) { of(self).stop("there is a document type"); });
    }

    XmlElement build(const std::string& text)
    {
        if (wordsIn(text) > kMaxWords)
            throw errorAt(1, "there are too many words");
        const XML_Status status = XML_Parse(mParser.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
        if (mFailure)
            std::rethrow_exception(mFailure);
        if (status != XML_STATUS_OK && XML_GetErrorCode(mParser.get()) == XML_ERROR_NO_MEMORY)
            throw std::bad_alloc();
        if (status != XML_STATUS_OK)
            throw errorAt(line(), XML_ErrorString(XML_GetErrorCode(mParser.get())));
        return std::move(mRoot);
    }

private:
    static Builder& of(void* self) { return *static_cast<Builder*>(self); }

    unsigned long line() const { return static_cast<unsigned long>(XML_GetCurrentLineNumber(mParser.get())); }

    template<typename Step>
    void guarded(const Step& step)
    {
        try {
            step();
        } catch (...) {
            mFailure = std::current_exception();
            XML_StopParser(mParser.get(), XML_FALSE);
        }
    }

    void stop(const char* reason)
    {
        guarded([&] { throw errorAt(line(), reason); });
    }

    void open(const XML_Char* name)
    {
        if (mOpen.size() == kMaxDepth)
            return stop("elements nest too deep");
        if (++mCount > kMaxElements)
            return stop("there are too many elements");
        guarded([&] {
            mOpen.emplace_back();
            mOpen.back().name = name;
            mOpen.back().line = line();
        });
    }

    void close()
    {
        if (mFailure) // expat ends an empty element that it began, stopped or not
            return;
        guarded([&] {
            XmlElement element = std::move(mOpen.back());
            mOpen.pop_back();
            if (mOpen.empty())
                mRoot = std::move(element);
            else
                mOpen.back().children.push_back(std::move(element));
        });
    }

    void addText(const XML_Char* text, int size)
    {
        if (!mFailure)
            guarded([&] { mOpen.back().text.append(text, static_cast<std::size_t>(size)); });
    }

    std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> mParser;
    std::vector<XmlElement> mOpen; ///< from the outermost to the innermost
    XmlElement mRoot;
    std::size_t mCount = 0;
    std::exception_ptr mFailure;
};

} // namespace

std::runtime_error XmlElement::error(const std::string& reason) const
{
    return errorAt(line, '<' + name + "> " + reason);
}

const XmlElement* XmlElement::find(const char* childName) const
{
    const XmlElement* found = nullptr;
    for (const XmlElement& each : children) {
        if (each.name != childName)
            continue;
        if (found)
            throw each.error("is given twice");
        found = &each;
    }
    return found;
}

const XmlElement& XmlElement::child(const char* childName) const
{
    const XmlElement* const found = find(childName);
    if (!found)
        throw error(std::string("has no <") + childName + '>');
    return *found;
}

XmlElement parseXml(const std::string& text)
{
    return Builder().build(text);
}

} // namespace velmor::opencv1
