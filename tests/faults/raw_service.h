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
    explicit Wire(int fd) : fd_(fd) {}

    bool read(size_t length) const;
    bool write(std::string_view bytes) const;
    // Reads one whole request; its type, or 0 where none comes.
    uint32_t read_request() const;
    // Waits until the daemon has closed it.
    void wait_until_closed() const;

  private:
    int fd_;
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

  private:
    void serve(const Script &script);
    bool begin(int client);
    void end(int client);

    int listener_;
    std::mutex mutex_;
    int client_ = -1;
    bool ending_ = false;
    std::atomic<size_t> connections_ = 0;
    std::thread thread_;
};
