#include "python/binding/gl/Filter.h"

#include "catalogue/GpuFilters.h"
#include "cvprocess/gpuStdShaders/GlFbo.h"
#include "glsupport/internal/Compilation.h"
#include "python/binding/Class.h"
#include "python/binding/Docstrings.h"
#include "python/binding/gl/Counters.h"
#include "python/binding/gl/FilterParts.h"
#include "python/binding/gl/Laplacian.h"
#include "python/binding/gl/Methods.h"
#include "python/binding/gl/Mixtures.h"

#include <GL/glew.h>
#include <GL/glu.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace velmor::python::gl {
namespace {

using Region = std::array<long long, 4>;

const catalogue::Operator& find(const std::string& name)
{
    const catalogue::Operator* const what = catalogue::find(name);
    if (!what || what->kind != catalogue::Kind::FILTER)
        refuse("gl.Filter", "the name of a filter class", '"' + name + '"');
    return *what;
}

/// Checks what the library ends the process for.
void checkDriver(const std::string& function)
{
    if (!glewIsSupported("GL_ARB_texture_rectangle"))
        fail(function, "a driver with GL_ARB_texture_rectangle", "one without");
    if (!glewIsSupported("GL_VERSION_2_0"))
        fail(function, "a driver with OpenGL 2.0", "an older one");
}

std::string countText(std::size_t count, const char* noun)
{
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace

Filter::Filter(const std::string& name, const std::function<Made()>& maker)
    : mWhat(find(name)), mContext(Context::current("gl." + name))
{
    const std::string function = "gl." + name;
    mFilter = mContext->runAlone(function, [&] {
        checkDriver(function);
        const glsupport::Compilation failures;
        try {
            return mContext->own(maker());
        } catch (const py::builtin_exception&) { // a ValueError, though it is a std::runtime_error
            throw;
        } catch (const std::runtime_error& error) {
            const std::string what = error.what();
            throw std::runtime_error(what.rfind("velmor.", 0) == 0 ? what : "velmor." + function + "(): " + what);
        }
    });
}

std::shared_ptr<Filter> Filter::make(const std::string& name)
{
    const catalogue::Operator& what = find(name);
    if (what.need != catalogue::Need::NOTHING || !what.parameters.empty())
        refuse("gl.Filter", "the name of a class of filters that are set with nothing", '"' + name + '"');
    return std::shared_ptr<Filter>(new Filter(name, [&name] { return catalogue::makeGpu(name); }));
}

void Filter::prepareOne(const std::shared_ptr<Texture>& source, const std::shared_ptr<Texture>& destination,
                        const Regions& regions)
{
    if (mWhat.sources != 1)
        refuse(function("prepare_execution"), "two sources and a destination", "one source");
    prepare(Textures{source, destination}, regions);
}

void Filter::prepareTwo(const std::shared_ptr<Texture>& source1, const std::shared_ptr<Texture>& source2,
                        const std::shared_ptr<Texture>& destination, const Regions& regions)
{
    if (mWhat.sources != 2)
        refuse(function("prepare_execution"), "one source and a destination", "two sources");
    prepare(Textures{source1, source2, destination}, regions);
}

void Filter::prepare(const Textures& textures, const Regions& given)
{
    const std::string name = function("prepare_execution");
    const std::vector<Region> regions = given.value_or(std::vector<Region>());
    for (const std::shared_ptr<Texture>& texture : textures)
        if (texture->context() != mContext)
            refuse(name, "textures of the filter's context", "one of another context");
    if (std::find(textures.begin(), textures.end() - 1, textures.back()) != textures.end() - 1)
        refuse(name, "a destination that is no source", "one that is a source too");
    checkFormats(textures);
    checkRegions(regions, *textures.back());
    check(textures);

    mContext->run(name, [&] {
        std::vector<long long> geometry;
        for (const std::shared_ptr<Texture>& texture : textures)
            geometry.insert(geometry.end(), {texture->width(), texture->height()});
        for (const Region& region : regions)
            geometry.insert(geometry.end(), region.begin(), region.end());
        if (geometry != mGeometryOf) { // the filter itself keeps the geometry that it had
            (*mFilter)->resetROIs();
            setRegions(regions);
        }
        mIsPrepared = mIsExecuted = false;
        adjust(textures);
        if (textures.size() == 2)
            (*mFilter)->prepareExecution(textures[0]->texture(), textures[1]->texture());
        else
            (*mFilter)->prepareExecution(textures[0]->texture(), textures[1]->texture(), textures[2]->texture());
        mTextures = textures; // those before may go now: nothing of them is attached anymore
        mGeometryOf = geometry;
        std::ostringstream reason;
        if (!framebufferOf(**mFilter).isValid(reason)) {
            std::string text = reason.str();
            text = text.substr(text.find('\t') + 1);
            fail(name, "textures that the driver draws into together", text.substr(0, text.find('\n')));
        }
        mIsPrepared = true;
    });
}

void Filter::execute()
{
    const std::string name = function("execute");
    mContext->run(name, [&] {
        if (!mIsPrepared)
            fail(name, "prepare_execution() before", "no preparation that succeeded");
        (*mFilter)->execute();
        if (const GLenum error = glGetError())
            throw std::runtime_error("velmor." + name + "(): expected no error of OpenGL, got \"" +
                                     reinterpret_cast<const char*>(gluErrorString(error)) + '"');
        mIsExecuted = true;
    });
}

void Filter::check(const Textures&) const {}

void Filter::setRegions(const std::vector<Region>& regions)
{
    for (const Region& region : regions) {
        const auto [x, y, width, height] = region;
        (*mFilter)->addROI(static_cast<int>(x), static_cast<int>(y), static_cast<int>(x + width),
                           static_cast<int>(y + height));
    }
}

std::string Filter::function(const char* name) const
{
    return "gl." + mWhat.name + '.' + name;
}

void Filter::checkWasExecuted(const std::string& name) const
{
    if (!mIsExecuted)
        fail(name, "execute() before", "no pass since the preparation");
}

void Filter::checkRegions(const std::vector<Region>& regions, const Texture& destination) const
{
    const std::string name = function("prepare_execution");
    const std::size_t most = mWhat.regions == catalogue::Regions::EACH    ? regions.size()
                             : mWhat.regions == catalogue::Regions::FIRST ? 1
                                                                          : 0;
    if (regions.size() > most)
        refuse(name, most == 0 ? "no regions: the filter works on the whole picture" : "one region",
               countText(regions.size(), "region"));
    const long long width = destination.width(), height = destination.height();
    for (const Region& region : regions) {
        const auto [x, y, w, h] = region;
        if (x < 0 || y < 0 || w < 1 || h < 1 || w > width || h > height || x > width - w || y > height - h) {
            std::ostringstream got;
            got << '(' << x << ", " << y << ", " << w << ", " << h << ')';
            refuse(name, "regions (x, y, width, height) within " + destination.description(), got.str());
        }
    }
}

/// Shaders read integers with integer samplers alone, and write them as such alone.
void Filter::checkFormats(const Textures& textures) const
{
    const std::string name = function("prepare_execution");
    const bool takesIntegers = mWhat.takes == catalogue::Data::INTEGERS;
    for (auto source = textures.begin(); source != textures.end() - 1; ++source)
        if (holdsIntegers((*source)->format()) != takesIntegers)
            refuse(name, takesIntegers ? "a source of integers" : "sources of bytes or floats",
                   "one of the format " + nameOf((*source)->format()));
    const bool givesIntegers = mWhat.gives == catalogue::Data::COUNTS;
    if (holdsIntegers(textures.back()->format()) != givesIntegers)
        refuse(name, givesIntegers ? "a destination of integers" : "a destination of bytes or floats",
               "one of the format " + nameOf(textures.back()->format()));
}

namespace {

using FilterClass = Class<Filter, std::shared_ptr<Filter>>;

/// A class of Python's for a filter that is set with nothing: the library tells them apart by their names.
void definePlain(py::module_& module, const FilterClass& filter, const catalogue::Operator& what)
{
    py::dict members;
    members["__module__"] = "velmor.gl";
    members["__doc__"] = docstring("gl." + what.name);
    const py::object plain = py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyType_Type))(
        what.name, py::make_tuple(filter), members);
    plain.attr("__init__") = py::module_::import("functools").attr("partialmethod")(filter.attr("__init__"), what.name);
    module.attr(what.name.c_str()) = plain;
}

} // namespace

void defineFilters(py::module_& module)
{
    FilterClass filter(module, "Filter", docstring("gl.Filter"));
    filter.def(py::init(&Filter::make), py::arg("name"))
        .def("prepare_execution", method(&Filter::prepareTwo), py::arg("source1").none(false),
             py::arg("source2").none(false), py::arg("destination").none(false), py::arg("regions") = py::none(),
             docstring("gl.Filter.prepare_execution"))
        .def("prepare_execution", method(&Filter::prepareOne), py::arg("source").none(false),
             py::arg("destination").none(false), py::arg("regions") = py::none())
        .def("execute", method(&Filter::execute), docstring("gl.Filter.execute"));
    for (const catalogue::Operator& what : catalogue::operators())
        if (what.kind == catalogue::Kind::FILTER && what.need == catalogue::Need::NOTHING && what.parameters.empty())
            definePlain(module, filter, what);
    defineLaplacian(module, filter);
    defineCounters(module, filter);
    defineMixtures(module, filter);
}

} // namespace velmor::python::gl
