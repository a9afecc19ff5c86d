// The service's journal, for people and for programs: a line on standard output for every request (--log), a line of
// JSON in a file for every request and event (--record). Passwords and keys are masked in both unless that is not
// wanted.
#pragma once

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>

#include "service.h"

class Journal
{
  public:
    struct Options {
        bool log = false;
        std::string file; // of the recording; empty for none
        bool show_secrets = false;
    };

    // Throws std::runtime_error where the file cannot be made.
    explicit Journal(const Options &options);
    ~Journal();
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    bool is_kept() const { return options_.log || recording_; }

    // A request with what was answered, how long that took and which fault was played, if any. From any thread.
    void add_request(const Request &request, const Reply &reply, std::chrono::microseconds latency,
                     const std::string &fault);
    void add_event(uint32_t type, const std::string &record);

  private:
    void write_line(const Json &line);

    const Options options_;
    std::mutex mutex_; // of the file
    FILE *recording_ = nullptr;
};

// Pushes the events of a recording to the daemon's socket, `speed` times as fast as they came; at once where that is 0.
// Throws std::runtime_error where the file is no recording or nobody takes an event.
void replay(const std::string &file, const std::string &socket, double speed);
