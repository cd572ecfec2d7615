#pragma once

#include <cstddef>
#include <cstring>

namespace velmor::tests {

/// The place of a virtual function in its class, counted from 1; a destructor takes two places. 0 for functions that
/// are not virtual. By the C++ ABI of Linux, the pointer to a virtual member holds 1 plus its offset in the table.
template<typename Member>
std::size_t virtualSlot(Member member)
{
    std::ptrdiff_t encoded = 0;
    static_assert(sizeof(member) >= sizeof(encoded));
    std::memcpy(&encoded, &member, sizeof(encoded));
    return encoded % 2 == 1 ? static_cast<std::size_t>(encoded - 1) / sizeof(void*) + 1 : 0;
}

/// Adds a virtual function to a class; it takes the first place that the class leaves free.
template<typename Base>
struct Extended : Base
{
    virtual void firstOfItsOwn() {}
};

/// Number of places that the virtual functions of a class take.
template<typename Class>
std::size_t virtualSlotCount()
{
    return virtualSlot(&Extended<Class>::firstOfItsOwn) - 1;
}

} // namespace velmor::tests
