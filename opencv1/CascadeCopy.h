#pragma once

#include <memory>
#include <string>
#include <vector>

namespace velmor::opencv1 {

/// A cascade that cvLoad() has been seen to take, under the name of a file that is in memory alone. What is read by
/// that name is what was tried: another program may write the cascade's own file in the meantime.
class CascadeCopy
{
public:
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

/// Copies a cascade's file.
/// @param attempt  how the text of an error begins, such as "FaceDetect(): cannot load"
/// @throws std::runtime_error  naming the file, and saying why it cannot be read or is no cascade
std::unique_ptr<CascadeCopy> copyOfCascade(const std::string& attempt, const std::string& file);

} // namespace velmor::opencv1
