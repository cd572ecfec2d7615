#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace velmor::demo {

/// The account of a run in plain text: what came in, what every operator took and found, what was written.
class Summary
{
public:
    /// A line of the head, such as "renderer".
    void addFact(const std::string& label, const std::string& text);

    /// A line of the table of operators.
    /// @param size          of the picture that came out, or of the one that a figure was computed from
    /// @param milliseconds  median time of one run
    /// @param found         what the result says, in a few words
    void addOperator(const std::string& name, const cv::Size& size, double milliseconds, const std::string& found);

    /// A line of the list of files.
    void addFile(const std::string& name, const std::string& what);

    /// The whole account.
    /// @param folder  where the files lie
    std::string text(const std::string& folder) const;

private:
    struct Line
    {
        std::string label;
        std::string text;
    };
    struct Operator
    {
        std::string name;
        cv::Size size;
        double milliseconds;
        std::string found;
    };

    std::vector<Line> mFacts;
    std::vector<Operator> mOperators;
    std::vector<Line> mFiles;
};

} // namespace velmor::demo
