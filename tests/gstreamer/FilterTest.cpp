#include "catalogue/NativeFilters.h"
#include "tests/gstreamer/Harness.h"
#include "tests/support/NativeMixtures.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>

namespace velmor::tests {
namespace {

// ---- Formats and plain loops

struct Layout
{
    const char* name;
    GstVideoFormat format;
    int type;
    bool isBlueFirst;
};

const std::vector<Layout> kLayouts = {
    {"GRAY8", GST_VIDEO_FORMAT_GRAY8, CV_8UC1, false}, {"RGB", GST_VIDEO_FORMAT_RGB, CV_8UC3, false},
    {"BGR", GST_VIDEO_FORMAT_BGR, CV_8UC3, true},      {"RGBA", GST_VIDEO_FORMAT_RGBA, CV_8UC4, false},
    {"BGRA", GST_VIDEO_FORMAT_BGRA, CV_8UC4, true},    {"RGBx", GST_VIDEO_FORMAT_RGBx, CV_8UC4, false},
    {"BGRx", GST_VIDEO_FORMAT_BGRx, CV_8UC4, true},
};

const Layout& layoutOf(const std::string& name)
{
    return *std::find_if(kLayouts.begin(), kLayouts.end(), [&name](const Layout& each) { return each.name == name; });
}

cv::Mat randomPicture(cv::Size size, int type)
{
    cv::Mat result(size, type);
    cv::RNG random(static_cast<unsigned>(size.area()) + 7);
    random.fill(result, cv::RNG::UNIFORM, 0, 256);
    return result;
}

/// A picture with its first and third channel exchanged.
cv::Mat exchanged(const cv::Mat& picture)
{
    cv::Mat result = picture.clone();
    const int channels = picture.channels();
    for (int y = 0; y < picture.rows; ++y)
        for (int x = 0; x < picture.cols; ++x)
            std::swap(result.ptr(y)[x * channels], result.ptr(y)[x * channels + 2]);
    return result;
}

cv::Mat redFirst(const cv::Mat& picture, const Layout& layout)
{
    return layout.isBlueFirst ? exchanged(picture) : picture;
}

struct Bytes
{
    double scale = 1;
    double offset = 0;
};

/// What stands for floats. The thousandth lifts what would be half but for rounding.
cv::Mat bytesOf(const cv::Mat& floats, const Bytes& how)
{
    cv::Mat result(floats.size(), CV_MAKETYPE(CV_8U, floats.channels()));
    for (int y = 0; y < floats.rows; ++y)
        for (int i = 0; i < floats.cols * floats.channels(); ++i) {
            const double byte = (floats.ptr<float>(y)[i] * how.scale + how.offset) * 255 + 0.5 + 1.0 / 1024;
            result.ptr(y)[i] = static_cast<uchar>(std::clamp(std::floor(byte), 0.0, 255.0));
        }
    return result;
}

/// What a filter makes of a picture with red first.
cv::Mat filtered(const native::Filter& filter, const cv::Mat& picture, const Bytes& how = {})
{
    cv::Mat source = picture, result;
    try {
        filter.resultType(source.type());
    } catch (const std::invalid_argument&) { // it takes floats alone
        source.create(picture.size(), CV_MAKETYPE(CV_32F, picture.channels()));
        for (int y = 0; y < picture.rows; ++y)
            for (int i = 0; i < picture.cols * picture.channels(); ++i)
                source.ptr<float>(y)[i] = static_cast<float>(picture.ptr(y)[i]) / 255.0F;
    }
    filter.execute(source, result);
    return result.depth() == CV_32F ? bytesOf(result, how) : result;
}

// ---- Every filter

/// A filter, what it takes, and how it is set.
struct Case
{
    const char* launch;
    const char* name;
    catalogue::Values values;
    std::vector<std::string> layouts;
    std::string given; ///< the format of the result; empty where it is the source's
    Bytes bytes;
};

const std::vector<std::string> kAll = {"GRAY8", "RGB", "BGR", "RGBA", "BGRA", "RGBx", "BGRx"};
const std::vector<std::string> kColours = {"RGB", "BGR", "RGBA", "BGRA", "RGBx", "BGRx"};

const std::vector<Case> kCases = {
    {"Not", "Not", {}, kAll, "", {}},
    {"FlipV", "FlipV", {}, kAll, "", {}},
    {"Laplacian kernel=four-beside", "Laplacian", {{"kernel", 1}}, kAll, "", {}},
    {"Laplacian scale=0.125 offset=0.25", "Laplacian", {}, kAll, "", {0.125, 0.25}},
    {"BGR2GRAY", "BGR2GRAY", {}, kColours, "GRAY8", {}},
    {"RGB2GRAY", "RGB2GRAY", {}, kColours, "GRAY8", {}},
    {"BGR2HSV", "BGR2HSV", {}, kColours, "RGB", {}},
    {"BGR2HSV", "BGR2HSV", {}, kColours, "BGR", {}},
    {"RGB2HSV", "RGB2HSV", {}, kColours, "BGR", {}},
    {"GRAY2Sobel", "GRAY2Sobel", {}, {"GRAY8"}, "RGB", {}},
    {"GRAY2Sobel scale=0.5 offset=0.5", "GRAY2Sobel", {}, {"GRAY8"}, "BGR", {0.5, 0.5}},
    {"NonMaxSupression", "NonMaxSupression", {}, kColours, "GRAY8", {}},
    {"NonMaxSupression scale=-1 offset=1", "NonMaxSupression", {}, kColours, "GRAY8", {-1, 1}},
};

int paddedStride(const cv::Mat& picture)
{
    return static_cast<int>(static_cast<std::size_t>(picture.cols) * picture.elemSize() + 13) & ~3;
}

std::string withGiven(const std::string& launch, const std::string& given)
{
    return "velmorfilter name=filter operator=" + launch +
           (given.empty() ? "" : " ! capsfilter caps=video/x-raw,format=" + given);
}

/// A filter's element gives what the filter itself gives, on a picture within a larger memory.
void expectResult(const std::string& launch, const native::Filter& filter, const cv::Mat& picture, const Layout& layout,
                  const std::string& given, const Bytes& bytes)
{
    Harness harness(withGiven(launch, given));
    harness.setCaps(std::string("video/x-raw,format=") + layout.name, picture.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(picture, layout.format, paddedStride(picture)));
    ASSERT_TRUE(result);
    const Layout& to = given.empty() ? layout : layoutOf(given);
    const cv::Mat expected = redFirst(filtered(filter, redFirst(picture, layout), bytes), to);
    const cv::Mat seen = shown(harness, result.get(), to.type);
    ASSERT_EQ(expected.size(), seen.size());
    EXPECT_EQ(0, cv::norm(seen, expected, cv::NORM_INF));
}

TEST(Filter, IsTheFilterInEveryFormatAndSize)
{
    for (const Case& each : kCases) {
        const auto filter = catalogue::makeNative(each.name, each.values);
        for (const std::string& name : each.layouts)
            for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 7), cv::Size(31, 1), cv::Size(67, 211)}) {
                SCOPED_TRACE(std::string(each.launch) + ' ' + name + " to " + each.given);
                const Layout& layout = layoutOf(name);
                expectResult(each.launch, *filter, randomPicture(size, layout.type), layout, each.given, each.bytes);
            }
    }
}

TEST(Filter, SeesNoSeamsWhereItWorksInBands)
{
    // As many pixels as several bands have, and an odd number of rows.
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.launch);
        const Layout layout = layoutOf(each.layouts.size() == 1 ? each.layouts.front() : "BGR");
        expectResult(each.launch, *catalogue::makeNative(each.name, each.values),
                     randomPicture({641, 467}, layout.type), layout, each.given, each.bytes);
    }
}

TEST(Filter, WorksOnThePartThatACropNames)
{
    const cv::Rect part(5, 3, 67, 211);
    for (const Case& each : kCases)
        for (const std::string& name : each.layouts) {
            SCOPED_TRACE(std::string(each.launch) + ' ' + name);
            const Layout& layout = layoutOf(name);
            const cv::Mat whole = randomPicture({80, 220}, layout.type);
            Harness harness(withGiven(each.launch, each.given));
            harness.setCaps("video/x-raw,format=" + name, part.size());
            const Owned<GstBuffer> result = harness.filter(bufferOf(whole, layout.format, paddedStride(whole), part));
            ASSERT_TRUE(result);
            const Layout& to = each.given.empty() ? layout : layoutOf(each.given);
            cv::Mat seen = shown(harness, result.get(), to.type);
            if (gst_buffer_get_video_crop_meta(result.get())) // it still holds, of a frame filtered in place
                seen = seen(part).clone();
            const auto filter = catalogue::makeNative(each.name, each.values);
            const cv::Mat expected = redFirst(filtered(*filter, redFirst(whole(part).clone(), layout), each.bytes), to);
            ASSERT_EQ(part.size(), seen.size());
            EXPECT_EQ(0, cv::norm(seen, expected, cv::NORM_INF));
        }
}

TEST(Filter, LeavesWhatIsBesideTheFrameAlone)
{
    const cv::Mat whole = randomPicture({40, 30}, CV_8UC3);
    const cv::Rect part(5, 3, 21, 11);
    Harness harness("velmorfilter operator=Not");
    harness.setCaps("video/x-raw,format=RGB", part.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(whole, GST_VIDEO_FORMAT_RGB, 128, part));
    ASSERT_TRUE(gst_buffer_get_video_crop_meta(result.get()));
    cv::Mat expected = whole.clone();
    cv::bitwise_not(whole(part), expected(part));
    EXPECT_EQ(0, cv::norm(shown(harness, result.get(), CV_8UC3), expected, cv::NORM_INF));
}

// ---- Mosaics

/// A buffer as elements for mosaics have it: rows of a width rounded up to a multiple of four, without a GstVideoMeta.
Owned<GstBuffer> mosaicBuffer(const cv::Mat& mosaic)
{
    const int stride = (mosaic.cols + 3) / 4 * 4;
    Owned<GstBuffer> result = bufferOf(mosaic, GST_VIDEO_FORMAT_GRAY8, stride);
    gst_buffer_remove_meta(result.get(), &gst_buffer_get_video_meta(result.get())->meta);
    return result;
}

TEST(Filter, MakesColoursOfMosaics)
{
    for (const char* const name : {"BayerRG2RGB", "BayerRG2GRAY"})
        for (const std::string given : {"RGB", "BGR", "GRAY8"})
            for (const cv::Size size : {cv::Size(1, 1), cv::Size(2, 7), cv::Size(33, 18), cv::Size(643, 467)}) {
                if ((std::string(name) == "BayerRG2GRAY") != (given == "GRAY8"))
                    continue;
                SCOPED_TRACE(name + (" to " + given));
                Harness harness(withGiven(name, given));
                harness.setCaps("video/x-bayer,format=rggb", size);
                const cv::Mat mosaic = randomPicture(size, CV_8UC1);
                const Owned<GstBuffer> result = harness.filter(mosaicBuffer(mosaic));
                ASSERT_TRUE(result);
                const Layout& to = layoutOf(given);
                EXPECT_EQ(0, cv::norm(shown(harness, result.get(), to.type),
                                      redFirst(filtered(*catalogue::makeNative(name), mosaic), to), cv::NORM_INF));
            }
}

// ---- Mixtures

TEST(Filter, FindsColoursOfModels)
{
    const TemporaryFolder folder;
    std::vector<core::cvdata::ColorGMM> models;
    std::string names, first;
    for (unsigned i = 0; i < 3; ++i) {
        models.push_back(wideModel(2, 7 + i, 2e-5));
        const std::string file = folder.file("model" + std::to_string(i) + ".yml");
        models.back().save(file);
        names += (i ? ", " : "") + file;
        first = i ? first : file;
    }
    catalogue::Given one, all;
    one.models = {&models[0]};
    for (core::cvdata::ColorGMM& each : models)
        all.models.push_back(&each);
    for (const Layout& layout : kLayouts) {
        if (layout.type == CV_8UC1)
            continue;
        SCOPED_TRACE(layout.name);
        const cv::Mat picture = randomPicture({67, 211}, layout.type);
        expectResult("ColorGMM models=\"<" + first + ">\"", *catalogue::makeNative("ColorGMM", {}, one), picture,
                     layout, "GRAY8", {});
        expectResult("ColorGMM output=colours models=\"<" + first + ">\"",
                     *catalogue::makeNative("ColorGMM", {{"output", 1}}, one), picture, layout, "", {});
        expectResult("ColorGMM2 models=\"<" + names + ">\"", *catalogue::makeNative("ColorGMM2", {}, all), picture,
                     layout, "GRAY8", {});
    }
}

TEST(Filter, OffersTheOperatorsThatTheTestsKnow)
{
    std::set<std::string> known = {"BayerRG2RGB", "BayerRG2GRAY",
                                   "ColorGMM",    "ColorGMM2",        // in tests of their own here
                                   "PixelCount",  "ColorHistShader"}; // in FilterNumbers
    for (const Case& each : kCases)
        known.insert(each.name);
    Harness harness("velmorfilter name=filter");
    EXPECT_EQ(wordsOf(harness.element("filter").get(), "operator"), known);
}

// ---- What a viewer sees, by reasoning

/// The one pixel that a filter makes of one pixel.
std::vector<int> pixelOf(const std::string& launch, const std::string& layoutName, std::vector<uchar> pixel,
                         const std::string& given)
{
    const Layout& layout = layoutOf(layoutName);
    const cv::Mat picture = cv::Mat(1, 1, layout.type, pixel.data()).clone();
    Harness harness(withGiven(launch, given));
    harness.setCaps("video/x-raw,format=" + layoutName, picture.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(picture, layout.format, 4));
    const cv::Mat seen = shown(harness, result.get(), layoutOf(given).type);
    return {seen.ptr(0), seen.ptr(0) + seen.channels()};
}

TEST(Filter, SeesRedWhereverTheFormatHasIt)
{
    // 0.212671 * 255 = 54.2: red, and not the 18.4 of blue.
    EXPECT_EQ(std::vector<int>({54}), pixelOf("BGR2GRAY", "RGB", {255, 0, 0}, "GRAY8"));
    EXPECT_EQ(std::vector<int>({54}), pixelOf("BGR2GRAY", "BGR", {0, 0, 255}, "GRAY8"));
    EXPECT_EQ(std::vector<int>({54}), pixelOf("RGB2GRAY", "BGRA", {0, 0, 255, 7}, "GRAY8"));
    // Red has the value 200 and the hue 0, which is where red is and where blue is.
    EXPECT_EQ(std::vector<int>({0, 255, 200}), pixelOf("BGR2HSV", "BGR", {0, 0, 200}, "BGR"));
    EXPECT_EQ(std::vector<int>({200, 255, 0}), pixelOf("BGR2HSV", "BGRx", {0, 0, 200, 9}, "RGB"));
    // Red and blue are exchanged first: the hue of blue is 240 degrees, 170 of 255.
    EXPECT_EQ(std::vector<int>({200, 255, 170}), pixelOf("RGB2HSV", "RGB", {200, 0, 0}, "RGB"));
}

TEST(Filter, TreatsAlphaAsItsFilterDoes)
{
    EXPECT_EQ(std::vector<int>({245, 235, 225, 55}), pixelOf("Not", "RGBA", {10, 20, 30, 200}, "RGBA"));
    EXPECT_EQ(std::vector<int>({10, 20, 30, 200}), pixelOf("FlipV", "BGRA", {10, 20, 30, 200}, "BGRA"));
    EXPECT_EQ(std::vector<int>({0, 0, 0, 0}), pixelOf("Laplacian", "RGBA", {10, 20, 30, 200}, "RGBA"));
}

TEST(Filter, RoundsFloatsHalfUp)
{
    cv::Mat grey(3, 3, CV_8UC1, cv::Scalar(100));
    grey.col(2).setTo(103);
    Harness harness(withGiven("GRAY2Sobel offset=0.5", "RGB"));
    harness.setCaps("video/x-raw,format=GRAY8", grey.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(grey, GST_VIDEO_FORMAT_GRAY8, 4));
    const cv::Mat seen = shown(harness, result.get(), CV_8UC3);
    // Upright edges count 1 2 1 times left less right: -12. 127.5 - 12 rounded half up is 116, 127.5 + 12 is 140.
    EXPECT_EQ(cv::Vec3b(128, 116, 140), seen.at<cv::Vec3b>(1, 1));
    EXPECT_EQ(cv::Vec3b(128, 128, 128), seen.at<cv::Vec3b>(1, 0));
}

TEST(Filter, GivesSobelOfBytesExactly)
{
    const cv::Mat grey = randomPicture({97, 61}, CV_8UC1);
    Harness harness(withGiven("GRAY2Sobel scale=0.125 offset=0.5", "RGB"));
    harness.setCaps("video/x-raw,format=GRAY8", grey.size());
    const Owned<GstBuffer> result = harness.filter(bufferOf(grey, GST_VIDEO_FORMAT_GRAY8, 100));
    const cv::Mat seen = shown(harness, result.get(), CV_8UC3);
    const auto at = [&grey](int y, int x) {
        return static_cast<int>(grey.at<uchar>(std::clamp(y, 0, grey.rows - 1), std::clamp(x, 0, grey.cols - 1)));
    };
    // h / 8 + 127.5 rounded half up is the whole part of (h + 1024) / 8, in whole numbers.
    for (int y = 0; y < grey.rows; ++y)
        for (int x = 0; x < grey.cols; ++x) {
            const int h = at(y + 1, x - 1) + 2 * at(y + 1, x) + at(y + 1, x + 1) - at(y - 1, x - 1) - 2 * at(y - 1, x) -
                          at(y - 1, x + 1);
            const int v = at(y - 1, x - 1) + 2 * at(y, x - 1) + at(y + 1, x - 1) - at(y - 1, x + 1) - 2 * at(y, x + 1) -
                          at(y + 1, x + 1);
            ASSERT_EQ(std::min((h + 1024) / 8, 255), seen.at<cv::Vec3b>(y, x)[0]) << x << ", " << y;
            ASSERT_EQ(std::min((v + 1024) / 8, 255), seen.at<cv::Vec3b>(y, x)[1]) << x << ", " << y;
        }
}

} // namespace
} // namespace velmor::tests
