#include "bench/lab.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <thread>

namespace
{

using test_support::Process;

void give_up(const char *what)
{
    fprintf(stderr, "wexond-bench: %s\n", what);
    exit(1);
}

} // namespace

void pin_to_one_processor()
{
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(sched_getcpu(), &processors);
    sched_setaffinity(0, sizeof(processors), &processors);
    sched_param parameters{};
    sched_setscheduler(0, SCHED_BATCH, &parameters);
    prctl(PR_SET_TIMERSLACK, 1);
}

Microseconds time_of(const std::function<void()> &action)
{
    auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

namespace
{

Microseconds reading_of(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

WorkClock::WorkClock(const std::vector<pid_t> &others)
{
    for (pid_t process : others)
        if (clock_getcpuclockid(process, &others_.emplace_back()))
            give_up("a process has no clock");
    std::vector<std::vector<Microseconds>> nothing;
    sample_in_turn(*this, {[] {}}, 1000, nothing);
    reading_ = median(nothing[0]);
}

Microseconds WorkClock::of_others() const
{
    Microseconds sum{};
    for (clockid_t clock : others_)
        sum += reading_of(clock);
    return sum;
}

// The own clock is read last and first, so that reading the others is no part of the action.
// The own clock is read last and first, so that reading the others is no part of the action.
Microseconds WorkClock::operator()(const std::function<void()> &action) const
{
    Microseconds others = of_others();
    Microseconds own = reading_of(CLOCK_PROCESS_CPUTIME_ID);
    action();
    own = reading_of(CLOCK_PROCESS_CPUTIME_ID) - own;
    return own - reading_ + of_others() - others;
}

void sample_in_turn(const Measure &measure, const std::vector<std::function<void()>> &actions, int rounds,
                    std::vector<std::vector<Microseconds>> &samples)
{
    samples.resize(actions.size());
    for (int round = 0; round < rounds; round++)
        for (size_t i = 0; i < actions.size(); i++)
            samples[i].push_back(measure(actions[i]));
}

namespace
{

void wait_for_socket(const std::string &path)
{
    struct stat status;
    for (int tries = 0; stat(path.c_str(), &status); tries++) {
        if (tries == 1000)
            give_up("the configuration service does not come up");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

} // namespace

Lab::Lab(const std::string &state)
    : bus_(folder_ / "ubus.sock"), state_(state), client_(ubus_connect(path("ubus.sock").c_str()))
{
    start_service();
    if (!client_)
        give_up("no bus");
    ubus_add_uloop(client_);
}

Lab::~Lab()
{
    ubus_free(client_);
    uloop_done();
}

void Lab::start_service()
{
    // Lenient: the soak sends what no router takes.
    service_.emplace(std::vector<std::string>{built_program("orvcd"), "--lenient", "--life", "0", "--socket",
                                              path("orvc.sock"), "--events", path("events.sock"), "--state", state_});
    wait_for_socket(path("orvc.sock"));
}

void Lab::restart_service()
{
    service_->send_signal(SIGTERM); // it takes its socket with it
    service_->wait();
    start_service();
}

pid_t Lab::broker_pid() const
{
    return bus_.pid();
}

Process Lab::start_daemon(Process::Environment environment) const
{
    environment["WEXOND_TEST_DIR"] = folder_.path();
    return Process({built_program("wexond-test")}, environment);
}

Process Lab::start_bare_program(size_t objects) const
{
    return Process({built_program("bench-bare"), path("ubus.sock"), std::to_string(objects)});
}

uint32_t Lab::wait_for(const std::string &object) const
{
    uint32_t id;
    for (int tries = 0; ubus_lookup_id(client_, object.c_str(), &id); tries++) {
        if (tries == 3000)
            give_up("an object does not come up");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return id;
}

void Lab::call(uint32_t object, const char *method) const
{
    static blob_buf message;
    blob_buf_init(&message, 0);
    if (ubus_invoke(client_, object, method, message.head, nullptr, nullptr, 30000))
        give_up("a call failed");
}
