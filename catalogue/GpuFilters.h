#pragma once

#include "catalogue/Catalogue.h"
#include "catalogue_gl/Export.h"
#include "cvprocess/gpuStdShaders/GpuStdShaders.h"

#include <memory>
#include <string>

namespace velmor::catalogue {

/// Makes a filter by its name; needs the context. A filter that has more to tell than its picture is of the class of
/// its name: a cast leads to getCount() and the like.
/// @param name    of an operator whose kind is Kind::FILTER
/// @param values  of its parameters
/// @param given   what it needs beside them
/// @throws std::invalid_argument  when there is no such filter, when it has no such parameter, when a value is out of
///                                range, or when something that it needs is missing
///
/// Example:
///
///     const auto edgesOfPicture = catalogue::makeGpu("Laplacian", {{"kernel", 1}});
///     edgesOfPicture->prepareExecution(picture, edges);
///     edgesOfPicture->execute();
VELMOR_CATALOGUE_GL_EXPORT std::unique_ptr<cvprocess::GpuStdShaders>
makeGpu(const std::string& name, const Values& values = {}, const Given& given = {});

} // namespace velmor::catalogue
