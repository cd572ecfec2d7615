#pragma once

#include "core/cvdata/Image.h"
#include "python/binding/Arrays.h"

#include <string>
#include <vector>

namespace velmor::python {

/// An image over the pixels of a picture of bytes, RGB or GREYSCALE.
core::cvdata::Image imageOver(const cv::Mat& picture);

/// An argument of bytes as an image of the operators on images, in the argument's own memory where its layout is that
/// of images, else in a copy. OpenCV describes images of less than 2 GiB: larger arrays are refused.
class ImageSource
{
public:
    /// @param channels  numbers of channels that are taken, of 1 and 3
    /// @throws py::value_error  when the argument is no such array, or has no pixels
    ImageSource(py::handle argument, std::vector<int> channels, const std::string& function);

    core::cvdata::Image image() const { return imageOver(mPicture); }

    const Source& source() const { return mSource; }
    const cv::Mat& picture() const { return mPicture; }

private:
    Source mSource;
    cv::Mat mPicture;
};

/// Refuses a mask that has not the height and width of what it belongs to.
void checkMaskSize(const ImageSource& mask, const ImageSource& image, const std::string& function);

/// Where an operator on images writes its mask or grey picture, which has the source's height and width.
class MaskResult
{
public:
    /// @param out  None, or an array of bytes of shape (height, width), which may share memory with the source
    MaskResult(py::handle out, const ImageSource& source, const std::string& function);

    /// What is written.
    core::cvdata::Image image();

    /// What the caller gets.
    py::object finish();

private:
    Result mResult;
    cv::Mat mElsewhere; ///< what is written where that must not be the result's memory; else empty
};

} // namespace velmor::python
