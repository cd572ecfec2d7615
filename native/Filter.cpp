#include "native/Filter.h"

#include "core/cvdata/Image.h"
#include "core/util/internal/OutOfMemory.h"
#include "native/internal/Checks.h"
#include "native/internal/Memory.h"
#include "native/internal/Rule.h"

#include <opencv2/core.hpp>

#include <algorithm>

namespace velmor::native {
namespace {

using core::cvdata::Image;

/// Checks what a function of a filter is called with.
class Checks
{
public:
    Checks(const Rule& rule, const char* function) : mRule(rule), mFunction(rule.name, function) {}

    int resultType(int sourceType, int depth) const
    {
        checkType(mFunction, sourceType, mRule.channels, mRule.depths);
        const int sourceDepth = CV_MAT_DEPTH(sourceType);
        if (depth != -1)
            resultDepth(sourceDepth, depth);
        const int given = depth == -1 ? mRule.resultDepths.front() : depth;
        return CV_MAKETYPE(given == Rule::AS_SOURCE ? sourceDepth : given,
                           mRule.resultChannels == Rule::AS_SOURCE ? CV_MAT_CN(sourceType) : mRule.resultChannels);
    }

    void number(int given) const
    {
        if (given != mRule.sources)
            refuse(mFunction, mRule.sources == 1 ? "1 source" : std::to_string(mRule.sources) + " sources",
                   std::to_string(given));
    }

    void picture(const cv::Mat& source) const { checkPicture(mFunction, source); }

    void pair(const cv::Mat& source1, const cv::Mat& source2) const
    {
        if (source1.size() != source2.size())
            refuse(mFunction, "sources of one size", sizeText(source1) + " and " + sizeText(source2));
        if (source1.type() != source2.type())
            refuse(mFunction, "sources of one type", typeText(source1.type()) + " and " + typeText(source2.type()));
    }

private:
    void resultDepth(int sourceDepth, int depth) const
    {
        std::vector<int> depths = mRule.resultDepths;
        std::replace(depths.begin(), depths.end(), +Rule::AS_SOURCE, sourceDepth);
        if (contains(depths, depth))
            return;
        std::sort(depths.begin(), depths.end());
        depths.erase(std::unique(depths.begin(), depths.end()), depths.end());
        refuse(mFunction, "a result of " + listText(depths, depthText), depthText(depth));
    }

    const Rule& mRule;
    FunctionName mFunction;
};

/// Whether the result may be written while a source is read.
bool bearsWriting(const Rule& rule, const cv::Mat& source, const cv::Mat& result)
{
    return (rule.isPerPixel && coincide(source, result)) || !overlap(source, result);
}

void executeChecked(const Rule& rule, const cv::Mat& source1, const cv::Mat& source2, int type, cv::Mat& result)
{
    // The result may be a source: these keep its memory when the result gets new memory.
    const Sources sources = {source1, source2};
    result.create(sources[0].size(), type);
    if (bearsWriting(rule, sources[0], result) && bearsWriting(rule, sources[1], result))
        return computeRule(rule, sources, result);
    cv::Mat elsewhere(result.size(), type);
    computeRule(rule, sources, elsewhere);
    elsewhere.copyTo(result);
}

cv::Mat pictureOf(const Image& image)
{
    const cv::Mat pixels = image.mat();
    if (image.channels() != Image::BGR || pixels.empty())
        return pixels;
    return core::util::orBadAlloc([&] {
        cv::Mat redFirst(pixels.size(), pixels.type());
        const int fromTo[] = {0, 2, 1, 1, 2, 0};
        cv::mixChannels(&pixels, 1, &redFirst, 1, fromTo, 3);
        return redFirst;
    });
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
    const int type = checks.resultType(source.type(), depth);
    core::util::orBadAlloc([&] { executeChecked(*mRule, source, cv::Mat(), type, result); });
}

void Filter::execute(const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result, int depth) const
{
    const Checks checks(*mRule, "execute");
    checks.number(2);
    checks.picture(source1);
    checks.picture(source2);
    checks.pair(source1, source2);
    const int type = checks.resultType(source1.type(), depth);
    core::util::orBadAlloc([&] { executeChecked(*mRule, source1, source2, type, result); });
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
