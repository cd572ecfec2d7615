#pragma once

#include <gst/video/video.h>

namespace velmor::gstreamer {

/// Buffers of one format and size whose memory is taken once and serves frame after frame.
class SpareBuffers
{
public:
    SpareBuffers() = default;
    SpareBuffers(const SpareBuffers&) = delete;
    SpareBuffers& operator=(const SpareBuffers&) = delete;
    ~SpareBuffers() { clear(); }

    /// Says what the buffers hold from now on. None is made before it is asked for.
    void set(GstCaps* caps, const GstVideoInfo& info);

    /// Gives back the memory that nobody uses any more.
    void clear();

    /// Takes a buffer, which finds its way back when it is released.
    GstFlowReturn take(GstBuffer** buffer);

private:
    GstBufferPool* mPool = nullptr;
};

} // namespace velmor::gstreamer
