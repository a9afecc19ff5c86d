// wexond-bench: what the daemon costs, in ratios taken in one run on one processor.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "bench/lab.h"

namespace
{

struct Bench {
    const char *name;
    const char *title;
    void (*run)();
};

constexpr Bench benches[] = {
    {"calls", "Method calls", bench_calls},      {"startup", "Start-up", bench_startup},
    {"footprint", "Footprint", bench_footprint}, {"stations", "A list of 128 stations", bench_stations},
    {"events", "Events", bench_events},          {"attacks", "Attacks on the bus", bench_attacks},
    {"lab", "The lab", bench_lab_tools},
#ifdef WITH_HTTP
    {"http", "The lab over HTTP", bench_http},
#endif
};

} // namespace

int main(int argc, char **argv)
{
    CLI::App app("Measures the daemon against the least that its work costs.");
    std::vector<std::string> chosen;
    std::vector<std::string> names;
    for (const Bench &bench : benches)
        names.push_back(bench.name);
    app.add_option("bench", chosen, "what to measure; everything where none is named")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);

    pin_to_one_processor();
    setvbuf(stdout, nullptr, _IOLBF, 0);
    for (const Bench &bench : benches) {
        if (!chosen.empty() && std::find(chosen.begin(), chosen.end(), bench.name) == chosen.end())
            continue;
        printf("== %s\n", bench.title);
        bench.run();
    }
    return 0;
}
