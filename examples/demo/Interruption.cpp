#include "examples/demo/Interruption.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace velmor::demo {
namespace {

volatile std::sig_atomic_t notedSignal = 0;

void note(int signal)
{
    notedSignal = signal;
}

} // namespace

void Interruption::watch()
{
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) // as nohup leaves it
            sigaction(signal, &action, nullptr);
    }
}

void Interruption::throwIfRequested()
{
    if (notedSignal != 0)
        throw Interruption();
}

void Interruption::endProcess()
{
    const int signal = notedSignal;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(EXIT_FAILURE); // not reached unless the signal is blocked
}

} // namespace velmor::demo
