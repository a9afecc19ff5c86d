// A configuration service that misbehaves on the wire: what it does with each connection is the test's own code.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

// One connection of the daemon. Reading and writing fail where it is gone.
class Wire
{
  public:
    Wire(int fd, std::atomic<size_t> &settled) : fd_(fd), settled_(settled) {}

    bool read(size_t length) const;
    bool write(std::string_view bytes) const;
    // Reads one whole request; its type, or 0 where none comes.
    uint32_t read_request() const;
    // Waits until the daemon has closed it; the last that a script does.
    void wait_until_closed() const;

  private:
    int fd_;
    std::atomic<size_t> &settled_;
};

class RawService
{
  public:
    using Script = std::function<void(const Wire &)>;

    // Listens at `socket`, which it replaces. Connections are served one after another; each is closed when the script
    // returns.
    RawService(const std::filesystem::path &socket, Script script);
    ~RawService();
    RawService(const RawService &) = delete;
    RawService &operator=(const RawService &) = delete;

    size_t connections() const { return connections_; }
    // Waits until the scripts of all connections are at their end.
    void wait_until_settled() const;

  private:
    void serve(const Script &script);
    bool begin(int client);
    void end(int client);

    int listener_;
    std::mutex mutex_;
    int client_ = -1;
    bool ending_ = false;
    std::atomic<size_t> connections_ = 0, settled_ = 0;
    std::thread thread_;
};
