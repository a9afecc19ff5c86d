// A broker of the test's own.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>

#include "tests/support/process.h"

namespace test_support
{

// At the beginning of a test that starts the bus tool, which is not there where json-c is not.
#define NEEDS_BUS_TOOL()                                                                                               \
    if (!std::filesystem::exists(bus_tool()))                                                                          \
    GTEST_SKIP() << "no bus tool: it needs json-c, which is not installed"

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
