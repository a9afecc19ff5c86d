// A broker of the test's own.
#pragma once

#include <filesystem>

#include "tests/support/process.h"

namespace test_support
{

class Bus
{
  public:
    // Returns when the broker takes connections.
    explicit Bus(const std::filesystem::path &socket);

    const std::filesystem::path &socket() const { return socket_; }
    pid_t pid() const { return broker_.pid(); }

    // Ends it as a supervisor would (where it is still there), or without leaving it the time to say good-bye.
    void stop();
    void kill();

  private:
    std::filesystem::path socket_;
    Process broker_;
};

} // namespace test_support
