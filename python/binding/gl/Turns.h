#pragma once

#include <string>

namespace velmor::python::gl {

/// Stops a call with a RuntimeError: "velmor.gl.Not.execute(): expected ..., got ...".
/// @param function  without "velmor."
[[noreturn]] void fail(const std::string& function, const std::string& expected, const std::string& got);

/// OpenGL's functions are variables of the process, which GLEW and the driver's adapter write. A call of OpenGL holds
/// this; then nobody writes them, and the interpreter does not end.
///
/// Take it without the GIL: who waits here would keep a thread from its end that needs the GIL for it.
class WithOthers
{
public:
    /// For what is left undone at the interpreter's end: ask haveTurnsEnded() meanwhile.
    WithOthers();

    /// For a call. While the interpreter ends, other threads than the one that ends it do not come back.
    /// @throws std::runtime_error  when the interpreter is ending, or this process came out of a fork
    explicit WithOthers(const std::string& function);
    WithOthers(const WithOthers&) = delete;
    WithOthers& operator=(const WithOthers&) = delete;
    ~WithOthers();
};

/// What writes those variables holds this: no other thread calls OpenGL meanwhile.
class Alone
{
public:
    /// @throws std::runtime_error  as for WithOthers
    explicit Alone(const std::string& function);
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;
    ~Alone();
};

/// Waits for the calls that are under way. Every later one of this thread fails.
void endTurns();

/// Whether endTurns() was called.
bool haveTurnsEnded();

/// Whether this thread is in the middle of a call of OpenGL.
bool hasTurn();

/// Whether OpenGL was used in this process before it forked off the one that asks. Nothing of it works here then: a
/// driver's threads stay in the parent.
bool isForkOfUser();

} // namespace velmor::python::gl
