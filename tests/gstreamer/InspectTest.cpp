#include "catalogue/Catalogue.h"
#include "tests/gstreamer/Harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace velmor::tests {
namespace {

/// Calls a function with each element of the plugin, as gst-inspect-1.0 makes it.
void forEachElement(const std::function<void(GstElementFactory*, GstElement*)>& function)
{
    GList* const features = gst_registry_get_feature_list_by_plugin(gst_registry_get(), "velmor");
    ASSERT_TRUE(features);
    for (GList* each = features; each; each = each->next) {
        SCOPED_TRACE(GST_OBJECT_NAME(each->data));
        auto* const factory = GST_ELEMENT_FACTORY(gst_plugin_feature_load(GST_PLUGIN_FEATURE(each->data)));
        ASSERT_TRUE(factory);
        const Owned<GstElement> element(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_create(factory, nullptr))));
        function(factory, element.get());
        gst_object_unref(factory);
    }
    gst_plugin_feature_list_free(features);
}

/// Calls a function with each property that an element of the plugin does not have from GStreamer.
void forEachProperty(GstElement* element, const std::function<void(GParamSpec*)>& function)
{
    guint count = 0;
    GParamSpec** const properties = g_object_class_list_properties(G_OBJECT_GET_CLASS(element), &count);
    for (guint i = 0; i < count; ++i)
        if (g_str_has_prefix(g_type_name(properties[i]->owner_type), "Velmor")) {
            SCOPED_TRACE(properties[i]->name);
            function(properties[i]);
        }
    g_free(properties);
}

std::string metadata(GstElementFactory* factory, const char* key)
{
    const char* const found = gst_element_factory_get_metadata(factory, key);
    return found ? found : "";
}

TEST(Inspect, ShowsWhatEachElementIs)
{
    std::set<std::string> names;
    forEachElement([&names](GstElementFactory* factory, GstElement*) {
        EXPECT_TRUE(g_str_has_prefix(GST_OBJECT_NAME(factory), "velmor"));
        EXPECT_TRUE(names.insert(metadata(factory, GST_ELEMENT_METADATA_LONGNAME)).second);
        EXPECT_NE(std::string::npos, metadata(factory, GST_ELEMENT_METADATA_KLASS).find("Video"));
        EXPECT_EQ("velmor maintainers", metadata(factory, GST_ELEMENT_METADATA_AUTHOR));
        const std::string description = metadata(factory, GST_ELEMENT_METADATA_DESCRIPTION);
        EXPECT_GT(std::count(description.begin(), description.end(), ' '), 3);
        EXPECT_NE('.', description.back());
    });
    EXPECT_TRUE(names.count("Image operator"));
}

/// Whether numbers of a property have a range.
bool hasRange(GParamSpec* property)
{
    if (G_IS_PARAM_SPEC_INT(property))
        return G_PARAM_SPEC_INT(property)->minimum < G_PARAM_SPEC_INT(property)->maximum;
    if (G_IS_PARAM_SPEC_DOUBLE(property))
        return G_PARAM_SPEC_DOUBLE(property)->minimum < G_PARAM_SPEC_DOUBLE(property)->maximum;
    return true;
}

TEST(Inspect, ShowsWhatEachPropertyIs)
{
    forEachElement([](GstElementFactory*, GstElement* element) {
        int properties = 0;
        forEachProperty(element, [&](GParamSpec* property) {
            ++properties;
            const std::string blurb = g_param_spec_get_blurb(property) ? g_param_spec_get_blurb(property) : "";
            EXPECT_GT(std::count(blurb.begin(), blurb.end(), ' '), 1) << blurb;
            EXPECT_TRUE(!blurb.empty() && g_ascii_islower(blurb.front()) && blurb.back() != '.') << blurb;
            EXPECT_TRUE(hasRange(property));
            EXPECT_TRUE(property->flags & G_PARAM_READABLE);
            if (property->flags & G_PARAM_WRITABLE) {
                EXPECT_TRUE(property->flags &
                            (GST_PARAM_MUTABLE_READY | GST_PARAM_MUTABLE_PAUSED | GST_PARAM_MUTABLE_PLAYING))
                    << "it does not say when it may be set";
            }
        });
        EXPECT_GT(properties, 0);
    });
}

TEST(Inspect, ShowsDefaultsThatElementsBeginWith)
{
    forEachElement([](GstElementFactory*, GstElement* element) {
        forEachProperty(element, [&](GParamSpec* property) {
            GValue value = G_VALUE_INIT;
            g_value_init(&value, property->value_type);
            g_object_get_property(G_OBJECT(element), property->name, &value);
            EXPECT_TRUE(G_VALUE_HOLDS(&value, GST_TYPE_ARRAY) ? gst_value_array_get_size(&value) == 0
                                                              : g_param_value_defaults(property, &value));
            EXPECT_FALSE(g_param_value_validate(property, &value)); // which is whether it had to be changed
            g_value_unset(&value);
        });
    });
}

// ---- What the catalogue says

/// Whether a property is a parameter: its name, range and initial value, or its words.
bool isParameter(GParamSpec* property, const catalogue::Parameter& parameter)
{
    if (parameter.name != property->name)
        return false;
    if (G_IS_PARAM_SPEC_ENUM(property)) {
        const GParamSpecEnum& declared = *G_PARAM_SPEC_ENUM(property);
        if (declared.enum_class->n_values != parameter.choices.size() || declared.default_value != parameter.initial)
            return false;
        for (guint i = 0; i < declared.enum_class->n_values; ++i)
            if (declared.enum_class->values[i].value != static_cast<gint>(i) ||
                declared.enum_class->values[i].value_name != parameter.choices[i])
                return false;
        return true;
    }
    if (G_IS_PARAM_SPEC_INT(property)) {
        const GParamSpecInt& declared = *G_PARAM_SPEC_INT(property);
        return parameter.isWhole && declared.minimum == parameter.least && declared.maximum == parameter.most &&
               declared.default_value == parameter.initial;
    }
    const GParamSpecDouble& declared = *G_PARAM_SPEC_DOUBLE(property);
    return !parameter.isWhole && declared.minimum == parameter.least && declared.maximum == parameter.most &&
           declared.default_value == parameter.initial;
}

/// The operators that an element has: those of its property "operator", or its own.
std::set<std::string> operatorsOf(GstElement* element)
{
    static const std::map<std::string, std::set<std::string>> kOwn = {
        {"velmorcolour", {"ColourDetector", "Moments"}},
        {"velmormotion", {"MotionSegment"}},
        {"velmorfaces", {"FaceDetect"}},
    };
    GParamSpec* const property = g_object_class_find_property(G_OBJECT_GET_CLASS(element), "operator");
    if (!property)
        return kOwn.at(GST_OBJECT_NAME(gst_element_get_factory(element)));
    return wordsOf(element, "operator");
}

/// The parameters of an element's operators.
std::vector<catalogue::Parameter> parametersOf(GstElement* element)
{
    const std::set<std::string> operators = operatorsOf(element);
    std::vector<catalogue::Parameter> result;
    for (const catalogue::Operator& what : catalogue::operators())
        if (operators.count(what.name))
            result.insert(result.end(), what.parameters.begin(), what.parameters.end());
    return result;
}

TEST(Inspect, ShowsParametersAsTheCatalogueHasThem)
{
    // Tiles and blocks are how textures are gone through.
    const std::map<std::string, std::set<std::string>> leftOut = {{"velmorfilter", {"block", "tiles"}}};
    forEachElement([&](GstElementFactory* factory, GstElement* element) {
        const std::vector<catalogue::Parameter> parameters = parametersOf(element);
        std::set<std::string> expected, shown;
        for (const catalogue::Parameter& each : parameters)
            expected.insert(each.name);
        if (const auto found = leftOut.find(GST_OBJECT_NAME(factory)); found != leftOut.end())
            for (const std::string& name : found->second) {
                EXPECT_TRUE(expected.erase(name)) << name;
            }
        forEachProperty(element, [&](GParamSpec* property) {
            if (std::any_of(parameters.begin(), parameters.end(),
                            [&](const catalogue::Parameter& each) { return isParameter(property, each); }))
                shown.insert(property->name);
        });
        EXPECT_EQ(expected, shown);
    });
}

TEST(Inspect, ShowsOperatorsByTheNamesOfTheirClasses)
{
    std::set<std::string> expected;
    for (const catalogue::Operator& each : catalogue::operators())
        if (each.kind == catalogue::Kind::FILTER && (each.sources == 1 || each.name == "ColorHistShader") &&
            each.name != "DebugUInt2Float")
            expected.insert(each.name);
    forEachElement([&](GstElementFactory* factory, GstElement* element) {
        forEachProperty(element, [&](GParamSpec* property) {
            if (std::string("operator") != property->name)
                return;
            std::set<std::string> shown;
            const GEnumClass& words = *G_PARAM_SPEC_ENUM(property)->enum_class;
            for (guint i = 0; i < words.n_values; ++i) {
                EXPECT_TRUE(catalogue::find(words.values[i].value_nick)) << words.values[i].value_nick;
                shown.insert(words.values[i].value_nick);
            }
            if (std::string("velmorfilter") == GST_OBJECT_NAME(factory)) {
                EXPECT_EQ(expected, shown);
            }
        });
    });
}

} // namespace
} // namespace velmor::tests
