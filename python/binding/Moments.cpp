#include "python/binding/Moments.h"

#include "core/cvdata/Blobs.h"
#include "cvprocess/Moments.h"
#include "python/binding/Arguments.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Filters.h"
#include "python/binding/Images.h"
#include "python/binding/Numbers.h"
#include "python/binding/Self.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>

namespace velmor::python {
namespace {

using core::cvdata::Blobs;

/// A blob as arrays hold it.
struct Record
{
    double x, y, angle, major_axis, minor_axis;
    std::uint32_t area;
    std::int32_t number_of_points;
    std::int32_t bounding_box[4];
    double covariance[2][2];
    double eigenvectors[2][2];
    double eigenvalues[2];
};

void copy(const math::SquareMatrix& matrix, double (&place)[2][2])
{
    std::copy(matrix[0], matrix[0] + 4, place[0]);
}

Record recordOf(const Blobs::BlobInfo& blob)
{
    const CvRect& box = blob.boundingBox;
    Record record{blob.x,
                  blob.y,
                  blob.angle,
                  blob.majorAxis,
                  blob.minorAxis,
                  blob.area,
                  blob.nofPoints,
                  {box.x, box.y, box.width, box.height},
                  {},
                  {},
                  {blob.eigenvalues[0], blob.eigenvalues[1]}};
    copy(blob.covariance, record.covariance);
    copy(blob.eigenvectors, record.eigenvectors);
    return record;
}

class Finder
{
public:
    py::object find(py::handle mask, py::handle maxBlobs, py::handle minArea, bool structured)
    {
        static const std::string function = "Moments.find";
        const ImageSource picture(mask, {1}, function);
        const int most = wholeNumber(maxBlobs, function, "max_blobs", std::numeric_limits<int>::min(),
                                     std::numeric_limits<int>::max());
        const double area = realNumber(minArea, function, "min_area");
        Blobs blobs;
        work(function, [&] {
            const std::lock_guard<std::mutex> turn(mMutex);
            mMoments.findBlobs(picture.image(), blobs, most, area);
        });
        py::array_t<Record> records(static_cast<py::ssize_t>(blobs.blobs.size()));
        std::transform(blobs.blobs.begin(), blobs.blobs.end(), records.mutable_data(), recordOf);
        if (structured)
            return records;
        return py::module_::import("velmor.blobs").attr("from_records")(records);
    }

private:
    std::mutex mMutex;
    cvprocess::Moments mMoments;
};

} // namespace

void defineMoments(py::module_& module)
{
    PYBIND11_NUMPY_DTYPE(Record, x, y, angle, major_axis, minor_axis, area, number_of_points, bounding_box, covariance,
                         eigenvectors, eigenvalues);
    module.attr("BLOB_DTYPE") = py::dtype::of<Record>();
    Class<Finder, std::shared_ptr<Finder>>(module, "Moments", docstring("Moments"))
        .def(py::init([] { return std::make_shared<Finder>(); }))
        .def(
            "find",
            [](const Self<Finder>& self, py::handle mask, py::handle maxBlobs, py::handle minArea, bool structured) {
                return self->find(mask, maxBlobs, minArea, structured);
            },
            docstring("Moments.find"), py::arg("mask"), py::arg("max_blobs") = -1, py::arg("min_area") = 0.0,
            py::kw_only(), py::arg("structured") = false);
}

} // namespace velmor::python
