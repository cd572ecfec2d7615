#include "tests/fuzz/NativeCalls.h"

#include "catalogue/NativeFilters.h"
#include "core/cvdata/ColourHist2d.h"
#include "native/ColorHistShader.h"
#include "native/PixelCount.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/NativeOperators.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace velmor::tests {
namespace {

using catalogue::Given;
using catalogue::Need;
using catalogue::Operator;
using catalogue::Values;
using core::cvdata::ColorGMM;
using core::cvdata::ColourHist2d;
using native::Filter;

constexpr int kMostSide = 300;
const cv::Size kOfSeveralBands(700, 300);

/// Whether a call throws std::invalid_argument, with a text that begins as told.
template<typename Call>
bool isRefused(const std::string& begin, const Call& call)
{
    try {
        call();
        return false;
    } catch (const std::invalid_argument& error) {
        require(std::string(error.what()).compare(0, begin.size(), begin) == 0,
                "a refusal of another kind: " + std::string(error.what()));
        return true;
    }
}

/// Calls a function, which throws nothing, under one of the processor's instruction sets, or under none.
template<typename Function>
void onSomeInstructionSet(Bytes& bytes, const Function& function)
{
    static const int count = [] {
        int sets = 0;
        onEachInstructionSet([&](const std::string&) { ++sets; });
        return sets;
    }();
    int left = bytes.ConsumeIntegralInRange(0, count - 1);
    onEachInstructionSet([&](const std::string& set) {
        if (left-- == 0)
            function(set);
    });
}

// ---- Filters

std::unique_ptr<Filter> make(const Operator& what, const Values& values, std::vector<ColorGMM>& models)
{
    Given given;
    for (ColorGMM& model : models)
        given.models.push_back(&model);
    return catalogue::makeNative(what.name, values, given);
}

bool haveTwoDimensions(const std::vector<ColorGMM>& models)
{
    return std::all_of(models.begin(), models.end(), [](const ColorGMM& model) {
        return std::all_of(model.mixture.begin(), model.mixture.end(),
                           [](const auto& component) { return component->mean.size() == 2; });
    });
}

bool areTaken(const Operator& what, const std::vector<ColorGMM>& models)
{
    if (what.need == Need::NOTHING)
        return true;
    return (what.need == Need::ONE_MODEL ? models.size() == 1 : !models.empty()) && haveTwoDimensions(models);
}

std::vector<ColorGMM> drawModels(Bytes& bytes, const Operator& what)
{
    std::vector<ColorGMM> models;
    std::size_t count = what.need == Need::MODELS ? bytes.ConsumeIntegralInRange<std::size_t>(1, 5) : 1;
    if (oneIn(bytes, 32))
        count = bytes.ConsumeIntegralInRange<std::size_t>(0, 2);
    while (what.need != Need::NOTHING && models.size() < count)
        models.push_back(drawModel(bytes, true));
    return models;
}

bool gives(const Filter& filter, int type, int depth)
{
    try {
        filter.resultType(type, depth);
        return true;
    } catch (const std::invalid_argument&) {
        return false;
    }
}

const std::vector<int>& typesOf(const std::string& name, const Filter& filter)
{
    static std::map<std::string, std::vector<int>> all;
    std::vector<int>& types = all[name];
    if (types.empty())
        for (const int depth : {CV_8U, CV_32F, CV_16U, CV_32S})
            for (const int channels : {1, 2, 3, 4})
                if (gives(filter, CV_MAKETYPE(depth, channels), -1))
                    types.push_back(CV_MAKETYPE(depth, channels));
    return types;
}

int drawType(Bytes& bytes, const std::vector<int>& usual)
{
    if (!oneIn(bytes, 16))
        return oneOf(bytes, usual);
    const int depth = bytes.ConsumeIntegralInRange<int>(CV_8U, CV_16F);
    return CV_MAKETYPE(depth, bytes.ConsumeIntegralInRange(1, 5));
}

int drawDepth(Bytes& bytes)
{
    if (oneIn(bytes, 16))
        return bytes.ConsumeIntegralInRange(-2, 8);
    return oneOf(bytes, std::array<int, 4>{-1, -1, CV_8U, CV_32F});
}

/// The sources of a call, and how it is called.
struct Sources
{
    Part first;
    Part second;
    int count;
    int depth;

    bool fit(const Filter& filter) const
    {
        const cv::Mat &one = first.picture(), &two = second.picture();
        return count == filter.sources() && gives(filter, one.type(), depth) &&
               (count == 1 || (one.size() == two.size() && one.type() == two.type()));
    }
};

Sources drawSources(Bytes& bytes, const Filter& filter, const std::vector<int>& types)
{
    const int type = drawType(bytes, types);
    const cv::Size size = oneIn(bytes, 128) ? kOfSeveralBands : drawSize(bytes, kMostSide);
    const bool isPair = !oneIn(bytes, 16);
    const int otherType = isPair ? type : drawType(bytes, types);
    const cv::Size otherSize = isPair ? size : drawSize(bytes, kMostSide);
    const int count = oneIn(bytes, 32) ? 3 - filter.sources() : filter.sources();
    const int depth = drawDepth(bytes);
    Part first(bytes, size, type);
    return {std::move(first), Part(bytes, count == 2 ? otherSize : cv::Size(1, 1), otherType), count, depth};
}

void execute(const Filter& filter, int count, const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result,
             int depth)
{
    if (count == 1)
        filter.execute(source1, result, depth);
    else
        filter.execute(source1, source2, result, depth);
}

/// Where a result is to go.
enum class Place
{
    NEW,     ///< an empty picture
    PART,    ///< a part of a larger picture, of the right type and size
    OTHER,   ///< a picture of another type or size
    SOURCE,  ///< the first source's own object
    OVERLAP, ///< the memory of the first source, somewhere
    LAST = OVERLAP
};

/// A call, with a result that is checked.
class Run
{
public:
    Run(Bytes& bytes, const std::string& name, const Filter& filter, const std::vector<int>& types)
        : mName("native::" + name + "::execute()"), mFilter(filter), mSources(drawSources(bytes, filter, types)),
          mFits(mSources.fit(filter)), mSource(mSources.first.picture()),
          mType(mFits ? filter.resultType(mSource.type(), mSources.depth) : CV_8UC1),
          mPlace(static_cast<Place>(bytes.ConsumeIntegralInRange(0, static_cast<int>(Place::LAST)))),
          mDestination(bytes, mPlace == Place::OTHER ? drawSize(bytes, 20) : mSource.size(), mType)
    {
        if (mPlace == Place::PART || mPlace == Place::OTHER)
            mOwn = mDestination.picture();
        else if (mPlace == Place::OVERLAP)
            mOwn = mSources.first.another(bytes, mSource.size(), mType);
    }

    bool fits() const { return mFits; }

    /// What a filter gives of copies of the sources.
    cv::Mat expected(const Filter& filter) const
    {
        cv::Mat result;
        execute(filter, mSources.count, mSources.first.before(), mSources.second.before(), result, mSources.depth);
        return result;
    }

    /// Makes the call.
    void make()
    {
        cv::Mat& result = mPlace == Place::SOURCE ? mSource : mOwn;
        const cv::Mat before = result;
        const bool refused = isRefused(mName + ": expected ", [&] {
            execute(mFilter, mSources.count, mSource, mSources.second.picture(), result, mSources.depth);
        });
        require(refused != mFits, mName + (refused ? " refuses what fits" : " takes what does not fit"));
        mResult = result;
        const bool stays = refused || (before.size() == mSource.size() && before.type() == mType);
        require((mResult.data == before.data) == stays, mName + ": the result is in the wrong memory");
        checkSources(stays && !refused);
    }

    void expect(const cv::Mat& expected, const std::string& how) const
    {
        require(areEqual(mResult, expected), mName + " of " + cv::typeToString(mSources.first.picture().type()) +
                                                 " of " + std::to_string(expected.cols) + " x " +
                                                 std::to_string(expected.rows) + " to " + cv::typeToString(mType) +
                                                 ": another result " + how);
    }

private:
    /// @param wrote  whether the result was written where it was
    void checkSources(bool wrote) const
    {
        require(mSources.second.isAsBefore(), mName + " changes its second source");
        if (wrote && mPlace == Place::SOURCE)
            require(mSources.first.isAsBeforeAround(), mName + " writes outside of its first source");
        else if (!wrote || mPlace != Place::OVERLAP)
            require(mSources.first.isAsBefore(), mName + " changes its first source");
        require(wrote && mPlace != Place::SOURCE ? mDestination.isAsBeforeAround() : mDestination.isAsBefore(),
                mName + " writes outside of its result");
    }

    std::string mName;
    const Filter& mFilter;
    Sources mSources;
    bool mFits;
    cv::Mat mSource;
    int mType; ///< of the result
    Place mPlace;
    Part mDestination;
    cv::Mat mOwn;
    cv::Mat mResult;
};

// ---- Functions

/// By the page of native::pixelCount().
std::uint64_t countOf(const cv::Mat& mask)
{
    std::uint64_t count = 0;
    for (int y = 0; y < mask.rows; ++y) {
        for (int x = 0; x < mask.cols; ++x) {
            if (mask.depth() == CV_8U)
                count += mask.ptr(y)[x] == 255 ? 1 : 0;
            else if (mask.ptr<float>(y)[x] >= 1.0F)
                count += static_cast<std::uint64_t>(std::min(static_cast<double>(mask.ptr<float>(y)[x]), 4294967295.0));
        }
    }
    return count;
}

/// By the page of native::colorHistShader().
unsigned binOf(const cv::Mat& picture, int y, int element, unsigned bins)
{
    if (picture.depth() == CV_8U)
        return std::min(picture.ptr(y)[element] * bins / 255, bins - 1);
    const float scaled = picture.ptr<float>(y)[element] * static_cast<float>(bins);
    if (!(scaled >= 1.0F))
        return 0;
    return scaled >= static_cast<float>(bins) ? bins - 1 : static_cast<unsigned>(scaled);
}

std::vector<double> sharesOf(const cv::Mat& picture, const ColourHist2d& histogram)
{
    unsigned char bins[3];
    histogram.getNofBins(bins[0], bins[1], bins[2]);
    std::vector<double> shares(histogram.data().size());
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const int pixel = x * picture.channels();
            const unsigned first = binOf(picture, y, pixel, bins[0]), second = binOf(picture, y, pixel + 1, bins[1]);
            shares[first + bins[0] * (second + bins[1] * binOf(picture, y, pixel + 2, bins[2]))] += 1.0;
        }
    }
    for (double& each : shares)
        each /= static_cast<double>(picture.total());
    return shares;
}

std::vector<double> numbersOf(const ColourHist2d& histogram)
{
    std::vector<double> numbers;
    for (unsigned i = 0; i < histogram.data().size(); ++i)
        numbers.push_back(histogram.data()[i]);
    return numbers;
}

int drawEdge(Bytes& bytes)
{
    if (oneIn(bytes, 32))
        return oneOf(bytes, std::array<int, 2>{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()});
    return bytes.ConsumeIntegralInRange(-2, 80);
}

bool isWithin(const cv::Rect& region, const cv::Size& size)
{
    const std::int64_t right = std::int64_t{region.x} + region.width, below = std::int64_t{region.y} + region.height;
    return region.x >= 0 && region.y >= 0 && region.width > 0 && region.height > 0 && right <= size.width &&
           below <= size.height;
}

} // namespace

NativeCalls::Kept& NativeCalls::keep(Bytes& bytes, const Operator& what)
{
    const auto found = mKept.find(what.name);
    if (found != mKept.end() && !oneIn(bytes, 4))
        return found->second;
    Kept kept{drawValues(bytes, what), drawModels(bytes, what), nullptr};
    const bool fits = tests::areTaken(what, kept.values) && areTaken(what, kept.models);
    const bool refused = isRefused("", [&] { kept.filter = make(what, kept.values, kept.models); });
    require(refused != fits, what.name + (refused ? " refuses settings that fit" : " takes settings that do not fit"));
    return mKept[what.name] = std::move(kept);
}

void NativeCalls::call(Bytes& bytes)
{
    const Operator& what = oneOf(bytes, nativeOperators());
    Kept& kept = keep(bytes, what);
    if (!kept.filter)
        return;
    cv::setNumThreads(oneIn(bytes, 2) ? 3 : 1);
    Run run(bytes, what.name, *kept.filter, typesOf(what.name, *kept.filter));
    run.make();
    if (!run.fits())
        return;
    const bool isMadeAnew = oneIn(bytes, 4);
    onSomeInstructionSet(bytes, [&](const std::string& set) {
        const auto anew = isMadeAnew ? make(what, kept.values, kept.models) : nullptr;
        run.expect(run.expected(anew ? *anew : *kept.filter), (anew ? "when made anew under " : "under ") + set);
    });
}

void callPixelCount(Bytes& bytes)
{
    const int type = drawType(bytes, {CV_8UC1, CV_32FC1});
    const Part mask(bytes, oneIn(bytes, 64) ? kOfSeveralBands : drawSize(bytes, kMostSide), type);
    std::uint64_t count = 0;
    bool refused = false;
    onSomeInstructionSet(bytes, [&](const std::string&) {
        refused = isRefused("native::pixelCount(): expected ", [&] { count = native::pixelCount(mask.picture()); });
    });
    require(refused != (type == CV_8UC1 || type == CV_32FC1), "native::pixelCount() is wrong about a type");
    require(mask.isAsBefore(), "native::pixelCount() changes its mask");
    require(refused || count == countOf(mask.picture()), "native::pixelCount() gives another number");
}

void callColorHistShader(Bytes& bytes)
{
    const std::vector<int> types = {CV_8UC3, CV_8UC4, CV_32FC3, CV_32FC4};
    const int type = drawType(bytes, types);
    const Part source(bytes, oneIn(bytes, 64) ? kOfSeveralBands : drawSize(bytes, kMostSide), type);
    const auto bins = [&] {
        return static_cast<unsigned char>(oneIn(bytes, 16) ? 255 : bytes.ConsumeIntegralInRange(1, 16));
    };
    const unsigned char bins1 = bins(), bins2 = bins();
    ColourHist2d histogram(bins1, bins2, bins1 == 255 && bins2 == 255 ? 1 : bins());
    histogram.data()[0] = 0.25;
    const std::vector<double> before = numbersOf(histogram);
    const cv::Size size = source.picture().size();
    cv::Rect region({0, 0}, size);
    if (bytes.ConsumeBool())
        region = cv::Rect(drawEdge(bytes), drawEdge(bytes), drawEdge(bytes), drawEdge(bytes));
    const bool fits = std::find(types.begin(), types.end(), type) != types.end() && isWithin(region, size);
    bool refused = false;
    onSomeInstructionSet(bytes, [&](const std::string&) {
        refused = isRefused("native::colorHistShader(): expected ",
                            [&] { native::colorHistShader(source.picture(), region, histogram); });
    });
    require(refused != fits, "native::colorHistShader() is wrong about what it takes");
    require(source.isAsBefore(), "native::colorHistShader() changes its source");
    require(numbersOf(histogram) == (fits ? sharesOf(source.picture()(region), histogram) : before),
            "native::colorHistShader() gives other numbers");
}

} // namespace velmor::tests
