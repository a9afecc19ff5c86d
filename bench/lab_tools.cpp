// The lab itself: how long a lab of its own takes from `./run -- true` to its end, alone and with others, and what the
// log with its decoded fields adds to a request.

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/lab.h"
#include "core/shared_records.h"
#include "domainsocket.h"
#include "system/led_switch_records.h"
#include "tests/support/listening.h"
#include "tests/support/programs.h"

namespace
{

using test_support::Process;

std::unique_ptr<Process> start_run()
{
    return std::make_unique<Process>(std::vector<std::string>{RUN_PROGRAM, "--life", "0", "--", "true"},
                                     Process::Environment{{"WEXOND_BIN", built_program("")}});
}

void finish(Process &run)
{
    if (run.wait() != 0) {
        fprintf(stderr, "wexond-bench: ./run fails: %s", run.standard_error().c_str());
        exit(1);
    }
}

Microseconds time_of_labs(size_t count)
{
    return time_of([=] {
        std::vector<std::unique_ptr<Process>> runs;
        for (size_t i = 0; i < count; i++)
            runs.push_back(start_run());
        for (auto &run : runs)
            finish(*run);
    });
}

struct Question {
    const char *name;
    uint32_t type;
    uint32_t expected;
};

constexpr Question kQuestions[] = {
    {"LEDs", kGetLedSwitch, 4 + sizeof(LedSwitchRecord)},
    {"WAN status", kGetWanStatus, 4 + sizeof(WanStatusRecord)},
    {"URL rules", kListUrlFilters, 4 + sizeof(UrlFilterList)},
};

class Service
{
  public:
    Service(const std::string &socket, bool log)
        : socket_(socket),
          process_({"sh", "-c",
                    std::string("exec \"$0\" --life 0 --socket \"$1\" ") + (log ? "--log" : "") + " >/dev/null",
                    built_program("orvcd"), socket})
    {
        test_support::wait_until_listening(socket);
    }
    void ask(const Question &question) const
    {
        free(SOCKET_SendMsgByType(socket_.c_str(), question.type, 1, nullptr, 0, question.expected));
    }

  private:
    std::string socket_;
    Process process_;
};

void bench_log()
{
    constexpr int kRounds = 2000;
    test_support::TemporaryFolder folder;
    Service silent(folder / "silent.sock", false);
    Service logging(folder / "logging.sock", true);
    for (const Question &question : kQuestions) {
        std::vector<std::vector<Microseconds>> samples;
        sample_in_turn(time_of, {[&] { silent.ask(question); }, [&] { logging.ask(question); }}, kRounds, samples);
        Microseconds without = median(samples[0]);
        Microseconds with = median(samples[1]);
        printf("a request for the %-22s %8.1f us, with the decoded log %.1f us\n", question.name, without.count(),
               with.count());
    }
}

} // namespace

void bench_lab_tools()
{
    constexpr int kRuns = 7;
    constexpr size_t kLabs = 20;
    std::vector<Microseconds> alone;
    for (int run = 0; run < kRuns; run++)
        alone.push_back(time_of_labs(1));
    printf("./run -- true                            %8.1f ms\n", median(alone).count() / 1000);
    printf("%zu of them at once, each                 %8.1f ms\n", kLabs, time_of_labs(kLabs).count() / 1000 / kLabs);
    bench_log();
}
