// Somebody who has nothing to do with an attack: calls a method again and again, and measures how long each answer
// took.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/ubusd/raw_bus.h"

class Bystander
{
  public:
    explicit Bystander(const Broker &broker);
    ~Bystander();

    // Ends the calls, and expects that each was answered in time: within 100 ms of the broker's work. A machine that
    // has other things to do may make it longer by the clock, but not by seconds.
    void expect_served();

    // Ends the calls; the seconds that each took, and the most memory (KiB) that the broker was seen to hold.
    struct Experience {
        std::vector<double> answers;
        long most_memory;
        bool failed;
    };
    Experience stop();

  private:
    void call_again_and_again();
    void call();

    const Broker &broker_;
    RawClient owner_;
    RawClient caller_;
    uint32_t object_;
    Experience experience_ = {};
    double longest_work_ = 0; // of the broker's processor time
    std::atomic<bool> stop_ = false;
    std::atomic<bool> failed_ = false;
    std::thread thread_;
};

// The processor time that a process has used.
double processor_seconds(pid_t pid);

// KiB that are a process's own.
long own_memory(pid_t pid);

// How many descriptors a process has open.
size_t open_descriptors(pid_t pid);
