#include "glsupport/internal/adapter/Context.h"

#include "glsupport/internal/Integer.h"

namespace velmor::glsupport::adapter {

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
    for (auto each = deletedInUse.begin(); each != deletedInUse.end();) {
        if (glIsProgram(*each)) {
            ++each;
        } else {
            programs.erase(*each);
            each = deletedInUse.erase(each);
        }
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
