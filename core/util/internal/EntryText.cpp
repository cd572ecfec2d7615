#include "core/util/internal/EntryText.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

namespace velmor::core::util {
namespace {

constexpr int kDeepest = 16;

const char* const kSpaces = " \t\r\n";

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') || character == '_';
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// A place in a text, and what YAML and XML have in common.
class Reader
{
public:
    Reader(std::string_view text, std::size_t mostEntries) : mText(text), mMostEntries(mostEntries) {}

protected:
    bool atEnd() const { return mPlace == mText.size(); }
    bool isAt(std::string_view token) const { return mText.compare(mPlace, token.size(), token) == 0; }
    char next() const { return atEnd() ? '\0' : mText[mPlace]; }

    bool take(std::string_view token)
    {
        const bool isThere = isAt(token);
        mPlace += isThere ? token.size() : 0;
        return isThere;
    }

    std::string_view takeUntil(const char* ends)
    {
        const std::size_t start = mPlace;
        mPlace = std::min(mText.find_first_of(ends, start), mText.size());
        return mText.substr(start, mPlace - start);
    }

    std::string_view takeName()
    {
        const std::size_t start = mPlace;
        if (isLetter(next()))
            while (isLetter(next()) || isDigit(next()) || next() == '-')
                ++mPlace;
        return mText.substr(start, mPlace - start);
    }

    [[noreturn]] void fail(const std::string& what) const
    {
        const auto line = std::count(mText.begin(), mText.begin() + static_cast<std::ptrdiff_t>(mPlace), '\n') + 1;
        throw TextDamage(what + " in line " + std::to_string(line));
    }

    [[noreturn]] void failHere() const
    {
        if (atEnd())
            throw TextDamage("it is cut off");
        fail("it is not understood");
    }

    void checkDepth(int depth) const
    {
        if (depth > kDeepest)
            fail("it is nested too deeply");
    }

    void add(TextEntry& parent, TextEntry&& element)
    {
        if (++mEntries > mMostEntries)
            throw TextDamage("it has more than " + std::to_string(mMostEntries) + " entries");
        parent.elements.push_back(std::move(element));
    }

    TextEntry scalar(std::string_view word) const
    {
        TextEntry entry;
        entry.kind = TextEntry::Number;
        const bool isSigned = word[0] == '-' || word[0] == '+';
        const std::string_view size = word.substr(isSigned ? 1 : 0);
        if (isOneOf(size, {".Inf", ".inf", ".INF"}))
            entry.number = std::numeric_limits<double>::infinity();
        else if (isOneOf(size, {".NaN", ".Nan", ".nan", ".NAN"}))
            entry.number = std::numeric_limits<double>::quiet_NaN();
        else if (!isNumber(size, entry.number))
            entry.kind = TextEntry::Word;
        if (word[0] == '-')
            entry.number = -entry.number;
        return entry;
    }

    std::string_view mText;
    std::size_t mPlace = 0;

private:
    /// Reads digits with a point and an exponent, in any locale.
    bool isNumber(std::string_view word, double& number) const
    {
        if (word.empty() || !(isDigit(word[0]) || word[0] == '.'))
            return false;
        const char* const end = word.data() + word.size();
        const std::from_chars_result result = std::from_chars(word.data(), end, number);
        if (result.ec == std::errc::result_out_of_range)
            fail("it has a number that is too large or too small");
        return result.ec == std::errc() && result.ptr == end;
    }

    const std::size_t mMostEntries;
    std::size_t mEntries = 0;
};

class YamlReader : Reader
{
public:
    using Reader::Reader;

    TextEntry root()
    {
        if (!take("%YAML") || !(take(":") || take(" ")) || !take("1.") || takeUntil(kSpaces).empty() || !takeLineEnd())
            failHere();
        skipBlank();
        if (column() != 0 || !take("---") || !takeLineEnd())
            failHere();
        TextEntry root = block(0, 0, 1);
        skipBlank();
        if (column() == 0 && take("..."))
            skipBlank();
        if (!atEnd())
            failHere();
        return root;
    }

private:
    std::size_t column() const { return mPlace - mLineStart; }
    bool isComment() const { return next() == '#' && (column() == 0 || isBlank(mText[mPlace - 1])); }
    static bool isBlank(char character) { return character == ' ' || character == '\t' || character == '\r'; }

    void skipBlanksOfLine()
    {
        while (isBlank(next()))
            ++mPlace;
        if (isComment())
            takeUntil("\n");
    }

    bool takeLineEnd()
    {
        skipBlanksOfLine();
        return atEnd() || next() == '\n';
    }

    void skipBlank()
    {
        while (takeLineEnd() && !atEnd())
            mLineStart = ++mPlace;
    }

    bool isAtDash() const
    {
        return next() == '-' && (mPlace + 1 == mText.size() || isBlank(mText[mPlace + 1]) || mText[mPlace + 1] == '\n');
    }

    bool isAtKey()
    {
        const std::size_t start = mPlace;
        const bool isKey = !takeKey().empty();
        mPlace = start;
        return isKey;
    }

    /// A name with a colon behind it, and then a blank or the end of the line.
    std::string_view takeKey()
    {
        const std::string_view name = takeName();
        const bool isKey = take(":") && (atEnd() || isBlank(next()) || next() == '\n');
        return isKey ? name : std::string_view();
    }

    /// What is indented by so much, or nothing; a list may begin less far to the right.
    TextEntry block(std::size_t leastColumn, std::size_t leastOfList, int depth)
    {
        skipBlank();
        if (atEnd() || column() < (isAtDash() ? leastOfList : leastColumn))
            return {};
        checkDepth(depth);
        if (isAtDash())
            return list(depth);
        return isAtKey() ? map(depth) : inOneLine(depth);
    }

    TextEntry list(int depth)
    {
        const std::size_t start = column();
        TextEntry entry;
        entry.kind = TextEntry::List;
        do {
            take("-");
            add(entry, block(start + 1, start + 1, depth + 1));
            skipBlank();
        } while (column() == start && isAtDash());
        return entry;
    }

    TextEntry map(int depth)
    {
        const std::size_t start = column();
        TextEntry entry;
        entry.kind = TextEntry::Map;
        do {
            const std::string_view key = takeKey();
            TextEntry value = takeLineEnd() ? block(start + 1, start, depth + 1) : inOneLine(depth + 1);
            value.key = key;
            add(entry, std::move(value));
            skipBlank();
        } while (column() == start && isAtKey());
        return entry;
    }

    /// A number, a word or a list in brackets, which may go on in other lines.
    TextEntry inOneLine(int depth)
    {
        if (next() == '[') {
            TextEntry entry = listInBrackets(depth);
            if (!takeLineEnd())
                failHere();
            return entry;
        }
        const std::size_t start = mPlace;
        std::size_t end = mPlace;
        while (!takeLineEnd()) {
            takeUntil(kSpaces);
            end = mPlace;
        }
        return scalar(mText.substr(start, end - start));
    }

    TextEntry listInBrackets(int depth)
    {
        checkDepth(depth);
        TextEntry entry;
        entry.kind = TextEntry::List;
        take("[");
        skipBlank();
        if (take("]"))
            return entry;
        do {
            skipBlank();
            if (next() == '[') {
                add(entry, listInBrackets(depth + 1));
            } else {
                const std::string_view word = takeUntil(" \t\r\n,[]");
                if (word.empty())
                    failHere();
                add(entry, scalar(word));
            }
            skipBlank();
        } while (take(","));
        if (!take("]"))
            failHere();
        return entry;
    }

    std::size_t mLineStart = 0;
};

class XmlReader : Reader
{
public:
    using Reader::Reader;

    TextEntry root()
    {
        takeUntil(">");
        if (mText[mPlace - 1] != '?' || !take(">"))
            failHere();
        skipBlank();
        if (!isAt("<"))
            failHere();
        TextEntry root = element(1);
        if (root.key != "opencv_storage")
            throw TextDamage("its root is not opencv_storage");
        skipBlank();
        if (!atEnd())
            failHere();
        return root;
    }

private:
    void skipSpaces() { mPlace = std::min(mText.find_first_not_of(kSpaces, mPlace), mText.size()); }

    void skipBlank()
    {
        for (skipSpaces(); take("<!--"); skipSpaces()) {
            mPlace = std::min(mText.find("-->", mPlace), mText.size());
            if (!take("-->"))
                failHere();
        }
    }

    TextEntry element(int depth)
    {
        checkDepth(depth);
        take("<");
        const std::string_view name = takeName();
        skipSpaces();
        TextEntry entry;
        if (name.empty() || !(isAt("/>") || isAt(">")))
            failHere();
        if (!take("/>")) {
            take(">");
            entry = content(depth);
            skipSpaces();
            if (!take("</") || takeName() != name)
                failHere();
            skipSpaces();
            if (!take(">"))
                failHere();
        }
        entry.key = name;
        return entry;
    }

    /// Elements, or words; a single word is that, and several are a list.
    TextEntry content(int depth)
    {
        TextEntry entry;
        bool hasWords = false;
        for (skipBlank(); !isAt("</"); skipBlank()) {
            const bool isWord = next() != '<';
            if (atEnd() || (!entry.elements.empty() && isWord != hasWords))
                failHere();
            hasWords = isWord;
            add(entry, isWord ? scalar(takeUntil(" \t\r\n<")) : element(depth + 1));
        }
        if (entry.elements.empty())
            return entry;
        if (hasWords && entry.elements.size() == 1)
            return std::move(entry.elements.front()); // NOLINT
        entry.kind = hasWords || isList(entry) ? TextEntry::List : TextEntry::Map;
        return entry;
    }

    bool isList(const TextEntry& entry) const
    {
        const auto isItem = [](const TextEntry& element) {
            return element.key == "_";
        };
        const bool isList = isItem(entry.elements.front());
        if (!std::all_of(entry.elements.begin(), entry.elements.end(),
                         [&](const TextEntry& e) { return isItem(e) == isList; }))
            failHere();
        return isList;
    }
};

/// Refuses the bytes that no text has: the parsers take none for the end.
void checkBytes(std::string_view text)
{
    const auto isControl = [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte < ' ' && character != '\t' && character != '\r' && character != '\n') || byte == 127;
    };
    const auto place = std::find_if(text.begin(), text.end(), isControl);
    if (place != text.end())
        throw TextDamage("it has a byte that no text may have in line " +
                         std::to_string(std::count(text.begin(), place, '\n') + 1));
}

} // namespace

TextEntry parseEntries(std::string_view text, std::size_t mostEntries)
{
    const std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, byteOrderMark.size()) == byteOrderMark)
        text.remove_prefix(byteOrderMark.size());
    checkBytes(text);
    if (text.substr(0, 5) == "<?xml")
        return XmlReader(text, mostEntries).root();
    if (text.substr(0, 5) == "%YAML")
        return YamlReader(text, mostEntries).root();
    throw TextDamage("it begins neither with %YAML nor with <?xml");
}

} // namespace velmor::core::util
