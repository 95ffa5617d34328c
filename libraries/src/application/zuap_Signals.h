#pragma once
// Signals as something to read. Internal: not installed.

namespace zuap {

// SIGUSR1, SIGTERM and SIGINT, blocked and read from a descriptor. The destructor leaves them blocked: one
// that is still pending must not end the process.
class Signals {
public:
    struct Pending {
        bool change = false; // SIGUSR1
        bool end = false;    // SIGTERM or SIGINT
    };

    // Blocks the signals in this thread, and so in those that it starts later. Check isOpen(): errno has the
    // reason.
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

    bool isOpen() const { return descriptor >= 0; }

    // Readable while a signal is pending; close-on-exec and non-blocking.
    int get() const { return descriptor; }

    // Takes all pending signals without waiting. One that comes later makes the descriptor readable again.
    Pending take();

private:
    int descriptor;
};

} // namespace zuap
