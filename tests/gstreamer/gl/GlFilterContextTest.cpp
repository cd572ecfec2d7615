#include "tests/gstreamer/gl/GlHarness.h"
#include "tests/gstreamer/gl/GlReference.h"
#include "tests/support/Capture.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// X11's macros take names of the headers above, and GLEW's comes before all others of OpenGL.
#include <GL/glew.h>

#include <GL/glx.h>

#define GST_USE_UNSTABLE_API // of GStreamer's OpenGL library, which has no other
#include <gst/gl/gl.h>

namespace velmor::tests {
namespace {

/// Whether compiling a shader goes through the driver's adapter, without which classic texts do not compile here.
bool isAdapted()
{
    const auto own = glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glCompileShader"));
    return __glewCompileShader && reinterpret_cast<__GLXextFuncPtr>(__glewCompileShader) != own;
}

/// Opaque pixels, so that turning a picture twice gives it back.
cv::Mat opaquePixels(const cv::Size& size, unsigned seed)
{
    return randomPixels(size, seed) | cv::Scalar(0, 0, 0, 255);
}

cv::Mat upsideDown(const cv::Mat& picture)
{
    cv::Mat result;
    cv::flip(picture, result, 0);
    return result;
}

#define EXPECT_SAME(actual, expected) EXPECT_EQ(0, cv::norm(actual, expected, cv::NORM_INF))

/// Work on the thread of an element's context, where the context is current.
void inContextOf(GstElement* element, const std::function<void()>& work)
{
    GstGLContext* context = nullptr;
    g_object_get(element, "context", &context, nullptr);
    ASSERT_TRUE(context);
    gst_gl_context_thread_add(
        context, [](GstGLContext*, gpointer data) { (*static_cast<const std::function<void()>*>(data))(); },
        const_cast<std::function<void()>*>(&work));
    gst_object_unref(context);
}

struct Objects
{
    int textures = 0, programs = 0, shaders = 0, framebuffers = 0;
    bool operator==(const Objects& other) const
    {
        return textures == other.textures && programs == other.programs && shaders == other.shaders &&
               framebuffers == other.framebuffers;
    }
};

std::ostream& operator<<(std::ostream& out, const Objects& objects)
{
    return out << objects.textures << " textures, " << objects.programs << " programs, " << objects.shaders
               << " shaders, " << objects.framebuffers << " framebuffers";
}

/// What there is in the context of an element.
Objects objectsIn(GstElement* element)
{
    Objects result;
    inContextOf(element, [&result] {
        for (GLuint name = 1; name < 4000; ++name) {
            result.textures += glIsTexture(name);
            result.programs += glIsProgram(name);
            result.shaders += glIsShader(name);
            result.framebuffers += glIsFramebuffer(name);
        }
    });
    return result;
}

TEST(GlFilterContext, AdaptsTheDriverFromTheFirstStartToTheLastStop)
{
    const cv::Mat picture = opaquePixels({40, 30}, 1);
    for (const std::size_t firstToStop : {0U, 1U}) {
        std::unique_ptr<GlHarness> harnesses[2];
        for (auto& harness : harnesses) {
            harness = std::make_unique<GlHarness>("velmorglfilter name=filter operator=FlipV");
            EXPECT_SAME(harness->show(picture), upsideDown(picture));
            EXPECT_TRUE(isAdapted());
        }
        harnesses[firstToStop].reset();
        EXPECT_TRUE(isAdapted()) << "the other context needs it yet";
        GlHarness& left = *harnesses[1 - firstToStop];
        left.setByText("operator", "Not"); // another filter, whose text has to compile
        EXPECT_SAME(left.show(picture), (~picture | cv::Scalar(0, 0, 0, 255)));
        harnesses[1 - firstToStop].reset();
        EXPECT_FALSE(isAdapted());
    }
}

TEST(GlFilterContext, CountsTheElementsOfOneContext)
{
    const cv::Mat picture = opaquePixels({40, 30}, 2);
    GlHarness harness("velmorglfilter name=other operator=FlipV ! velmorglfilter name=filter operator=FlipV");
    EXPECT_SAME(harness.show(picture), picture);
    const Owned<GstElement> other = harness.element("other"), filter = harness.element("filter");
    const Owned<GstElement> upload(GST_ELEMENT(gst_pad_get_parent(GST_PAD_PEER(GST_PAD(other->sinkpads->data)))));
    gst_element_unlink_many(upload.get(), other.get(), filter.get(), nullptr);
    ASSERT_TRUE(gst_element_link(upload.get(), filter.get()));
    gst_element_set_state(other.get(), GST_STATE_NULL);
    EXPECT_TRUE(isAdapted());
    harness.setByText("operator", "Not");
    EXPECT_SAME(harness.show(picture), (~picture | cv::Scalar(0, 0, 0, 255)));
    gst_element_set_state(filter.get(), GST_STATE_NULL);
    EXPECT_FALSE(isAdapted());
    gst_element_set_state(other.get(), GST_STATE_PLAYING); // so that the harness finds all in one state
    gst_element_set_state(filter.get(), GST_STATE_PLAYING);
}

TEST(GlFilterContext, LeavesNothingBehindInTheContext)
{
    const cv::Mat picture = opaquePixels({40, 30}, 3);
    GlHarness harness("velmorglfilter name=filter operator=FlipV ! glcolorconvert name=neighbour "
                      "! video/x-raw(memory:GLMemory),texture-target=2D");
    const Owned<GstElement> neighbour = harness.element("neighbour"), filter = harness.element("filter");
    const auto change = [&](int times) {
        for (int i = 0; i < times; ++i) {
            for (const char* const name : {"GRAY2Sobel", "FlipV"}) {
                harness.setByText("operator", name);
                harness.set("scale", 0.5 + i);
                harness.show(picture);
            }
            harness.set("scale", 1.0);
        }
        EXPECT_SAME(harness.show(picture), upsideDown(picture));
    };
    change(2);
    const Objects few = objectsIn(neighbour.get());
    EXPECT_GE(few.programs, 2) << "the filter's, and the neighbour's";
    change(10);
    EXPECT_EQ(objectsIn(neighbour.get()), few);

    gst_element_set_state(filter.get(), GST_STATE_READY);
    const Objects stopped = objectsIn(neighbour.get());
    EXPECT_LT(stopped.programs, few.programs);
    gst_element_set_state(filter.get(), GST_STATE_PLAYING);
}

// A texture that is attached would outlive its frame, and one of a later frame that gets its name be taken for it.
TEST(GlFilterContext, KeepsNoTextureOfAFrame)
{
    const cv::Mat picture = opaquePixels({40, 30}, 7);
    GlHarness harness("velmorglfilter operator=FlipV ! velmorglfilter name=filter operator=FlipV");
    for (const double scale : {1.0, 1.0, 0.5}) {
        harness.set("scale", scale);
        harness.show(picture);
        int framebuffers = 0, attached = 0;
        inContextOf(harness.element("filter").get(), [&] {
            for (GLuint name = 1; name < 1000; ++name) {
                if (!glIsFramebuffer(name))
                    continue;
                ++framebuffers;
                glBindFramebuffer(GL_FRAMEBUFFER, name);
                for (const GLenum point : {GLenum{GL_COLOR_ATTACHMENT0}, GLenum{GL_COLOR_ATTACHMENT1}}) {
                    GLint type = GL_NONE;
                    glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE,
                                                          &type);
                    attached += type == GL_TEXTURE ? 1 : 0;
                }
            }
            glBindFramebuffer(GL_FRAMEBUFFER, 0);
        });
        EXPECT_GE(framebuffers, 2) << "those of the filters";
        EXPECT_EQ(attached, 0);
    }
}

/// GStreamer's own elements, with pieces before, between and behind them.
std::string neighboursWith(const std::string& piece)
{
    const std::string flat = "glcolorconvert ! video/x-raw(memory:GLMemory),texture-target=2D ! ";
    const std::string rectangle = " ! glcolorconvert ! video/x-raw(memory:GLMemory),texture-target=rectangle ! ";
    return piece + " ! " + flat + "gleffects name=filter" + rectangle + piece + " ! " + flat +
           "glcolorscale ! glcolorbalance hue=0.5" + rectangle + piece;
}

TEST(GlFilterContext, ChangesNothingForItsNeighbours)
{
    const cv::Mat picture = opaquePixels({64, 48}, 4);
    const int effects = 19; // all that there are; each has a shader of its own
    const auto shown = [&picture](const std::string& launch) {
        GlHarness harness(launch);
        std::vector<cv::Mat> result;
        for (int effect = 0; effect < effects; ++effect) {
            harness.set("effect", effect);
            harness.show(picture);
            result.push_back(harness.show(picture) | cv::Scalar(0, 0, 0, 255)); // behind what the first frame left
        }
        return result;
    };
    const std::vector<cv::Mat> alone = shown(neighboursWith("identity"));
    const std::string nothing = "velmorglfilter operator=FlipV ! velmorglfilter operator=FlipV";
    const std::vector<cv::Mat> beside = shown(neighboursWith(nothing));
    for (std::size_t effect = 0; effect < alone.size(); ++effect) {
        ASSERT_EQ(alone[effect].size(), picture.size());
        EXPECT_SAME(beside[effect], alone[effect]) << "effect " << effect;
    }
}

TEST(GlFilterContext, KeepsItsStateApartFromThatOfTheContext)
{
    const cv::Mat picture = opaquePixels({40, 30}, 6);
    GlHarness harness("velmorglfilter ! velmorglfilter name=filter");
    EXPECT_SAME(harness.show(picture), picture);
    const Owned<GstElement> filter = harness.element("filter");
    inContextOf(filter.get(), [] { // what would spoil a pass
        glEnable(GL_SCISSOR_TEST);
        glScissor(1, 2, 3, 4);
        glEnable(GL_BLEND);
        glBlendFunc(GL_ZERO, GL_ONE);
        glViewport(5, 6, 7, 8);
        glClearColor(0.25F, 0.5F, 0.75F, 0);
        glEnable(GL_CULL_FACE);
        glCullFace(GL_FRONT_AND_BACK);
        glActiveTexture(GL_TEXTURE3);
    });
    EXPECT_SAME(harness.show(picture), picture);
    inContextOf(filter.get(), [] {
        GLint viewport[4] = {}, active = 0;
        GLfloat colour[4] = {};
        glGetIntegerv(GL_VIEWPORT, viewport);
        glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
        glGetFloatv(GL_COLOR_CLEAR_VALUE, colour);
        EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
        EXPECT_TRUE(glIsEnabled(GL_BLEND));
        EXPECT_TRUE(glIsEnabled(GL_CULL_FACE));
        EXPECT_EQ(viewport[0], 5);
        EXPECT_EQ(viewport[3], 8);
        EXPECT_EQ(active, GL_TEXTURE3);
        EXPECT_EQ(colour[2], 0.75F);
    });
}

// What is before may ask while the element stops.
TEST(GlFilterContext, PromisesNoTexturesWhereThereIsNoContext)
{
    GlHarness harness("velmorglfilter name=filter");
    harness.show(opaquePixels({16, 16}, 9));
    const Owned<GstElement> filter = harness.element("filter");
    GstPad* const sink = GST_PAD(filter->sinkpads->data);
    GstCaps* const caps = gst_pad_get_current_caps(sink);
    GstQuery* const query = gst_query_new_allocation(caps, TRUE);
    EXPECT_TRUE(gst_pad_query(sink, query));
    EXPECT_EQ(gst_query_get_n_allocation_pools(query), 1);

    gst_element_set_state(filter.get(), GST_STATE_READY);
    EXPECT_FALSE(gst_pad_query(sink, query));
    gst_query_unref(query);
    gst_caps_unref(caps);
    gst_element_set_state(filter.get(), GST_STATE_PLAYING); // so that the harness finds all in one state
}

TEST(GlFilterContext, WritesNothingOnStandardOutput)
{
    const cv::Mat picture = opaquePixels({16, 16}, 5);
    const Output output = capture([&picture] {
        GlHarness harness("velmorglfilter name=filter scale=0.5");
        harness.show(picture);
        harness.setByText("operator", "GRAY2Sobel");
        harness.show(picture);
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

PFNGLCOMPILESHADERPROC compileAsBefore = nullptr;
std::string writtenElsewhere;

/// Compiles, while another thread of the process writes to the standard output.
void GLAPIENTRY compileWhileAnotherWrites(GLuint shader)
{
    std::thread([] {
        writtenElsewhere += "a line\n";
        std::cout << "a line" << std::endl;
    }).join();
    compileAsBefore(shader);
}

TEST(GlFilterContext, LosesNothingThatOtherThreadsWriteToStandardOutput)
{
    const cv::Mat picture = opaquePixels({16, 16}, 8);
    const Output output = capture([&picture] {
        GlHarness harness("velmorglfilter name=filter operator=FlipV");
        harness.show(picture);
        compileAsBefore = __glewCompileShader;
        __glewCompileShader = compileWhileAnotherWrites;
        harness.setByText("operator", "Not");
        harness.show(picture);
        __glewCompileShader = compileAsBefore;
    });
    EXPECT_NE(writtenElsewhere, "");
    EXPECT_EQ(output.out, writtenElsewhere);
    EXPECT_EQ(output.err, "");
}

// ---- A driver that refuses what is compiled or linked

PFNGLGETSHADERIVPROC askOfShader = nullptr;
PFNGLGETPROGRAMIVPROC askOfProgram = nullptr;

void GLAPIENTRY refuseToCompile(GLuint shader, GLenum what, GLint* answer)
{
    askOfShader(shader, what, answer);
    if (what == GL_COMPILE_STATUS)
        *answer = GL_FALSE;
}

void GLAPIENTRY refuseToLink(GLuint program, GLenum what, GLint* answer)
{
    askOfProgram(program, what, answer);
    if (what == GL_LINK_STATUS)
        *answer = GL_FALSE;
}

/// What the element says when it needs another shader and gets none.
/// @param change  of a property, which needs the shader
std::string refusalOf(const std::function<void(GlHarness&)>& change, bool compiles)
{
    const cv::Mat picture = opaquePixels({16, 16}, 6);
    GlHarness harness("velmorglfilter name=filter operator=FlipV");
    EXPECT_SAME(harness.show(picture), upsideDown(picture));
    const Owned<GstElement> filter = harness.element("filter");
    Ear ear(filter.get());
    change(harness);
    askOfShader = __glewGetShaderiv;
    askOfProgram = __glewGetProgramiv;
    __glewGetShaderiv = compiles ? askOfShader : refuseToCompile;
    __glewGetProgramiv = compiles ? refuseToLink : askOfProgram;
    EXPECT_EQ(GST_FLOW_ERROR, gst_harness_push(harness.get(), bufferOf(picture, GST_VIDEO_FORMAT_RGBA, 64).release()));
    __glewGetShaderiv = askOfShader;
    __glewGetProgramiv = askOfProgram;
    const Owned<GstMessage> message = ear.now(GST_MESSAGE_ERROR);
    return message ? textOf(message.get()) : "nothing";
}

TEST(GlFilterContext, TellsOfAShaderThatTheDriverRefuses)
{
    const auto toNot = [](GlHarness& harness) {
        harness.setByText("operator", "Not");
    };
    const auto toLevels = [](GlHarness& harness) {
        harness.set("scale", 0.5);
    };
    const std::string compiles = " cannot filter frames: expected a shader that the driver compiles, got \"";
    const std::string links = " cannot filter frames: expected a program that the driver links, got \"";
    EXPECT_EQ(0, refusalOf(toNot, false).find("Not" + compiles));
    EXPECT_EQ(0, refusalOf(toLevels, false).find("FlipV" + compiles));
    EXPECT_EQ(0, refusalOf(toNot, true).find("Not" + links));
    EXPECT_EQ(0, refusalOf(toLevels, true).find("FlipV" + links));
    EXPECT_FALSE(isAdapted());
}

/// What a pipeline with the element says when OpenGL is to be of some interface alone.
std::string refusalUnder(const char* api)
{
    const std::string usual = g_getenv("GST_GL_API");
    g_setenv("GST_GL_API", api, TRUE);
    const Owned<GstElement> pipeline(
        gst_parse_launch("videotestsrc ! video/x-raw,format=RGBA ! glupload ! velmorglfilter ! fakesink", nullptr));
    gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
    GstBus* const bus = gst_element_get_bus(pipeline.get());
    const Owned<GstMessage> message = messageOn(bus, GST_MESSAGE_ERROR);
    gst_object_unref(bus);
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    g_setenv("GST_GL_API", usual.c_str(), TRUE);
    return message ? textOf(message.get()) : "no error";
}

TEST(GlFilterContext, RefusesInterfacesWithoutClassicFunctions)
{
    for (const char* const api : {"gles2", "opengl3"}) {
        const std::string text = refusalUnder(api);
        EXPECT_NE(text.find("Cannot create context with the user requested api (" + std::string(api) + ")"),
                  std::string::npos)
            << text;
    }
    EXPECT_FALSE(isAdapted());
}

} // namespace
} // namespace velmor::tests
