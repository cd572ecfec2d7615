#pragma once

#include "native/Filter.h"
#include "python/binding/Arrays.h"
#include "python/binding/Threads.h"

#include <memory>
#include <string>

namespace velmor::python {

/// Does work while other threads run Python code.
template<typename Function>
void work(const std::string& function, const Function& what)
{
    try {
        const Work working;
        what();
    } catch (const std::invalid_argument& error) {
        refuse(function, error);
    }
}

/// A filter as a function of arrays.
///
/// Example:
///
///     const ArrayFilter filter("ColorGMM.filter", std::make_shared<native::ColorGMM>(model));
///     py::object found = filter.execute(source, out, dtype);
class ArrayFilter
{
public:
    /// @param name  for messages, without "velmor."
    ArrayFilter(std::string name, std::shared_ptr<const native::Filter> filter);

    /// @param source  an array, or what has one; see Source
    /// @param out     where the result goes, or None
    /// @param dtype   of the result, or None for what the filter gives by default
    py::object execute(const py::object& source, const py::object& out, const py::object& dtype) const;

    /// The same for two arrays of one size and type.
    py::object execute(const py::object& a, const py::object& b, const py::object& out, const py::object& dtype) const;

private:
    /// The type of the result, and in depth what the filter is asked for.
    int resultType(int sourceType, const py::object& dtype, int& depth) const;

    std::string mName;
    std::shared_ptr<const native::Filter> mFilter;
    Takes mTakes;
};

/// The filters that are set with numbers or with nothing, as functions of arrays.
void defineFilters(py::module_& module);

} // namespace velmor::python
