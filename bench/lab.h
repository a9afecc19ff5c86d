// Shared by the measurements: a bus with the lab's configuration service, clients of both, and the arithmetic.
// Everything runs pinned to one processor, so that figures of one run compare; absolute times mean nothing on a shared
// machine.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/bus.h"
#include "tests/support/bus.h"
#include "tests/support/process.h"
#include "tests/support/temporary_folder.h"

using Microseconds = std::chrono::duration<double, std::micro>;

// This process and the children that it starts from now on; without wake-up pre-emption, which adds switches at random,
// and with exact timers.
void pin_to_one_processor();

Microseconds time_of(const std::function<void()> &action);

template <typename Sample> Sample median(std::vector<Sample> samples)
{
    auto middle = samples.begin() + samples.size() / 2;
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

// The processor time of an action in this process and in others that do their part of it. On one processor that is its
// time by the clock but for what strangers on the machine take meanwhile, and these interrupt an action of milliseconds
// nearly every time. What reading the clocks takes is no part of it.
class WorkClock
{
  public:
    explicit WorkClock(const std::vector<pid_t> &others);
    Microseconds operator()(const std::function<void()> &action) const;

  private:
    Microseconds of_others() const;

    std::vector<clockid_t> others_;
    Microseconds reading_{};
};

using Measure = std::function<Microseconds(const std::function<void()> &action)>; // time_of, or a WorkClock

// Measures several actions in turn, call by call, and adds a sample to each one's in every round. What disturbs the
// machine for a while disturbs all alike, and each call finds the caches as the others leave them: an action that is
// repeated without pause would find its own and seem cheaper than it is as a part of something larger.
void sample_in_turn(const Measure &measure, const std::vector<std::function<void()>> &actions, int rounds,
                    std::vector<std::vector<Microseconds>> &samples);

// A broker and the lab's service in a folder of their own, and a client of the bus.
class Lab
{
  public:
    // The service's home is the one that ships, or that of a state file. Nothing happens in it by itself.
    explicit Lab(const std::string &state = "");
    ~Lab();

    std::string path(const std::string &name) const { return (folder_ / name).string(); }
    pid_t broker_pid() const;
    pid_t service_pid() const { return service_->pid(); }
    ubus_context *client() const { return client_; }

    // Ends the service and starts another, with the home of the beginning.
    void restart_service();
    void stop_broker() { bus_.stop(); }

    // With more in its environment than the lab's own.
    test_support::Process start_daemon(test_support::Process::Environment environment = {}) const;
    test_support::Process start_bare_program(size_t objects) const;

    // Waits for an object; its id.
    uint32_t wait_for(const std::string &object) const;
    // Calls a method and passes over the reply; ends the program where the call fails on the bus.
    void call(uint32_t object, const char *method) const;

  private:
    void start_service();

    test_support::TemporaryFolder folder_;
    test_support::Bus bus_;
    std::optional<test_support::Process> service_;
    std::string state_;
    ubus_context *client_;
};

// The measurements. Each prints its figures.
void bench_calls();
void bench_startup();
void bench_footprint();
void bench_stations();
void bench_events();
void bench_attacks();
void bench_lab_tools();
void bench_http();
