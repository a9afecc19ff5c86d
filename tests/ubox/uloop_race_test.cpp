// A signal may come at any moment, also between the loop's last look at its flag and its wait. There are only so many
// moments: a child runs the loop one instruction at a time, and the signal is delivered after each of them in turn.

#include "tests/ubox/ubox.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

#ifdef __x86_64__

constexpr int kLimit = 5000;
constexpr int kNotTraced = 2;
constexpr int kLost = 3;
constexpr int kWrongResult = 4;

// Stops for the parent in a timer's callback, again and again; each run must end by the signal.
[[noreturn]] void run_loop()
{
    uloop_timeout stop = {};
    uloop_timeout limit = {}; // of a wait that misses the signal; the run then ends all the same, but late

    signal(SIGTERM, SIG_DFL);
    uloop_init();
    uloop_run_timeout(0); // binds the functions that are called
    stop.cb = [](uloop_timeout *) { asm volatile("int3"); };
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) < 0)
        _exit(kNotTraced);
    for (;;) {
        uloop_timeout_set(&limit, kLimit);
        uloop_timeout_set(&stop, 0);
        if (uloop_run() != SIGTERM)
            _exit(kWrongResult);
        if (uloop_timeout_remaining64(&limit) <= 0)
            _exit(kLost);
    }
}

bool is_stopped_by_trap(pid_t child, int *status)
{
    return waitpid(child, status, 0) == child && WIFSTOPPED(*status) && WSTOPSIG(*status) == SIGTRAP;
}

bool is_about_to_wait(pid_t child)
{
    constexpr long kSyscallInstruction = 0x050f;
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    long code = ptrace(PTRACE_PEEKTEXT, child, registers.rip, nullptr);
    return (code & 0xffff) == kSyscallInstruction &&
           (registers.rax == SYS_epoll_wait || registers.rax == SYS_epoll_pwait);
}

TEST(UloopRace, SignalAfterAnyInstructionBeforeTheWaitEndsTheLoop)
{
    pid_t child = fork();
    if (child == 0)
        run_loop();
    int status = 0;
    bool waits = false;
    int steps = 0;
    for (; !waits; steps++) {
        if (!is_stopped_by_trap(child, &status))
            break;
        for (int step = 0; step < steps && !waits; step++) {
            ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
            if (!is_stopped_by_trap(child, &status))
                break;
            waits = is_about_to_wait(child);
        }
        if (ptrace(PTRACE_CONT, child, nullptr, SIGTERM) < 0)
            break;
    }
    if (waits)
        waits = is_stopped_by_trap(child, &status); // the last signal, right before the wait, ended the loop too
    if (WIFEXITED(status)) {
        if (WEXITSTATUS(status) == kNotTraced)
            GTEST_SKIP() << "a process may not be traced here";
        EXPECT_NE(WEXITSTATUS(status), kWrongResult);
        EXPECT_NE(WEXITSTATUS(status), kLost) << "the signal after instruction " << steps << " was lost";
    } else {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    EXPECT_TRUE(waits);
    EXPECT_GT(steps, 20);
    RecordProperty("steps", steps);
}

#else

TEST(UloopRace, SignalAfterAnyInstructionBeforeTheWaitEndsTheLoop)
{
    GTEST_SKIP() << "knows the instructions of x86-64 only";
}

#endif

} // namespace
