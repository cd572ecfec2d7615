#include "native/internal/Checks.h"

#include <algorithm>
#include <stdexcept>

namespace velmor::native {
namespace {

std::string channelsText(const std::string& number)
{
    return number + (number == "1" ? " channel" : " channels");
}

} // namespace

std::string depthText(int depth)
{
    static const char* const texts[] = {"bytes",           "signed bytes",    "16-bit unsigned integers",
                                        "16-bit integers", "32-bit integers", "floats",
                                        "doubles",         "half floats"};
    if (depth < 0 || depth > CV_16F)
        return "depth " + std::to_string(depth);
    return texts[depth];
}

std::string typeText(int type)
{
    return channelsText(std::to_string(CV_MAT_CN(type))) + " of " + depthText(CV_MAT_DEPTH(type));
}

std::string sizeText(const cv::Mat& picture)
{
    return std::to_string(picture.cols) + " x " + std::to_string(picture.rows);
}

bool contains(const std::vector<int>& items, int item)
{
    return std::find(items.begin(), items.end(), item) != items.end();
}

void refuse(const std::string& function, const std::string& expected, const std::string& got)
{
    throw std::invalid_argument(function + "(): expected " + expected + ", got " + got);
}

void checkPicture(const FunctionName& function, const cv::Mat& source)
{
    if (source.dims > 2)
        refuse(function, "a picture of 2 dimensions", std::to_string(source.dims));
    if (source.empty())
        refuse(function, "a picture", "an empty one");
}

void checkType(const FunctionName& function, int type, const std::vector<int>& channels, const std::vector<int>& depths)
{
    if (contains(channels, CV_MAT_CN(type)) && contains(depths, CV_MAT_DEPTH(type)))
        return;
    const auto numberText = [](int number) {
        return std::to_string(number);
    };
    refuse(function, channelsText(listText(channels, numberText)) + " of " + listText(depths, depthText),
           typeText(type));
}

} // namespace velmor::native
