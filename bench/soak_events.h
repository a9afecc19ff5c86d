// Events, hundreds of batches a second: of every kind, with any content, some of them cut, too long, of no kind at all.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

class EventStream
{
  public:
    // Begins paused.
    explicit EventStream(const std::string &socket);
    ~EventStream();
    EventStream(const EventStream &) = delete;
    EventStream &operator=(const EventStream &) = delete;

    // Returns when the latest batch has been sent.
    void pause();
    void resume();

    size_t batches() const { return batches_; }
    size_t events() const { return events_; }
    size_t malformed() const { return malformed_; }
    // Batches that the daemon's socket did not take.
    size_t refused() const { return refused_; }

  private:
    void run();

    std::string socket_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool paused_ = true;
    bool ended_ = false;
    std::atomic<size_t> batches_{0}, events_{0}, malformed_{0}, refused_{0};
    std::thread thread_;
};
