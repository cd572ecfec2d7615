#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace velmor::demo {

/// Pictures with captions, in sections, that are laid out on one sheet.
///
///     gallery.beginSection("Logic filters");
///     gallery.add(picture, "Not", "The negative of the frame");
///     const cv::Mat sheet = gallery.sheet("vtest.avi", "frames 1 and 5");
class Gallery
{
public:
    /// A picture with its caption.
    struct Exhibit
    {
        cv::Mat picture; ///< BGR, in the size in which it is shown
        std::string title;
        std::string sentence;
    };

    /// @param columns  so many pictures stand side by side on the sheet
    explicit Gallery(int columns = 4) : mColumns(columns) {}

    /// Pictures added from here on stand under this heading.
    void beginSection(const std::string& heading);

    /// Adds a picture; of a large one only a reduced copy is kept.
    /// @param picture   8-bit, grey or BGR
    /// @param title     the operator's name
    /// @param sentence  what is seen, in some 50 letters
    void add(const cv::Mat& picture, const std::string& title, const std::string& sentence);

    /// Number of pictures.
    std::size_t size() const;

    /// All pictures, in their order.
    std::vector<Exhibit> exhibits() const;

    /// The sheet, 2000 pixels wide of four columns, as 8-bit BGR.
    cv::Mat sheet(const std::string& title, const std::string& subtitle) const;

private:
    struct Section
    {
        std::string heading;
        std::vector<Exhibit> exhibits;
    };

    int sheetWidth() const;
    std::size_t endOfRow(const Section& section, std::size_t firstOfRow) const;
    int rowHeight(const Section& section, std::size_t firstOfRow) const;
    int sectionHeight(const Section& section) const;
    void drawSection(cv::Mat& sheet, const Section& section, int top) const;
    static void drawExhibit(cv::Mat& sheet, const Exhibit& exhibit, const cv::Rect& place);

    int mColumns;
    std::vector<Section> mSections;
};

} // namespace velmor::demo
