#include "tests/gstreamer/Pipeline.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace velmor::tests {
namespace {

constexpr char ENDLESS[] = "videotestsrc pattern=ball";
constexpr char SINK[] = "fakesink name=sink sync=false";

class Life : public testing::TestWithParam<Element>
{
};

INSTANTIATE_TEST_SUITE_P(Elements, Life, testing::ValuesIn(elements()),
                         [](const auto& each) { return each.param.name; });

TEST(LifeOfEach, IsTested)
{
    std::set<std::string> tested = {"velmorglfilter"}; // in gl/
    for (const Element& each : elements())
        tested.insert(each.name);
    std::set<std::string> registered;
    GList* const features = gst_registry_get_feature_list_by_plugin(gst_registry_get(), "velmor");
    for (GList* each = features; each; each = each->next)
        registered.insert(GST_OBJECT_NAME(each->data));
    gst_plugin_feature_list_free(features);
    EXPECT_EQ(registered, tested);
}

TEST_P(Life, EndsWithItsSource)
{
    Pipeline pipeline(GetParam(), "videotestsrc num-buffers=30", SINK);
    pipeline.ask(GST_STATE_PLAYING);
    EXPECT_TRUE(pipeline.ends());
    EXPECT_EQ(30, pipeline.frames());
}

TEST_P(Life, RunsAgainAfterTheEnd)
{
    Pipeline pipeline(GetParam(), "videotestsrc num-buffers=5", SINK);
    for (int round = 1; round <= 5; ++round) {
        pipeline.ask(GST_STATE_PLAYING);
        EXPECT_TRUE(pipeline.ends());
        EXPECT_EQ(5 * round, pipeline.frames());
        pipeline.go(round % 2 == 0 ? GST_STATE_NULL : GST_STATE_READY);
    }
}

TEST_P(Life, PausesAndPlays)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    for (int round = 0; round < 20; ++round) {
        pipeline.go(GST_STATE_PLAYING);
        EXPECT_TRUE(pipeline.getsFrames(2));
        pipeline.go(GST_STATE_PAUSED);
    }
    EXPECT_EQ("", pipeline.error());
}

/// The time of the frame that a paused pipeline shows.
GstClockTime shownTime(Pipeline& pipeline)
{
    GstSample* sample = nullptr;
    const Owned<GstElement> sink = pipeline.element("sink");
    g_object_get(sink.get(), "last-sample", &sample, nullptr);
    if (!sample)
        return GST_CLOCK_TIME_NONE;
    const GstClockTime result = gst_segment_to_stream_time(gst_sample_get_segment(sample), GST_FORMAT_TIME,
                                                           GST_BUFFER_PTS(gst_sample_get_buffer(sample)));
    gst_sample_unref(sample);
    return result;
}

constexpr auto FLUSHING = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);

TEST_P(Life, SeeksWhilePaused)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    pipeline.go(GST_STATE_PAUSED);
    for (const GstClockTime second : {40U, 3U, 3U, 0U, 7U}) {
        EXPECT_TRUE(gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME, FLUSHING,
                                            static_cast<gint64>(second * GST_SECOND)));
        pipeline.go(GST_STATE_PAUSED);
        EXPECT_EQ(second * GST_SECOND, shownTime(pipeline));
    }
    pipeline.go(GST_STATE_PLAYING);
    EXPECT_TRUE(pipeline.getsFrames(5));
    EXPECT_EQ("", pipeline.error());
}

TEST_P(Life, SeeksWhilePlaying)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    pipeline.go(GST_STATE_PLAYING);
    for (int round = 0; round < 30; ++round) {
        EXPECT_TRUE(gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME, FLUSHING, round * GST_SECOND));
        if (round % 3 == 0) { // or before the last seek is done
            EXPECT_TRUE(pipeline.getsFrames(2)) << round;
        }
    }
    EXPECT_EQ("", pipeline.error());
}

TEST_P(Life, SeeksToAPart)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    pipeline.go(GST_STATE_PAUSED);
    const int before = pipeline.frames();
    EXPECT_TRUE(gst_element_seek(pipeline.get(), 1, GST_FORMAT_TIME, FLUSHING, GST_SEEK_TYPE_SET, 2 * GST_SECOND,
                                 GST_SEEK_TYPE_SET, 3 * GST_SECOND));
    pipeline.ask(GST_STATE_PLAYING);
    EXPECT_TRUE(pipeline.ends());
    EXPECT_EQ(25, pipeline.frames() - before);
}

TEST_P(Life, TakesAnotherSizeAndFormatInMidStream)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    const std::string formats[] = {GetParam().format, GetParam().other};
    for (int round = 0; round < 20; ++round) {
        // While frames stand still two sources change with the same frame, or nearly so.
        pipeline.go(GST_STATE_PAUSED);
        const cv::Size size(64 + round, 48 - round);
        pipeline.setCaps(formats[round / 2 % 2], size);
        pipeline.go(GST_STATE_PLAYING);
        EXPECT_TRUE(waitFor([&] { return pipeline.sizeAtSink() == size; })) << round;
        EXPECT_TRUE(pipeline.getsFrames(2)) << round;
    }
    EXPECT_EQ("", pipeline.error());
}

TEST_P(Life, GoesToAnyStateFromAnyOther)
{
    std::mt19937 random(20); // NOLINT(cert-msc51-cpp): the same walk each time
    const GstState states[] = {GST_STATE_NULL, GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_PLAYING};
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    bool isThere = true;
    for (int step = 0; step < 300; ++step) {
        // A change that is not done yet is broken off by one to READY or NULL alone: a GstBin on its way to PLAYING may
        // lose one to PAUSED, whatever its elements are, and then waits for ever.
        const GstState state = states[random() % (isThere ? 4 : 2)];
        isThere = random() % 3 == 0;
        if (isThere) {
            pipeline.go(state);
        } else {
            pipeline.ask(state);
            g_usleep(random() % 2 * (random() % 2000));
        }
    }
    pipeline.go(GST_STATE_PLAYING);
    EXPECT_TRUE(pipeline.getsFrames(3));
    EXPECT_EQ("", pipeline.error());
}

/// Sets a property to a value drawn from its range.
/// @return whether it is of a kind that this knows
bool setAtRandom(GstElement* element, GParamSpec* property, std::mt19937& random)
{
    const char* const name = property->name;
    const auto draw = [&random](double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(random);
    };
    if (G_IS_PARAM_SPEC_ENUM(property)) {
        const GEnumClass* const choices = G_PARAM_SPEC_ENUM(property)->enum_class;
        g_object_set(element, name, choices->values[random() % choices->n_values].value, nullptr);
    } else if (const auto* const whole = G_IS_PARAM_SPEC_INT(property) ? G_PARAM_SPEC_INT(property) : nullptr) {
        g_object_set(element, name, std::uniform_int_distribution<int>(whole->minimum, whole->maximum)(random),
                     nullptr);
    } else if (const auto* const count = G_IS_PARAM_SPEC_UINT(property) ? G_PARAM_SPEC_UINT(property) : nullptr) {
        g_object_set(element, name, std::uniform_int_distribution<guint>(count->minimum, count->maximum)(random),
                     nullptr);
    } else if (const auto* const real = G_IS_PARAM_SPEC_DOUBLE(property) ? G_PARAM_SPEC_DOUBLE(property) : nullptr) {
        g_object_set(element, name, draw(real->minimum, real->maximum), nullptr);
    } else if (const auto* const single = G_IS_PARAM_SPEC_FLOAT(property) ? G_PARAM_SPEC_FLOAT(property) : nullptr) {
        g_object_set(element, name, draw(single->minimum, single->maximum), nullptr);
    } else if (G_IS_PARAM_SPEC_BOOLEAN(property)) {
        g_object_set(element, name, random() % 2 == 0 ? FALSE : TRUE, nullptr);
    } else if (GST_IS_PARAM_SPEC_ARRAY_LIST(property)) { // of files, of which there are none
        GValue none = G_VALUE_INIT;
        gst_value_array_init(&none, 0);
        g_object_set_property(G_OBJECT(element), name, &none);
        g_value_unset(&none);
    } else {
        return false;
    }
    return true;
}

/// The properties of an element's own that may change while it plays.
std::vector<GParamSpec*> changeableProperties(GstElement* element)
{
    guint number = 0;
    GParamSpec** const all = g_object_class_list_properties(G_OBJECT_GET_CLASS(element), &number);
    std::vector<GParamSpec*> result;
    std::copy_if(all, all + number, std::back_inserter(result), [element](const GParamSpec* each) {
        return each->owner_type == G_OBJECT_TYPE(element) && (each->flags & G_PARAM_WRITABLE) &&
               (each->flags & (GST_PARAM_MUTABLE_PLAYING | GST_PARAM_CONTROLLABLE));
    });
    g_free(all);
    return result;
}

TEST_P(Life, TakesAThousandChangesOfEachPropertyWhilePlaying)
{
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same values each time
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    pipeline.go(GST_STATE_PLAYING);
    const Owned<GstElement> tested = pipeline.element("tested");
    const std::vector<GParamSpec*> properties = changeableProperties(tested.get());
    EXPECT_FALSE(properties.empty());
    for (int change = 0; change < 1000; ++change) {
        for (GParamSpec* const each : properties)
            ASSERT_TRUE(setAtRandom(tested.get(), each, random)) << each->name;
        if (change % 20 == 0) {
            ASSERT_TRUE(pipeline.getsFrames(1)) << change << ' ' << pipeline.error();
        }
    }
    EXPECT_TRUE(pipeline.getsFrames(3));
    EXPECT_EQ("", pipeline.error());
}

TEST_P(Life, StopsBehindASlowConsumer)
{
    Pipeline pipeline(GetParam(), ENDLESS,
                      "queue name=queue max-size-buffers=2 ! identity sleep-time=50000 ! " + std::string(SINK));
    pipeline.ask(GST_STATE_PLAYING);
    EXPECT_TRUE(pipeline.getsFrames(2));
    const Owned<GstElement> queue = pipeline.element("queue");
    EXPECT_TRUE(waitFor([&] {
        guint level = 0;
        g_object_get(queue.get(), "current-level-buffers", &level, nullptr);
        return level == 2;
    }));
} // and goes to NULL

GstPadProbeReturn wait(GstPad*, GstPadProbeInfo*, gpointer)
{
    return GST_PAD_PROBE_OK; // a probe that blocks goes on blocking
}

GstPadProbeReturn drop(GstPad*, GstPadProbeInfo*, gpointer)
{
    return GST_PAD_PROBE_DROP;
}

void probe(Pipeline& pipeline, const char* element, const char* name, GstPadProbeType type, GstPadProbeCallback call)
{
    const Owned<GstElement> owner = pipeline.element(element);
    GstPad* const pad = gst_element_get_static_pad(owner.get(), name);
    gst_pad_add_probe(pad, type, call, nullptr, nullptr);
    gst_object_unref(pad);
}

TEST_P(Life, StopsBehindAConsumerThatTakesNothing)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    pipeline.go(GST_STATE_PLAYING);
    EXPECT_TRUE(pipeline.getsFrames(2));
    probe(pipeline, "sink", "sink", GST_PAD_PROBE_TYPE_BLOCK_DOWNSTREAM, wait);
    const int reached = pipeline.frames();
    g_usleep(20000);
    EXPECT_LE(pipeline.frames(), reached + 1);
} // and goes to NULL

TEST_P(Life, StopsWhenItsSourceIsLost)
{
    Pipeline pipeline(GetParam(), "videotestsrc num-buffers=30", SINK);
    // The last source tells nothing of its end.
    probe(pipeline, GetParam().sources == 1 ? "caps0" : "caps1", "src", GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM,
          [](GstPad* pad, GstPadProbeInfo* info, gpointer data) {
              return GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS ? drop(pad, info, data)
                                                                                     : GST_PAD_PROBE_OK;
          });
    pipeline.ask(GST_STATE_PLAYING);
    EXPECT_TRUE(waitFor([&] { return pipeline.frames() >= 29; }));
    pipeline.ask(GST_STATE_PAUSED); // which it cannot reach without a frame
    pipeline.go(GST_STATE_READY);
}

TEST_P(Life, StopsWhenNoFrameEverComes)
{
    Pipeline pipeline(GetParam(), ENDLESS, SINK);
    probe(pipeline, "caps0", "src", GST_PAD_PROBE_TYPE_BUFFER, drop);
    pipeline.ask(GST_STATE_PLAYING);
    g_usleep(20000);
    EXPECT_EQ(0, pipeline.frames());
} // and goes to NULL

/// Elements of one source, each in a harness.
class LifeInHarness : public testing::TestWithParam<Element>
{
protected:
    LifeInHarness() : harness(GetParam().launch) { harness.setCaps("video/x-raw,format=" + format(), {64, 48}); }

    static std::string format() { return GetParam().format.empty() ? "RGB" : GetParam().format; }

    static Owned<GstBuffer> frameAt(guint64 number)
    {
        const GstVideoFormat known = gst_video_format_from_string(format().c_str());
        GstVideoInfo info;
        gst_video_info_set_format(&info, known, 64, 48);
        Owned<GstBuffer> result(gst_buffer_new_allocate(nullptr, info.size, nullptr));
        gst_buffer_memset(result.get(), 0, 100, info.size);
        GST_BUFFER_PTS(result.get()) = number * GST_SECOND / 25;
        GST_BUFFER_DURATION(result.get()) = GST_SECOND / 25;
        return result;
    }

    Harness harness;
};

std::vector<Element> elementsOfOneSource()
{
    std::vector<Element> result;
    std::copy_if(elements().begin(), elements().end(), std::back_inserter(result),
                 [](const Element& each) { return each.sources == 1; });
    return result;
}

INSTANTIATE_TEST_SUITE_P(Elements, LifeInHarness, testing::ValuesIn(elementsOfOneSource()),
                         [](const auto& each) { return each.param.name; });

TEST_P(LifeInHarness, HandsGapsOn)
{
    ASSERT_TRUE(harness.filter(frameAt(0)));
    EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_gap(GST_SECOND / 25, GST_SECOND / 25)));
    const Owned<GstBuffer> result = harness.filter(frameAt(2));
    ASSERT_TRUE(result);
    EXPECT_EQ(2 * GST_SECOND / 25, GST_BUFFER_PTS(result.get()));
    bool hasGap = false;
    while (GstEvent* const event = gst_harness_try_pull_event(harness.get())) {
        hasGap = hasGap || GST_EVENT_TYPE(event) == GST_EVENT_GAP;
        gst_event_unref(event);
    }
    EXPECT_TRUE(hasGap);
}

TEST_P(LifeInHarness, GoesOnAfterAFlush)
{
    for (int round = 0; round < 5; ++round) {
        EXPECT_TRUE(harness.filter(frameAt(0)));
        EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_start()));
        EXPECT_EQ(GST_FLOW_FLUSHING, gst_harness_push(harness.get(), frameAt(1).release()));
        EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_stop(TRUE)));
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_segment(&segment)));
    }
    EXPECT_EQ(5, gst_harness_buffers_received(harness.get()));
}

TEST_P(LifeInHarness, LeavesOutLateFramesIfItIsToldTo)
{
    const Owned<GstElement> tested = harness.element("tested");
    for (const bool isAsked : {true, false}) {
        g_object_set(tested.get(), "qos", isAsked ? TRUE : FALSE, nullptr);
        EXPECT_TRUE(harness.filter(frameAt(0)));
        // Frame 0 was late by a second: what is to be shown in that second is late, too.
        gst_harness_push_upstream_event(harness.get(), gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 2, GST_SECOND, 0));
        const guint before = gst_harness_buffers_received(harness.get());
        EXPECT_EQ(GST_FLOW_OK, gst_harness_push(harness.get(), frameAt(10).release()));
        EXPECT_EQ(GST_FLOW_OK, gst_harness_push(harness.get(), frameAt(24).release()));
        EXPECT_EQ(isAsked ? 0 : 2, gst_harness_buffers_received(harness.get()) - before);
        EXPECT_EQ(GST_FLOW_OK, gst_harness_push(harness.get(), frameAt(26).release()));
        EXPECT_EQ(isAsked ? 1 : 3, gst_harness_buffers_received(harness.get()) - before);
    }
}

TEST_P(LifeInHarness, IsTakenDownWithFramesInIt)
{
    EXPECT_EQ(GST_FLOW_OK, gst_harness_push(harness.get(), frameAt(0).release()));
    EXPECT_EQ(GST_FLOW_OK, gst_harness_push(harness.get(), frameAt(1).release()));
    EXPECT_EQ(2, gst_harness_buffers_in_queue(harness.get()));
}

} // namespace
} // namespace velmor::tests
