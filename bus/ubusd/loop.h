// The event loop. Not uloop: work here comes in turns over all clients, which need an end, and a next turn that does
// not wait while somebody has work left.
#pragma once

#include <csignal>

// Takes connections of `listener` and serves them until a signal handler has set `interrupted`; `mask` is the signal
// mask while waiting. The signals that set it are to be blocked at any other time. May be run again. 0, or -1 with
// errno set.
int loop_run(int listener, const volatile sig_atomic_t &interrupted, const sigset_t &mask);
