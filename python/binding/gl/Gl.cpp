#include "python/binding/Arrays.h"
#include "python/binding/Errors.h"
#include "python/binding/gl/Context.h"
#include "python/binding/gl/Filter.h"
#include "python/binding/gl/State.h"
#include "python/binding/gl/Texture.h"

PYBIND11_MODULE(_gl, module)
{
    using namespace velmor::python;
    translateErrors();
    prepareArrays();
    gl::defineContext(module);
    gl::defineTexture(module);
    gl::defineFilters(module);
    gl::defineState(module);
}
