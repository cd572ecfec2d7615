#pragma once

#include <string>

namespace velmor::tests {

/// A filter that tells which stages of its pass are reached as virtual calls.
template<typename Filter>
struct Traced : Filter
{
    using Filter::Filter;

    void prepareDisplayList() override
    {
        trace += "list ";
        Filter::prepareDisplayList();
    }
    void setGlOne2OneTexelMapping() override { trace += "mapping "; }
    void executeInitStage() override
    {
        trace += "init ";
        Filter::executeInitStage();
    }
    void executeCleanUpStage() const override { trace += "cleanUp "; }

    mutable std::string trace;
};

} // namespace velmor::tests
