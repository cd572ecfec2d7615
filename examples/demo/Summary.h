#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace velmor::examples {

/// The account of a run in plain text: what came in, what every operator took and found, what was written.
class Summary
{
public:
    void addFact(const std::string& label, const std::string& text);
    void addOperator(const std::string& name, const cv::Size& size, double milliseconds, const std::string& found);
    void addFile(const std::string& name, const std::string& what);

    /// @param folder  where the files lie
    std::string text(const std::string& folder) const;

private:
    using Row = std::vector<std::string>;

    std::vector<Row> mFacts;
    std::vector<Row> mOperators = {{"operator", "pixels", "ms", "found"}};
    std::vector<Row> mFiles;
};

} // namespace velmor::examples
