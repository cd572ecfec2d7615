#pragma once

#include "tests/gstreamer/Harness.h"

#include <string>

namespace velmor::tests {

/// velmorglfilter, or several of it, between main memory and main memory.
class GlHarness : public Harness
{
public:
    /// @param launch  between glupload and gldownload; the element of the name "filter" is the one that is set
    explicit GlHarness(const std::string& launch) : Harness("glupload ! " + launch + " ! gldownload") {}

    /// The picture of four bytes that a picture of four bytes becomes, empty where none comes out. The stream changes
    /// its size where that is another one.
    cv::Mat show(const cv::Mat& picture);

    /// Begins a stream of pictures of a size, and of so many frames a second.
    void begin(const cv::Size& size, int rate = 25);

    template<typename Value>
    void set(const char* property, Value value)
    {
        g_object_set(element("filter").get(), property, value, nullptr);
    }

    /// Sets a property to a value as gst-launch-1.0 takes it.
    void setByText(const char* property, const std::string& value)
    {
        gst_util_set_object_arg(G_OBJECT(element("filter").get()), property, value.c_str());
    }

private:
    cv::Size mSize;
};

} // namespace velmor::tests
