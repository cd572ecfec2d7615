#include "examples/demo/Summary.h"

#include "examples/shared/Findings.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace velmor::examples {
namespace {

int widthOf(const std::vector<std::vector<std::string>>& rows, std::size_t column)
{
    std::size_t width = 0;
    for (const auto& row : rows)
        width = std::max(width, row[column].size());
    return static_cast<int>(width);
}

} // namespace

void Summary::addFact(const std::string& label, const std::string& text)
{
    mFacts.push_back({label, text});
}

void Summary::addOperator(const std::string& name, const cv::Size& size, double milliseconds, const std::string& found)
{
    mOperators.push_back({name, sizeText(size), decimalText(milliseconds, 2), found});
}

void Summary::addFile(const std::string& name, const std::string& what)
{
    mFiles.push_back({name, what});
}

std::string Summary::text(const std::string& folder) const
{
    std::ostringstream out;
    out << std::left;
    for (const Row& fact : mFacts)
        out << std::setw(widthOf(mFacts, 0)) << fact[0] << "  " << fact[1] << '\n';
    out << '\n';
    for (const Row& row : mOperators)
        out << std::setw(widthOf(mOperators, 0)) << row[0] << "  " << std::setw(widthOf(mOperators, 1)) << row[1]
            << "  " << std::right << std::setw(7) << row[2] << std::left << "  " << row[3] << '\n';
    out << "\nwritten into " << folder << '\n';
    for (const Row& file : mFiles)
        out << "  " << std::setw(widthOf(mFiles, 0)) << file[0] << "  " << file[1] << '\n';
    return out.str();
}

} // namespace velmor::examples
