#include "python/binding/Images.h"

#include "python/binding/Texts.h"

#include <functional>
#include <limits>
#include <utility>

namespace velmor::python {
namespace {

constexpr auto kMostBytes = static_cast<std::size_t>(std::numeric_limits<int>::max());

/// Refuses what is too large before it is copied: an array that repeats one row may have billions of them.
py::handle checked(py::handle argument, const std::string& function)
{
    if (!py::isinstance<py::array>(argument))
        return argument;
    const auto array = py::reinterpret_borrow<py::array>(argument);
    if (static_cast<std::size_t>(array.size()) > kMostBytes)
        refuse(function, "an array of less than 2 GiB", textOf(array));
    return argument;
}

bool fits(const cv::Mat& picture)
{
    return picture.step <= kMostBytes / static_cast<std::size_t>(picture.rows);
}

bool overlap(const cv::Mat& a, const cv::Mat& b)
{
    const std::less<const unsigned char*> before;
    return before(a.datastart, b.dataend) && before(b.datastart, a.dataend);
}

} // namespace

using core::cvdata::Image;

Image imageOver(const cv::Mat& picture)
{
    return {static_cast<unsigned>(picture.cols), static_cast<unsigned>(picture.rows),
            picture.channels() == 1 ? Image::GREYSCALE : Image::RGB, picture.data, static_cast<unsigned>(picture.step)};
}

ImageSource::ImageSource(py::handle argument, std::vector<int> channels, const std::string& function)
    : mSource(checked(argument, function), function, {std::move(channels), {CV_8U}}), mPicture(mSource.picture())
{
    if (mPicture.total() * mPicture.elemSize() > kMostBytes) // of an object that gives an array
        refuse(function, "an array of less than 2 GiB", mSource.description());
    if (!fits(mPicture)) // rows that lie far apart
        mPicture = mPicture.clone();
}

void checkMaskSize(const ImageSource& mask, const ImageSource& image, const std::string& function)
{
    const cv::Size size = image.picture().size();
    if (mask.picture().size() != size)
        refuse(function, "a mask of shape (" + std::to_string(size.height) + ", " + std::to_string(size.width) + ")",
               mask.source().description());
}

MaskResult::MaskResult(py::handle out, const ImageSource& source, const std::string& function)
    : mResult(out, source.source(), CV_8UC1, function)
{
    const cv::Mat& result = mResult.picture();
    if (result.empty() || !fits(result) || overlap(result, source.picture()))
        mElsewhere.create(source.picture().size(), CV_8UC1);
}

Image MaskResult::image()
{
    return imageOver(mElsewhere.empty() ? mResult.picture() : mElsewhere);
}

py::object MaskResult::finish()
{
    if (!mElsewhere.empty())
        mElsewhere.copyTo(mResult.picture());
    return mResult.finish();
}

} // namespace velmor::python
