// How long an event takes from the event socket to a subscriber, and how many messages the socket takes.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "bench/lab.h"
#include "events/event_records.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kDrain{200};

std::string message_of(uint32_t value)
{
    EventHeader header{};
    header.type = kEventLedSwitch;
    header.length = sizeof(SwitchEvent);
    SwitchEvent event{value};
    return std::string(reinterpret_cast<char *>(&header), sizeof(header)) +
           std::string(reinterpret_cast<char *>(&event), sizeof(event));
}

void write_batch(const std::string &path, const std::string &batch)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) ||
        write(fd, batch.data(), batch.size()) < 0)
        perror("the event socket");
    close(fd);
}

int note_arrival(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    uloop_end();
    return 0;
}

// Writes one event; when its notification has arrived.
Clock::time_point deliver(const Lab &lab, const std::string &message)
{
    write_batch(lab.path("events.sock"), message);
    uloop_run();
    return Clock::now();
}

// Keeps the processor from sleeping while nothing else runs on it: to wake it takes longer than what is measured.
class Wakefulness
{
  public:
    Wakefulness()
        : thread_([this] {
              sched_param parameters{};
              sched_setscheduler(0, SCHED_IDLE, &parameters);
              while (!ended_)
                  ;
          })
    {
    }
    ~Wakefulness()
    {
        ended_ = true;
        thread_.join();
    }

  private:
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

struct Way {
    Microseconds event;
    Microseconds call;
};

// The time of the way besides the wait for the drain, and a method call that does nothing, made as seldom: whatever
// happens five times a second finds nothing in the processor's caches.
//
// The drain's timer is set anew at the end of each drain, so that two notifications of events that were waiting are 200
// ms apart and the time that the daemon needs from its timer to the bus; the rest of the way, from the bus to the
// subscriber, is less than half a method call.
Way measure_way(const Lab &lab)
{
    constexpr int kRounds = 40;
    Wakefulness awake;
    std::string message = message_of(1);
    uint32_t bare = lab.wait_for("bench.1");
    std::vector<Microseconds> apart, calls;
    Clock::time_point last = deliver(lab, message);
    for (int round = 0; round < kRounds; round++) {
        std::this_thread::sleep_for(kDrain / 2);
        calls.push_back(time_of([&] { lab.call(bare, "noop"); }));
        Clock::time_point arrival = deliver(lab, message);
        apart.push_back(arrival - last - kDrain);
        last = arrival;
    }
    return {median(apart) + median(calls) / 2, median(calls)};
}

void report_latency(const Lab &lab)
{
    Microseconds longest{0};
    for (int i = 0; i < 20; i++)
        longest = std::max(longest, time_of([&] { deliver(lab, message_of(1)); }));
    Way way = measure_way(lab);
    printf("from the write to the notification, most %8.1f ms  (a drain every 200)\n", longest.count() / 1000);
    printf("without the wait for the drain           %8.1f us\n", way.event.count());
    printf("method call that does nothing, as seldom %8.1f us\n", way.call.count());
    printf("way / call                               %8.2f    (at most 2)\n", way.event / way.call);
}

void report_throughput(const Lab &lab)
{
    constexpr int kBatches = 2000, kMessages = 50;
    std::string batch;
    for (int i = 0; i < kMessages; i++)
        batch += message_of(i);
    Microseconds time = time_of([&] {
        for (int i = 0; i < kBatches; i++)
            write_batch(lab.path("events.sock"), batch);
        uloop_run();
    });
    printf("messages a second                        %8.0f\n", kBatches * kMessages / (time.count() / 1e6));
}

} // namespace

void bench_events()
{
    Lab lab;
    auto bare_program = lab.start_bare_program(1);
    auto daemon = lab.start_daemon();
    ubus_subscriber subscriber = {};
    subscriber.cb = note_arrival;
    ubus_register_subscriber(lab.client(), &subscriber);
    ubus_subscribe(lab.client(), &subscriber, lab.wait_for("wexond.ledswitch"));
    std::this_thread::sleep_for(std::chrono::seconds(6)); // until the drain runs at its own pace
    report_latency(lab);
    report_throughput(lab);
    ubus_unregister_subscriber(lab.client(), &subscriber);
}
