#pragma once

#include <gst/gst.h>
#include <opencv2/core/types.hpp>

#include <memory>
#include <vector>

namespace velmor::gstreamer {

struct FreeStructure
{
    void operator()(GstStructure* structure) const { gst_structure_free(structure); }
};
using Structure = std::unique_ptr<GstStructure, FreeStructure>;

/// A part of a frame where something was found, and the numbers of what was found there.
struct Region
{
    /// @param type   of the region; the numbers get that name, and begin with the box: "left", "top", "width", "height"
    Region(const char* type, const cv::Rect& place);

    cv::Rect box;
    Structure numbers;
};

/// What was found in a frame.
struct Findings
{
    unsigned count = 0; ///< of what is looked for
    std::vector<Region> regions;
};

/// Adds a GstVideoRegionOfInterestMeta for each region, with its numbers as a parameter. What else the buffer has
/// stays. Where it has a GstVideoCropMeta, boxes are within the part that this names, and the metas' places within the
/// whole frame: so moveRegions() takes them when the part becomes a frame.
void attach(const std::vector<Region>& regions, GstBuffer* buffer);

/// Adds findings to a structure: "count", and the numbers of the regions as a list of structures.
/// @param list  name of the list
void addTo(GstStructure* structure, const char* list, const Findings& findings);

/// Gives the numbers of the regions to the value of a property that declareRegions() declared.
void give(const std::vector<Region>& regions, GValue& value);

/// Declares a property with the numbers of regions, to be read alone.
void declareRegions(GObjectClass* type, guint id, const char* name, const char* blurb);

} // namespace velmor::gstreamer
