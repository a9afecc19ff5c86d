// From process start to the last object: the daemon, with the service up, against a bare program that adds as many
// objects.

#include <cstdio>

#include "bench/lab.h"

namespace
{

struct Counter {
    ubus_event_handler handler;
    size_t count;
    size_t awaited;
};

void count_object(ubus_context *, ubus_event_handler *handler, const char *, blob_attr *)
{
    auto *counter = container_of(handler, Counter, handler);
    if (++counter->count == counter->awaited)
        uloop_end();
}

size_t count_objects(const Lab &lab, const char *path)
{
    size_t count = 0;
    ubus_lookup(
        lab.client(), path, [](ubus_context *, ubus_object_data *, void *count) { ++*static_cast<size_t *>(count); },
        &count);
    return count;
}

// How many objects the daemon has when it is up.
size_t objects_of_daemon()
{
    Lab lab;
    auto daemon = lab.start_daemon();
    lab.call(lab.wait_for("wexond.ledswitch"), "get"); // returns when start-up is over
    return count_objects(lab, "wexond*");
}

template <typename Start> Microseconds time_to_last_object(size_t objects, Start start)
{
    Lab lab;
    Counter counter = {.handler = {.cb = count_object}, .count = 0, .awaited = objects};
    ubus_register_event_handler(lab.client(), &counter.handler, "ubus.object.add");
    return time_of([&] {
        auto process = start(lab);
        uloop_run();
    });
}

} // namespace

void bench_startup()
{
    constexpr int kRuns = 15;
    size_t objects = objects_of_daemon();
    std::vector<Microseconds> daemon, bare;
    for (int run = 0; run < kRuns; run++) {
        daemon.push_back(time_to_last_object(
            objects, [](const Lab &lab) { return lab.start_daemon(); }));
        bare.push_back(time_to_last_object(objects, [=](const Lab &lab) { return lab.start_bare_program(objects); }));
    }
    printf("objects                                  %8zu\n", objects);
    printf("a bare program's start                   %8.1f ms\n", median(bare).count() / 1000);
    printf("the daemon's start                       %8.1f ms\n", median(daemon).count() / 1000);
    printf("daemon / bare program                    %8.2f    (at most 2)\n", median(daemon) / median(bare));
}
