// The fixture of the fault tests: the daemon on a bus, a fault that comes and goes, and the same daemon afterwards,
// which has to answer as before and hold as much as before.
#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

#include "tests/support/daemon_test.h"

// The LED switch stands for every method: 20 reads its word, 21 writes it.
constexpr uint32_t kGetLed = 20;
constexpr uint32_t kSetLed = 21;

inline const std::string kOn = R"({"wexond.ledswitch": {"status": "on"}})";
inline const std::string kOff = R"({"wexond.ledswitch": {"status": "off"}})";

// The holdings of a process.
struct Footprint {
    size_t descriptors;
    size_t threads;

    bool operator==(const Footprint &) const = default;
};

inline void PrintTo(const Footprint &footprint, std::ostream *stream)
{
    *stream << footprint.descriptors << " descriptors, " << footprint.threads << " threads";
}

inline size_t count_files(const std::filesystem::path &folder)
{
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

inline Footprint footprint_of(const test_support::Process &process)
{
    std::filesystem::path folder = "/proc/" + std::to_string(process.pid());
    return {count_files(folder / "fd"), count_files(folder / "task")};
}

// KiB that are a process's own.
inline long anonymous_memory(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;)
        if (long size; word == "RssAnon:" && status >> size)
            return size;
    return 0;
}

class FaultTest : public test_support::DaemonTest
{
  protected:
    // A call of the bus tool, beside those of the test's own client.
    test_support::Process call_beside(const std::string &object, const std::string &method)
    {
        return test_support::Process({bus_tool(), "-s", bus().socket().string(), "-S", "call", object, method});
    }

    std::string get_led() { return call("wexond.ledswitch", "get"); }
    std::string set_led() { return call("wexond.ledswitch", "set", R"({"status": "on"})"); }

    void answer_led(const test_support::Answer &answer = test_support::record(test_support::Bytes(4).u32(0, 1)))
    {
        service().answer(kGetLed, answer);
    }

    // The daemon as it has to be when a fault is over: its objects are on the bus, it answers by asking once, and holds
    // what it held.
    void expect_well(const std::string &objects, const Footprint &footprint)
    {
        using namespace test_support;
        service().take_requests();
        for (const auto &[word, reply] : {std::pair(1, kOn), std::pair(0, kOff)}) {
            answer_led(record(Bytes(4).u32(0, word)));
            EXPECT_EQ(get_led(), reply);
        }
        EXPECT_EQ(service().take_requests(), (Requests{{kGetLed, 8}, {kGetLed, 8}}));
        EXPECT_EQ(client().list("wexond*"), objects);
        EXPECT_EQ(footprint_of(daemon()), footprint);
    }
};
