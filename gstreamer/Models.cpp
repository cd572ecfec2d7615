#include "gstreamer/Models.h"

#include "gstreamer/Parameters.h"

namespace velmor::gstreamer {

FileError::FileError(const std::string& file, const std::string& what)
    : std::runtime_error(what), mIsMissing(!g_file_test(file.c_str(), G_FILE_TEST_EXISTS))
{
}

void FileError::post(GstElement* element) const
{
    if (mIsMissing)
        GST_ELEMENT_ERROR(element, RESOURCE, NOT_FOUND, ("%s", what()), (nullptr));
    else
        GST_ELEMENT_ERROR(element, RESOURCE, READ, ("%s", what()), (nullptr));
}

void FileError::warn(GstElement* element) const
{
    if (mIsMissing)
        GST_ELEMENT_WARNING(element, RESOURCE, NOT_FOUND, ("%s", what()), (nullptr));
    else
        GST_ELEMENT_WARNING(element, RESOURCE, READ, ("%s", what()), (nullptr));
}

void declareModels(GObjectClass* type, guint id)
{
    GParamSpec* const file = g_param_spec_string("file", "file", "file of a colour model", nullptr, G_PARAM_READWRITE);
    const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
    g_object_class_install_property(
        type, id, gst_param_spec_array("models", "models", "files of colour models, one for each class", file, flags));
}

std::vector<std::string> fileNamesIn(const GValue& value)
{
    std::vector<std::string> result;
    for (guint i = 0; i < gst_value_array_get_size(&value); ++i) {
        const char* const name = g_value_get_string(gst_value_array_get_value(&value, i));
        result.emplace_back(name ? name : "");
    }
    return result;
}

void giveFileNames(const std::vector<std::string>& names, GValue& value)
{
    g_value_reset(&value);
    for (const std::string& each : names) {
        GValue name = G_VALUE_INIT;
        g_value_init(&name, G_TYPE_STRING);
        g_value_set_string(&name, each.c_str());
        gst_value_array_append_and_take_value(&value, &name);
    }
}

std::shared_ptr<core::cvdata::ColorGMM> loadModel(const std::string& file)
{
    const auto result = std::make_shared<core::cvdata::ColorGMM>();
    try {
        result->load(file);
    } catch (const std::runtime_error& error) {
        throw FileError(file, error.what());
    }
    return result;
}

Models loadModels(const std::vector<std::string>& files)
{
    Models result;
    for (const std::string& each : files)
        result.push_back(loadModel(each));
    return result;
}

catalogue::Given givenOf(const Models& models)
{
    catalogue::Given result;
    for (const auto& each : models)
        result.models.push_back(each.get());
    return result;
}

} // namespace velmor::gstreamer
