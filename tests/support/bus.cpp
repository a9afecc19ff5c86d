#include "tests/support/bus.h"

#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace test_support
{

static bool takes_connections(const std::filesystem::path &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool connected = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    close(fd);
    return connected;
}

Bus::Bus(const std::filesystem::path &socket) : socket_(socket), broker_({UBUSD_PROGRAM, "-s", socket.string()})
{
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!takes_connections(socket_)) {
        if (!broker_.is_running() || std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the broker did not come up: " + broker_.standard_error());
        std::this_thread::sleep_for(Milliseconds(2));
    }
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
