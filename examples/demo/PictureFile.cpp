#include "examples/demo/PictureFile.h"

#include "examples/demo/ImageView.h"
#include "imageio/ImageIo.h"

#include <opencv2/imgcodecs.hpp>

#include <stdexcept>

namespace velmor::demo {

void savePicture(const cv::Mat& picture, const std::string& file)
{
    imageio::save(imageView(picture), file);
}

void saveJpeg(const cv::Mat& picture, const std::string& file, int quality)
{
    if (!cv::imwrite(file, picture, {cv::IMWRITE_JPEG_QUALITY, quality}))
        throw std::runtime_error("cannot write '" + file + "'");
}

} // namespace velmor::demo
