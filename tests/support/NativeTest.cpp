#include "tests/support/NativeTest.h"

#include "native/internal/Memory.h"
#include "tests/support/GuardedMemory.h"
#include "tests/support/InstructionSets.h"
#include "tests/support/ThrownText.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>

namespace velmor::tests {
namespace {

/// Sides where rows end within a vector, at its end, or just behind it; and pictures wide enough for several threads.
const std::vector<cv::Size> kSizes = {{1, 1},   {1, 7},  {7, 1},   {2, 3},   {3, 2},     {5, 5},    {16, 3},
                                      {31, 17}, {64, 4}, {97, 13}, {131, 5}, {16384, 2}, {641, 401}};

/// A small one and one with many ends of vectors, for what depends on memory rather than on size.
const std::vector<cv::Size> kMemorySizes = {{3, 4}, {67, 29}};

/// Every width up to this one, so that rows end everywhere in a vector, and vectors everywhere in a pixel.
constexpr int kWidths = 140;

constexpr int kSentinel = 77;

bool isFloats(const cv::Mat& picture)
{
    return picture.depth() == CV_32F;
}

cv::Mat makeSource(const NativeCase& expectation, cv::Size size, int type, unsigned seed)
{
    return expectation.source ? expectation.source(size, type, seed) : randomPicture(size, type, seed);
}

std::string describe(const cv::Mat& source, int depth)
{
    return cv::typeToString(source.type()) + " of " + std::to_string(source.cols) + " x " +
           std::to_string(source.rows) + ", depth " + std::to_string(depth);
}

void execute(const native::Filter& filter, const cv::Mat& source1, const cv::Mat& source2, cv::Mat& result, int depth)
{
    if (filter.sources() == 1)
        filter.execute(source1, result, depth);
    else
        filter.execute(source1, source2, result, depth);
}

/// A picture of the same pixels as a part of a larger one.
cv::Mat asPart(const cv::Mat& picture, cv::Mat& whole)
{
    whole = cv::Mat(picture.rows + 5, picture.cols + 7, picture.type(), cv::Scalar::all(kSentinel));
    cv::Mat part = whole(cv::Rect(3, 2, picture.cols, picture.rows));
    picture.copyTo(part);
    return part;
}

/// The sources of a case, and what it is to give of them.
struct Run
{
    cv::Mat source1;
    cv::Mat source2;
    int depth;
    cv::Mat expected;
    std::string where;
};

Run makeRun(const NativeCase& expectation, cv::Size size, int type, int depth, unsigned seed)
{
    Run run;
    run.source1 = makeSource(expectation, size, type, seed);
    if (expectation.filter.sources() == 2)
        run.source2 = makeSource(expectation, size, type, seed + 1);
    run.depth = depth;
    run.expected = expectation.expected(run.source1, run.source2, expectation.filter.resultType(type, depth));
    run.where = describe(run.source1, depth);
    return run;
}

void expectRun(const NativeCase& expectation, const Run& run)
{
    // New memory may hold what an earlier run has left, so results are written where a sentinel is.
    cv::Mat result(run.expected.size(), run.expected.type(), cv::Scalar::all(kSentinel));
    execute(expectation.filter, run.source1, run.source2, result, run.depth);
    expectEqual(result, run.expected, run.where);
}

void expectParts(const NativeCase& expectation, const Run& run)
{
    cv::Mat whole1, whole2, wholeResult;
    const cv::Mat part1 = asPart(run.source1, whole1);
    const cv::Mat part2 = asPart(run.source2.empty() ? run.source1 : run.source2, whole2);
    cv::Mat result = asPart(cv::Mat(run.expected.size(), run.expected.type(), cv::Scalar::all(1)), wholeResult);
    const uchar* const place = result.data;
    execute(expectation.filter, part1, part2, result, run.depth);
    expectEqual(result, run.expected, run.where + ", parts of pictures");
    EXPECT_EQ(result.data, place) << run.where << ": the result has left its place";
    cv::Mat other;
    const cv::Mat expectedWhole = wholeResult.clone();
    asPart(run.expected, other);
    expectEqual(expectedWhole, other, run.where + ", around the part");
}

/// Results that begin at each distance from the source that matters, in the memory of both.
void expectOverlaps(const NativeCase& expectation, const Run& run)
{
    const std::size_t sourceStep = static_cast<std::size_t>(run.source1.cols) * run.source1.elemSize() + 24;
    const std::size_t resultStep = static_cast<std::size_t>(run.expected.cols) * run.expected.elemSize() + 24;
    const auto rows = static_cast<std::size_t>(run.source1.rows);
    const std::size_t element = std::max(run.source1.elemSize1(), run.expected.elemSize1());
    for (const bool sameStep : {true, false}) {
        const std::size_t step = std::max(sourceStep, resultStep);
        const std::size_t step1 = sameStep ? step : sourceStep;
        const std::size_t stepResult = sameStep ? step : resultStep;
        for (const std::size_t distance : {std::size_t{0}, element, 4 * element, step1, 2 * step1 + element}) {
            for (const bool resultFirst : {false, true}) {
                for (const bool overlapsSecond : {false, true}) {
                    if (overlapsSecond && run.source2.empty())
                        continue;
                    std::vector<double> memory(step * (rows + 4) / 4 + 64);
                    auto* const base = reinterpret_cast<uchar*>(memory.data());
                    cv::Mat source(run.source1.size(), run.source1.type(), base + (resultFirst ? distance : 0), step1);
                    cv::Mat result(run.expected.size(), run.expected.type(), base + (resultFirst ? 0 : distance),
                                   stepResult);
                    (overlapsSecond ? run.source2 : run.source1).copyTo(source);
                    execute(expectation.filter, overlapsSecond ? run.source1 : source,
                            overlapsSecond ? source : run.source2, result, run.depth);
                    expectEqual(result, run.expected,
                                run.where + ", overlap at " + std::to_string(distance) +
                                    (resultFirst ? ", result first" : "") + (overlapsSecond ? ", second source" : ""));
                }
            }
        }
    }
}

void expectSameObject(const NativeCase& expectation, const Run& run)
{
    cv::Mat first = run.source1.clone();
    execute(expectation.filter, first, run.source2, first, run.depth);
    expectEqual(first, run.expected, run.where + ", the first source as result");
    if (run.source2.empty())
        return;
    cv::Mat second = run.source2.clone();
    execute(expectation.filter, run.source1, second, second, run.depth);
    expectEqual(second, run.expected, run.where + ", the second source as result");
    cv::Mat both = run.source1.clone();
    const cv::Mat expected = expectation.expected(run.source1, run.source1, run.expected.type());
    execute(expectation.filter, both, both, both, run.depth);
    expectEqual(both, expected, run.where + ", all three the same");
}

/// So many rows that a call reads and writes more bytes than the last cache holds.
cv::Size largeSize(const native::Filter& filter, int width, int type)
{
    const std::size_t pixel =
        static_cast<std::size_t>(filter.sources()) * CV_ELEM_SIZE(type) + CV_ELEM_SIZE(filter.resultType(type));
    return {width, static_cast<int>(native::lastCacheSize() / (static_cast<std::size_t>(width) * pixel)) + 1};
}

template<typename Source, typename Result, typename Rule>
void computePixels(const Rule& rule, const cv::Mat& a, const cv::Mat& b, cv::Mat& out)
{
    for (int y = 0; y < a.rows; ++y)
        for (int x = 0; x < a.cols; ++x)
            rule(a.ptr<Source>(y) + x * a.channels(), b.empty() ? nullptr : b.ptr<Source>(y) + x * b.channels(),
                 out.ptr<Result>(y) + x * out.channels(), a.channels());
}

} // namespace

cv::Mat randomPicture(cv::Size size, int type, unsigned seed)
{
    cv::Mat picture(size, type);
    std::mt19937 random(seed * 7919 + static_cast<unsigned>(type));
    const int elements = size.width * picture.channels();
    const auto oneOf = [&random](unsigned count) {
        return static_cast<unsigned>(random()) % count;
    };
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < elements; ++x) {
            const bool repeats = x >= picture.channels() && oneOf(8) == 0;
            const int before = x - picture.channels();
            switch (picture.depth()) {
            case CV_8U: {
                uchar* const row = picture.ptr(y);
                const unsigned kind = oneOf(8);
                row[x] = repeats ? row[before] : static_cast<uchar>(kind == 0 ? 0 : kind == 1 ? 255 : oneOf(256));
                break;
            }
            case CV_16U:
                picture.ptr<ushort>(y)[x] = static_cast<ushort>(oneOf(8) == 0 ? 65535 : oneOf(65536));
                break;
            case CV_32S:
                picture.ptr<int>(y)[x] = static_cast<int>(static_cast<unsigned>(random()) >> (oneOf(2) * 16));
                break;
            default: {
                const float specials[] = {0.0F, 1.0F, 0.5F, -0.0F, -0.25F, 1.5F};
                float* const row = picture.ptr<float>(y);
                const unsigned kind = oneOf(24);
                row[x] = repeats    ? row[before]
                         : kind < 6 ? specials[kind]
                                    : static_cast<float>(random()) / static_cast<float>(0xffffffffU);
            }
            }
        }
    }
    return picture;
}

void expectEqual(const cv::Mat& actual, const cv::Mat& expected, const std::string& where)
{
    ASSERT_EQ(cv::typeToString(actual.type()), cv::typeToString(expected.type())) << where;
    ASSERT_EQ(actual.size(), expected.size()) << where;
    const std::size_t element = expected.elemSize1();
    const auto elements = static_cast<std::size_t>(expected.cols) * static_cast<std::size_t>(expected.channels());
    for (int y = 0; y < expected.rows; ++y) {
        if (std::memcmp(actual.ptr(y), expected.ptr(y), elements * element) == 0)
            continue;
        for (std::size_t i = 0; i < elements; ++i) {
            if (std::memcmp(actual.ptr(y) + i * element, expected.ptr(y) + i * element, element) == 0)
                continue;
            const auto channels = static_cast<std::size_t>(expected.channels());
            const std::string place = where + ": row " + std::to_string(y) + ", column " +
                                      std::to_string(i / channels) + ", channel " + std::to_string(i % channels);
            if (isFloats(expected)) {
                const float got = actual.ptr<float>(y)[i], wanted = expected.ptr<float>(y)[i];
                if (std::isnan(got) && std::isnan(wanted))
                    continue;
                FAIL() << place << ": expected " << std::hexfloat << wanted << ", got " << got;
            }
            FAIL() << place << ": expected " << int{expected.ptr(y)[i * element]} << ", got "
                   << int{actual.ptr(y)[i * element]};
        }
    }
}

void expectOn(const NativeCase& expectation, const cv::Mat& source1, const cv::Mat& source2)
{
    for (const int depth : expectation.depths) {
        Run run{source1, source2, depth, cv::Mat(), describe(source1, depth)};
        run.expected = expectation.expected(source1, source2, expectation.filter.resultType(source1.type(), depth));
        onEachInstructionSet([&](const std::string& set) {
            SCOPED_TRACE(set);
            expectRun(expectation, run);
        });
    }
}

void expectEverywhere(const NativeCase& expectation)
{
    unsigned seed = 1;
    for (const int type : expectation.types) {
        for (const int depth : expectation.depths) {
            for (const cv::Size& size : kSizes) {
                const Run run = makeRun(expectation, size, type, depth, seed += 2);
                onEachInstructionSet([&](const std::string& set) {
                    SCOPED_TRACE(set);
                    expectRun(expectation, run);
                    expectParts(expectation, run);
                });
                if (testing::Test::HasFailure())
                    return;
            }
            for (int width = 1; width <= kWidths; ++width) {
                const Run run = makeRun(expectation, cv::Size(width, 3), type, depth, seed += 2);
                onEachInstructionSet([&](const std::string& set) {
                    SCOPED_TRACE(set);
                    expectRun(expectation, run);
                });
            }
            for (const cv::Size& size : kMemorySizes) {
                const Run run = makeRun(expectation, size, type, depth, seed += 2);
                expectSameObject(expectation, run);
                expectOverlaps(expectation, run);
            }
            const Run large = makeRun(expectation, cv::Size(509, 1021), type, depth, seed += 2);
            const int threads = cv::getNumThreads();
            for (const int count : {1, 2, 3, 5, 8}) {
                cv::setNumThreads(count);
                SCOPED_TRACE(std::to_string(count) + " threads");
                expectRun(expectation, large);
            }
            cv::setNumThreads(threads);
        }
    }
}

void expectOnLargePictures(const NativeCase& expectation)
{
    unsigned seed = 1;
    for (const int type : expectation.types) {
        for (const int width : {1003, 3}) {
            const Run run = makeRun(expectation, largeSize(expectation.filter, width, type), type, -1, seed += 2);
            onEachInstructionSet([&](const std::string& set) {
                SCOPED_TRACE(set);
                expectRun(expectation, run);
                expectParts(expectation, run);
            });
        }
    }
}

void expectNothingTouchedBehind(const NativeCase& expectation)
{
    constexpr int kMostPixels = 200;
    const std::size_t mostBytes = kMostPixels * 4 * sizeof(float);
    const GuardedMemory memory1(mostBytes), memory2(mostBytes), resultMemory(mostBytes);
    for (const int type : expectation.types) {
        for (int pixels = 1; pixels <= kMostPixels; ++pixels) {
            const Run run = makeRun(expectation, cv::Size(pixels, 1), type, -1, 5);
            const cv::Mat source1 = memory1.copyOf(run.source1), source2 = memory2.copyOf(run.source2);
            onEachInstructionSet([&](const std::string& set) {
                cv::Mat result = resultMemory.picture(run.expected.size(), run.expected.type());
                execute(expectation.filter, source1, source2, result, -1);
                expectEqual(result, run.expected, set + ", " + run.where);
            });
        }
    }
}

PlainLoop loopOf(const PixelRule<uchar>& rule, const PixelRule<float>& floatRule)
{
    return [=](const cv::Mat& source1, const cv::Mat& source2, int type) {
        cv::Mat result(source1.size(), type);
        if (source1.depth() == CV_8U && result.depth() == CV_8U) {
            computePixels<uchar, uchar>(rule, source1, source2, result);
            return result;
        }
        cv::Mat floats(source1.size(), CV_MAKETYPE(CV_32F, result.channels()));
        const auto asFloats = [](const cv::Mat& picture) {
            return picture.depth() == CV_8U && !picture.empty() ? floatsOf(picture) : picture;
        };
        computePixels<float, float>(floatRule, asFloats(source1), asFloats(source2), floats);
        return result.depth() == CV_8U ? bytesOf(floats) : floats;
    };
}

PixelRule<uchar> perByte(const std::function<int(int, int)>& rule)
{
    return [=](const uchar* a, const uchar* b, uchar* out, int channels) {
        for (int c = 0; c < channels; ++c)
            out[c] = static_cast<uchar>(rule(a[c], b ? b[c] : 0));
    };
}

PixelRule<float> perFloat(const std::function<float(float, float)>& rule)
{
    return [=](const float* a, const float* b, float* out, int channels) {
        for (int c = 0; c < channels; ++c)
            out[c] = rule(a[c], b ? b[c] : 0.0F);
    };
}

cv::Mat floatsOf(const cv::Mat& bytes)
{
    cv::Mat floats(bytes.size(), CV_MAKETYPE(CV_32F, bytes.channels()));
    for (int y = 0; y < bytes.rows; ++y)
        for (int x = 0; x < bytes.cols * bytes.channels(); ++x)
            floats.ptr<float>(y)[x] = static_cast<float>(bytes.ptr(y)[x]) / 255.0F;
    return floats;
}

cv::Mat bytesOf(const cv::Mat& floats)
{
    cv::Mat bytes(floats.size(), CV_MAKETYPE(CV_8U, floats.channels()));
    for (int y = 0; y < floats.rows; ++y) {
        for (int x = 0; x < floats.cols * floats.channels(); ++x) {
            const float value = floats.ptr<float>(y)[x];
            const float limited = value > 0.0F ? std::fmin(value, 1.0F) : 0.0F;
            const float scaled = limited * 255.0F;
            // In double precision the sum with a half is exact.
            bytes.ptr(y)[x] = static_cast<uchar>(std::floor(static_cast<double>(scaled) + 0.5));
        }
    }
    return bytes;
}

BytePairs allBytePairs()
{
    BytePairs pairs{cv::Mat(256, 256, CV_8UC1), cv::Mat(256, 256, CV_8UC1)};
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            pairs.first.at<uchar>(y, x) = static_cast<uchar>(x);
            pairs.second.at<uchar>(y, x) = static_cast<uchar>(y);
        }
    }
    return pairs;
}

void expectRefusal(const std::function<void(cv::Mat& result)>& call, const std::string& text)
{
    cv::Mat result(2, 2, CV_8UC2, cv::Scalar(3, 4));
    const uchar* const place = result.data;
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { call(result); }), text);
    expectEqual(result, cv::Mat(2, 2, CV_8UC2, cv::Scalar(3, 4)), text);
    EXPECT_EQ(result.data, place);
}

} // namespace velmor::tests
