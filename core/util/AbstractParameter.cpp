#include "core/util/AbstractParameter.h"

namespace velmor::core::util {

AbstractParameter::~AbstractParameter() = default;

} // namespace velmor::core::util
