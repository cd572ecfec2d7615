#pragma once

#include <filesystem>
#include <string>

namespace velmor::examples {

class Sheet;
struct Scene;

constexpr const char* kGalleryPageName = "gallery.md";
constexpr const char* kGalleryFolderName = "gallery";
constexpr const char* kOverviewName = "overview.jpg";

/// Writes the pictures of a sheet as files, and a page in Markdown that says of each operator what it does, and shows
/// what it gets and what it makes of it, where the sheet has that.
void writeGalleryPage(const Sheet& sheet, const Scene& scene, const std::filesystem::path& folder);

/// Writes a small sheet of the frames and of what operators of many kinds make of them, as far as the sheet has them: a
/// picture that goes into a document.
void writeOverview(const Sheet& sheet, const Scene& scene, const std::string& title,
                   const std::filesystem::path& folder);

} // namespace velmor::examples
