#pragma once

#include <string>

namespace velmor::demo {

class Gallery;
class OutputFolder;
struct Scene;

constexpr const char* kGalleryPageName = "gallery.md";
constexpr const char* kGalleryFolderName = "gallery";
constexpr const char* kOverviewName = "overview.jpg";

/// Writes the pictures of a gallery as files, and a page in Markdown that shows for each operator what it gets and what
/// it makes of it. Operators that the gallery has no result of are left out.
/// @param scene  what the gallery was made of
/// @throws std::runtime_error  naming the file and the reason when one cannot be written
void writeGalleryPage(const Gallery& gallery, const Scene& scene, const OutputFolder& folder);

/// Writes a small sheet of the frames and of what operators of many kinds make of them, as far as the gallery has them:
/// a picture that goes into a document.
/// @param scene  what the gallery was made of
/// @param title  of the sheet
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
void writeOverview(const Gallery& gallery, const Scene& scene, const std::string& title, const OutputFolder& folder);

} // namespace velmor::demo
