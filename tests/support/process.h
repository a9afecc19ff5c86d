// A child process: started by the constructor, watched, and gone when the object is.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/emulator.h"

namespace test_support
{

using Milliseconds = std::chrono::milliseconds;

// Longer than anything that ends by itself takes, also under a sanitizer on a busy machine.
constexpr Milliseconds kPatience{20000 * kSlowness};

class Process
{
  public:
    // Variables set for the child, or (without a value) taken away; the others are inherited.
    using Environment = std::map<std::string, std::optional<std::string>>;

    // Runs a program of the build through the emulator, where it needs one. Looks arguments[0] up in the PATH. A
    // program that cannot be started ends with status 127 and says so on its standard error. Standard input is empty.
    explicit Process(const std::vector<std::string> &arguments, const Environment &environment = {});
    // Kills the process if it is still there.
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t pid() const { return pid_; }
    bool is_running() { return !wait(Milliseconds(0)); }
    void send_signal(int signal) const;

    // The exit status, as a shell would show it (128 and the signal's number for one that was killed), or nothing where
    // the process is still there when the time is over.
    std::optional<int> wait(Milliseconds limit = kPatience);

    // Its output so far.
    std::string standard_output() const;
    std::string standard_error() const;

  private:
    pid_t pid_;
    std::optional<int> status_;
    int output_;
    int error_;
};

} // namespace test_support
