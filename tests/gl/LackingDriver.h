#pragma once

#include <functional>
#include <vector>

namespace velmor::tests {

/// While it lives, GLEW says that the driver lacks something, and gives no way to call it.
class LackingDriver
{
public:
    /// @param variables  of GLEW: versions, extensions and functions, such as __GLEW_VERSION_3_0
    template<typename... Variables>
    explicit LackingDriver(Variables&... variables)
    {
        lack(variables...);
    }
    LackingDriver(const LackingDriver&) = delete;
    LackingDriver& operator=(const LackingDriver&) = delete;
    ~LackingDriver()
    {
        for (const std::function<void()>& putBack : mPutBack)
            putBack();
    }

    template<typename... Variables>
    void lack(Variables&... variables)
    {
        [[maybe_unused]] const auto lackOne = [this](auto& variable) {
            mPutBack.push_back([&variable, value = variable] { variable = value; });
            variable = {};
        };
        (lackOne(variables), ...);
    }

private:
    std::vector<std::function<void()>> mPutBack;
};

} // namespace velmor::tests
