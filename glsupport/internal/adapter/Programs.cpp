#include "glsupport/internal/adapter/Programs.h"

#include "glsupport/internal/adapter/Framebuffers.h"
#include "glsupport/internal/adapter/Process.h"

namespace velmor::glsupport::adapter {
namespace {

/// What the program in use has changed is as it was.
void putAway(Context& current, GLuint program)
{
    if (current.takenOff.program == program)
        putSourcesBack(current);
    current.takenOff = {}; // of another program: then this is another context, at the place of one that is gone
    if (const ProgramRecord* const record = current.find(program))
        shiftVerticesBack(*record);
}

void takeUp(Context& current, GLuint program)
{
    const ProgramRecord* const record = current.find(program);
    if (!record || !record->isClassic)
        return;
    if (current.treatment.includes(kClippingSources))
        takeSourcesOff(current, program);
    shiftVertices(*record);
}

} // namespace

GLuint GLAPIENTRY createProgram()
{
    const GLuint program = driver().createProgram();
    Context& current = process().context();
    current.programs.erase(program); // nothing of an earlier one by the same name
    return program;
}

void GLAPIENTRY deleteProgram(GLuint program)
{
    driver().deleteProgram(program);
    Context& current = process().context();
    if (const auto entry = current.programs.find(program); entry != current.programs.end())
        entry->second.isDeleted = true;
    current.forgetDeleted();
}

void GLAPIENTRY useProgram(GLuint program)
{
    Context& current = process().context();
    const bool concernsUs = !current.programs.empty() || !current.takenOff.isEmpty();
    if (!concernsUs || isCompilingList()) {
        driver().useProgram(program);
        return;
    }
    putAway(current, programInUse());
    driver().useProgram(program);
    takeUp(current, programInUse()); // the one before, where the driver refuses
    current.forgetDeleted();
}

} // namespace velmor::glsupport::adapter
