#pragma once

#include "examples/viewer/FilterOperator.h"

#include <memory>
#include <type_traits>

namespace velmor::viewer {

template<class Filter>
std::unique_ptr<Filter> makeFilter()
{
    if constexpr (std::is_default_constructible_v<Filter>)
        return std::make_unique<Filter>();
    else
        return std::make_unique<Filter>(nullptr); // with its default parameters
}

/// A filter of the frame whose result is a picture of colours.
template<class Filter>
class OneSource : public FilterOperator
{
public:
    explicit OneSource(const Material& material)
        : FilterOperator(material, RectTexture::RGB8), mFilter(makeFilter<Filter>())
    {
        mFilter->prepareExecution(*material.frameTexture, destination());
    }

protected:
    cvprocess::GpuStdShaders& filter(const Values&) override { return *mFilter; }

private:
    std::unique_ptr<Filter> mFilter;
};

/// A filter of the second picture and the frame. A parameter, where there is one, is the brightness.
template<class Filter>
class TwoSources : public FilterOperator
{
public:
    explicit TwoSources(const Material& material)
        : FilterOperator(material, RectTexture::RGB8), mFilter(makeFilter<Filter>())
    {
        mFilter->prepareExecution(*material.secondTexture, *material.frameTexture, destination());
    }

protected:
    cvprocess::GpuStdShaders& filter(const Values&) override { return *mFilter; }
    Colours coloursOf(const Values& values) const override { return colours(values.empty() ? 1 : values.front()); }

private:
    std::unique_ptr<Filter> mFilter;
};

} // namespace velmor::viewer
