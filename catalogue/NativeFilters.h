#pragma once

#include "catalogue/Catalogue.h"
#include "native/Filter.h"

#include <memory>
#include <string>

namespace velmor::catalogue {

/// Whether makeNative() makes an operator: each filter but those whose result is numbers. These are the functions
/// native::colorHistShader() and native::pixelCount().
VELMOR_CATALOGUE_EXPORT bool hasNative(const Operator& what);

/// Makes a filter on pictures in main memory by its name; it needs no OpenGL. Models are copied.
/// @param name    of an operator for which hasNative() is true
/// @param values  of its parameters
/// @param given   what it needs beside them
/// @throws std::invalid_argument  when there is no such filter, when it has no such parameter, when a value is out of
///                                range, or when something that it needs is missing
///
/// Example:
///
///     const auto edgesOfPicture = catalogue::makeNative("Laplacian", {{"kernel", 1}});
///     cv::Mat edges;
///     edgesOfPicture->execute(photograph, edges);
VELMOR_CATALOGUE_EXPORT std::unique_ptr<native::Filter> makeNative(const std::string& name, const Values& values = {},
                                                                   const Given& given = {});

} // namespace velmor::catalogue
