#include "opencv1/HaarCascade.h"

#include "imageio/ImageIo.h"
#include "tests/support/Capture.h"
#include "tests/support/Cascades.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <opencv2/core/core_c.h>
#include <opencv2/objdetect.hpp>
#include <valgrind/valgrind.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <tuple>
#include <vector>

namespace velmor::tests {
namespace {

const std::string kNewFormat = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml";
const std::string kOldFormat = oldFormatCascade();

struct Release
{
    void operator()(CvHaarClassifierCascade* cascade) const { cvReleaseHaarClassifierCascade(&cascade); }
    void operator()(CvMemStorage* storage) const { cvReleaseMemStorage(&storage); }
};
using Cascade = std::unique_ptr<CvHaarClassifierCascade, Release>;
using Storage = std::unique_ptr<CvMemStorage, Release>;

Cascade loaded(const std::string& file)
{
    return Cascade(static_cast<CvHaarClassifierCascade*>(cvLoad(file.c_str())));
}

TEST(HaarCascade, LoadsBothFormats)
{
    EXPECT_TRUE(loaded(kNewFormat));
    EXPECT_TRUE(loaded(kOldFormat));
}

TEST(HaarCascade, IsNullAndSilentForWhatIsNoCascade)
{
    const TemporaryFolder folder;
    const std::string files[] = {
        "",
        folder.file("missing.xml"),
        folder.file(""),
        folder.write("empty.xml", ""),
        folder.write("blank.xml", " \n\n"),
        folder.write("text.xml", "no cascade\n"),
        folder.write("tag.xml", "<"),
        folder.write("attribute.xml", "<?xml version="),
        folder.write("other.xml", "<?xml version=\"1.0\"?>\n<opencv_storage>\n<a>1</a>\n</opencv_storage>\n"),
        folder.write("nothing.xml", "<?xml version=\"1.0\"?>\n<opencv_storage>\n</opencv_storage>\n"),
        folder.write("other.yml", "%YAML:1.0\n---\na: 1\n"),
        folder.write("binary.xml", std::string(1000, '\0')),
        folder.write("feature.xml", cascadeWithoutItsFeature()),
        folder.write("zeros.xml", cascadeWithZeros()),
    };
    for (const std::string& file : files) {
        const Output output = capture([&] { EXPECT_FALSE(loaded(file)) << file; });
        EXPECT_EQ(output.out + output.err, "") << file;
    }
}

TEST(HaarCascade, IsNullForACascadeThatIsCutOff)
{
    const TemporaryFolder folder;
    for (const std::string& file : {kNewFormat, kOldFormat}) {
        const std::string whole = contentOf(file);
        ASSERT_TRUE(loaded(folder.write("whole.xml", whole)));
        const std::size_t end = whole.rfind("</opencv_storage>");
        const std::size_t step = end / 50;
        for (std::size_t size = 1; size < end; size += step)
            EXPECT_FALSE(loaded(folder.write("cut.xml", whole.substr(0, size)))) << size << " bytes of " << file;
        // Behind each of the first tags and attributes.
        std::size_t cuts = 0;
        for (std::size_t place = whole.find_first_of("=>"); place != std::string::npos && cuts < 100;
             place = whole.find_first_of("=>", place + 1), ++cuts)
            EXPECT_FALSE(loaded(folder.write("cut.xml", whole.substr(0, place + 1)))) << place + 1 << " bytes";
    }
}

using Object = std::tuple<int, int, int, int, int>; ///< row, column, height, width, neighbours

std::vector<Object> objectsOf(const cv::Mat& picture, CvHaarClassifierCascade* cascade)
{
    const Storage storage(cvCreateMemStorage(0));
    const IplImage image = cvIplImage(picture);
    const CvSeq* const sequence = cvHaarDetectObjects(&image, cascade, storage.get(), 1.05, 1);
    EXPECT_EQ(sequence->elem_size, static_cast<int>(sizeof(CvAvgComp)));
    std::vector<Object> objects;
    for (int k = 0; k < sequence->total; ++k) {
        const auto& [rect, neighbors] = *reinterpret_cast<const CvAvgComp*>(cvGetSeqElem(sequence, k));
        objects.emplace_back(rect.y, rect.x, rect.height, rect.width, neighbors);
    }
    return objects;
}

/// What OpenCV finds with a cascade that it has loaded itself, in the order stated.
std::vector<Object> expectedObjects(const cv::Mat& picture, const std::string& file)
{
    cv::CascadeClassifier classifier(file);
    std::vector<cv::Rect> rectangles;
    std::vector<int> neighbours;
    classifier.detectMultiScale(picture, rectangles, neighbours, 1.05, 1);
    std::vector<Object> expected;
    for (std::size_t k = 0; k < rectangles.size(); ++k)
        expected.emplace_back(rectangles[k].y, rectangles[k].x, rectangles[k].height, rectangles[k].width,
                              neighbours[k]);
    std::sort(expected.begin(), expected.end());
    return expected;
}

TEST(HaarCascade, GivesObjectsByRowThenColumn)
{
    const auto image = imageio::load(VELMOR_TEST_PHOTOGRAPH, core::cvdata::Image::BGR);
    const Cascade cascade = loaded(kNewFormat);
    const std::vector<Object> objects = objectsOf(image.mat(), cascade.get());
    EXPECT_EQ(objects, expectedObjects(image.mat(), kNewFormat));
    EXPECT_GE(objects.size(), 3u);
}

TEST(HaarCascade, LoadsAndFindsWhatOpenCvDoesWithEachOfItsCascades)
{
    const auto image = imageio::load(VELMOR_TEST_PHOTOGRAPH, core::cvdata::Image::BGR);
    const cv::Mat part = image.mat()(cv::Rect(180, 60, 120, 100));
    int cascades = 0;
    for (const char* const folder : {"haarcascades", "lbpcascades"}) {
        for (const auto& entry : std::filesystem::directory_iterator(std::string("/usr/share/opencv4/") + folder)) {
            if (RUNNING_ON_VALGRIND && cascades > 0)
                break;
            ++cascades;
            const std::string file = entry.path().string();
            const Cascade cascade = loaded(file);
            ASSERT_TRUE(cascade) << file;
            EXPECT_EQ(objectsOf(part, cascade.get()), expectedObjects(part, file)) << file;
        }
    }
    EXPECT_TRUE(RUNNING_ON_VALGRIND || cascades >= 22);
}

TEST(HaarCascade, GivesAnEmptySequenceWhereThereIsNothing)
{
    const core::cvdata::Image image(100, 100, core::cvdata::Image::GREYSCALE);
    const Cascade cascade = loaded(kNewFormat);
    const Storage storage(cvCreateMemStorage(0));
    const CvSeq* const sequence = cvHaarDetectObjects(image.iplImage(), cascade.get(), storage.get());
    ASSERT_NE(sequence, nullptr);
    EXPECT_EQ(sequence->total, 0);
}

TEST(HaarCascade, ReleasingSetsThePointerToNull)
{
    CvHaarClassifierCascade* cascade = loaded(kNewFormat).release();
    cvReleaseHaarClassifierCascade(&cascade);
    EXPECT_EQ(cascade, nullptr);
    cvReleaseHaarClassifierCascade(&cascade);
    cvReleaseHaarClassifierCascade(nullptr);
}

} // namespace
} // namespace velmor::tests
