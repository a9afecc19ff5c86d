// What a method call costs: one that asks the service against the least call and a bare exchange, and the broker's part
// in system calls.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <domainsocket.h>
#include <fstream>
#include <sstream>
#include <thread>

#include "bench/lab.h"
#include "system/led_switch_records.h"

namespace
{

void exchange(const std::string &service)
{
    free(SOCKET_SendMsgByType(service.c_str(), kGetLedSwitch, 1, nullptr, 0, 4 + sizeof(LedSwitchRecord)));
}

void report_ratio(const Lab &lab, uint32_t bare, uint32_t led_switch)
{
    std::string service = lab.path("orvc.sock");
    auto medians = medians_in_turn({
                                       [&] { lab.call(bare, "noop"); },
                                       [&] { exchange(service); },
                                       [&] { lab.call(led_switch, "get"); },
                                   },
                                   50, 200);
    printf("method call that does nothing            %8.1f us\n", medians[0].count());
    printf("bare exchange with the service           %8.1f us\n", medians[1].count());
    printf("wexond.ledswitch get                     %8.1f us\n", medians[2].count());
    printf("get / (call + exchange)                  %8.2f    (at most 1.10)\n",
           medians[2] / (medians[0] + medians[1]));
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

void report_system_calls(const Lab &lab, uint32_t bare)
{
    constexpr int kCalls = 2000;
    std::string table = lab.path("strace");
    test_support::Process strace({"strace", "-c", "-o", table, "-p", std::to_string(lab.broker_pid())});
    std::this_thread::sleep_for(std::chrono::seconds(1)); // until it is attached
    if (!strace.is_running()) {
        printf("the broker's system calls per call       cannot be counted: %s", strace.standard_error().c_str());
        return;
    }
    for (int i = 0; i < kCalls; i++)
        lab.call(bare, "noop");
    strace.send_signal(SIGINT);
    strace.wait();
    printf("the broker's system calls per call       %8.2f    (the router's own: 13)\n",
           double(total_calls(table)) / kCalls);
}

} // namespace

void bench_calls()
{
    Lab lab;
    auto bare_program = lab.start_bare_program(1);
    auto daemon = lab.start_daemon();
    uint32_t bare = lab.wait_for("bench.1");
    uint32_t led_switch = lab.wait_for("wexond.ledswitch");
    lab.call(led_switch, "get"); // returns when start-up is over
    report_ratio(lab, bare, led_switch);
    report_system_calls(lab, bare);
}
