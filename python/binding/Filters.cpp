#include "python/binding/Filters.h"

#include "catalogue/Catalogue.h"
#include "catalogue/NativeFilters.h"
#include "native/PixelCount.h"
#include "python/binding/Docstrings.h"
#include "python/binding/Numbers.h"
#include "python/binding/Texts.h"

#include <cctype>
#include <utility>
#include <vector>

namespace velmor::python {
namespace {

using catalogue::Operator;

/// "BGR2GRAY" -> "bgr2gray", "FlipV" -> "flip_v", "And" -> "and_".
std::string pythonName(const std::string& className)
{
    std::string name;
    for (std::size_t i = 0; i < className.size(); ++i) {
        const bool upper = std::isupper(static_cast<unsigned char>(className[i])) != 0;
        if (upper && i > 0 && std::islower(static_cast<unsigned char>(className[i - 1])))
            name += '_';
        name += static_cast<char>(std::tolower(static_cast<unsigned char>(className[i])));
    }
    if (name == "and" || name == "or" || name == "not")
        name += '_';
    return name;
}

bool gives(const native::Filter& filter, int sourceType, int depth = -1)
{
    try {
        filter.resultType(sourceType, depth);
        return true;
    } catch (const std::invalid_argument&) {
        return false;
    }
}

/// What a filter takes, found by asking it. The sets of channels and of depths are independent of each other.
Takes takesOf(const native::Filter& filter)
{
    Takes takes;
    takes.depths.clear();
    for (const int depth : Takes().depths) {
        std::vector<int> channels;
        for (int number = 1; number <= 4; ++number)
            if (gives(filter, CV_MAKETYPE(depth, number)))
                channels.push_back(number);
        if (channels.empty())
            continue;
        takes.depths.push_back(depth);
        takes.channels = channels;
    }
    return takes;
}

/// The depth of pictures that a caller asks for by one of numpy's names of types.
int depthOf(const py::object& dtype, const std::string& function)
{
    py::dtype type = py::dtype::of<float>();
    try {
        type = py::dtype::from_args(dtype);
    } catch (const py::error_already_set&) {
        refuse(function, "dtype to be uint8 or float32", py::repr(dtype));
    }
    if (type.equal(py::dtype::of<std::uint8_t>()))
        return CV_8U;
    if (type.equal(py::dtype::of<float>()))
        return CV_32F;
    refuse(function, "dtype to be uint8 or float32", py::str(py::handle(type)));
}

void checkPair(const Source& a, const Source& b, const std::string& function)
{
    if (a.picture().size() != b.picture().size() || a.picture().type() != b.picture().type())
        refuse(function, "arrays of one shape and type", a.description() + " and " + b.description());
}

} // namespace

ArrayFilter::ArrayFilter(std::string name, std::shared_ptr<const native::Filter> filter)
    : mName(std::move(name)), mFilter(std::move(filter)), mTakes(takesOf(*mFilter))
{
}

int ArrayFilter::resultType(int sourceType, const py::object& dtype, int& depth) const
{
    depth = dtype.is_none() ? -1 : depthOf(dtype, mName);
    if (!gives(*mFilter, sourceType, depth)) {
        std::vector<std::string> given;
        for (const int possible : {CV_8U, CV_32F})
            if (gives(*mFilter, sourceType, possible))
                given.push_back(depthText(possible));
        refuse(mName, "dtype to be " + listText(given), depthText(depth));
    }
    return mFilter->resultType(sourceType, depth);
}

py::object ArrayFilter::execute(const py::object& source, const py::object& out, const py::object& dtype) const
{
    const Source picture(source, mName, mTakes);
    int depth = -1;
    const int type = resultType(picture.picture().type(), dtype, depth);
    Result result(out, picture, type, mName);
    work(mName, [&] { mFilter->execute(picture.picture(), result.picture(), depth); });
    return result.finish();
}

py::object ArrayFilter::execute(const py::object& a, const py::object& b, const py::object& out,
                                const py::object& dtype) const
{
    const Source one(a, mName, mTakes), two(b, mName, mTakes);
    checkPair(one, two, mName);
    int depth = -1;
    const int type = resultType(one.picture().type(), dtype, depth);
    Result result(out, one, type, mName);
    work(mName, [&] { mFilter->execute(one.picture(), two.picture(), result.picture(), depth); });
    return result.finish();
}

namespace {

void defineFilter(py::module_& module, const Operator& what)
{
    const ArrayFilter filter(pythonName(what.name), catalogue::makeNative(what.name));
    const std::string name = pythonName(what.name);
    const char* const text = docstring(name);
    if (what.sources == 1)
        module.def(
            name.c_str(),
            [filter](const py::object& source, const py::object& out, const py::object& dtype) {
                return filter.execute(source, out, dtype);
            },
            text, py::arg("source"), py::kw_only(), py::arg("out") = py::none(), py::arg("dtype") = py::none());
    else
        module.def(
            name.c_str(),
            [filter](const py::object& a, const py::object& b, const py::object& out, const py::object& dtype) {
                return filter.execute(a, b, out, dtype);
            },
            text, py::arg("a"), py::arg("b"), py::kw_only(), py::arg("out") = py::none(),
            py::arg("dtype") = py::none());
}

/// A filter with one number of few values: one filter is made for each value.
void defineFilterWithChoice(py::module_& module, const Operator& what)
{
    const catalogue::Parameter& parameter = what.parameters.front();
    const std::string name = pythonName(what.name), number = parameter.name;
    const int least = static_cast<int>(parameter.least), most = static_cast<int>(parameter.most);
    std::vector<ArrayFilter> filters;
    for (int value = least; value <= most; ++value)
        filters.emplace_back(name, catalogue::makeNative(what.name, {{number, value}}));
    module.def(
        name.c_str(),
        [=](const py::object& source, const py::object& choice, const py::object& out, const py::object& dtype) {
            const int value = wholeNumber(choice, name, number, least, most);
            return filters[static_cast<std::size_t>(value - least)].execute(source, out, dtype);
        },
        docstring(name), py::arg("source"), py::arg(number.c_str()) = static_cast<int>(parameter.initial),
        py::kw_only(), py::arg("out") = py::none(), py::arg("dtype") = py::none());
}

std::uint64_t pixelCount(const py::object& mask)
{
    static const std::string name = "pixel_count";
    const Source source(mask, name, {{1}, {CV_8U, CV_32F}});
    std::uint64_t count = 0;
    work(name, [&] { count = native::pixelCount(source.picture()); });
    return count;
}

} // namespace

void defineFilters(py::module_& module)
{
    for (const Operator& what : catalogue::operators()) {
        if (!catalogue::hasNative(what) || what.need != catalogue::Need::NOTHING)
            continue;
        if (what.parameters.empty())
            defineFilter(module, what);
        else
            defineFilterWithChoice(module, what);
    }
    module.def("pixel_count", &pixelCount, docstring("pixel_count"), py::arg("mask"));
}

} // namespace velmor::python
