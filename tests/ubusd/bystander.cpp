#include "tests/ubusd/bystander.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "tests/support/emulator.h"

namespace
{

constexpr double kBound = 0.1 * kSlowness;    // seconds
constexpr double kPatience = 2.0 * kSlowness; // on a machine that is busy

double seconds_now(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

double processor_seconds(pid_t pid)
{
    clockid_t clock;
    return clock_getcpuclockid(pid, &clock) == 0 ? seconds_now(clock) : 0;
}

long own_memory(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;)
        if (long size; word == "RssAnon:" && status >> size)
            return size;
    return 0;
}

size_t open_descriptors(pid_t pid)
{
    std::filesystem::directory_iterator files("/proc/" + std::to_string(pid) + "/fd");
    return static_cast<size_t>(std::distance(files, {}));
}

Bystander::Bystander(const Broker &broker)
    : broker_(broker), owner_(broker), caller_(broker), object_(owner_.add_named("bystander").object),
      thread_([this] { call_again_and_again(); })
{
}

Bystander::~Bystander()
{
    stop_ = true;
    if (thread_.joinable())
        thread_.join();
}

void Bystander::call_again_and_again()
{
    do { // once at least, however late the thread comes to run
        double start = seconds_now(CLOCK_MONOTONIC), work = processor_seconds(broker_.pid());
        call();
        experience_.answers.push_back(seconds_now(CLOCK_MONOTONIC) - start);
        experience_.most_memory = std::max(experience_.most_memory, own_memory(broker_.pid()));
        longest_work_ = std::max(longest_work_, processor_seconds(broker_.pid()) - work);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (!stop_ && !failed_);
}

void Bystander::call()
{
    caller_.send(message(5, 7, object_, attribute(3, object_) + attribute(4, "method")));
    Bytes call = owner_.receive();
    owner_.send(message(1, 7, number_at(call, 4), attribute(1, uint32_t{0}) + attribute(3, object_)));
    failed_ = caller_.receive() != message(1, 7, object_, attribute(1, uint32_t{0}) + attribute(3, object_));
}

Bystander::Experience Bystander::stop()
{
    stop_ = true;
    thread_.join();
    experience_.failed = failed_;
    return experience_;
}

void Bystander::expect_served()
{
    Experience experience = stop();
    ASSERT_FALSE(experience.answers.empty());
    EXPECT_FALSE(experience.failed) << "a call got no answer";
    EXPECT_LT(longest_work_, kBound) << "of " << experience.answers.size() << " calls";
    EXPECT_LT(std::ranges::max(experience.answers), kPatience) << "of " << experience.answers.size() << " calls";
}
