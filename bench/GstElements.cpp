#include "bench/Comparison.h"
#include "catalogue/CpuOperators.h"
#include "catalogue/GpuFilters.h"
#include "catalogue/NativeFilters.h"
#include "core/cvdata/ColorGMM.h"
#include "cvprocess/ColourDetector.h"
#include "cvprocess/MotionSegment.h"
#include "glsupport/HeadlessContext.h"
#include "glsupport/RectTexture.h"

#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

/// What elements of the plugin add to the time of their operators, and how many frames they let through beside elements
/// of GStreamer's own that do the same work.
namespace velmor::bench {
namespace {

/// More frames than caches hold, as a camera's are new each time. An odd number, so that two who take them in turn get
/// all of them.
constexpr int kFramesInTurn = 9;

/// So many frames of the pedestrian video, of some type.
std::vector<cv::Mat> framesInTurn(const Size& size, int type)
{
    using core::cvdata::Image;
    std::vector<cv::Mat> result;
    for (const Image& frame : cameraFrames(kFramesInTurn, size, type == CV_8UC1 ? Image::GREYSCALE : Image::RGB)) {
        result.push_back(frame.mat().clone()); // without padding
        if (type == CV_8UC4)
            cv::cvtColor(result.back(), result.back(), cv::COLOR_RGB2RGBA);
    }
    return result;
}

/// Frames in turn, in memory that is taken once. An element and its operator work on the same ones: otherwise one of
/// the two may find its memory where it is faster, by as much as an element may cost.
class Frames
{
public:
    explicit Frames(const std::vector<cv::Mat>& pictures)
        : mSize(pictures.front().size()), mType(pictures.front().type())
    {
        const std::size_t row = static_cast<std::size_t>(mSize.width) * CV_ELEM_SIZE(mType);
        const std::size_t bytes = row * static_cast<std::size_t>(mSize.height);
        expect(row % 4 == 0, "a row"); // which has no padding then
        GstAllocationParams how;
        gst_allocation_params_init(&how);
        how.align = 63; // as that of a cv::Mat, and as the elements ask for
        GstStructure* const config = gst_buffer_pool_get_config(mPool);
        const auto count = static_cast<guint>(pictures.size());
        gst_buffer_pool_config_set_params(config, nullptr, static_cast<guint>(bytes), count, count);
        gst_buffer_pool_config_set_allocator(config, nullptr, &how);
        expect(gst_buffer_pool_set_config(mPool, config) && gst_buffer_pool_set_active(mPool, TRUE), "a pool");
        std::vector<GstBuffer*> buffers;
        for (const cv::Mat& picture : pictures) {
            buffers.push_back(next());
            gst_buffer_fill(buffers.back(), 0, picture.data, bytes);
        }
        for (GstBuffer* const each : buffers)
            gst_buffer_unref(each);
    }
    Frames(const Frames&) = delete;
    Frames& operator=(const Frames&) = delete;
    ~Frames()
    {
        gst_buffer_pool_set_active(mPool, FALSE);
        gst_object_unref(mPool);
    }

    cv::Size size() const { return mSize; }
    int type() const { return mType; }

    /// The frame that was given back first.
    GstBuffer* next() const
    {
        GstBuffer* buffer = nullptr;
        expect(gst_buffer_pool_acquire_buffer(mPool, &buffer, nullptr) == GST_FLOW_OK, "a buffer");
        return buffer;
    }

private:
    GstBufferPool* const mPool = gst_buffer_pool_new();
    const cv::Size mSize;
    const int mType;
};

/// A part of a pipeline that frames are pushed through. They are given back as they leave it, so that no element finds
/// one that somebody else looks at.
class Pushed
{
public:
    /// @param launch  as gst-launch-1.0 takes it
    /// @param caps    of what comes in, without size and rate
    Pushed(const std::string& launch, const std::string& caps, std::shared_ptr<const Frames> frames)
        : mFrames(std::move(frames)), mHarness(gst_harness_new_parse(launch.c_str()))
    {
        const std::string whole = caps + ",width=" + std::to_string(mFrames->size().width) +
                                  ",height=" + std::to_string(mFrames->size().height) + ",framerate=25/1";
        gst_harness_set_live(mHarness, FALSE); // who mixes waits for no clock
        gst_harness_set_src_caps_str(mHarness, whole.c_str());
    }
    Pushed(const Pushed&) = delete;
    Pushed& operator=(const Pushed&) = delete;
    ~Pushed() { gst_harness_teardown(mHarness); }

    /// What becomes of the next frame.
    cv::Mat result(int type)
    {
        GstBuffer* const buffer = pass();
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
        return result;
    }

    void push() { gst_buffer_unref(pass()); }

private:
    /// Pushes a frame, and waits for what comes out, which another thread may have made.
    GstBuffer* pass()
    {
        GstBuffer* const buffer = mFrames->next();
        GST_BUFFER_PTS(buffer) = mNext++ * GST_SECOND / 25;
        expect(gst_harness_push(mHarness, buffer) == GST_FLOW_OK, "a frame's way");
        GstBuffer* const result = gst_harness_pull(mHarness);
        expect(result != nullptr, "what comes of a frame");
        return result;
    }

    const std::shared_ptr<const Frames> mFrames;
    GstHarness* const mHarness;
    guint64 mNext = 0;
};

/// What an operator does to a picture, without an element. The result may be the picture itself.
using Work = std::function<void(cv::Mat& picture, cv::Mat& result)>;

/// An element beside its operator.
struct Case
{
    const char* name; ///< of the operator, and what is particular
    std::string launch;
    const char* caps;
    int type;
    bool isInPlace;
    std::function<Work(const cv::Size& size)> make; ///< for frames of a size
};

/// velmorfilter beside its filter.
Case filterCase(const char* name, const char* caps, int type, bool isInPlace = false)
{
    return {name, std::string("velmorfilter operator=") + name, caps, type, isInPlace, [name](const cv::Size&) -> Work {
                const std::shared_ptr<native::Filter> filter = catalogue::makeNative(name);
                return [filter](cv::Mat& picture, cv::Mat& result) {
                    filter->execute(picture, result, CV_8U);
                };
            }};
}

core::cvdata::Image imageOver(cv::Mat& picture, core::cvdata::Image::ChannelLayout layout)
{
    return {static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows), layout, picture.data,
            static_cast<unsigned>(picture.step)};
}

Work motionHistory(const cv::Size& size)
{
    using core::cvdata::Image;
    const auto motion = std::make_shared<cvprocess::MotionSegment>(size.width, size.height);
    return [motion](cv::Mat& frame, cv::Mat& result) {
        result.create(frame.size(), CV_8UC1);
        const Image input = imageOver(frame, Image::BGR);
        Image output = imageOver(result, Image::GREYSCALE);
        motion->getMHI(&input, &output);
    };
}

/// The filter takes red first.
Work greyOfBlueFirst(const cv::Size&)
{
    const std::shared_ptr<native::Filter> filter = catalogue::makeNative("BGR2GRAY");
    const auto redFirst = std::make_shared<cv::Mat>();
    return [filter, redFirst](cv::Mat& picture, cv::Mat& result) {
        cv::cvtColor(picture, *redFirst, cv::COLOR_BGR2RGB);
        filter->execute(*redFirst, result, CV_8U);
    };
}

/// The filter takes floats, and gives some.
Work thinned(const cv::Size&)
{
    const std::shared_ptr<native::Filter> filter = catalogue::makeNative("NonMaxSupression");
    const auto floats = std::make_shared<cv::Mat>(), edges = std::make_shared<cv::Mat>();
    return [filter, floats, edges](cv::Mat& picture, cv::Mat& result) {
        cv::divide(picture, cv::Scalar::all(255), *floats, 1, CV_32F);
        filter->execute(*floats, *edges);
        edges->convertTo(result, CV_8U, 255);
    };
}

/// Both sources show the same frames.
Work brighter(const cv::Size&)
{
    const std::shared_ptr<native::Filter> filter = catalogue::makeNative("Or");
    return [filter](cv::Mat& picture, cv::Mat& result) {
        filter->execute(picture, picture, result);
    };
}

/// A model of the colours in the middle of a frame, in a file while it lives.
class ModelFile
{
public:
    ModelFile() : mName(std::filesystem::temp_directory_path() / ("velmor_bench_" + std::to_string(getpid()) + ".yml"))
    {
        core::cvdata::Image patch(40, 40, core::cvdata::Image::RGB);
        cv::Mat pixels = patch.mat();
        realPicture(kFrameSizes[0], CV_8UC3)(cv::Rect(364, 268, 40, 40)).copyTo(pixels);
        core::cvdata::ColorGMM model;
        model.train(patch, nullptr, 3);
        model.save(mName);
    }
    ModelFile(const ModelFile&) = delete;
    ModelFile& operator=(const ModelFile&) = delete;
    ~ModelFile() { std::filesystem::remove(mName); }

    const std::string& name() const { return mName; }

private:
    const std::string mName;
};

/// The mask of a colour, and its regions.
Work colourRegions(const std::string& modelFile)
{
    using core::cvdata::Image;
    const auto model = std::make_shared<core::cvdata::ColorGMM>();
    model->load(modelFile);
    const auto detector = std::make_shared<cvprocess::ColourDetector>(model.get(), nullptr);
    const catalogue::CpuOperator moments = catalogue::makeCpu("Moments");
    return [model, detector, moments](cv::Mat& picture, cv::Mat& result) {
        result.create(picture.size(), CV_8UC1);
        Image mask = imageOver(result, Image::GREYSCALE);
        detector->preProcess(imageOver(picture, Image::RGB), mask);
        moments(mask);
    };
}

/// A filter on textures, with upload and download.
Work flippedOnTextures(const cv::Size& size)
{
    using glsupport::RectTexture;
    struct Pass
    {
        explicit Pass(const cv::Size& frames)
            : source(static_cast<unsigned>(frames.width), static_cast<unsigned>(frames.height), RectTexture::RGBA8),
              result(source.width(), source.height(), RectTexture::RGBA8), filter(catalogue::makeGpu("FlipV"))
        {
            filter->prepareExecution(source, result);
        }
        ~Pass() { context.makeCurrent(); } // which another one may be, when the filter and the textures go
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

        glsupport::HeadlessContext context;
        RectTexture source, result;
        std::unique_ptr<cvprocess::GpuStdShaders> filter;
    };
    const auto pass = std::make_shared<Pass>(size);
    return [pass](cv::Mat& picture, cv::Mat& result) {
        pass->context.makeCurrent();
        result.create(picture.size(), CV_8UC4);
        pass->source.upload(picture.data);
        pass->filter->execute();
        pass->result.download(result.data);
    };
}

/// @param modelFile  of a colour
std::vector<Case> cases(const std::string& modelFile)
{
    constexpr const char* rgb = "video/x-raw,format=RGB";
    constexpr const char* bgr = "video/x-raw,format=BGR";
    constexpr const char* mosaic = "video/x-bayer,format=rggb";
    return {
        filterCase("Not", rgb, CV_8UC3, true),
        filterCase("FlipV", rgb, CV_8UC3),
        filterCase("BGR2GRAY", rgb, CV_8UC3),
        {"BGR2GRAY of blue first", "velmorfilter operator=BGR2GRAY", bgr, CV_8UC3, false, greyOfBlueFirst},
        filterCase("BGR2HSV", rgb, CV_8UC3),
        filterCase("Laplacian", "video/x-raw,format=GRAY8", CV_8UC1),
        {"NonMaxSupression", "velmorfilter operator=NonMaxSupression", rgb, CV_8UC3, false, thinned},
        filterCase("BayerRG2RGB", mosaic, CV_8UC1),
        filterCase("BayerRG2GRAY", mosaic, CV_8UC1),
        {"Or", "tee name=both ! identity ! velmormix name=mix operator=Or both. ! identity ! mix.", rgb, CV_8UC3, false,
         brighter},
        {"MotionSegment", "velmormotion", bgr, CV_8UC3, false, motionHistory},
        {"ColourDetector and Moments", "velmorcolour model=" + modelFile, rgb, CV_8UC3, false,
         [modelFile](const cv::Size&) {
             return colourRegions(modelFile);
         }},
        {"FlipV on textures", "glupload ! velmorglfilter operator=FlipV ! gldownload", "video/x-raw,format=RGBA",
         CV_8UC4, false, flippedOnTextures},
    };
}

/// The operator of an element on the same frames, without the element.
class Bare
{
public:
    Bare(const Case& what, std::shared_ptr<const Frames> frames)
        : mFrames(std::move(frames)), mWork(what.make(mFrames->size())), mIsInPlace(what.isInPlace)
    {
    }

    /// What becomes of the next frame.
    cv::Mat result()
    {
        GstBuffer* const buffer = mFrames->next();
        GstMapInfo map;
        expect(gst_buffer_map(buffer, &map, GST_MAP_READWRITE), "a frame's memory");
        cv::Mat picture(mFrames->size(), mFrames->type(), map.data);
        mWork(picture, mIsInPlace ? picture : mResult);
        gst_buffer_unmap(buffer, &map);
        gst_buffer_unref(buffer);
        return mIsInPlace ? picture : mResult;
    }

private:
    const std::shared_ptr<const Frames> mFrames;
    const Work mWork;
    const bool mIsInPlace;
    cv::Mat mResult;
};

Comparison costOf(const Case& what, const Size& size)
{
    const std::vector<cv::Mat> pictures = framesInTurn(size, what.type);
    const auto frames = std::make_shared<Frames>(pictures);
    const auto element = std::make_shared<Pushed>(what.launch, what.caps, frames);
    const auto bare = std::make_shared<Bare>(what, frames);
    const cv::Mat expected = Bare(what, std::make_shared<Frames>(pictures)).result().clone();
    expect(cv::norm(element->result(expected.type()), expected, cv::NORM_INF) == 0, what.name);
    Comparison comparison;
    comparison.own = [element] {
        element->push();
    };
    comparison.beside = "the operator alone";
    comparison.other = [bare] {
        bare->result();
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
    {"a flip on textures", "glupload ! velmorglfilter operator=FlipV ! gldownload", "gleffects_identity",
     "glupload ! glcolorconvert ! gleffects_identity ! gldownload", "video/x-raw,format=RGBA", CV_8UC4},
};

Comparison besideGStreamer(const Rival& what, const Size& size)
{
    const auto frames = std::make_shared<Frames>(framesInTurn(size, what.type));
    const auto own = std::make_shared<Pushed>(what.launch, what.caps, frames);
    const auto other = std::make_shared<Pushed>(what.otherLaunch, what.caps, frames);
    for (Pushed* const each : {own.get(), other.get()})
        expect(each->result(CV_8UC1).rows == frames->size().height, what.what);
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
    const ModelFile model;
    for (const Size& size : kFrameSizes) {
        if (std::string(size.name) == "768x576")
            continue;
        for (const Case& each : cases(model.name()))
            add(std::string(each.name) + "/cost/" + size.name, [each, size] { return costOf(each, size); });
        for (const Rival& each : kRivals)
            add(std::string(each.what) + "/beside/" + size.name,
                [&each, &size] { return besideGStreamer(each, size); });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    timedNow() = {};
}
