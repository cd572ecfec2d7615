#pragma once

#include "core/cvdata/Image.h"
#include "imageio/Export.h"

#include <string>

namespace velmor::imageio {

/// Reads a picture file: PNG, JPEG, BMP, PNM (P1 to P6), TIFF or WebP, told by its content.
///
/// Pictures of another depth or colour are converted: 16-bit channels to 8 bits, colour to grey or grey to colour,
/// and transparency is dropped. A codec may print about a damaged file on standard error before the exception is
/// thrown.
///
/// A file of any other kind never reaches a decoder, and neither does one whose header claims more than its decoder
/// should ask memory for: more than 2^20 pixels a side or 2^28 in all, or more than 2^22 (4 million) and more than
/// 2048 for each byte of the file. The last leaves out drawings of a few bytes that claim to be posters. TIFF is of up
/// to 4 channels, not packed or packed as CCITT, LZW, JPEG, Deflate or PackBits.
/// @param file    its path
/// @param layout  layout of the image to make
/// @return        an image that owns its pixels
/// @throws std::runtime_error  naming the file and the reason when it cannot be read or holds no picture
VELMOR_IMAGEIO_EXPORT core::cvdata::Image load(const std::string& file, core::cvdata::Image::ChannelLayout layout);

/// Writes a picture file in the format that its extension names, one of load()'s or another that OpenCV has.
///
/// The file appears complete or not at all: it is written beside the one that is there, which stays whole and as it was
/// until it is replaced, and for good when writing fails; then nothing is left beside it.
/// @param image  any layout
/// @param file   its path
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
VELMOR_IMAGEIO_EXPORT void save(const core::cvdata::Image& image, const std::string& file);

} // namespace velmor::imageio
