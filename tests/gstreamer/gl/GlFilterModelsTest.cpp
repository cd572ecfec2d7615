#include "core/cvdata/ColorGMM.h"
#include "tests/gstreamer/gl/GlHarness.h"
#include "tests/gstreamer/gl/GlReference.h"
#include "tests/support/Models.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <fstream>
#include <vector>

namespace velmor::tests {
namespace {

using core::cvdata::ColorGMM;

/// A component without covariance.
Gaussian round(double red, double green, double variance)
{
    return {{{1 / variance, 0}, {0, 1 / variance}}, static_cast<float>(variance * variance), {red, green}, 0.5F};
}

/// Models of dark, green and bright colours in red and green, each of two components, and their files.
class GlFilterModels : public testing::Test
{
protected:
    GlFilterModels()
    {
        const double means[][2] = {{40, 40}, {60, 180}, {200, 200}};
        for (const auto& mean : means) {
            models.push_back(makeModel({round(mean[0], mean[1], 1500), round(mean[0] + 20, mean[1] - 20, 900)}, 1e-5));
            files.push_back(folder.file("model" + std::to_string(files.size()) + ".yml"));
            models.back().save(files.back());
        }
    }

    /// The setting that names some of the files.
    std::string naming(const std::vector<std::string>& some) const
    {
        std::string text;
        for (const std::string& each : some)
            text += (text.empty() ? "" : ",") + ('"' + each + '"');
        return "<" + text + ">";
    }

    cv::Mat expected(const std::string& name, const std::vector<std::size_t>& classes,
                     const catalogue::Values& values = {})
    {
        catalogue::Given given;
        for (const std::size_t each : classes)
            given.models.push_back(&models[each]);
        return Elsewhere().filter(name, picture, values, given);
    }

    /// What the element says when it is to start, and cannot.
    static std::string refusal(const std::string& settings, GQuark domain, int code)
    {
        const Owned<GstElement> pipeline(gst_parse_launch(
            ("videotestsrc ! video/x-raw,format=RGBA ! glupload ! velmorglfilter " + settings + " ! fakesink").c_str(),
            nullptr));
        EXPECT_EQ(GST_STATE_CHANGE_FAILURE, gst_element_set_state(pipeline.get(), GST_STATE_PAUSED));
        GstBus* const bus = gst_element_get_bus(pipeline.get());
        const Owned<GstMessage> message = messageOn(bus, GST_MESSAGE_ERROR);
        gst_object_unref(bus);
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        if (!message)
            return "no error";
        GError* error = nullptr;
        gst_message_parse_error(message.get(), &error, nullptr);
        EXPECT_TRUE(g_error_matches(error, domain, code));
        g_clear_error(&error);
        return textOf(message.get());
    }

    TemporaryFolder folder;
    std::vector<ColorGMM> models;
    std::vector<std::string> files;
    const cv::Mat picture = randomPixels({64, 48}, 7);
};

TEST_F(GlFilterModels, ShowsTheColoursOfOneModel)
{
    const cv::Mat mask = expected("ColorGMM", {1}), colours = expected("ColorGMM", {1}, {{"output", 1}});
    const int found = cv::countNonZero(mask.reshape(1).col(0) > 0.5); // in the first column at least
    ASSERT_GT(found, 0);
    ASSERT_LT(found, mask.rows);
    GlHarness harness("velmorglfilter name=filter operator=ColorGMM models=" + naming({files[1]}));
    expectShown(harness.show(picture), mask);
    harness.setByText("output", "colours");
    expectShown(harness.show(picture), colours);
}

TEST_F(GlFilterModels, ShowsTheNumberOfEachClass)
{
    const cv::Mat classes = expected("ColorGMM2", {0, 1, 2});
    double least = 0, most = 0;
    cv::minMaxLoc(classes.reshape(1).col(0), &least, &most);
    ASSERT_EQ(least, 0);
    ASSERT_EQ(most, 2);
    GlHarness harness("velmorglfilter name=filter operator=ColorGMM2 models=" + naming(files));
    expectShown(harness.show(picture), classes / 255);
    harness.set("scale", 100.0);
    expectShown(harness.show(picture), classes * 100 / 255);
}

TEST_F(GlFilterModels, ShowsTheMaskOfASingleClass)
{
    const cv::Mat mask = expected("ColorGMM2", {2});
    GlHarness harness("velmorglfilter operator=ColorGMM2 models=" + naming({files[2]}));
    expectShown(harness.show(picture), mask);
}

TEST_F(GlFilterModels, TakesOtherModelsWhilePlaying)
{
    const cv::Mat some = expected("ColorGMM2", {0, 1}), all = expected("ColorGMM2", {2, 1, 0});
    GlHarness harness("velmorglfilter name=filter operator=ColorGMM2 models=" + naming({files[0], files[1]}));
    expectShown(harness.show(picture), some / 255);
    harness.setByText("models", naming({files[2], files[1], files[0]}));
    expectShown(harness.show(picture), all / 255);
}

TEST_F(GlFilterModels, GoesOnWithTheFormerOperatorWhereModelsDoNotFit)
{
    const cv::Mat classes = expected("ColorGMM2", {0, 1}) / 255, mask = expected("ColorGMM", {0});
    GlHarness harness("velmorglfilter name=filter models=" + naming({files[0], files[1]}));
    harness.setByText("operator", "ColorGMM2");
    Ear ear(harness.element("filter").get());
    expectShown(harness.show(picture), classes);

    harness.setByText("models", naming({files[0], "/nowhere/lost.yml"}));
    const Owned<GstMessage> lost = ear.now(GST_MESSAGE_WARNING);
    ASSERT_TRUE(lost);
    EXPECT_NE(textOf(lost.get()).find("/nowhere/lost.yml"), std::string::npos) << textOf(lost.get());
    expectShown(harness.show(picture), classes);

    harness.setByText("operator", "ColorGMM");
    for (int frame = 0; frame < 3; ++frame)
        expectShown(harness.show(picture), classes);
    const Owned<GstMessage> misfit = ear.now(GST_MESSAGE_WARNING);
    ASSERT_TRUE(misfit);
    EXPECT_EQ(textOf(misfit.get()), "ColorGMM expected one model, got 2");
    EXPECT_FALSE(ear.now(GST_MESSAGE_WARNING)) << "said once, not with each frame";

    harness.setByText("models", naming({files[0]}));
    expectShown(harness.show(picture), mask);
    EXPECT_FALSE(ear.now(GST_MESSAGE_WARNING));
    harness.setByText("models", naming({files[0], files[1]}));
    expectShown(harness.show(picture), mask);
    EXPECT_TRUE(ear.now(GST_MESSAGE_WARNING)) << "said again, once it was mended in between";
}

TEST_F(GlFilterModels, RefusesToStartWithoutWhatItsOperatorNeeds)
{
    const GQuark domain = GST_RESOURCE_ERROR;
    EXPECT_EQ(refusal("operator=ColorGMM", domain, GST_RESOURCE_ERROR_SETTINGS), "ColorGMM expected one model, got 0");
    EXPECT_EQ(refusal("operator=ColorGMM2", domain, GST_RESOURCE_ERROR_SETTINGS),
              "ColorGMM2 expected 1 to 11 models, got 0");
    EXPECT_EQ(refusal("operator=ColorGMM models=" + naming({files[0], files[1]}), domain, GST_RESOURCE_ERROR_SETTINGS),
              "ColorGMM expected one model, got 2");
    const std::string twelve = naming(std::vector<std::string>(12, files[0]));
    EXPECT_EQ(refusal("operator=ColorGMM2 models=" + twelve, domain, GST_RESOURCE_ERROR_SETTINGS),
              "ColorGMM2 expected 1 to 11 models, got 12");

    const std::string lost = refusal("models=" + naming({"/nowhere/lost.yml"}), domain, GST_RESOURCE_ERROR_NOT_FOUND);
    EXPECT_NE(lost.find("/nowhere/lost.yml"), std::string::npos) << lost;
    std::ofstream(files[0]) << "no model";
    const std::string spoilt = refusal("models=" + naming({files[0]}), domain, GST_RESOURCE_ERROR_READ);
    EXPECT_NE(spoilt.find(files[0]), std::string::npos) << spoilt;
}

TEST_F(GlFilterModels, ReadsNothingUntilTheNextStart)
{
    const Owned<GstElement> filter(gst_element_factory_make("velmorglfilter", nullptr));
    gst_object_ref_sink(filter.get());
    const auto name = [&filter](const std::string& names) {
        gst_util_set_object_arg(G_OBJECT(filter.get()), "models", names.c_str());
        GValue value = G_VALUE_INIT;
        g_object_get_property(G_OBJECT(filter.get()), "models", &value);
        gchar* const text = gst_value_serialize(&value);
        const std::string result = text;
        g_free(text);
        g_value_unset(&value);
        return result;
    };
    const std::string lost = "<lost>";
    EXPECT_NE(name(lost).find("lost"), std::string::npos) << "before a start";
    EXPECT_EQ(GST_STATE_CHANGE_FAILURE, gst_element_set_state(filter.get(), GST_STATE_PAUSED));
    gst_element_set_state(filter.get(), GST_STATE_NULL);
    name(naming({files[0]}));
    EXPECT_NE(GST_STATE_CHANGE_FAILURE, gst_element_set_state(filter.get(), GST_STATE_PAUSED));
    EXPECT_EQ(name(lost).find("lost"), std::string::npos) << "while it runs";
    gst_element_set_state(filter.get(), GST_STATE_NULL);
    EXPECT_NE(name(lost).find("lost"), std::string::npos) << "after a stop";

    gst_util_set_object_arg(G_OBJECT(filter.get()), "operator", "ColorGMM");
    name(naming({files[0], files[1]}));
    EXPECT_EQ(GST_STATE_CHANGE_FAILURE, gst_element_set_state(filter.get(), GST_STATE_PAUSED));
    EXPECT_NE(name(lost).find("lost"), std::string::npos) << "after a start that failed";
    gst_element_set_state(filter.get(), GST_STATE_NULL);
}

TEST_F(GlFilterModels, RefusesModelsThatNoShaderTakes)
{
    const auto save = [this](std::size_t file, int components, int dimension) {
        ColorGMM model;
        for (int i = 0; i < components; ++i)
            model.mixture.push_back(boost::shared_ptr<core::cvdata::GM>(new core::cvdata::GM(dimension)));
        model.save(files[file]);
        return "models=" + naming({files[file]});
    };
    const auto text = [](const std::string& settings) {
        return refusal(settings, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_SETTINGS);
    };
    EXPECT_EQ(text("operator=ColorGMM " + save(0, 1, 2)), "ColorGMM expected a model of 2 components, got one of 1");
    EXPECT_EQ(text("operator=ColorGMM " + save(0, 3, 2)), "ColorGMM expected a model of 2 components, got one of 3");
    EXPECT_EQ(text("operator=ColorGMM2 " + save(0, 10, 2)),
              "ColorGMM2 expected a model of 1 to 9 components, got one of 10");
    EXPECT_EQ(text("operator=ColorGMM2 " + save(0, 2, 3)),
              "ColorGMM2 expected a model of two dimensions, got one of 3");
}

} // namespace
} // namespace velmor::tests
