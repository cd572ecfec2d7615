#pragma once

#include <opencv2/core/mat.hpp>

#include <string>
#include <vector>

namespace velmor::native {

// What refusals of arguments have in common: their texts.

/// "bytes", "floats", "16-bit integers"
std::string depthText(int depth);

/// "3 channels of bytes"
std::string typeText(int type);

/// "640 x 480"
std::string sizeText(const cv::Mat& picture);

/// "1, 3 or 4"
template<typename Text>
std::string listText(const std::vector<int>& items, const Text& text)
{
    std::string result;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const char* const separator = i == 0 ? "" : i + 1 == items.size() ? " or " : ", ";
        result += separator + text(items[i]);
    }
    return result;
}

/// Whether a list has an item.
bool contains(const std::vector<int>& items, int item);

/// Throws "function(): expected ..., got ...".
/// @param function  with its namespaces and class, such as "native::And::execute"
/// @throws std::invalid_argument  always
[[noreturn]] void refuse(const std::string& function, const std::string& expected, const std::string& got);

/// Refuses what is no picture or an empty one.
void checkPicture(const std::string& function, const cv::Mat& source);

/// Refuses a source of another number of channels or another depth than those that are taken.
void checkType(const std::string& function, int type, const std::vector<int>& channels, const std::vector<int>& depths);

} // namespace velmor::native
