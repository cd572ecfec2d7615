#include "native/Filter.h"

#include "core/cvdata/Image.h"
#include "native/internal/Memory.h"
#include "native/internal/Rule.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <stdexcept>

namespace velmor::native {
namespace {

using core::cvdata::Image;

std::string depthText(int depth)
{
    static const char* const texts[] = {"bytes",           "signed bytes",    "16-bit unsigned integers",
                                        "16-bit integers", "32-bit integers", "floats",
                                        "doubles",         "half floats"};
    if (depth < 0 || depth > CV_16F)
        return "depth " + std::to_string(depth);
    return texts[depth];
}

std::string channelsText(const std::string& number)
{
    return number + (number == "1" ? " channel" : " channels");
}

std::string typeText(int type)
{
    return channelsText(std::to_string(CV_MAT_CN(type))) + " of " + depthText(CV_MAT_DEPTH(type));
}

std::string sizeText(const cv::Mat& picture)
{
    return std::to_string(picture.cols) + " x " + std::to_string(picture.rows);
}

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

bool contains(const std::vector<int>& items, int item)
{
    return std::find(items.begin(), items.end(), item) != items.end();
}

/// Checks what a function of a filter is called with.
class Checks
{
public:
    Checks(const Rule& rule, const char* function) : mRule(rule), mFunction(function) {}

    int resultType(int sourceType, int depth) const
    {
        const int sourceDepth = CV_MAT_DEPTH(sourceType);
        const int channels = CV_MAT_CN(sourceType);
        if (!contains(mRule.channels, channels) || !contains(mRule.depths, sourceDepth)) {
            const auto numberText = [](int number) {
                return std::to_string(number);
            };
            fail(channelsText(listText(mRule.channels, numberText)) + " of " + listText(mRule.depths, depthText),
                 typeText(sourceType));
        }
        std::vector<int> depths = mRule.resultDepths;
        std::replace(depths.begin(), depths.end(), +Rule::AS_SOURCE, sourceDepth);
        if (depth != -1 && !contains(depths, depth)) {
            std::sort(depths.begin(), depths.end());
            depths.erase(std::unique(depths.begin(), depths.end()), depths.end());
            fail("a result of " + listText(depths, depthText), depthText(depth));
        }
        return CV_MAKETYPE(depth == -1 ? depths.front() : depth,
                           mRule.resultChannels == Rule::AS_SOURCE ? channels : mRule.resultChannels);
    }

    void number(int given) const
    {
        if (given != mRule.sources)
            fail(mRule.sources == 1 ? "1 source" : std::to_string(mRule.sources) + " sources", std::to_string(given));
    }

    void picture(const cv::Mat& source) const
    {
        if (source.dims > 2)
            fail("a picture of 2 dimensions", std::to_string(source.dims));
        if (source.empty())
            fail("a picture", "an empty one");
    }

    void pair(const cv::Mat& source1, const cv::Mat& source2) const
    {
        if (source1.size() != source2.size())
            fail("sources of one size", sizeText(source1) + " and " + sizeText(source2));
        if (source1.type() != source2.type())
            fail("sources of one type", typeText(source1.type()) + " and " + typeText(source2.type()));
    }

private:
    [[noreturn]] void fail(const std::string& expected, const std::string& got) const
    {
        throw std::invalid_argument("native::" + mRule.name + "::" + mFunction + "(): expected " + expected + ", got " +
                                    got);
    }

    const Rule& mRule;
    const char* mFunction;
};

/// Whether the result may be written while a source is read.
bool bearsWriting(const Rule& rule, const cv::Mat& source, const cv::Mat& result)
{
    return (rule.isPerPixel && coincide(source, result)) || !overlap(source, result);
}

/// @param source1, source2  copies of the caller's headers, which keep the memory while the result gets new memory
void executeChecked(const Rule& rule, const cv::Mat source1, const cv::Mat source2, int type, cv::Mat& result)
{
    result.create(source1.size(), type);
    if (bearsWriting(rule, source1, result) && bearsWriting(rule, source2, result))
        return computeRule(rule, source1, source2, result);
    cv::Mat elsewhere(result.size(), type);
    computeRule(rule, source1, source2, elsewhere);
    elsewhere.copyTo(result);
}

cv::Mat pictureOf(const Image& image)
{
    const cv::Mat pixels = image.mat();
    if (image.channels() != Image::BGR || pixels.empty())
        return pixels;
    cv::Mat redFirst(pixels.size(), pixels.type());
    const int fromTo[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&pixels, 1, &redFirst, 1, fromTo, 3);
    return redFirst;
}

} // namespace

Filter::Filter(std::shared_ptr<const Rule> rule) : mRule(std::move(rule)) {}

Filter::~Filter() = default;

int Filter::sources() const
{
    return mRule->sources;
}

int Filter::resultType(int sourceType, int depth) const
{
    return Checks(*mRule, "resultType").resultType(sourceType, depth);
}

void Filter::execute(const cv::Mat& source, cv::Mat& result, int depth) const
{
    const Checks checks(*mRule, "execute");
    checks.number(1);
    checks.picture(source);
    executeChecked(*mRule, source, cv::Mat(), checks.resultType(source.type(), depth), result);
}

void Filter::execute(const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result, int depth) const
{
    const Checks checks(*mRule, "execute");
    checks.number(2);
    checks.picture(source1);
    checks.picture(source2);
    checks.pair(source1, source2);
    executeChecked(*mRule, source1, source2, checks.resultType(source1.type(), depth), result);
}

void Filter::execute(const Image& source, cv::Mat& result, int depth) const
{
    execute(pictureOf(source), result, depth);
}

void Filter::execute(const Image& source1, const Image& source2, cv::Mat& result, int depth) const
{
    execute(pictureOf(source1), pictureOf(source2), result, depth);
}

} // namespace velmor::native
