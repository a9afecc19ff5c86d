// orvcd as a process in a folder of its own, and clients that write and read raw bytes.
#pragma once

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/support/emulator.h"

inline std::string word(uint32_t value)
{
    std::string result;
    for (int shift = 0; shift < 32; shift += 8)
        result += static_cast<char>(value >> shift);
    return result;
}

// A record of zeroes with texts and words laid into it at offsets.
class Image
{
  public:
    explicit Image(size_t size) : bytes_(size, '\0') {}
    Image &text(size_t offset, const std::string &text)
    {
        bytes_.replace(offset, text.size(), text);
        return *this;
    }
    Image &words(size_t offset, const std::vector<uint32_t> &values)
    {
        for (uint32_t value : values) {
            bytes_.replace(offset, 4, word(value));
            offset += 4;
        }
        return *this;
    }
    operator std::string() const { return bytes_; }

  private:
    std::string bytes_;
};

inline std::string read_file(const std::string &path)
{
    std::ifstream stream(path, std::ios::binary);
    std::stringstream content;
    content << stream.rdbuf();
    return content.str();
}

class Client
{
  public:
    explicit Client(const std::string &path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        connected_ = connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    }
    ~Client() { close(socket_); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    bool connected() const { return connected_; }
    void write(const std::string &data) const
    {
        ASSERT_EQ(send(socket_, data.data(), data.size(), MSG_NOSIGNAL), static_cast<ssize_t>(data.size()));
    }
    // Up to `length` bytes: fewer where the service hangs up, or is silent for ten seconds.
    std::string read(size_t length) const
    {
        std::string result;
        char buffer[4096];
        pollfd entry = {socket_, POLLIN, 0};
        while (result.size() < length && poll(&entry, 1, 10000 * kSlowness) == 1) {
            ssize_t got = recv(socket_, buffer, std::min(sizeof(buffer), length - result.size()), 0);
            if (got <= 0)
                break;
            result.append(buffer, static_cast<size_t>(got));
        }
        return result;
    }
    // All that comes within this time.
    std::string read_within(int milliseconds) const
    {
        std::string result;
        char buffer[4096];
        pollfd entry = {socket_, POLLIN, 0};
        for (ssize_t got; poll(&entry, 1, milliseconds) == 1 && (got = recv(socket_, buffer, sizeof(buffer), 0)) > 0;)
            result.append(buffer, static_cast<size_t>(got));
        return result;
    }
    bool hung_up() const
    {
        char byte;
        pollfd entry = {socket_, POLLIN, 0};
        return poll(&entry, 1, 5000 * kSlowness) == 1 && recv(socket_, &byte, 1, 0) <= 0;
    }

    // Sends a request and returns the answer's body, return code included.
    std::string ask(uint32_t type, const std::string &payload = "", uint32_t flag = 1) const
    {
        write(word(type) + word(flag) + word(4) + word(static_cast<uint32_t>(payload.size())) + payload);
        std::string header = read(16);
        if (header.size() != 16)
            return "no answer";
        EXPECT_EQ(header.substr(0, 12), word(type) + word(0) + word(0));
        uint32_t length = 0;
        for (int at = 15; at >= 12; at--)
            length = length << 8 | static_cast<unsigned char>(header[at]);
        return read(length);
    }
    std::string record(uint32_t type, const std::string &payload = "") const
    {
        std::string body = ask(type, payload);
        EXPECT_EQ(body.substr(0, 4), word(0)) << "type " << type;
        return body.substr(std::min<size_t>(4, body.size()));
    }

  private:
    int socket_;
    bool connected_;
};

struct Outcome {
    int status; // of exit, or -1 where a signal ended it
    std::string output;
    std::string errors;
};

class Process
{
  public:
    Process()
    {
        char name[] = "/tmp/orvcd.XXXXXX";
        folder_ = mkdtemp(name);
    }
    ~Process()
    {
        if (child_ > 0)
            end(SIGKILL);
        std::filesystem::remove_all(folder_);
    }
    std::string file(const std::string &name) const { return folder_ + "/" + name; }
    std::string socket() const { return file("service"); }
    std::string events() const { return file("events"); }

    void launch(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), built_program("orvcd"));
        std::vector<std::string> command = emulated(arguments);
        std::vector<char *> vector;
        for (std::string &word : command)
            vector.push_back(word.data());
        vector.push_back(nullptr);
        std::string output = file("output");
        std::string errors = file("errors");
        child_ = fork();
        if (child_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDOUT_FILENO);
            dup2(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
            execvp(vector[0], vector.data());
            _exit(127);
        }
    }
    // Starts it on the folder's sockets and returns when it answers. Nothing happens by itself where `life` is 0.
    void start(std::vector<std::string> arguments = {}, unsigned life = 0)
    {
        arguments.insert(arguments.begin(),
                         {"--socket", socket(), "--events", events(), "--life", std::to_string(life)});
        launch(arguments);
        for (int attempt = 0; attempt < 1000 * kSlowness; attempt++) {
            if (Client(socket()).connected())
                return;
            usleep(10000);
        }
        FAIL() << "no answer: " << read_file(file("errors"));
    }
    Outcome wait()
    {
        int status = 0;
        waitpid(child_, &status, 0);
        child_ = -1;
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(file("output")), read_file(file("errors"))};
    }
    Outcome end(int signal = SIGTERM)
    {
        kill(child_, signal);
        return wait();
    }
    Outcome run(std::vector<std::string> arguments)
    {
        launch(std::move(arguments));
        return wait();
    }
    std::string errors() const { return read_file(file("errors")); }

  private:
    std::string folder_;
    pid_t child_ = -1;
};

// A service with a state file, asked by a new client each time.
struct StateFileTest : testing::Test {
    Process orvcd;
    std::string file = orvcd.file("state.json");

    std::string ask(uint32_t type, const std::string &payload = "")
    {
        return Client(orvcd.socket()).ask(type, payload);
    }
    std::string record(uint32_t type, const std::string &payload = "")
    {
        return Client(orvcd.socket()).record(type, payload);
    }
};
