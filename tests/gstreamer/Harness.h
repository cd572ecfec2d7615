#pragma once

#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <opencv2/core/mat.hpp>

#include <memory>
#include <set>
#include <string>

namespace velmor::tests {

/// Buffers, caps, elements and the like, given back at the end of their scope.
struct Unref
{
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
    void operator()(GstMessage* message) const { gst_message_unref(message); }
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstElement* element) const { gst_object_unref(element); }
    void operator()(GError* error) const { g_error_free(error); }
};
template<typename Type>
using Owned = std::unique_ptr<Type, Unref>;

/// A piece of a pipeline in a harness: pictures go in, and what comes out is looked at.
class Harness
{
public:
    /// @param launch  as gst-launch-1.0 takes it
    explicit Harness(const std::string& launch);
    ~Harness();
    Harness(const Harness&) = delete;
    Harness& operator=(const Harness&) = delete;

    GstHarness* get() { return mHarness.get(); }

    /// The element of some name within the piece.
    Owned<GstElement> element(const std::string& name);

    /// Says what comes in, such as "video/x-raw,format=RGB", whose size and rate are added.
    void setCaps(const std::string& caps, const cv::Size& size);

    /// Sends a picture in, and takes what comes out.
    Owned<GstBuffer> filter(Owned<GstBuffer> buffer);

private:
    struct Teardown
    {
        void operator()(GstHarness* harness) const { gst_harness_teardown(harness); }
    };
    std::unique_ptr<GstHarness, Teardown> mHarness;
};

/// A buffer with the pixels of a picture in rows of a stride, described by a GstVideoMeta. What is beside the picture
/// holds 0xAA.
Owned<GstBuffer> bufferOf(const cv::Mat& picture, GstVideoFormat format, int stride);

/// A buffer with a larger picture, of which a GstVideoCropMeta names a part.
Owned<GstBuffer> bufferOf(const cv::Mat& picture, GstVideoFormat format, int stride, const cv::Rect& part);

/// The first message of some types that an element within a pipeline or harness has sent to a bus, null where there is
/// none within 20 s.
Owned<GstMessage> messageOn(GstBus* bus, GstMessageType types);

/// A bus on which the messages of an element outside of a pipeline arrive, as long as it lives.
class Ear
{
public:
    explicit Ear(GstElement* element);
    ~Ear();
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;

    GstBus* bus() { return mBus; }

    /// The next message of some types, null where there is none within 20 s.
    Owned<GstMessage> next(GstMessageType types) { return messageOn(mBus, types); }

    /// The next message of some types, null where there is none yet.
    Owned<GstMessage> now(GstMessageType types) { return Owned<GstMessage>(gst_bus_pop_filtered(mBus, types)); }

private:
    GstElement* mElement;
    GstBus* mBus;
};

/// The words that a property of an element takes.
std::set<std::string> wordsOf(GstElement* element, const char* property);

/// The error or the warning that a message holds.
Owned<GError> errorIn(GstMessage* message);

/// What it says.
std::string textOf(GstMessage* message);

/// A copy of the pixels of a buffer that has the format and size of some caps.
cv::Mat pictureOf(GstBuffer* buffer, GstCaps* caps, int type);

/// A copy of the pixels of a buffer that came out of a harness.
cv::Mat shown(GstHarness* harness, GstBuffer* buffer, int type);
cv::Mat shown(Harness& harness, GstBuffer* buffer, int type);

} // namespace velmor::tests
