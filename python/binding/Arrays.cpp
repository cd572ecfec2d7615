#include "python/binding/Arrays.h"

#include "python/binding/Dtypes.h"
#include "python/binding/Texts.h"

#include <algorithm>
#include <optional>

namespace velmor::python {
namespace {

/// The filters number the elements of a row with int: there may be four in a pixel, and some beyond the edges.
constexpr py::ssize_t kMostPixelsOfSide = py::ssize_t{1} << 28;

/// The depth of the pictures that an array becomes.
std::optional<int> depthOf(const py::dtype& type)
{
    const char kind = type.kind();
    const auto size = type.itemsize();
    if (kind == 'b' || (kind == 'u' && size == 1))
        return CV_8U;
    if (kind == 'u' && size == 2)
        return CV_16U;
    if (kind == 'u' && size == 4)
        return CV_32S; // which filters read as unsigned
    if (kind == 'f' && (size == 4 || size == 8))
        return CV_32F;
    return {};
}

/// Whether pictures hold the same numbers in the same bytes.
bool isDepth(const py::dtype& type)
{
    return type.kind() != 'b' && !(type.kind() == 'f' && type.itemsize() == 8) && type.byteorder() != '>';
}

py::module_ numpy()
{
    return py::module_::import("numpy");
}

py::handle arrayType()
{
    static const py::handle type = py::object(numpy().attr("ndarray")).release();
    return type;
}

bool hasNumbers(py::handle argument)
{
    return py::hasattr(argument, "__array_interface__") || py::hasattr(argument, "__array_struct__") ||
           py::hasattr(argument, "__array__");
}

/// What a function of Python made.
/// @throws py::error_already_set  where it made nothing
py::object newObject(PyObject* object)
{
    if (object == nullptr)
        throw py::error_already_set();
    return py::reinterpret_steal<py::object>(object);
}

/// The array in the memory of an object. Empty where the object has none.
py::object arrayIn(py::handle argument)
{
    // Not asarray(argument): of bytes it makes one text.
    if (PyObject_CheckBuffer(argument.ptr()))
        return numpy().attr("asarray")(newObject(PyMemoryView_FromObject(argument.ptr())));
    if (hasNumbers(argument))
        return numpy().attr("asarray")(argument);
    if (py::hasattr(argument, "__dlpack__"))
        return numpy().attr("from_dlpack")(argument);
    return {};
}

bool isMasked(py::handle argument)
{
    return py::isinstance(argument, numpy().attr("ma").attr("MaskedArray"));
}

/// The array that an argument is or has. Lists are none: to take one is to copy each of its numbers.
/// @param what  before "an array" in messages
py::array arrayOf(py::handle argument, const std::string& function, const std::string& what = "")
{
    // Most arguments are arrays and nothing else.
    if (py::type::handle_of(argument).is(arrayType()))
        return py::reinterpret_borrow<py::array>(argument);
    const std::string type = py::str(py::type::handle_of(argument).attr("__name__"));
    try {
        if (py::isinstance<py::array>(argument)) {
            if (isMasked(argument))
                refuse(function, what + "an array without a mask", "a masked array");
            return py::reinterpret_borrow<py::array>(argument);
        }
        // The object's own code runs here, which may raise whatever it likes.
        if (const py::object array = arrayIn(argument))
            return py::reinterpret_borrow<py::array>(array);
    } catch (const py::error_already_set& error) {
        if (!error.matches(PyExc_Exception) || error.matches(PyExc_MemoryError))
            throw;
        refuse(function, what + "an array in main memory", type + " that gives none (" + firstLine(error.what()) + ")");
    }
    refuse(function, what + "an array", type);
}

bool isPictureShape(const py::array& array)
{
    return array.ndim() == 2 || (array.ndim() == 3 && array.shape(2) >= 1 && array.shape(2) <= CV_CN_MAX);
}

int channelsOf(const py::array& array)
{
    return array.ndim() == 3 ? static_cast<int>(array.shape(2)) : 1;
}

/// Whether rows lie one after the other, and pixels and channels without gaps.
bool isPictureLayout(const py::array& array)
{
    const py::ssize_t item = array.itemsize();
    const py::ssize_t pixel = item * channelsOf(array);
    const py::ssize_t row = pixel * array.shape(1);
    const bool dense = (array.ndim() == 2 || array.shape(2) == 1 || array.strides(2) == item) &&
                       (array.shape(1) <= 1 || array.strides(1) == pixel);
    const bool rows = array.shape(0) <= 1 || (array.strides(0) >= row && array.strides(0) % item == 0);
    return dense && rows && reinterpret_cast<std::uintptr_t>(array.data()) % static_cast<std::size_t>(item) == 0;
}

/// The picture in the memory of an array of that layout.
cv::Mat pictureIn(const py::array& array, int depth)
{
    const auto rows = static_cast<int>(array.shape(0)), columns = static_cast<int>(array.shape(1));
    const int type = CV_MAKETYPE(depth, channelsOf(array));
    auto* const pixels = const_cast<void*>(array.data());
    const std::size_t row = static_cast<std::size_t>(columns) * CV_ELEM_SIZE(type);
    return {rows, columns, type, pixels, rows > 1 ? static_cast<std::size_t>(array.strides(0)) : row};
}

bool contains(const std::vector<int>& items, int item)
{
    return std::find(items.begin(), items.end(), item) != items.end();
}

void check(const py::array& array, const std::string& function, const Takes& takes)
{
    const std::optional<int> depth = depthOf(array.dtype());
    const bool fits = depth && contains(takes.depths, *depth) && isPictureShape(array) &&
                      (takes.channels.empty() || contains(takes.channels, channelsOf(array)));
    if (!fits)
        refuse(function, textOf(takes), textOf(array));
    if (array.size() == 0)
        refuse(function, "an array with at least 1 pixel", textOf(array));
    if (array.shape(0) > kMostPixelsOfSide || array.shape(1) > kMostPixelsOfSide)
        refuse(function, "sides of at most " + std::to_string(kMostPixelsOfSide) + " pixels", textOf(array));
}

/// The array as pictures have it, in its own memory where that is so already.
py::array asPixels(const py::array& array)
{
    const py::dtype type = array.dtype();
    if (isDepth(type))
        return isPictureLayout(array) ? array : py::array(numpy().attr("array")(array, py::arg("order") = "C"));
    if (type.kind() == 'b')
        // where() takes every byte but 0 as True, as other programs leave any; and it keeps the order that it finds.
        return numpy().attr("where")(numpy().attr("ascontiguousarray")(array),
                                     py::dtype::of<std::uint8_t>().attr("type")(255),
                                     py::dtype::of<std::uint8_t>().attr("type")(0));
    return array.attr("astype")(dtypeOf(*depthOf(type)), py::arg("order") = "C");
}

/// Whether what is written into an array is lost, as the object that it came from made it for this once.
bool isCopy(const py::array& array, py::handle argument)
{
    return !array.is(argument) && array.owndata() && array.ref_count() == 1;
}

std::vector<py::ssize_t> shapeOf(const py::array& array)
{
    return {array.shape(), array.shape() + array.ndim()};
}

std::vector<py::ssize_t> resultShape(const py::array& source, int channels)
{
    std::vector<py::ssize_t> shape = shapeOf(source);
    if (channels != channelsOf(source)) {
        shape.resize(2);
        if (channels > 1)
            shape.push_back(channels);
    }
    return shape;
}

} // namespace

void prepareArrays()
{
    arrayType();
}

Held::Held(const py::array& array)
{
    mReferences[0] = newObject(PyWeakref_NewRef(array.ptr(), nullptr));
    // A view's memory is that of its base, which numpy keeps the only one.
    const py::object base = array.base();
    if (base && py::isinstance<py::array>(base))
        mReferences[1] = newObject(PyWeakref_NewRef(base.ptr(), nullptr));
}

Source::Source(py::handle argument, const std::string& function, const Takes& takes)
    : mArray(arrayOf(argument, function)), mPixels(mArray)
{
    check(mArray, function, takes);
    mPixels = asPixels(mArray);
    mHeld = Held(mPixels);
    mPicture = pictureIn(mPixels, *depthOf(mPixels.dtype()));
}

std::string Source::description() const
{
    return textOf(mArray);
}

Result::Result(py::handle out, const Source& source, int type, const std::string& function)
{
    const std::vector<py::ssize_t> shape = resultShape(source.array(), CV_MAT_CN(type));
    const py::dtype wanted = dtypeOf(CV_MAT_DEPTH(type));
    if (out.is_none()) {
        mArray = py::array(wanted, shape);
        mOut = mArray;
    } else {
        mOut = py::reinterpret_borrow<py::object>(out);
        mArray = arrayOf(out, function, "out to be ");
        if (shapeOf(mArray) != shape || !mArray.dtype().equal(wanted))
            refuse(function, "out to be " + textOf(wanted, shape), textOf(mArray));
        if (!mArray.writeable())
            refuse(function, "out to be writeable", "a read-only array");
        if (isCopy(mArray, out))
            refuse(function, "out to be memory that can be written", "an object that gives a copy");
        mHeld = Held(mArray);
    }
    mIsElsewhere = !isPictureLayout(mArray);
    if (!mIsElsewhere)
        mPicture = pictureIn(mArray, CV_MAT_DEPTH(type));
}

py::object Result::finish()
{
    if (mIsElsewhere) {
        const py::array view(mArray.dtype(), shapeOf(mArray), mPicture.data, mArray);
        numpy().attr("copyto")(mArray, view);
    }
    return mOut;
}

} // namespace velmor::python
