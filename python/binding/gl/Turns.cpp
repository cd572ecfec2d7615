#include "python/binding/gl/Turns.h"

#include "python/binding/Gate.h"

#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace velmor::python::gl {
namespace {

struct State
{
    Gate gate;
    std::thread::id ender; ///< set before the next
    std::atomic<bool> ended = false;
    std::atomic<pid_t> user = 0; ///< the process that used OpenGL first
};

thread_local int turnsOfThread = 0; ///< that have not ended

/// Never destroyed: threads may still ask while the process ends.
State& state()
{
    static State& state = *new State;
    return state;
}

/// In a fork this comes before any lock, which a thread of the parent may hold for ever.
void checkProcess(const std::string& function)
{
    pid_t none = 0;
    state().user.compare_exchange_strong(none, getpid());
    if (isForkOfUser())
        fail(function, "the process that used OpenGL first",
             "a fork of it, in which OpenGL does not work: start it by 'spawn'");
}

/// Python would write another thread's error in the middle of its own end. Such a thread waits for that of the process,
/// as one does that waits for the interpreter.
[[noreturn]] void failAtEnd(const std::string& function)
{
    while (std::this_thread::get_id() != state().ender)
        pause();
    fail(function, "a running interpreter", "one that is ending");
}

} // namespace

void fail(const std::string& function, const std::string& expected, const std::string& got)
{
    throw std::runtime_error("velmor." + function + "(): expected " + expected + ", got " + got);
}

WithOthers::WithOthers()
{
    state().gate.enter();
    ++turnsOfThread;
}

WithOthers::WithOthers(const std::string& function)
{
    checkProcess(function);
    state().gate.enter();
    if (state().ended) {
        state().gate.leave();
        failAtEnd(function);
    }
    ++turnsOfThread;
}

WithOthers::~WithOthers()
{
    --turnsOfThread;
    state().gate.leave();
}

Alone::Alone(const std::string& function)
{
    checkProcess(function);
    state().gate.enterAlone();
    if (state().ended) {
        state().gate.leaveAlone();
        failAtEnd(function);
    }
    ++turnsOfThread;
}

Alone::~Alone()
{
    --turnsOfThread;
    state().gate.leaveAlone();
}

void endTurns()
{
    if (isForkOfUser())
        return;
    state().gate.enterAlone();
    state().ender = std::this_thread::get_id();
    state().ended = true;
    state().gate.leaveAlone();
}

bool haveTurnsEnded()
{
    return state().ended;
}

bool hasTurn()
{
    return turnsOfThread > 0;
}

bool isForkOfUser()
{
    const pid_t user = state().user;
    return user != 0 && user != getpid();
}

} // namespace velmor::python::gl
