// The daemon's answers while its configuration service plays each of its faults: to a method that reads, to one that
// writes and to one that lists.

#include <chrono>

#include "lab.h"
#include "tests/support/emulator.h"

namespace
{

constexpr const char *kFailedGet = R"({"result":"1","failreason":"failed to get ledswitch"})";
constexpr const char *kFailedSet = R"({"result":"1","failreason":"failed to set ledswitch"})";
constexpr const char *kFailedList = R"({"result":"1","failreason":"failed to get filter url"})";
constexpr const char *kOn = R"({"wexond.ledswitch":{"status":"on"}})";
constexpr const char *kOff = R"({"wexond.ledswitch":{"status":"off"}})";

struct Row {
    const char *name;
    const char *fault;
    const char *get;   // of the LEDs, which are on
    const char *set;   // of the LEDs, to off
    const char *after; // what they are then
    const char *list;  // of the URL rules: all of the reply, or how it begins
    int least, most;   // milliseconds that each takes
};

void PrintTo(const Row &row, std::ostream *stream)
{
    *stream << row.fault;
}

// A time limit of ten seconds ends a silence. An answer that is too short is zero beyond its end, one that is too long
// is cut; what a record holds is not the daemon's to judge.
constexpr Row kRows[] = {
    {"Silent", "silent", kFailedGet, kFailedSet, kOn, kFailedList, 9000, 13000},
    {"Drop", "drop", kFailedGet, kFailedSet, kOff, kFailedList, 9000, 13000},
    {"Close", "close", kFailedGet, kFailedSet, kOn, kFailedList, 0, 3000},
    {"Code", "code=5", kFailedGet, kFailedSet, kOn, kFailedList, 0, 3000},
    {"Delay", "delay=700", kOn, kSuccess, kOff, R"({"wexond.filter.url":[{"idx":1,"enable":"yes",)", 700, 4000},
    {"Short", "short=67844", kOff, kSuccess, kOff, R"({"wexond.filter.url":[]})", 0, 3000},
    {"Long", "long=5000", kOn, kSuccess, kOff, R"({"wexond.filter.url":[{"idx":1,"enable":"yes",)", 0, 3000},
    {"Garbage", "garbage", kOff, kSuccess, kOff, R"({"wexond.filter.url":[{"idx":)", 0, 3000},
};

struct LabFaults : Lab, testing::WithParamInterface<Row> {
    const Row &row = GetParam();

    std::string fault(std::vector<std::string> words)
    {
        words.insert(words.begin(), {"fault", "--socket", path("orvc.sock")});
        return orvcd(words);
    }
    // A call that meets the fault, and one after it that does not.
    std::string call_with_fault(const std::string &type, const std::string &object, const std::string &method,
                                const std::string &arguments = "{}")
    {
        fault({type, row.fault, "for", "1", "request"});
        const auto start = std::chrono::steady_clock::now();
        const std::string reply = ubus({"-S", "call", object, method, arguments});
        const auto time = std::chrono::steady_clock::now() - start;
        EXPECT_GE(time, std::chrono::milliseconds(row.least));
        EXPECT_LT(time, std::chrono::milliseconds(row.most) * kSlowness);
        EXPECT_EQ(fault({"list"}), "") << "the fault was met";
        return reply;
    }
};

TEST_P(LabFaults, AreAnsweredByAMethodThatReads)
{
    EXPECT_EQ(call_with_fault("ORVC_GET_LEDSWITCH", "wexond.ledswitch", "get"), row.get);
    EXPECT_EQ(call("wexond.ledswitch", "get"), kOn) << "what comes late belongs to no later request";
}

TEST_P(LabFaults, AreAnsweredByAMethodThatWrites)
{
    EXPECT_EQ(call_with_fault("21", "wexond.ledswitch", "set", R"({"status":"off"})"), row.set);
    EXPECT_EQ(call("wexond.ledswitch", "get"), row.after);
}

TEST_P(LabFaults, AreAnsweredByAMethodThatLists)
{
    const std::string whole = call("wexond.filter.url", "list");
    const std::string reply = call_with_fault("all", "wexond.filter.url", "list");
    EXPECT_EQ(reply.substr(0, strlen(row.list)), row.list);
    EXPECT_EQ(call("wexond.filter.url", "list"), whole);
}

INSTANTIATE_TEST_SUITE_P(All, LabFaults, testing::ValuesIn(kRows),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
