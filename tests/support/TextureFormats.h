#pragma once

#include "glsupport/RectTexture.h"

#include <opencv2/core.hpp>

#include <map>

namespace velmor::tests {

using glsupport::RectTexture;

/// The types of pictures that textures hold as they are.
const std::map<int, RectTexture::Format> kTextureFormats = {
    {CV_8UC1, RectTexture::GREY8},     {CV_8UC3, RectTexture::RGB8},     {CV_8UC4, RectTexture::RGBA8},
    {CV_32FC1, RectTexture::R32F},     {CV_32FC4, RectTexture::RGBA32F}, {CV_16UC1, RectTexture::R16UI},
    {CV_16UC4, RectTexture::RGBA16UI}, {CV_32SC1, RectTexture::R32UI},   {CV_32SC4, RectTexture::RGBA32UI},
};

} // namespace velmor::tests
