#pragma once

namespace velmor::tests {

/// While it lives, clock() says what a test wants, for the library too. At any other time it is the real one.
class ScriptedClock
{
public:
    explicit ScriptedClock(double seconds);
    ScriptedClock(const ScriptedClock&) = delete;
    ScriptedClock& operator=(const ScriptedClock&) = delete;
    ~ScriptedClock();

    void set(double seconds);
};

} // namespace velmor::tests
