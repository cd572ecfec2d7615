#include <opencv2/core.hpp>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <limits>
#include <vector>

/// What a binding could do wrong, one mistake in a function each. A sanitizer has to see every one.
namespace {

namespace py = pybind11;

void leakOneNumber()
{
    // cppcheck-suppress leakReturnValNotUsed
    static_cast<void>(new int(7));
}

/// Where nothing but OpenCV's own memory is lost, the caller stands behind functions of OpenCV.
void leakPictureOfOpenCv()
{
    cv::Mat picture(100, 100, CV_8UC1);
    picture.addref();
}

void leakArrayOfNumpy()
{
    py::array_t<float>({100, 100}).release();
}

void readBeyond()
{
    const std::vector<int> numbers(10);
    const int* const first = numbers.data();
    const volatile int read = first[10];
    static_cast<void>(read);
}

void writeBeyond()
{
    py::array_t<float> array({10, 10});
    array.mutable_data()[100] = 1;
}

void readWhatIsGone()
{
    py::array_t<float> array({100, 100});
    const cv::Mat picture(100, 100, CV_32FC1, array.mutable_data());
    array = py::array_t<float>();
    const volatile float read = picture.at<float>(50, 50);
    static_cast<void>(read);
}

void overflow()
{
    volatile int number = std::numeric_limits<int>::max();
    number = number + 1;
}

void bindNull()
{
    const cv::Mat* volatile none = nullptr;
    // cppcheck-suppress nullPointer
    const cv::Mat& picture = *none;
    static_cast<void>(picture);
}

} // namespace

PYBIND11_MODULE(velmor_mistakes, module)
{
    module.def("leak_one_number", &leakOneNumber);
    module.def("leak_picture_of_opencv", &leakPictureOfOpenCv);
    module.def("leak_array_of_numpy", &leakArrayOfNumpy);
    module.def("read_beyond", &readBeyond);
    module.def("write_beyond", &writeBeyond);
    module.def("read_what_is_gone", &readWhatIsGone);
    module.def("overflow", &overflow);
    module.def("bind_null", &bindNull);
}
