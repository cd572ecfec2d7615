#include "tests/examples/ExampleTest.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

namespace velmor::tests {
namespace {

class FaceMosaic : public ExampleTest
{
protected:
    FaceMosaic() : ExampleTest("face_mosaic") {}
};

/// The faces by OpenCV's classifier.
std::vector<cv::Rect> facesIn(const cv::Mat& picture)
{
    cv::CascadeClassifier classifier("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml");
    std::vector<cv::Rect> faces;
    classifier.detectMultiScale(picture, faces, 1.1, 2, 0, {40, 40});
    return faces;
}

/// One of the 8 x 8 tiles of a face.
cv::Rect tileOf(const cv::Rect& face, int column, int row)
{
    const cv::Point from(face.width * column / 8, face.height * row / 8);
    const cv::Point to(face.width * (column + 1) / 8, face.height * (row + 1) / 8);
    return cv::Rect(from, to) + face.tl();
}

TEST_F(FaceMosaic, CoversTheFaceOfAPhotographAndNothingElse)
{
    const cv::Mat photograph = cv::imread(VELMOR_TEST_PHOTOGRAPH);
    const std::vector<cv::Rect> faces = facesIn(photograph);
    ASSERT_EQ(faces.size(), 1U);
    const ProgramEnd end = run({VELMOR_TEST_PHOTOGRAPH, "mosaic.png"});
    expectSuccess(end);
    EXPECT_EQ(end.out, "faces: 1\n");
    cv::Mat mosaic = cv::imread(path("mosaic.png").string());
    ASSERT_EQ(mosaic.size(), photograph.size());

    for (int row = 0; row < 8; ++row)
        for (int column = 0; column < 8; ++column) {
            cv::Rect inside = tileOf(faces.front(), column, row);
            inside = {inside.tl() + cv::Point(1, 1), inside.br() - cv::Point(1, 1)}; // tiles end inside pixels
            cv::Scalar colour, deviation;
            cv::meanStdDev(mosaic(inside), colour, deviation);
            EXPECT_EQ(cv::norm(deviation), 0) << column << ", " << row;
        }
    const cv::Mat face = photograph(faces.front());
    // Means of tiles have the mean of the face, but for rounding and for tiles of unequal numbers of pixels.
    EXPECT_LT(cv::norm(cv::mean(mosaic(faces.front())) - cv::mean(face)), 2);
    face.copyTo(mosaic(faces.front()));
    EXPECT_EQ(cv::norm(mosaic, photograph, cv::NORM_INF), 0);
}

TEST_F(FaceMosaic, LeavesAPictureWithoutFacesAsItIs)
{
    cv::Mat noise(200, 300, CV_8UC3);
    cv::randu(noise, 0, 256);
    cv::imwrite(path("noise.png").string(), noise);
    ASSERT_TRUE(facesIn(noise).empty());
    const ProgramEnd end = run({"noise.png", "same.png"});
    expectSuccess(end);
    EXPECT_EQ(end.out, "faces: 0\n");
    EXPECT_EQ(cv::norm(cv::imread(path("same.png").string()), noise, cv::NORM_INF), 0);
}

TEST_F(FaceMosaic, SaysWhatIsWrong)
{
    expectRefusal({"a.png"}, "expected a picture to read and a picture to write");
    expectRefusal({"nothing.png", "b.png"}, "load(): cannot load 'nothing.png': No such file or directory");
    write("empty.png", "");
    expectRefusal({"empty.png", "b.png"}, "load(): cannot load 'empty.png': it is empty");
    expectRefusal({VELMOR_TEST_PHOTOGRAPH, "b.text"},
                  "save(): cannot save 'b.text': no picture format has the extension '.text'");
}

} // namespace
} // namespace velmor::tests
