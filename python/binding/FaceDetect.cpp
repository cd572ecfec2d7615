#include "python/binding/FaceDetect.h"

#include "cvprocess/FaceDetect.h"
#include "opencv1/CascadeCopy.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Files.h"
#include "python/binding/Filters.h"
#include "python/binding/Images.h"
#include "python/binding/Numbers.h"
#include "python/binding/Self.h"

#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <vector>

namespace velmor::python {
namespace {

/// The detector of a file, which would end the process where the file is no cascade. So a copy is tried before.
std::unique_ptr<cvprocess::FaceDetect> detectorOf(const std::string& file)
{
    return std::make_unique<cvprocess::FaceDetect>(opencv1::copyOfCascade("FaceDetect(): cannot load", file)->name());
}

class FaceDetector
{
public:
    explicit FaceDetector(const std::string& file) : mDetector(detectorOf(file)) {}

    py::array find(py::handle argument, py::handle scale)
    {
        static const std::string function = "FaceDetect.find";
        const ImageSource source(argument, {1, 3}, function);
        const int factor = wholeNumber(scale, function, "scale", 1, std::numeric_limits<int>::max());
        const cv::Size size = source.picture().size() / factor;
        if (size.empty())
            refuse(function, "scale to be at most the height and the width", std::to_string(factor));
        std::vector<math::Vector4> faces;
        work(function, [&] {
            // Not by the search with a scale, which keeps each image that it makes.
            cv::Mat searched = source.picture();
            if (factor > 1)
                cv::resize(source.picture(), searched, size, 0, 0, cv::INTER_LINEAR);
            const core::cvdata::Image image = imageOver(searched);
            const std::lock_guard<std::mutex> turn(mMutex);
            mDetector->findFaces(&image, faces);
        });
        return rectangles(faces, factor);
    }

private:
    static py::array rectangles(const std::vector<math::Vector4>& faces, int factor)
    {
        py::array_t<std::int32_t> result({static_cast<py::ssize_t>(faces.size()), py::ssize_t{4}});
        std::int32_t* place = result.mutable_data();
        for (const math::Vector4& face : faces)
            for (unsigned k = 0; k < 4; ++k)
                *place++ = cvRound(face[k]) * factor;
        return result;
    }

    std::mutex mMutex;
    std::unique_ptr<cvprocess::FaceDetect> mDetector;
};

using FaceDetectorPointer = std::shared_ptr<FaceDetector>;

FaceDetectorPointer make(py::handle cascade)
{
    const std::string function = "FaceDetect", file = pathOf(cascade, function);
    FaceDetectorPointer detector;
    workOnFile(function, [&] { detector = std::make_shared<FaceDetector>(file); });
    return detector;
}

} // namespace

void defineFaceDetect(py::module_& module)
{
    Class<FaceDetector, FaceDetectorPointer>(module, "FaceDetect", docstring("FaceDetect"))
        .def(py::init(&make), py::arg("cascade"))
        .def(
            "find",
            [](const Self<FaceDetector>& self, py::handle source, py::handle scale) {
                return self->find(source, scale);
            },
            docstring("FaceDetect.find"), py::arg("source"), py::arg("scale") = 1);
}

} // namespace velmor::python
