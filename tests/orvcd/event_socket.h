#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// The daemon's side: a listening socket on which every connection brings one event.
class EventSocket
{
  public:
    explicit EventSocket(const std::string &path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(socket_, 16), 0);
    }
    ~EventSocket() { close(socket_); }
    EventSocket(const EventSocket &) = delete;
    EventSocket &operator=(const EventSocket &) = delete;

    // All bytes of the next connection, or "silence" where none comes in that time.
    std::string take(int milliseconds = 10000) const
    {
        pollfd entry = {socket_, POLLIN, 0};
        if (poll(&entry, 1, milliseconds) != 1)
            return "silence";
        int connection = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        std::string bytes;
        char buffer[1024];
        for (ssize_t got; (got = recv(connection, buffer, sizeof(buffer), 0)) > 0;)
            bytes.append(buffer, static_cast<size_t>(got));
        close(connection);
        return bytes;
    }

  private:
    int socket_;
};
