#include "glsupport/internal/adapter/Context.h"

#include "glsupport/internal/Integer.h"

#include <algorithm>
#include <iterator>

namespace velmor::glsupport::adapter {

bool TakenOff::isEmpty() const
{
    return std::none_of(sources.begin(), sources.end(), [](const Source& source) { return source.texture != 0; });
}

const ProgramRecord* Context::find(GLuint program) const
{
    const auto entry = programs.find(program);
    return entry != programs.end() ? &entry->second : nullptr;
}

const ProgramRecord* Context::inUse() const
{
    return programs.empty() ? nullptr : find(programInUse()); // the driver is not asked where there is nothing to find
}

void Context::forgetDeleted()
{
    for (auto each = programs.begin(); each != programs.end();) {
        const bool isGone = each->second.isDeleted && !glIsProgram(each->first);
        each = isGone ? programs.erase(each) : std::next(each);
    }
}

GLuint programInUse()
{
    return static_cast<GLuint>(integer(GL_CURRENT_PROGRAM));
}

bool isCompilingList()
{
    return integer(GL_LIST_INDEX) != 0;
}

} // namespace velmor::glsupport::adapter
