#pragma once

#include "core/cvdata/Image.h"
#include "imageio/Export.h"

#include <string>

namespace velmor::imageio {

/// Reads a picture file: PNG, JPEG, BMP, PNM (P1 to P6), TIFF or WebP. The content tells which.
///
/// Pictures of another depth or colour are converted: 16-bit channels to 8 bits, colour to grey or grey to colour.
/// Transparency is dropped. Where a file is damaged, a codec may print about it on standard error before the exception
/// is thrown.
///
/// Decoders see only files that pass a check of their header. A file of any other kind is refused. So is one whose
/// header claims more than its decoder should ask memory for: more than 2^20 pixels a side, more than 2^28 in all, or
/// more than both 2^22 (4 million) and 2048 for each byte of the file. The last rule refuses files of a few bytes that
/// claim to be posters. A file has less than 2 GiB, and is read as a whole. TIFF files have up to 4 channels, and are
/// not packed or packed as CCITT, LZW, JPEG, Deflate or PackBits.
/// @param file    its path
/// @param layout  layout of the image to make
/// @return        an image that owns its pixels
/// @throws std::runtime_error  naming the file and the reason when it cannot be read or holds no picture
VELMOR_IMAGEIO_EXPORT core::cvdata::Image load(const std::string& file, core::cvdata::Image::ChannelLayout layout);

/// Writes a picture file in the format that its extension names: one that load() reads, or another that OpenCV has.
///
/// The file appears complete or not at all. It is written beside the one that is there, which stays whole and as it was
/// until it is replaced. If writing fails the old file stays for good, and nothing is left beside it.
/// @param image  any layout
/// @param file   its path
/// @throws std::runtime_error  naming the file and the reason when it cannot be written
VELMOR_IMAGEIO_EXPORT void save(const core::cvdata::Image& image, const std::string& file);

} // namespace velmor::imageio
