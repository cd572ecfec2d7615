#include "examples/demo/PictureFile.h"

#include "examples/demo/ImageView.h"
#include "imageio/ImageIo.h"

namespace velmor::demo {

void savePicture(const cv::Mat& picture, const std::string& file)
{
    imageio::save(imageView(picture), file);
}

} // namespace velmor::demo
