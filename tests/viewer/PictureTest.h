#pragma once

#include "tests/viewer/Pictures.h"
#include "tests/viewer/ViewerTest.h"

#include <opencv2/imgcodecs.hpp>

#include <string>

namespace velmor::tests {

/// With a file of the picture of patches.
class PictureTest : public ViewerTest
{
protected:
    void SetUp() override { ASSERT_TRUE(cv::imwrite(file, picture)); }

    const cv::Mat picture = patchedPicture();
    const std::string file = path("picture.png").string();
};

} // namespace velmor::tests
