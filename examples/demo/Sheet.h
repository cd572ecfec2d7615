#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace velmor::examples {

/// Pictures with captions, in sections, that are laid out on one sheet.
class Sheet
{
public:
    struct Exhibit
    {
        cv::Mat picture; ///< BGR, in the size in which it is shown
        std::string title;
        std::string sentence;
    };
    using Exhibits = std::vector<Exhibit>;

    /// @param columns  so many pictures stand side by side
    explicit Sheet(std::size_t columns = 4) : mColumns(columns) {}

    /// Pictures added from here on stand under this heading.
    void beginSection(const std::string& heading);

    /// Adds a picture; of a large one only a reduced copy is kept.
    /// @param title     the operator's name, alone or with a comma and what is special about it
    /// @param sentence  what is seen, in some 50 letters
    void add(const cv::Mat& picture, const std::string& title, const std::string& sentence);

    /// All pictures, in their order.
    Exhibits exhibits() const;

    /// The sheet, 2000 pixels wide of four columns, as 8-bit BGR.
    cv::Mat drawn(const std::string& title, const std::string& subtitle) const;

private:
    struct Section
    {
        std::string heading;
        std::vector<Exhibits> rows;
    };

    std::size_t mColumns;
    std::vector<Section> mSections;
};

} // namespace velmor::examples
