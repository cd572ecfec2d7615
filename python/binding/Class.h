#pragma once

#include <pybind11/pybind11.h>

#include <utility>

namespace velmor::python {

/// A class for Python, whose objects are made or not where there is no memory. pybind11 alone frees an object twice
/// when it has no memory to note it: with its Python object, and where it was made. Give py::init() functions that make
/// a holder: behind a plain constructor an exception would end the process.
template<typename Type, typename... Options>
class Class : public pybind11::class_<Type, Options...>
{
public:
    template<typename... Extra>
    Class(pybind11::handle scope, const char* name, const Extra&... extra)
        : pybind11::class_<Type, Options...>(scope, name, extra...)
    {
        initByPybind = std::exchange(info()->init_instance, init);
    }

private:
    static pybind11::detail::type_info* info() { return pybind11::detail::get_type_info(typeid(Type)); }

    /// Joins an object of Python's and one of ours. Where that fails, the one of Python's is empty.
    static void init(pybind11::detail::instance* instance, const void* holder)
    {
        try {
            initByPybind(instance, holder);
        } catch (...) {
            instance->get_value_and_holder(info()).value_ptr() = nullptr;
            throw;
        }
    }

    static inline void (*initByPybind)(pybind11::detail::instance*, const void*) = nullptr;
};

} // namespace velmor::python
