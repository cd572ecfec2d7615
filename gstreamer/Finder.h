#pragma once

#include "catalogue/Catalogue.h"
#include "gstreamer/Frames.h"
#include "gstreamer/Parameters.h"
#include "gstreamer/Regions.h"

#include <gst/gst.h>

#include <memory>
#include <string>
#include <vector>

namespace velmor::gstreamer {

/// What an element that finds things does with its operators. All calls come from one thread at a time.
class Finder
{
public:
    virtual ~Finder() = default;

    /// Reads the file that the operators need, if they need one.
    /// @throws std::runtime_error  saying what is wrong with which file
    virtual void open(const std::string& file);

    /// Prepares for frames of a size, which follow none: they are the first, or come after a seek.
    virtual void begin(const cv::Size& size);

    /// Looks through a frame.
    /// @param parameters  as they are set now
    /// @param picture     of the size given before
    /// @param mask        one channel of the same size, to be written by a finder that gives one
    virtual Findings find(const Parameters& parameters, const cv::Mat& picture, const Format& format,
                          cv::Mat& mask) = 0;

    /// Draws what the last call of find() found into the picture that it had.
    virtual void draw(cv::Mat& picture, const cv::Mat& mask) const = 0;
};

/// What the property "output" of a finder's element chooses.
enum Output : gint
{
    MASK,
    OVERLAY,
    PICTURE
};

/// An element with a finder, as it is registered and shown.
struct FinderElement
{
    const char* name;
    const char* typeName;
    const char* longName;
    const char* description;
    std::vector<Format> takes;                  ///< the formats of frames
    std::vector<catalogue::Operator> operators; ///< whose parameters become properties
    const char* file;                           ///< name of the property with the file; null where none is needed
    const char* fileBlurb;
    const GEnumValue* outputs; ///< the values of Output that there are, ended by zeros; the first one is taken first
    const char* countBlurb;
    const char* list; ///< name of the property, and of the field of messages, with the regions
    const char* listBlurb;
    std::unique_ptr<Finder> (*make)();
};

/// Registers an element. Its messages have its name.
/// @param what  kept as it is as long as the process lives
gboolean registerFinder(GstPlugin* plugin, const FinderElement& what);

} // namespace velmor::gstreamer
