#pragma once

#include "python/binding/Errors.h"

#include <opencv2/core/mat.hpp>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

/// The Python modules: what stands between arrays and pictures.
namespace velmor::python {

namespace py = pybind11;

/// Looks up what numpy has, while the module is imported and one thread alone is here. Later a thread could wait for
/// the look-up of another one, which waits for the interpreter.
void prepareArrays();

/// Which pictures a call takes.
struct Takes
{
    std::vector<int> channels;                                 ///< 1 for arrays of two dimensions; empty for any number
    std::vector<int> depths = {CV_8U, CV_16U, CV_32S, CV_32F}; ///< CV_32S for unsigned numbers too
};

/// An array that nobody can give other memory while this is alive, though other threads run Python code: numpy resizes
/// no array that has a weak reference.
class Held
{
public:
    Held() = default;
    explicit Held(const py::array& array);

private:
    py::object mReferences[2];
};

/// An argument as a picture, in the argument's own memory where its layout is that of pictures, else in a copy.
///
/// Taken are arrays, buffers, and objects with `__array_interface__`, `__array__` or `__dlpack__`. Shapes are (height,
/// width) and (height, width, channels). Doubles become floats, True becomes 255, and big-endian numbers become those
/// of this machine; other numbers than bytes, floats and unsigned integers of 16 and 32 bits are refused. So are arrays
/// without a pixel, and masked arrays, whose mask would be lost.
class Source
{
public:
    /// @param function  for messages, without "velmor."
    /// @throws py::value_error  when the argument is not what the call takes
    Source(py::handle argument, const std::string& function, const Takes& takes = Takes());

    const cv::Mat& picture() const { return mPicture; }

    /// What was given, as an array: its shape is that of results. Its numbers may not be those of the picture.
    const py::array& array() const { return mArray; }

    /// Such as "uint8 of shape (5, 7)".
    std::string description() const;

private:
    py::array mArray;
    py::array mPixels; ///< where the picture lies: the array itself, or a copy
    Held mHeld;
    cv::Mat mPicture;
};

/// Where a result goes: into a new array, or into the one that the caller gives as out.
///
/// Example:
///
///     const Source source(argument, "not_");
///     Result result(out, source, source.picture().type(), "not_");
///     ... // write result.picture()
///     return result.finish();
class Result
{
public:
    /// @param out     None for a new array; else an array of exactly this shape and type, which may be of any layout
    /// @param source  the result has its height and width, and its third dimension where the channels are the same
    /// @throws py::value_error  when out is not such an array, or cannot be written
    Result(py::handle out, const Source& source, int type, const std::string& function);

    /// What is written. It has its size and type already where it lies in the array; else it is empty.
    cv::Mat& picture() { return mPicture; }

    /// What the caller gets: out itself where it was given.
    py::object finish();

private:
    py::object mOut;
    py::array mArray;
    Held mHeld;
    cv::Mat mPicture;
    bool mIsElsewhere = false; ///< out's layout is not that of pictures: the picture is copied there in the end
};

} // namespace velmor::python
