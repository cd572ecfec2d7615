#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace velmor::opencv1 {

/// A cascade that cvLoad() has been seen to take, under the name of a file that is in memory alone. What is read by
/// that name is what was tried: another program may write the cascade's own file in the meantime.
class CascadeCopy
{
public:
    /// The size of the largest cascade that cvLoad() reads.
    static constexpr std::size_t kMost = 16 << 20;

    /// @param bytes  of a cascade's file
    /// @throws std::runtime_error  saying why they are no cascade, or that there is no memory
    explicit CascadeCopy(const std::vector<unsigned char>& bytes);
    CascadeCopy(const CascadeCopy&) = delete;
    CascadeCopy& operator=(const CascadeCopy&) = delete;
    ~CascadeCopy();

    /// The name, valid in this process as long as the object lives.
    std::string name() const;

private:
    int mDescriptor;
};

} // namespace velmor::opencv1
