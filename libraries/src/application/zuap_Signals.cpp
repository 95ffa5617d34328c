#include "zuap_Signals.h"

#include <csignal>
#include <initializer_list>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace zuap {

Signals::Signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGUSR1, SIGTERM, SIGINT})
        sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

Signals::~Signals() {
    if (isOpen())
        close(descriptor);
}

Signals::Pending Signals::take() {
    Pending pending;
    signalfd_siginfo signal;
    while (read(descriptor, &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal)) // does not block
        (signal.ssi_signo == SIGUSR1 ? pending.change : pending.end) = true;
    return pending;
}

} // namespace zuap
