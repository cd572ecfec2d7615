#include "bench/CpuOperators.h"
#include "cvprocess/FaceDetect.h"
#include "imageio/ImageIo.h"

#include <algorithm>
#include <array>
#include <memory>
#include <opencv2/objdetect.hpp>

namespace velmor::bench {
namespace {

using core::cvdata::Image;

/// Lets OpenCV have so many threads while it lives.
class ThreadsOfOpenCv
{
public:
    explicit ThreadsOfOpenCv(int threads) : mBefore(cv::getNumThreads()) { cv::setNumThreads(threads); }
    ThreadsOfOpenCv(const ThreadsOfOpenCv&) = delete;
    ThreadsOfOpenCv& operator=(const ThreadsOfOpenCv&) = delete;
    ~ThreadsOfOpenCv() { cv::setNumThreads(mBefore); }

private:
    int mBefore;
};

struct Scene
{
    /// @param size     that the photograph is scaled to
    /// @param divisor  that the search reduces it by
    Scene(const cv::Size& size, int divisor)
        : image(static_cast<unsigned>(size.width), static_cast<unsigned>(size.height), Image::BGR), scale(divisor)
    {
        cv::Mat pixels = image.mat();
        cv::resize(imageio::load("/usr/share/doc/opencv-doc/examples/data/messi5.jpg", Image::BGR).mat(), pixels, size);
    }

    void search()
    {
        if (scale == 1)
            detector.findFaces(&image, faces);
        else
            detector.findFaces(&image, rectangles, scale);
    }

    void searchWithOpenCv()
    {
        if (scale == 1)
            reduced = image.mat();
        else
            cv::resize(image.mat(), reduced, image.mat().size() / scale);
        classifier.detectMultiScale(reduced, expected, 1.1, 2, 1, {40, 40});
    }

    /// Whether both find the same, in any order: with threads OpenCV's varies.
    bool bothFindTheSame()
    {
        search();
        searchWithOpenCv();
        std::vector<std::array<int, 4>> own, other;
        for (const math::Vector4& face : faces)
            own.push_back({static_cast<int>(face[0]), static_cast<int>(face[1]), static_cast<int>(face[2]),
                           static_cast<int>(face[3])});
        for (const CvRect& face : rectangles)
            own.push_back({face.x, face.y, face.width, face.height});
        for (const cv::Rect& face : expected)
            other.push_back({face.x * scale, face.y * scale, face.width * scale, face.height * scale});
        std::sort(own.begin(), own.end());
        std::sort(other.begin(), other.end());
        return !own.empty() && own == other;
    }

    static constexpr const char* kCascade = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml";
    Image image;
    int scale;
    cvprocess::FaceDetect detector{kCascade};
    cv::CascadeClassifier classifier{kCascade};
    std::vector<math::Vector4> faces;
    std::vector<CvRect> rectangles;
    std::vector<cv::Rect> expected;
    cv::Mat reduced;
};

Comparison besideOpenCv(const cv::Size& size, int scale, int threads)
{
    const auto scene = std::make_shared<Scene>(size, scale);
    const auto withThreads = [=](void (Scene::*call)()) {
        return [=] {
            const ThreadsOfOpenCv all(threads);
            ((*scene).*call)();
        };
    };
    const ThreadsOfOpenCv all(threads);
    expect(scene->bothFindTheSame(), "the list of faces");
    return {{},
            withThreads(&Scene::search),
            scale == 1 ? "cv::CascadeClassifier" : "cv::resize_and_cv::CascadeClassifier",
            withThreads(&Scene::searchWithOpenCv),
            1.02};
}

/// With one thread, and with all.
void addSearch(const std::string& name, const cv::Size& size, int scale)
{
    add(name, [=] { return besideOpenCv(size, scale, 1); });
    add(name + "/all threads", [=] { return besideOpenCv(size, scale, cv::getNumberOfCPUs()); });
}

} // namespace

void addFaceDetect()
{
    const cv::Size photograph(548, 342);
    addSearch("FaceDetect/548 x 342 pixels", photograph, 1);
    addSearch("FaceDetect/1096 x 684 pixels/scale 2", photograph * 2, 2);
    for (const Size& size : kFrameSizes)
        addSearch(std::string("FaceDetect/") + size.name, {static_cast<int>(size.width), static_cast<int>(size.height)},
                  1);
}

} // namespace velmor::bench
