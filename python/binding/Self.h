#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <utility>

namespace velmor::python {

/// The object that a method is called on, which is there.
///
/// With a reference in its place, pybind11 makes room for an object that __new__() alone has made, and reads it though
/// nothing was written; with a plain pointer it takes None, as in ColourModel.__len__(None).
template<typename Class>
class Self
{
public:
    explicit Self(std::shared_ptr<Class> object) : mObject(std::move(object)) {}

    Class& operator*() const { return *mObject; }
    Class* operator->() const { return mObject.get(); }

private:
    std::shared_ptr<Class> mObject;
};

} // namespace velmor::python

namespace pybind11::detail {

template<typename Class>
struct type_caster<velmor::python::Self<Class>> : copyable_holder_caster<Class, std::shared_ptr<Class>>
{
    using Base = copyable_holder_caster<Class, std::shared_ptr<Class>>;
    using Self = velmor::python::Self<Class>;

    template<typename>
    using cast_op_type = Self;

    bool load(handle source, bool convert) { return !source.is_none() && Base::load(source, convert); }

    operator Self() { return Self(static_cast<std::shared_ptr<Class>&>(*this)); }
};

} // namespace pybind11::detail
