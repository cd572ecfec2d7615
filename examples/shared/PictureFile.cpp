#include "examples/shared/PictureFile.h"

#include "examples/shared/ImageView.h"
#include "examples/shared/TextFile.h"
#include "imageio/ImageIo.h"

#include <opencv2/imgcodecs.hpp>

#include <vector>

namespace velmor::demo {

void savePicture(const cv::Mat& picture, const std::string& file)
{
    imageio::save(imageView(picture), file);
}

void saveJpeg(const cv::Mat& picture, const std::string& file, int quality)
{
    std::vector<unsigned char> bytes;
    cv::imencode(".jpg", picture, bytes, {cv::IMWRITE_JPEG_QUALITY, quality});
    writeTextFile(file, {bytes.begin(), bytes.end()});
}

} // namespace velmor::demo
