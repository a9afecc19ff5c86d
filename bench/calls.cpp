// The cost of a method call: one that asks the service against the least call and a bare exchange, and the broker's
// part in system calls.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <domainsocket.h>
#include <fstream>
#include <functional>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <type_traits>

#include "bench/lab.h"
#include "system/led_switch_records.h"

namespace
{

void exchange(const std::string &service)
{
    free(SOCKET_SendMsgByType(service.c_str(), kGetLedSwitch, 1, nullptr, 0, 4 + sizeof(LedSwitchRecord)));
}

struct Programs {
    Lab lab;
    test_support::Process bare_program = lab.start_bare_program(1);
    test_support::Process daemon = lab.start_daemon();
    uint32_t bare = lab.wait_for("bench.1");
    uint32_t led_switch = lab.wait_for("wexond.ledswitch");

    Programs() { lab.call(led_switch, "get"); } // returns when start-up is over
};

// The look that the daemon takes twice in a get, once for each of its log lines: the flag is not there.
void look(const std::string &flag)
{
    struct stat status;
    lstat(flag.c_str(), &status);
}

struct Medians {
    Microseconds call, exchange, get, look;

    double ratio() const { return get / (call + exchange); }
    double ratio_without_looks() const { return (get - 2 * look) / (call + exchange); }
};

Medians measure_one_start()
{
    constexpr int kRounds = 1000;
    Programs programs;
    const Lab &lab = programs.lab;
    std::string service = lab.path("orvc.sock"), flag = lab.path("debug_wexond");
    std::vector<std::vector<Microseconds>> samples;
    sample_in_turn(time_of,
                   {[&] { lab.call(programs.bare, "noop"); }, [&] { exchange(service); },
                    [&] { lab.call(programs.led_switch, "get"); }, [&] { look(flag); }},
                   kRounds, samples);
    return {median(samples[0]), median(samples[1]), median(samples[2]), median(samples[3])};
}

template <typename Result> auto median_of(const std::vector<Medians> &starts, Result result)
{
    std::vector<std::decay_t<std::invoke_result_t<Result, const Medians &>>> results;
    for (const Medians &start : starts)
        results.push_back(std::invoke(result, start));
    return median(results);
}

void report_ratio()
{
    // Where the kernel puts the programs' memory makes a few per cent of difference, and on a shared machine a start
    // may meet strangers: several starts even that out, each with a ratio of its own.
    constexpr int kStarts = 9;
    std::vector<Medians> starts;
    for (int start = 0; start < kStarts; start++)
        starts.push_back(measure_one_start());
    printf("method call that does nothing            %8.1f us\n", median_of(starts, &Medians::call).count());
    printf("bare exchange with the service           %8.1f us\n", median_of(starts, &Medians::exchange).count());
    printf("wexond.ledswitch get                     %8.1f us\n", median_of(starts, &Medians::get).count());
    printf("get / (call + exchange)                  %8.2f    (at most 1.10)\n", median_of(starts, &Medians::ratio));
    printf("a look at the debug flag                 %8.2f us\n", median_of(starts, &Medians::look).count());
    printf("the ratio but for the two looks          %8.2f    (at most 1.06)\n",
           median_of(starts, &Medians::ratio_without_looks));
}

// The calls in the last line of strace's table ("100.00 ... total"), or -1.
long total_calls(const std::string &table)
{
    std::ifstream file(table);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string percent, seconds, per_call;
        long calls;
        if (line.find(" total") != std::string::npos && words >> percent >> seconds >> per_call >> calls)
            return calls;
    }
    return -1;
}

void report_system_calls()
{
    constexpr int kCalls = 2000;
    Programs programs;
    const Lab &lab = programs.lab;
    std::string table = lab.path("strace");
    test_support::Process strace({"strace", "-c", "-o", table, "-p", std::to_string(lab.broker_pid())});
    std::this_thread::sleep_for(std::chrono::seconds(1)); // until it is attached
    if (!strace.is_running()) {
        printf("the broker's system calls per call       cannot be counted: %s", strace.standard_error().c_str());
        return;
    }
    for (int i = 0; i < kCalls; i++)
        lab.call(programs.bare, "noop");
    strace.send_signal(SIGINT);
    strace.wait();
    printf("the broker's system calls per call       %8.2f    (the router's own: 13)\n",
           double(total_calls(table)) / kCalls);
}

} // namespace

void bench_calls()
{
    report_ratio();
    report_system_calls();
}
