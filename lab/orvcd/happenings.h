// Carries out effects: one thread that runs what is due and pushes events, each on a connection of its own, to the
// daemon's event socket. An event that nobody takes is lost, as on the router.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

class Happenings
{
  public:
    using Clock = std::chrono::steady_clock;

    Happenings();
    ~Happenings(); // what is not due yet does not happen
    Happenings(const Happenings &) = delete;
    Happenings &operator=(const Happenings &) = delete;

    void at(Clock::time_point time, std::function<void()> action);

  private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<Clock::time_point, std::function<void()>> due_;
    bool ending_ = false;
    std::thread thread_;
};

// Sends a batch of one event, in the one write that the daemon receives. 0, or -1 with errno where nobody took it
// (EMSGSIZE: all of it).
int push_event(const std::string &socket, uint32_t type, const std::string &record);
