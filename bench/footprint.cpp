// The daemon's footprint: size, memory after every method was called once, wake-ups while idle.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "bench/lab.h"

namespace
{

constexpr std::chrono::seconds kIdle{10};

void report_size(const Lab &lab)
{
    std::string stripped = lab.path("stripped");
    test_support::Process({"strip", "-o", stripped, built_program("wexond")}).wait();
    printf("stripped size                            %8.1f KiB  (below 200)\n",
           std::filesystem::file_size(stripped) / 1024.0);
}

// The number after `key` in a file of the process, 0 where there is none.
long read_number(const std::string &file, const std::string &key)
{
    std::ifstream stream(file);
    std::string word;
    long number = 0;
    while (stream >> word)
        if (word == key && stream >> number)
            return number;
    return 0;
}

void call_method(const Lab &lab, uint32_t object, const char *method)
{
    blob_buf message{};
    blob_buf_init(&message, 0);
    // Refusals of missing arguments count as calls; a call that goes without a reply is not a failure here.
    ubus_invoke(lab.client(), object, method, message.head, nullptr, nullptr, 30000);
    blob_buf_free(&message);
}

struct Method {
    uint32_t object;
    std::string name;
};

void collect_methods(ubus_context *, ubus_object_data *object, void *methods)
{
    blob_attr *method;
    size_t rem;
    if (object->signature)
        blob_for_each_attr (method, object->signature, rem)
            static_cast<std::vector<Method> *>(methods)->push_back({object->id, blobmsg_name(method)});
}

void call_every_method(const Lab &lab)
{
    std::vector<Method> methods;
    ubus_lookup(lab.client(), "wexond*", collect_methods, &methods);
    for (const Method &method : methods)
        call_method(lab, method.object, method.name.c_str());
    printf("methods called                           %8zu\n", methods.size());
}

void report_memory(pid_t daemon)
{
    std::string file = "/proc/" + std::to_string(daemon) + "/smaps_rollup";
    printf("proportional memory (Pss)                %8ld KiB  (below 1024)\n", read_number(file, "Pss:"));
    printf("anonymous memory                         %8ld KiB  (below 512)\n", read_number(file, "Anonymous:"));
}

long wake_ups(pid_t daemon)
{
    long sum = 0;
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(daemon) + "/task"))
        sum += read_number(task.path() / "status", "voluntary_ctxt_switches:");
    return sum;
}

void report_wake_ups(pid_t daemon)
{
    std::this_thread::sleep_for(std::chrono::seconds(6)); // until the drain runs at its own pace
    long before = wake_ups(daemon);
    std::this_thread::sleep_for(kIdle);
    printf("wake-ups a second while idle             %8.1f    (5 are the drain's)\n",
           double(wake_ups(daemon) - before) / kIdle.count());
}

} // namespace

void bench_footprint()
{
    Lab lab;
    report_size(lab);
    auto daemon = lab.start_daemon();
    lab.call(lab.wait_for("wexond.ledswitch"), "get"); // returns when start-up is over
    call_every_method(lab);
    report_memory(daemon.pid());
    report_wake_ups(daemon.pid());
}
