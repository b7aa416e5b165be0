// interrupt.cpp - see interrupt.h.

#include "interrupt.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace fplink
{

namespace
{

volatile std::sig_atomic_t gotSignal = 0;
int wake[2] = {-1, -1}; // written by the handler, so that a signal just before poll() still ends the wait

void onSignal(int)
{
    const int before = errno;
    gotSignal = 1;
    const ssize_t written = write(wake[1], "x", 1);
    static_cast<void>(written);
    errno = before;
}

} // namespace

void catchInterrupts()
{
    if (wake[0] >= 0 || pipe(wake) != 0)
        return;
    struct sigaction action = {};
    action.sa_handler = &onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted()
{
    return gotSignal != 0;
}

void waitOrInterrupt(int milliseconds)
{
    pollfd wait = {wake[0], POLLIN, 0};
    if (!interrupted())
        poll(&wait, wake[0] >= 0 ? 1 : 0, milliseconds);
}

} // namespace fplink
