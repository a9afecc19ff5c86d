#include "bench/lab.h"

#include <algorithm>
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

Microseconds median(std::vector<Microseconds> samples)
{
    auto middle = samples.begin() + samples.size() / 2;
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

void sample_in_turn(const std::vector<std::function<void()>> &actions, int rounds,
                    std::vector<std::vector<Microseconds>> &samples)
{
    samples.resize(actions.size());
    for (int round = 0; round < rounds; round++)
        for (size_t i = 0; i < actions.size(); i++)
            samples[i].push_back(time_of(actions[i]));
}

namespace
{

void give_up(const char *what)
{
    fprintf(stderr, "wexond-bench: %s\n", what);
    exit(1);
}

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
