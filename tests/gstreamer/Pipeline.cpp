#include "tests/gstreamer/Pipeline.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <stdexcept>

namespace velmor::tests {
namespace {

std::string capsOf(const std::string& format, const cv::Size& size)
{
    return "video/x-raw," + (format.empty() ? "" : "format=" + format + ",") + "width=" + std::to_string(size.width) +
           ",height=" + std::to_string(size.height) + ",framerate=25/1";
}

std::string sourceOf(const Element& element, const std::string& source, int number)
{
    return source + " ! capsfilter name=caps" + std::to_string(number) + " caps=" + capsOf(element.format, {64, 48}) +
           " ! ";
}

std::string launchOf(const Element& element, const std::string& source, const std::string& sink)
{
    if (element.sources == 1)
        return sourceOf(element, source, 0) + element.launch + " ! " + sink;
    return element.launch + " ! " + sink + ' ' + sourceOf(element, source, 0) + "tested.sink_0 " +
           sourceOf(element, source, 1) + "tested.sink_1";
}

void countFrame(GstElement*, GstBuffer*, GstPad*, std::atomic<int>* frames)
{
    ++*frames;
}

std::string errorOf(GstMessage* message)
{
    return std::string(GST_OBJECT_NAME(message->src)) + ": " + textOf(message);
}

} // namespace

void PrintTo(const Element& element, std::ostream* stream)
{
    *stream << element.name;
}

const std::vector<Element>& elements()
{
    static const std::vector<Element> kElements = {
        {"velmorfilter", "velmorfilter name=tested", 1, "", "GRAY8"},
        {"velmormix", "velmormix name=tested", 2, "RGB", "GRAY8"},
        {"velmorcolour", "velmorcolour name=tested model=" VELMOR_TEST_MODEL, 1, "RGB", "BGRx"},
        {"velmormotion", "velmormotion name=tested", 1, "RGB", "BGRx"},
        // Reduced to less than a face has, so that frames pass quickly.
        {"velmorfaces",
         "velmorfaces name=tested reduced=4 "
         "cascade=/usr/share/opencv4/lbpcascades/lbpcascade_frontalface_improved.xml",
         1, "RGB", "GRAY8"},
    };
    return kElements;
}

bool waitFor(const std::function<bool()>& condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        g_usleep(1000);
    }
    return true;
}

Pipeline::Pipeline(const Element& element, const std::string& source, const std::string& sink)
    : mPipeline(
          gst_parse_launch_full(launchOf(element, source, sink).c_str(), nullptr, GST_PARSE_FLAG_FATAL_ERRORS, nullptr))
{
    if (!mPipeline)
        throw std::runtime_error("There is no such pipeline: " + launchOf(element, source, sink));
    const Owned<GstElement> last = this->element("sink");
    g_object_set(last.get(), "signal-handoffs", TRUE, nullptr);
    g_signal_connect(last.get(), "handoff", G_CALLBACK(countFrame), &mFrames);
}

Pipeline::~Pipeline()
{
    std::future<void> end = std::async(std::launch::async, [this] { ask(GST_STATE_NULL); });
    if (end.wait_for(std::chrono::seconds(20)) == std::future_status::timeout) {
        std::cerr << "The pipeline does not go to NULL.\n";
        std::abort();
    }
}

Owned<GstElement> Pipeline::element(const std::string& name)
{
    return Owned<GstElement>(gst_bin_get_by_name(GST_BIN(get()), name.c_str()));
}

void Pipeline::ask(GstState state)
{
    EXPECT_NE(GST_STATE_CHANGE_FAILURE, gst_element_set_state(get(), state)) << error();
}

void Pipeline::go(GstState state)
{
    ask(state);
    EXPECT_NE(GST_STATE_CHANGE_ASYNC, gst_element_get_state(get(), nullptr, nullptr, 20 * GST_SECOND))
        << "The pipeline does not go to " << gst_element_state_get_name(state) << ". " << error();
}

bool Pipeline::getsFrames(int number)
{
    const int wanted = mFrames + number;
    return waitFor([&] { return mFrames >= wanted; });
}

bool Pipeline::ends()
{
    const Owned<GstMessage> message(gst_bus_timed_pop_filtered(
        GST_ELEMENT_BUS(get()), 20 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    if (message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR)
        ADD_FAILURE() << errorOf(message.get());
    return message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS;
}

std::string Pipeline::error()
{
    const Owned<GstMessage> message(gst_bus_pop_filtered(GST_ELEMENT_BUS(get()), GST_MESSAGE_ERROR));
    return message ? errorOf(message.get()) : "";
}

void Pipeline::setCaps(const std::string& format, const cv::Size& size)
{
    const Owned<GstCaps> caps(gst_caps_from_string(capsOf(format, size).c_str()));
    for (const char* const name : {"caps0", "caps1"})
        if (const Owned<GstElement> filter = element(name))
            g_object_set(filter.get(), "caps", caps.get(), nullptr);
}

cv::Size Pipeline::sizeAtSink()
{
    const Owned<GstElement> sink = element("sink");
    GstPad* const pad = gst_element_get_static_pad(sink.get(), "sink");
    const Owned<GstCaps> caps(gst_pad_get_current_caps(pad));
    gst_object_unref(pad);
    cv::Size result;
    if (caps)
        gst_structure_get(gst_caps_get_structure(caps.get(), 0), "width", G_TYPE_INT, &result.width, "height",
                          G_TYPE_INT, &result.height, nullptr);
    return result;
}

} // namespace velmor::tests
