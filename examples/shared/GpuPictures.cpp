#include "examples/shared/GpuPictures.h"

#include "examples/shared/ImageView.h"

namespace velmor::demo {

using core::cvdata::Image;
using glsupport::RectTexture;

std::unique_ptr<RectTexture> makeTexture(const cv::Size& size)
{
    return std::make_unique<RectTexture>(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height),
                                         RectTexture::RGB8);
}

std::unique_ptr<RectTexture> makeTexture(const cv::Mat& picture)
{
    auto texture = makeTexture(picture.size());
    upload(picture, *texture);
    return texture;
}

void upload(const cv::Mat& picture, RectTexture& texture)
{
    texture.upload(imageView(picture));
}

cv::Mat download(const RectTexture& texture)
{
    Image image(texture.width(), texture.height(), Image::BGR);
    texture.download(image);
    return image.mat().clone();
}

} // namespace velmor::demo
