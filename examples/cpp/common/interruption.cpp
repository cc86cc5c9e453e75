#include "interruption.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace Harmotrack::Examples {
namespace {

volatile std::sig_atomic_t received = 0;

extern "C" void remember(int signal)
{
    received = signal;
}

} // namespace

void Interruption::install()
{
    struct sigaction action = {};
    action.sa_handler = remember;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    action.sa_handler = SIG_IGN;
    for (const int signal : {SIGXFSZ, SIGPIPE}) sigaction(signal, &action, nullptr);
}

void Interruption::check()
{
    if (received != 0) throw Interrupted(received);
}

void Interruption::endBy(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(128 + signal);
}

} // namespace Harmotrack::Examples
