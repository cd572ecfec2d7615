#pragma once

namespace velmor::cvprocess {

/// Names of colour formats.
struct CvtColour
{
    /// What the bytes of a three-channel pixel are, in their order.
    enum ColourFormat
    {
        RGB = 0, ///< red, green, blue
        HSV = 1, ///< hue, saturation, value
        BGR = 2  ///< blue, green, red
    };
};

} // namespace velmor::cvprocess
