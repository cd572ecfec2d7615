#include "core/util/ParameterContainer.h"

#include "core/util/AbstractParameter.h"

namespace velmor::core::util {
namespace {

void deleteAll(std::vector<AbstractParameter*>& parameters)
{
    for (AbstractParameter* parameter : parameters)
        delete parameter;
    parameters.clear();
}

} // namespace

ParameterContainer::ParameterContainer() : mParameterStatus(1) {}

ParameterContainer::~ParameterContainer()
{
    deleteAll(mParameters);
    deleteAll(mSecondaryParameters);
}

void ParameterContainer::onlineParameterChangedCallBack(unsigned int) {}

} // namespace velmor::core::util
