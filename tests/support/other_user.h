// Work done as another user than the test itself, which only root may do.
#pragma once

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <thread>
#include <unistd.h>

namespace test_support
{

constexpr uid_t kNobody = 65534;
constexpr uid_t kSomebody = 65533;

// Runs `action` on a thread that is this user, effective and real; the rest of the process stays what it is. False
// where the system does not allow it, and nothing was run.
template <typename Action> bool as_user(uid_t user, const Action &action)
{
    bool allowed = false;
    std::thread([&] {
        // The C library's own function would change all threads.
        allowed = syscall(SYS_setresuid, user, user, user) == 0;
        prctl(PR_SET_DUMPABLE, 1); // which a change of user takes away, and with it what the sanitizers need
        if (allowed)
            action();
    }).join();
    return allowed;
}

// At the beginning of a test that does.
#define NEEDS_OTHER_USERS()                                                                                            \
    if (!test_support::as_user(test_support::kNobody, [] {}))                                                          \
    GTEST_SKIP() << "only root may be other users"

} // namespace test_support
