#include "examples/demo/Summary.h"

#include "examples/shared/Findings.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace velmor::demo {
namespace {

template<class Items, class Text>
int longest(const Items& items, const std::string& heading, Text text)
{
    std::size_t length = heading.size();
    for (const auto& item : items)
        length = std::max(length, text(item).size());
    return static_cast<int>(length);
}

} // namespace

void Summary::addFact(const std::string& label, const std::string& text)
{
    mFacts.push_back({label, text});
}

void Summary::addOperator(const std::string& name, const cv::Size& size, double milliseconds, const std::string& found)
{
    mOperators.push_back({name, size, milliseconds, found});
}

void Summary::addFile(const std::string& name, const std::string& what)
{
    mFiles.push_back({name, what});
}

std::string Summary::text(const std::string& folder) const
{
    const auto label = [](const Line& line) {
        return line.label;
    };
    std::ostringstream out;
    const int factWidth = longest(mFacts, "", label);
    for (const Line& fact : mFacts)
        out << std::left << std::setw(factWidth) << fact.label << "  " << fact.text << '\n';

    const int nameWidth = longest(mOperators, "operator", [](const Operator& each) { return each.name; });
    const int sizeWidth = longest(mOperators, "pixels", [](const Operator& each) { return sizeText(each.size); });
    const auto row = [&](const std::string& name, const std::string& size, const std::string& milliseconds,
                         const std::string& found) {
        out << std::left << std::setw(nameWidth) << name << "  " << std::setw(sizeWidth) << size << "  " << std::right
            << std::setw(7) << milliseconds << "  " << found << '\n';
    };
    out << '\n';
    row("operator", "pixels", "ms", "found");
    for (const Operator& each : mOperators)
        row(each.name, sizeText(each.size), decimalText(each.milliseconds, 2), each.found);

    out << "\nwritten into " << folder << '\n';
    const int fileWidth = longest(mFiles, "", label);
    for (const Line& file : mFiles)
        out << "  " << std::left << std::setw(fileWidth) << file.label << "  " << file.text << '\n';
    return out.str();
}

} // namespace velmor::demo
