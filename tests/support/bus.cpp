#include "tests/support/bus.h"

#include <csignal>
#include <gtest/gtest.h>

#include "tests/support/listening.h"

namespace test_support
{

Bus::Bus(const std::filesystem::path &socket) : socket_(socket), broker_(bus_broker(socket.string()))
{
    wait_until_listening(socket_);
}

void Bus::stop()
{
    if (!broker_.is_running())
        return;
    broker_.send_signal(SIGTERM);
    EXPECT_EQ(broker_.wait(), 0) << broker_.standard_error();
}

void Bus::kill()
{
    broker_.send_signal(SIGKILL);
    broker_.wait();
}

} // namespace test_support
