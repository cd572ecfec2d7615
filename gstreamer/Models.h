#pragma once

#include "catalogue/Catalogue.h"
#include "core/cvdata/ColorGMM.h"

#include <gst/gst.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmor::gstreamer {

/// Colour models that were read from files. Nobody changes them any more, so any number of frames may use them.
using Models = std::vector<std::shared_ptr<core::cvdata::ColorGMM>>;

/// Says of a file what is wrong with it.
class FileError : public std::runtime_error
{
public:
    FileError(const std::string& file, const std::string& what);

    /// Sends the error on the pipeline's bus: that there is no such file, or that it cannot be read.
    void post(GstElement* element) const;

    /// Sends a warning instead.
    void warn(GstElement* element) const;

private:
    bool mIsMissing;
};

/// Declares the property "models": names of files of colour models.
void declareModels(GObjectClass* type, guint id);

/// The names that a value of the property holds.
std::vector<std::string> fileNamesIn(const GValue& value);

/// Gives names to a value of the property.
void giveFileNames(const std::vector<std::string>& names, GValue& value);

/// Reads the colour model of a file.
/// @throws FileError
std::shared_ptr<core::cvdata::ColorGMM> loadModel(const std::string& file);

/// Reads the colour models of files.
/// @throws FileError  of the first one that cannot be read
Models loadModels(const std::vector<std::string>& files);

/// What an operator is given of models.
catalogue::Given givenOf(const Models& models);

} // namespace velmor::gstreamer
