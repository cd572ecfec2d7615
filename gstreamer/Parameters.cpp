#include "gstreamer/Parameters.h"

#include <algorithm>

namespace velmor::gstreamer {
namespace {

/// Words as GObject has names: what is no letter or figure becomes one hyphen.
std::string nickOf(const std::string& words)
{
    std::string result;
    for (const char each : words)
        if (g_ascii_isalnum(each))
            result += each;
        else if (!result.empty() && result.back() != '-')
            result += '-';
    return result;
}

/// An enumeration, numbered from 0. Types stay registered as long as the process lives, and so do their words.
GType enumerationOf(const std::string& name, const std::vector<std::pair<std::string, std::string>>& nicksAndMeanings)
{
    if (const GType known = g_type_from_name(name.c_str()))
        return known;
    GEnumValue* const values = g_new0(GEnumValue, nicksAndMeanings.size() + 1);
    for (std::size_t i = 0; i < nicksAndMeanings.size(); ++i)
        values[i] = {static_cast<gint>(i), g_strdup(nicksAndMeanings[i].second.c_str()),
                     g_strdup(nicksAndMeanings[i].first.c_str())};
    return g_enum_register_static(name.c_str(), values);
}

GParamSpec* declarationOf(const std::string& typeName, const catalogue::Parameter& parameter)
{
    const char* const name = parameter.name.c_str();
    const char* const blurb = parameter.meaning.c_str();
    if (!parameter.choices.empty()) {
        std::vector<std::pair<std::string, std::string>> words;
        for (const std::string& choice : parameter.choices)
            words.emplace_back(nickOf(choice), choice);
        const GType type = enumerationOf(typeName + "-" + parameter.name, words);
        return g_param_spec_enum(name, name, blurb, type, static_cast<gint>(parameter.initial), anyTime());
    }
    if (parameter.isWhole)
        return g_param_spec_int(name, name, blurb, static_cast<gint>(parameter.least),
                                static_cast<gint>(parameter.most), static_cast<gint>(parameter.initial), anyTime());
    return g_param_spec_double(name, name, blurb, parameter.least, parameter.most, parameter.initial, anyTime());
}

} // namespace

GParamFlags anyTime()
{
    return static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_CONTROLLABLE | GST_PARAM_MUTABLE_PLAYING);
}

GParamFlags untilPaused()
{
    return static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_READY);
}

std::vector<catalogue::Parameter> parametersOf(const std::vector<catalogue::Operator>& operators)
{
    std::vector<catalogue::Parameter> result;
    for (const catalogue::Operator& each : operators)
        result.insert(result.end(), each.parameters.begin(), each.parameters.end());
    return result;
}

void declareParameters(GObjectClass* type, guint firstId, const std::vector<catalogue::Parameter>& parameters)
{
    for (const catalogue::Parameter& each : parameters)
        g_object_class_install_property(type, firstId++, declarationOf(G_OBJECT_CLASS_NAME(type), each));
}

void declareOperator(GObjectClass* type, guint id, const std::vector<catalogue::Operator>& operators)
{
    std::vector<std::pair<std::string, std::string>> words;
    for (const catalogue::Operator& each : operators)
        words.emplace_back(each.name, each.meaning);
    const GType choice = enumerationOf(std::string(G_OBJECT_CLASS_NAME(type)) + "-operator", words);
    g_object_class_install_property(
        type, id, g_param_spec_enum("operator", "operator", "what is done to each frame", choice, 0, anyTime()));
}

void declareLevels(GObjectClass* type, guint firstId, const std::string& results)
{
    const std::string ofScale = "what " + results + " are multiplied by, before offset is added";
    const std::string ofOffset = "what is added to " + results + "; 1 makes black white";
    const double most = 100;
    g_object_class_install_property(type, firstId,
                                    g_param_spec_double("scale", "scale", ofScale.c_str(), -most, most, 1, anyTime()));
    g_object_class_install_property(
        type, firstId + 1, g_param_spec_double("offset", "offset", ofOffset.c_str(), -most, most, 0, anyTime()));
}

void followControllers(gpointer element, const GstSegment& segment, GstBuffer* frame)
{
    if (segment.format != GST_FORMAT_TIME) // some sources count bytes, and controllers have no time to go by then
        return;
    const GstClockTime when = gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, GST_BUFFER_PTS(frame));
    if (GST_CLOCK_TIME_IS_VALID(when))
        gst_object_sync_values(GST_OBJECT(element), when);
}

Parameters::Parameters(const std::vector<catalogue::Parameter>& parameters) : mParameters(parameters)
{
    for (const catalogue::Parameter& each : mParameters)
        mValues.push_back(each.initial);
}

void Parameters::set(std::size_t index, const GValue& value)
{
    const catalogue::Parameter& parameter = mParameters.at(index);
    const double number = !parameter.choices.empty() ? g_value_get_enum(&value)
                          : parameter.isWhole        ? g_value_get_int(&value)
                                                     : g_value_get_double(&value);
    const std::lock_guard lock(mMutex);
    mValues[index] = number;
}

void Parameters::get(std::size_t index, GValue& value) const
{
    const catalogue::Parameter& parameter = mParameters.at(index);
    const std::lock_guard lock(mMutex);
    if (!parameter.choices.empty())
        g_value_set_enum(&value, static_cast<gint>(mValues[index]));
    else if (parameter.isWhole)
        g_value_set_int(&value, static_cast<gint>(mValues[index]));
    else
        g_value_set_double(&value, mValues[index]);
}

catalogue::Values Parameters::valuesFor(const catalogue::Operator& what) const
{
    catalogue::Values result;
    const std::lock_guard lock(mMutex);
    for (std::size_t i = 0; i < mParameters.size(); ++i)
        if (std::any_of(what.parameters.begin(), what.parameters.end(),
                        [&](const catalogue::Parameter& each) { return each.name == mParameters[i].name; }))
            result[mParameters[i].name] = mValues[i];
    return result;
}

} // namespace velmor::gstreamer
