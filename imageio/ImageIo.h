#pragma once

#include "core/cvdata/Image.h"
#include "imageio/Export.h"

#include <string>

namespace velmor::imageio {

/// Reads a picture file (PNG, JPEG, TIFF, BMP, ... as OpenCV's codecs know them, told by its content).
///
/// Pictures of another depth or colour are converted: 16-bit channels to 8 bits, colour to grey or grey to colour,
/// and transparency is dropped. A codec may print about a damaged file on standard error before the exception is
/// thrown.
/// @param file    its path
/// @param layout  layout of the image to make
/// @return        an image that owns its pixels
/// @throws std::runtime_error  naming the file and the reason when it cannot be read or holds no picture
VELMOR_IMAGEIO_EXPORT core::cvdata::Image load(const std::string& file, core::cvdata::Image::ChannelLayout layout);

/// Writes a picture file in the format that its extension names.
///
/// The file appears complete or not at all: a file that was there stays as it was when writing fails.
/// @param image  any layout
/// @param file   its path
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
VELMOR_IMAGEIO_EXPORT void save(const core::cvdata::Image& image, const std::string& file);

} // namespace velmor::imageio
