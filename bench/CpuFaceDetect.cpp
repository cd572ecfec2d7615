#include "bench/CpuOperators.h"
#include "cvprocess/FaceDetect.h"
#include "imageio/ImageIo.h"

#include <memory>
#include <opencv2/objdetect.hpp>

namespace velmor::bench {
namespace {

using core::cvdata::Image;

struct Scene
{
    Scene(const char* cascadeFile, const cv::Size& size)
        : image(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height), Image::BGR),
          detector(cascadeFile), classifier(cascadeFile)
    {
        cv::Mat pixels = image.mat();
        cv::resize(imageio::load("/usr/share/doc/opencv-doc/examples/data/messi5.jpg", Image::BGR).mat(), pixels, size);
    }
    Image image;
    cvprocess::FaceDetect detector;
    cv::CascadeClassifier classifier;
    std::vector<math::Vector4> faces;
    std::vector<CvRect> rectangles;
    std::vector<cv::Rect> expected;
    cv::Mat reduced;
};

/// @param size   that the photograph is scaled to
/// @param scale  that the search reduces it by
Comparison besideOpenCv(const cv::Size& size, int scale)
{
    const auto scene = std::make_shared<Scene>("/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml", size);
    const auto search = [=] {
        if (scale == 1)
            scene->detector.findFaces(&scene->image, scene->faces);
        else
            scene->detector.findFaces(&scene->image, scene->rectangles, scale);
    };
    const auto opencv = [=] {
        if (scale == 1)
            scene->reduced = scene->image.mat();
        else
            cv::resize(scene->image.mat(), scene->reduced, scene->image.mat().size() / scale);
        scene->classifier.detectMultiScale(scene->reduced, scene->expected, 1.1, 2, 1, {40, 40});
    };
    search();
    opencv();
    expect(scene->faces.size() + scene->rectangles.size() == scene->expected.size() && !scene->expected.empty(),
           "the list of faces");
    return {{}, search, scale == 1 ? "cv::CascadeClassifier" : "cv::resize_and_cv::CascadeClassifier", opencv, 1.02};
}

} // namespace

void addFaceDetect()
{
    const cv::Size photograph(548, 342);
    add("FaceDetect/548x342", [=] { return besideOpenCv(photograph, 1); });
    add("FaceDetect/1096x684/scale:2", [=] { return besideOpenCv(photograph * 2, 2); });
    for (const Size& size : kFrameSizes)
        add(std::string("FaceDetect/") + size.name, [=] {
            return besideOpenCv({static_cast<int>(size.width), static_cast<int>(size.height)}, 1);
        });
}

} // namespace velmor::bench
