#pragma once

namespace velmor::cvprocess {

/// Names of colour formats.
struct CvtColour
{
    /// What the bytes of a three-channel pixel are, in their order.
    enum ColourFormat
    {
        RGB = 0,
        HSV = 1,
        BGR = 2
    };
};

} // namespace velmor::cvprocess
