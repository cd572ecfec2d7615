#pragma once

#include <cstddef>
#include <cstring>

/// The place of a virtual function in its class's table, from 0; the two destructors take one each. The C++ ABI of
/// Linux writes a pointer to a virtual member as 1 plus the byte offset of its slot.
template<typename Member>
std::ptrdiff_t slotOf(Member member)
{
    static_assert(sizeof(member) == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t encoded = 0;
    std::memcpy(&encoded, &member, sizeof(encoded));
    return (encoded - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}
