#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <utility>

namespace velmor::python::gl {

/// A member function as Python's method, of objects that were made. pybind11 would lend room without an object in it
/// where __new__() alone was called, and no object for None.
template<typename Class, typename Given, typename... Arguments>
auto method(Given (Class::*function)(Arguments...))
{
    return [function](const std::shared_ptr<Class>& self, Arguments... arguments) -> Given {
        if (!self)
            throw pybind11::type_error("expected an object, got None");
        return (self.get()->*function)(std::forward<Arguments>(arguments)...);
    };
}

template<typename Class, typename Given, typename... Arguments>
auto method(Given (Class::*function)(Arguments...) const)
{
    return [function](const std::shared_ptr<Class>& self, Arguments... arguments) -> Given {
        if (!self)
            throw pybind11::type_error("expected an object, got None");
        return (self.get()->*function)(std::forward<Arguments>(arguments)...);
    };
}

/// A field that can be read, of such objects.
template<typename Class, typename Value>
auto field(Value Class::*place)
{
    return [place](const std::shared_ptr<Class>& self) -> Value {
        if (!self)
            throw pybind11::type_error("expected an object, got None");
        return self.get()->*place;
    };
}

} // namespace velmor::python::gl
