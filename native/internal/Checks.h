#pragma once

#include <opencv2/core/mat.hpp>

#include <string>
#include <vector>

namespace velmor::native {

// What refusals of arguments have in common: their texts.

/// The name of a function, which messages begin with. Its text is put together for a message only, so that a call that
/// is right does not wait for it.
class FunctionName
{
public:
    /// @param whole  such as "native::pixelCount"; kept as it is
    FunctionName(const char* whole) : mFunction(whole) {}

    /// "native::Class::function"; both are kept as they are.
    FunctionName(const std::string& className, const char* function) : mClass(&className), mFunction(function) {}

    operator std::string() const { return mClass ? "native::" + *mClass + "::" + mFunction : mFunction; }

private:
    const std::string* mClass = nullptr;
    const char* mFunction;
};

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
void checkPicture(const FunctionName& function, const cv::Mat& source);

/// Refuses a source of another number of channels or another depth than those that are taken.
void checkType(const FunctionName& function, int type, const std::vector<int>& channels,
               const std::vector<int>& depths);

} // namespace velmor::native
