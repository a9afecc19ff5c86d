// Raw sockets and frames for the tests of libdomainsocket: neither side here is the library's own.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using Clock = std::chrono::steady_clock;

inline double seconds_since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class TemporaryFolder
{
  public:
    TemporaryFolder()
    {
        char name[] = "/tmp/domainsocket.XXXXXX";
        folder_ = mkdtemp(name);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(folder_); }
    std::string file(const std::string &name) const { return folder_ + "/" + name; }

  private:
    std::string folder_;
};

// Bytes written out in hexadecimal; blanks between them are free.
inline std::string bytes(const std::string &text)
{
    std::string result;
    for (size_t at = 0; at < text.size(); at++)
        if (text[at] != ' ')
            result += static_cast<char>(std::stoi(text.substr(at++, 2), nullptr, 16));
    return result;
}

inline std::string word(uint32_t value)
{
    std::string result;
    for (int shift = 0; shift < 32; shift += 8)
        result += static_cast<char>(value >> shift);
    return result;
}

// The answer to a request of `type` as it stands on the socket; `body` begins with the return code.
inline std::string answer(uint32_t type, const std::string &body)
{
    return word(type) + word(0) + word(0) + word(static_cast<uint32_t>(body.size())) + body;
}

inline size_t open_descriptors()
{
    size_t count = 0;
    DIR *folder = opendir("/proc/self/fd");
    while (readdir(folder))
        count++;
    closedir(folder);
    return count;
}

// Descriptor 0 is free for whatever opens next, until the end of the test.
class ClosedStandardInput
{
  public:
    ClosedStandardInput() : saved_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) { close(STDIN_FILENO); }
    ~ClosedStandardInput()
    {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }
    ClosedStandardInput(const ClosedStandardInput &) = delete;
    ClosedStandardInput &operator=(const ClosedStandardInput &) = delete;

  private:
    int saved_;
};

inline sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    return address;
}

inline int raw_listen(const std::string &path, int backlog = 16)
{
    sockaddr_un address = address_of(path);
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0) << strerror(errno);
    EXPECT_EQ(listen(listener, backlog), 0);
    return listener;
}

inline int raw_connect(const std::string &path, int flags = 0)
{
    sockaddr_un address = address_of(path);
    int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    if (connect(client, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0)
        return client;
    close(client);
    return -1;
}

inline bool is_readable(int fd, int milliseconds)
{
    pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, milliseconds) == 1;
}

// Reads exactly `length` bytes, or fewer where the peer closes before.
inline std::string read_bytes(int fd, size_t length)
{
    std::string result(length, '\0');
    size_t have = 0;
    while (have < length) {
        ssize_t got = read(fd, result.data() + have, length - have);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        have += static_cast<size_t>(got);
    }
    result.resize(have);
    return result;
}

inline void write_bytes(int fd, const std::string &data)
{
    size_t done = 0;
    while (done < data.size()) {
        ssize_t put = send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            break;
        done += static_cast<size_t>(put);
    }
}

inline bool is_closed_by_peer(int fd)
{
    char byte;
    return is_readable(fd, 5000) && recv(fd, &byte, 1, 0) <= 0;
}

// A service in a thread of its own that acts out one test's script on raw sockets.
class Service
{
  public:
    explicit Service(const std::string &path, int backlog = 16) : listener_(raw_listen(path, backlog)) {}
    ~Service()
    {
        finish();
        close(listener_);
    }

    void run(std::function<void(Service &)> script)
    {
        thread_ = std::thread([this, script = std::move(script)] { script(*this); });
    }
    void finish()
    {
        if (thread_.joinable())
            thread_.join();
    }

    int listener() const { return listener_; }
    int accept() const
    {
        return is_readable(listener_, 15000) ? accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC) : -1;
    }
    bool has_caller(int milliseconds) const { return is_readable(listener_, milliseconds); }

  private:
    int listener_;
    std::thread thread_;
};
