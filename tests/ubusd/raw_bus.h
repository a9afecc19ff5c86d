// A broker process of the test's own and clients that speak to it in bytes, without any bus library.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "tests/support/programs.h"

using Bytes = std::vector<uint8_t>;

// Bytes as written out in a test: pairs of hex digits and 'texts', spaces between them as one likes, after printf's
// expansion (%08x for ids). A text carries no NUL of its own.
[[gnu::format(printf, 1, 2)]] Bytes wire(const char *format, ...);

// For messages of which a test needs many: an attribute with its padding, and a message around attributes.
Bytes attribute(unsigned id, const Bytes &payload);
Bytes attribute(unsigned id, std::string_view text); // with its NUL
Bytes attribute(unsigned id, uint32_t value);
Bytes operator+(Bytes left, const Bytes &right);
Bytes message(unsigned type, unsigned seq, uint32_t peer, const Bytes &attributes);

// Compares, and prints the first difference in hex where there is one.
testing::AssertionResult same(const Bytes &actual, const Bytes &expected);
#define EXPECT_BYTES(actual, expected) EXPECT_TRUE(same(actual, expected))
#define ASSERT_BYTES(actual, expected) ASSERT_TRUE(same(actual, expected))

uint32_t number_at(const Bytes &bytes, size_t offset);

class Folder
{
  public:
    Folder();
    ~Folder();
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

// Of a process; 0 leaves one as it is.
struct Limits {
    unsigned first_descriptors = 0; // open descriptors, until the process raises the limit itself
    unsigned descriptors = 0;
    size_t memory = 0; // address space
};

class Broker
{
  public:
    struct Options {
        std::optional<std::string> path; // of the socket; in a folder of the broker's own where not given
        Limits limits = {};
        std::string program = built_program("ubusd");
        std::vector<std::string> arguments = {"--open"}; // besides the socket
    };

    Broker() : Broker(Options{}) {}
    explicit Broker(const Options &options);
    ~Broker(); // ends it, and expects that it ends well

    const std::string &path() const { return path_; }
    pid_t pid() const { return pid_; }
    int end(int signal); // the exit status
    double cpu_seconds() const;

  private:
    Folder folder_;
    std::string path_;
    pid_t pid_;
};

// Starts the broker's program and returns its process id.
pid_t start_broker(const std::vector<std::string> &arguments, const Limits &limits = {},
                   const std::string &program = built_program("ubusd"));

// Waits for the process; its exit status, or 128 + the signal that killed it.
int wait_for_exit(pid_t pid);

class RawClient
{
  public:
    // Connects and reads the greeting.
    explicit RawClient(const Broker &broker);
    explicit RawClient(int connection);
    ~RawClient() { close(); }
    RawClient(RawClient &&other) noexcept;
    RawClient(const RawClient &) = delete;

    void close();
    int fd() const { return fd_; }
    uint32_t id() const { return id_; }

    void send(const Bytes &bytes) const; // all of it
    Bytes receive() const;               // one message; empty where the broker closed or kept silent for 10 seconds
    bool is_closed() const;              // the broker closed, and said nothing more before

    // Sends a request and receives the first message of its answer.
    Bytes ask(const Bytes &request) const;

    // Whether everything the broker had to say to this client has been received: the next message is the echo of a
    // ping.
    bool has_nothing_more() const;

    // Adds an object and checks the whole answer. The type has no methods.
    uint32_t add_anonymous() const;
    struct Named {
        uint32_t object;
        uint32_t type;
    };
    Named add_named(std::string_view path) const;

  private:
    int fd_;
    uint32_t id_;
};

// Connects without waiting for a greeting; -1 where that is refused.
int connect_to(const std::string &path);

// The message that ends a request.
Bytes status(unsigned seq, uint32_t peer, unsigned code);

// The attributes by which the broker tells who calls: the tests' own user; nothing where the system knows no name.
Bytes user_and_group();
