#pragma once

#include "tests/gstreamer/Harness.h"

#include <atomic>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace velmor::tests {

/// An element whose life is tested.
struct Element
{
    std::string name;   ///< of the factory
    std::string launch; ///< the piece of a pipeline that holds it, by the name "tested"
    int sources = 1;    ///< how many streams it takes; the pads of two are sink_0 and sink_1
    std::string format; ///< of the frames that it is given, such as "RGB"; empty where the element chooses
    std::string other;  ///< what the frames change to in mid-stream
};

/// What a failed test shows of an element.
void PrintTo(const Element& element, std::ostream* stream);

/// Each element of the plugin, so that a new one enters the tests of Life here. velmorglfilter is not among them: what
/// it takes is textures, and gl/ has the tests of its life.
const std::vector<Element>& elements();

/// Waits for something, for 20 seconds at most.
/// @return whether it came
bool waitFor(const std::function<bool()>& condition);

/// A whole pipeline around an element, with test pictures for sources and a sink by the name "sink".
class Pipeline
{
public:
    /// @param source  that gives the pictures, as gst-launch-1.0 takes it
    /// @param sink    what comes behind the element; the last element of it is called "sink"
    Pipeline(const Element& element, const std::string& source, const std::string& sink);

    /// Goes to NULL. Ends the program where that takes more than 20 seconds, as a thread is lost then.
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    GstElement* get() { return mPipeline.get(); }
    Owned<GstElement> element(const std::string& name);

    /// Asks for a state, and does not wait until it is reached.
    void ask(GstState state);

    /// Goes to a state. Tells of a failure where that takes more than 20 seconds.
    void go(GstState state);

    /// How many frames have come to the sink.
    int frames() const { return mFrames; }

    /// Whether so many more frames come.
    bool getsFrames(int number);

    /// Whether the stream ends, without an error.
    bool ends();

    /// The text of an error that has been told of, empty where there is none.
    std::string error();

    /// Changes what the sources give.
    void setCaps(const std::string& format, const cv::Size& size);

    /// The size of what comes to the sink, empty while it is not known.
    cv::Size sizeAtSink();

private:
    Owned<GstElement> mPipeline;
    std::atomic<int> mFrames = 0;
};

} // namespace velmor::tests
