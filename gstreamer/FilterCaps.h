#pragma once

#include "catalogue/Catalogue.h"
#include "gstreamer/Frames.h"

#include <gst/base/gstbasetransform.h>

#include <vector>

namespace velmor::gstreamer {

/// What velmorfilter does, as far as its caps depend on it.
struct FilterChoice
{
    const catalogue::Operator* what = nullptr;
    bool keepsColours = false; ///< whether a mask's pixels keep their colours

    bool operator==(const FilterChoice& other) const
    {
        return what == other.what && keepsColours == other.keepsColours;
    }
    bool operator!=(const FilterChoice& other) const { return !(*this == other); }
};

/// Whether it takes the mosaic of a sensor, video/x-bayer, instead of video/x-raw.
bool takesMosaic(const FilterChoice& choice);

/// Whether it gives numbers, and frames as they come.
bool givesNumbers(const FilterChoice& choice);

/// Whether its result is of floats, which become bytes by a scale and an offset.
bool givesFloats(const FilterChoice& choice);

/// Whether a result has the format of its source.
bool keepsFormat(const FilterChoice& choice);

/// Whether channel 0 of what it takes has to be red.
bool takesColour(const FilterChoice& choice);

/// The formats that it takes. A mosaic lies in memory as GST_VIDEO_FORMAT_GRAY8 does.
std::vector<Format> formatsTaken(const FilterChoice& choice);

/// The formats that it gives for frames of a format that it takes, the nearest one first.
std::vector<Format> formatsGiven(const FilterChoice& choice, const Format& source);

/// What its other pad has where one pad has some caps, as in GstBaseTransform. The caller owns the result.
GstCaps* transformCaps(const FilterChoice& choice, GstPadDirection direction, const GstCaps* caps);

/// Of caps that its source pad may have, those that are nearest to what comes in.
/// @param others  taken; the result is the caller's
GstCaps* fixateNearest(const FilterChoice& choice, const GstCaps* source, GstCaps* others);

/// Reads caps of video/x-raw, or of a mosaic.
bool readCaps(GstVideoInfo& info, const GstCaps* caps);

/// Whether the frames that come in now have some caps.
bool comesNow(GstBaseTransform* base, const GstCaps* caps);

/// Whether it makes anything of frames of some caps.
bool takes(const FilterChoice& choice, const GstCaps* caps);

/// Whether it makes frames of one caps of those of another.
bool leads(const FilterChoice& choice, const GstCaps* from, const GstCaps* to);

/// Whether frames of some caps could go through it, and what it gives further on.
bool fits(const FilterChoice& choice, GstBaseTransform* base, const GstCaps* caps);

/// Whether the frames that come in now could.
bool fitsNow(const FilterChoice& choice, GstBaseTransform* base);

/// Whether frames could come in that could go through it.
bool couldFit(const FilterChoice& choice, GstBaseTransform* base);

} // namespace velmor::gstreamer
