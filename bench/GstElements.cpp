#include "bench/Comparison.h"
#include "catalogue/CpuOperators.h"
#include "catalogue/NativeFilters.h"

#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include <array>
#include <memory>

/// What elements of the plugin add to the time of their operators, and how many frames they let through beside elements
/// of GStreamer's own that do the same work.
namespace velmor::bench {
namespace {

/// More frames than caches hold, as a camera's are new each time.
constexpr int kFramesInTurn = 8;

/// A part of a pipeline that frames are pushed through. They go back to a pool as they leave it, so that no element
/// finds one that somebody else looks at.
class Pushed
{
public:
    /// @param launch   as gst-launch-1.0 takes it
    /// @param caps     of what comes in, without size and rate
    /// @param picture  of each frame that comes in
    Pushed(const std::string& launch, const std::string& caps, const cv::Mat& picture)
        : mHarness(gst_harness_new_parse(launch.c_str())), mPool(gst_buffer_pool_new())
    {
        const std::string whole = caps + ",width=" + std::to_string(picture.cols) +
                                  ",height=" + std::to_string(picture.rows) + ",framerate=25/1";
        gst_harness_set_src_caps_str(mHarness, whole.c_str());
        const std::size_t row = picture.total() / static_cast<std::size_t>(picture.rows) * picture.elemSize();
        expect(row % 4 == 0, "the row of " + launch); // which has no padding then
        GstStructure* const config = gst_buffer_pool_get_config(mPool);
        gst_buffer_pool_config_set_params(config, nullptr,
                                          static_cast<guint>(row * static_cast<std::size_t>(picture.rows)),
                                          kFramesInTurn, kFramesInTurn);
        expect(gst_buffer_pool_set_config(mPool, config) && gst_buffer_pool_set_active(mPool, TRUE), "a pool");
        std::array<GstBuffer*, kFramesInTurn> buffers = {};
        for (GstBuffer*& each : buffers) {
            each = acquire();
            gst_buffer_fill(each, 0, picture.data, row * static_cast<std::size_t>(picture.rows));
        }
        for (GstBuffer* const each : buffers)
            gst_buffer_unref(each);
    }
    Pushed(const Pushed&) = delete;
    Pushed& operator=(const Pushed&) = delete;
    ~Pushed()
    {
        gst_harness_teardown(mHarness);
        gst_buffer_pool_set_active(mPool, FALSE);
        gst_object_unref(mPool);
    }

    /// What becomes of the first frame.
    cv::Mat result(int type)
    {
        push();
        GstBuffer* const buffer = gst_harness_pull(mHarness);
        GstCaps* const caps = gst_pad_get_current_caps(mHarness->sinkpad);
        GstVideoInfo info;
        GstVideoFrame frame;
        expect(gst_video_info_from_caps(&info, caps) && gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ),
               "what came out");
        const cv::Mat view(info.height, info.width, type, GST_VIDEO_FRAME_PLANE_DATA(&frame, 0),
                           static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)));
        cv::Mat result = view.clone();
        gst_video_frame_unmap(&frame);
        gst_caps_unref(caps);
        gst_buffer_unref(buffer);
        gst_harness_set_drop_buffers(mHarness, TRUE);
        return result;
    }

    void push() { expect(gst_harness_push(mHarness, acquire()) == GST_FLOW_OK, "a frame's way"); }

private:
    GstBuffer* acquire()
    {
        GstBuffer* buffer = nullptr;
        expect(gst_buffer_pool_acquire_buffer(mPool, &buffer, nullptr) == GST_FLOW_OK, "a buffer");
        return buffer;
    }

    GstHarness* mHarness;
    GstBufferPool* mPool;
};

/// An operator with its properties as an element has them, and what comes in.
struct Case
{
    const char* name;
    catalogue::Values values;
    const char* caps;
    int type;
};

const Case kFilters[] = {
    {"Not", {}, "video/x-raw,format=RGB", CV_8UC3},
    {"FlipV", {}, "video/x-raw,format=RGB", CV_8UC3},
    {"BGR2GRAY", {}, "video/x-raw,format=RGB", CV_8UC3},
    {"BGR2HSV", {}, "video/x-raw,format=RGB", CV_8UC3},
    {"Laplacian", {}, "video/x-raw,format=GRAY8", CV_8UC1},
    {"BayerRG2RGB", {}, "video/x-bayer,format=rggb", CV_8UC1},
    {"BayerRG2GRAY", {}, "video/x-bayer,format=rggb", CV_8UC1},
};

/// The filter of an element on the same pictures, without the element.
class Bare
{
public:
    Bare(const Case& what, const cv::Mat& picture) : mFilter(catalogue::makeNative(what.name, what.values))
    {
        for (cv::Mat& each : mPictures)
            each = picture.clone();
        mIsInPlace = std::string(what.name) == "Not";
    }

    cv::Mat result() const
    {
        cv::Mat result;
        mFilter->execute(mPictures[0], result, CV_8U);
        return result;
    }

    void run()
    {
        cv::Mat& picture = mPictures[mNext++ % kFramesInTurn];
        mFilter->execute(picture, mIsInPlace ? picture : mResult, CV_8U);
    }

private:
    std::unique_ptr<native::Filter> mFilter;
    std::array<cv::Mat, kFramesInTurn> mPictures;
    cv::Mat mResult;
    std::size_t mNext = 0;
    bool mIsInPlace;
};

Comparison costOf(const Case& what, const Size& size)
{
    const cv::Mat picture = realPicture(size, what.type);
    const auto element =
        std::make_shared<Pushed>(std::string("velmorfilter operator=") + what.name, what.caps, picture);
    const auto bare = std::make_shared<Bare>(what, picture);
    const cv::Mat expected = bare->result();
    expect(cv::norm(element->result(expected.type()), expected, cv::NORM_INF) == 0, what.name);
    Comparison comparison;
    comparison.own = [element] {
        element->push();
    };
    comparison.beside = "the operator alone";
    comparison.other = [bare] {
        bare->run();
    };
    if (std::string(size.name) == "1080p")
        comparison.most = 1.05;
    return comparison;
}

/// An element beside one of GStreamer's own.
struct Rival
{
    const char* what;
    const char* launch;
    const char* beside;
    const char* otherLaunch;
    const char* caps;
    int type;
};

// With OpenGL both have the way to textures and back. Faces are looked for in the same sizes with the same cascade.
const Rival kRivals[] = {
    {"grey of colours", "velmorfilter operator=BGR2GRAY", "videobalance", "videobalance saturation=0",
     "video/x-raw,format=RGB", CV_8UC3},
    {"colours of a mosaic", "velmorfilter operator=BayerRG2RGB", "bayer2rgb", "bayer2rgb", "video/x-bayer,format=rggb",
     CV_8UC1},
    {"faces", "velmorfaces cascade=/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml", "facedetect",
     "facedetect display=false profile=/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml "
     "nose-profile=none mouth-profile=none eyes-profile=none scale-factor=1.1 min-neighbors=2 min-size-width=40 "
     "min-size-height=40",
     "video/x-raw,format=RGB", CV_8UC3},
    {"edges on textures", "glupload ! glcolorconvert ! velmorglfilter operator=GRAY2Sobel ! gldownload",
     "gleffects_sobel", "glupload ! glcolorconvert ! gleffects_sobel ! gldownload", "video/x-raw,format=RGBA", CV_8UC4},
};

Comparison besideGStreamer(const Rival& what, const Size& size)
{
    const cv::Mat picture = realPicture(size, what.type);
    const auto own = std::make_shared<Pushed>(what.launch, what.caps, picture);
    const auto other = std::make_shared<Pushed>(what.otherLaunch, what.caps, picture);
    for (Pushed* const each : {own.get(), other.get()})
        expect(each->result(CV_8UC1).rows == picture.rows, what.what);
    Comparison comparison;
    comparison.own = [own] {
        own->push();
    };
    comparison.beside = what.beside;
    comparison.other = [other] {
        other->push();
    };
    return comparison;
}

} // namespace
} // namespace velmor::bench

int main(int argc, char** argv)
{
    using namespace velmor::bench;
    gst_init(&argc, &argv);
    for (const Size& size : kFrameSizes) {
        if (std::string(size.name) == "768x576")
            continue;
        for (const Case& each : kFilters)
            add(std::string(each.name) + "/cost/" + size.name, [&each, &size] { return costOf(each, size); });
        for (const Rival& each : kRivals)
            add(std::string(each.what) + "/beside/" + size.name,
                [&each, &size] { return besideGStreamer(each, size); });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    timedNow() = {};
}
