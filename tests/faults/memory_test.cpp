// Memory that runs out at every single allocation of every method's call, and threads that cannot be started.

#include <algorithm>
#include <deque>
#include <regex>
#include <set>
#include <sstream>
#include <sys/mman.h>

#include "events/event_records.h"
#include "tests/events/events.h"
#include "tests/faults/starved_test.h"
#include "tests/support/description.h"
#include "tests/support/listening.h"

using namespace test_support;

namespace
{

constexpr uint32_t kEndless = UINT32_MAX;

// A call, and the calls before and after it that give the daemon its state back.
struct Row {
    Call call;
    std::vector<Call> before = {};
    std::vector<Call> after = {};
};

// Those that need others, or arguments that only the world of these tests has.
const Row kRows[] = {
    {kListStations, {kListNoStations}},
    {kListNoStations, {kListStations}, {kListStations}},
    {{"wexond.laninfo.1", "list"}},
    {{"wexond.laninfo.1", "list", "{}", World::empty}, {kListStations}, {kListStations}},
    {kAddTimer, {}, {kDeleteTimer}},
    {kDeleteTimer, {kAddTimer}, {kDeleteTimer}},
    {kListTimers, {kListNoTimers, kAddTimer}, {kListTimers}},
    {kAdd2gAp, {}, {kDelete2gAp}},
    {kDelete2gAp, {kAdd2gAp}, {kDelete2gAp}},
    {kAdd5gAp, {}, {kDelete5gAp}},
    {kDelete5gAp, {kAdd5gAp}, {kDelete5gAp}},
    {kAddRule, {}, {kDeleteRule}},
    {kDeleteRule, {kAddRule}, {kDeleteRule}},
    {kListRules, {kListNoRules, kAddRule}, {kListRules}},
    {kAddUrlRule, {}, {kDeleteUrlRule}},
    {kDeleteUrlRule, {kAddUrlRule}, {kDeleteUrlRule}},
    {kListUrlRules, {kListNoUrlRules, kAddUrlRule}, {kListUrlRules}},
    {kAddDnsRule, {}, {kDeleteDnsRule}},
    {kDeleteDnsRule, {kAddDnsRule}, {kDeleteDnsRule}},
    {kListDnsRules, {kListNoDnsRules, kAddDnsRule}, {kListDnsRules}},
};

// A call's reply, its requests to the service, and the objects there were then.
struct Outcome {
    std::string reply;
    Requests requests;
    std::string objects;

    bool operator==(const Outcome &) const = default;
};

void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << outcome.reply << testing::PrintToString(outcome.requests) << '\n' << outcome.objects;
}

bool is_refusal(const std::string &reply)
{
    return reply.starts_with(R"({"result": "1", )") && reply.find(R"("failreason": ")") != std::string::npos;
}

// The lines that are no method.
std::string paths_in(const std::string &listing)
{
    std::string paths;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);)
        if (line[0] != ' ')
            paths += line + '\n';
    return paths;
}

// Some objects list the methods of their entries, which they do not serve.
bool serves(const Json &method)
{
    return std::ranges::any_of(method["examples"], [](const Json &example) {
        return example["reply"].is_object() && example["reply"].value("result", "0") == "0";
    });
}

// Which allocations of a call fail and which requests of it are not answered; none by default.
struct Trouble {
    uint32_t first_allocation = 0, last_allocation = 0;
    uint32_t first_request = kEndless, last_request = 0;
};

class MemoryTest : public StarvedTest
{
  protected:
    std::string make(const Call &call, const Trouble &trouble = {});
    Outcome run(const Row &row, const Trouble &trouble = {});
    void starve(const Row &row, uint32_t most = kEndless);

    std::string log_;

  private:
    std::set<std::string> partial_replies(const Row &row, uint32_t requests, uint32_t most);
};

std::string MemoryTest::make(const Call &call, const Trouble &trouble)
{
    leave_unanswered(trouble.first_request, trouble.last_request);
    memory_->first = trouble.first_allocation;
    memory_->last = trouble.last_allocation;
    memory_->allocations = memory_->failures = 0;
    memory_->armed = 1;
    std::string reply = StarvedTest::make(call);
    leave_unanswered(kEndless, 0);
    return reply;
}

Outcome MemoryTest::run(const Row &row, const Trouble &trouble)
{
    for (const Call &call : row.before)
        make(call);
    service().take_requests();
    take_log();
    Outcome outcome = {make(row.call, trouble), service().take_requests(), ""};
    uint32_t allocations = memory_->allocations, failures = memory_->failures;
    log_ += take_log();
    if (!row.before.empty() || !row.after.empty())
        outcome.objects = paths_in(client().list("wexond*"));
    for (const Call &call : row.after)
        make(call);
    memory_->allocations = allocations;
    memory_->failures = failures;
    return outcome;
}

// The reply of a method whose requests the service leaves unanswered is one that it is known to give, and all that it
// may say when its memory runs out, beside the whole truth and a failure.
std::set<std::string> MemoryTest::partial_replies(const Row &row, uint32_t requests, uint32_t most)
{
    std::set<std::string> replies;
    for (uint32_t request = requests - std::min(requests, most) + 1; request <= requests; request++)
        for (uint32_t last : {request, kEndless})
            replies.insert(run(row, {.first_request = request, .last_request = last}).reply);
    return replies;
}

// Fails each allocation of a call by itself, and with all that follow it; of a long call only the last ones.
void MemoryTest::starve(const Row &row, uint32_t most)
{
    SCOPED_TRACE(testing::Message() << row.call.object << ' ' << row.call.method);
    run(row);
    const Outcome whole = run(row);
    const uint32_t allocations = memory_->allocations;
    const int64_t before = blocks();
    EXPECT_EQ(whole.reply.substr(0, 2), "{\"") << whole.reply;
    EXPECT_FALSE(is_refusal(whole.reply)) << whole.reply;
    EXPECT_GE(allocations, 1u) << "an answer of the service, or a table";
    const std::set<std::string> partial = partial_replies(row, static_cast<uint32_t>(whole.requests.size()), most);
    EXPECT_EQ(run(row), whole);

    for (uint32_t first = allocations - std::min(allocations, most) + 1; first <= allocations; first++)
        for (uint32_t last : {first, kEndless}) {
            SCOPED_TRACE(testing::Message()
                         << "allocation " << first << (last == first ? "" : " and all later") << " of " << allocations);
            const Outcome starved = run(row, {.first_allocation = first, .last_allocation = last});
            EXPECT_GE(memory_->failures, 1u);
            if (starved.reply == whole.reply && !partial.contains(starved.reply))
                EXPECT_EQ(starved.requests, whole.requests);
            else
                EXPECT_TRUE(is_refusal(starved.reply) || partial.contains(starved.reply)) << starved.reply;
            for (const Request &request : starved.requests)
                EXPECT_LE(std::count(starved.requests.begin(), starved.requests.end(), request),
                          std::count(whole.requests.begin(), whole.requests.end(), request))
                    << request;
            EXPECT_EQ(run(row), whole);
            EXPECT_EQ(blocks(), before);
        }
}

TEST_F(MemoryTest, MayRunOutAtEveryAllocationOfEveryMethod)
{
    start();
    make(kListStations);
    std::set<std::pair<std::string, std::string>> tried;
    for (const Row &row : kRows) {
        starve(row);
        tried.emplace(row.call.object, row.call.method);
    }
    // Every other method of the objects that are there, with every argument that it is described with.
    std::istringstream paths(paths_in(client().list("wexond*")));
    for (std::string path; std::getline(paths, path);) {
        const DescribedObject *object = describe(path);
        ASSERT_NE(object, nullptr) << path;
        for (const auto &[method, described] : object->methods().items())
            if (serves(described) && !tried.contains({path, method}))
                starve({{path.c_str(), method.c_str(), sensible_arguments(described).dump().c_str()}, {}, {}});
    }
}

// Replies above 64 KiB, for which the bus library's own buffer has to grow and shrink.
TEST_F(MemoryTest, MayRunOutAtTheEndOfALongReply)
{
    start();
    constexpr uint32_t kStations = 120;
    service().answer(105, record(Bytes(20).u32(0, kStations)));
    service().answer(103, record(Bytes(8 + kStations * 544).u32(0, kStations)));
    service().answer(135, record(Bytes(100)));
    starve(Row{kListStations}, 4);
    EXPECT_GT(make(kListStations).size(), 64u * 1024);
}

// A log line more or less changes nothing else.
TEST_F(MemoryTest, MayRunOutWhileTheLogIsWritten)
{
    start();
    enable_log();
    for (const Row &row : {Row{kListStations, {kListNoStations}}, Row{kListTimers, {kListNoTimers}, {kListTimers}}})
        starve(row);
    EXPECT_NE(log_.find("[wexond_laninfo_list.#]: Failed to malloc mac&index list\n"), std::string::npos);
    EXPECT_NE(log_.find("[wifitimer_register_ubus.#]: wifitimer_register_ubus oom\n\n"), std::string::npos);
}

// Nothing is sent later for a caller who was told of a failure.
TEST_F(MemoryTest, MayRunOutWhileASettingIsPutOff)
{
    start();
    enable_log();
    make(kAdd2gAp);
    constexpr Call kSwitchOff = {"wexond.wifi.1.ap.2", "set", R"({"enable": "no"})"};
    EXPECT_EQ(make(kSwitchOff), kSuccess);
    uint32_t allocations = memory_->allocations, put_off = 1;
    take_log();
    for (uint32_t first = 1; first <= allocations; first++)
        for (uint32_t last : {first, kEndless}) {
            SCOPED_TRACE(testing::Message() << first << " to " << last << " of " << allocations);
            std::string reply = make(kSwitchOff, {.first_allocation = first, .last_allocation = last});
            log_ += take_log();
            bool is_error = reply[0] == '(' && reply != "(no reply)";
            EXPECT_TRUE(reply == kSuccess || is_error) << reply;
            service().take_requests();
            put_off += reply == kSuccess;
            EXPECT_EQ(make(kSwitchOff), kSuccess);
            put_off++;
        }
    EXPECT_NE(log_.find("[wexond_wifi1ap1_set.#]: malloc is NULL!\n"), std::string::npos);
    service().take_requests();
    Requests later = service().wait_for_requests(put_off, 2 * kPatience);
    EXPECT_EQ(later.size(), put_off) << testing::PrintToString(later);
}

// The daemon ends as it does without its bus, and its supervisor starts it again.
TEST_F(MemoryTest, MayRunOutWhileALongCallIsReceived)
{
    NEEDS_BUS_TOOL();
    start();
    service().take_requests();
    memory_->first = 1;
    memory_->last = kEndless;
    memory_->armed = 1;
    Process caller({bus_tool(), "-s", bus().socket().string(), "-t", "1", "call", "wexond.ledswitch", "get",
                    R"({"text": ")" + std::string(100000, 'x') + "\"}"});
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_EQ(caller.wait(), 256 - 7) << "no answer";
    EXPECT_EQ(service().take_requests(), Requests{});
}

// --- Start-up ---

// A daemon that starts with a range of its allocations failing, on a bus of its own.
class StarvedStart
{
  public:
    StarvedStart(uint32_t first, uint32_t last) : memory_(map_control(folder_ / kMemoryControlFile))
    {
        service_.answer(kGetLed, record(Bytes(4).u32(0, 1)));
        memory_->first = first;
        memory_->last = last;
        memory_->armed = 1;
        daemon_.emplace(std::vector<std::string>{built_program("wexond-starved")},
                        Process::Environment{{"WEXOND_TEST_DIR", folder_.path().string()}});
    }
    ~StarvedStart() { munmap(memory_, sizeof(MemoryControl)); }

    uint32_t first() const { return memory_->first; }
    uint32_t last() const { return memory_->last; }

    // It ends, or comes up with all objects but those of which it tells. Returns how often it has allocated.
    uint32_t expect_all_or_none_or_told()
    {
        BusClient agent(bus_.socket());
        while (daemon_->is_running() && !is_up(agent) && failures().size() < registered_objects().size())
            std::this_thread::sleep_for(Milliseconds(5));
        uint32_t allocations = memory_->allocations;
        memory_->armed = 0;
        if (daemon_->is_running()) {
            std::set<std::string> objects = static_objects(agent), missing = failures();
            EXPECT_EQ(objects.size() + missing.size(), registered_objects().size()) << testing::PrintToString(objects);
            if (objects.contains("wexond.ledswitch")) {
                EXPECT_EQ(agent.call("wexond.ledswitch", "get"), kOn);
            }
            bus_.stop();
            EXPECT_EQ(daemon_->wait(3 * kPatience), 0);
        } else {
            // Without the bus, or without a thread.
            EXPECT_TRUE(daemon_->wait() == 0 || daemon_->wait() == 255) << *daemon_->wait();
        }
        EXPECT_EQ(std::regex_replace(daemon_->standard_error(), kFailure, ""), "");
        return allocations;
    }

  private:
    static inline const std::regex kFailure{"Failed to (add|connect to) ([a-z0-9.]+)(: Out of memory)?\n"};

    std::set<std::string> failures() const
    {
        std::string text = daemon_->standard_error();
        std::set<std::string> failures;
        for (std::sregex_iterator line(text.begin(), text.end(), kFailure), end; line != end; ++line)
            failures.insert(line->str(2));
        return failures;
    }

    static std::set<std::string> static_objects(BusClient &agent)
    {
        std::set<std::string> objects;
        std::istringstream paths(paths_in(agent.list("wexond*")));
        for (std::string path; std::getline(paths, path);)
            if (path.find(".ap.") == std::string::npos)
                objects.insert(path);
        return objects;
    }

    // Whether the loop runs. The daemon may end without an answer.
    bool is_up(BusClient &agent) const
    {
        constexpr int kMethodNotFound = 256 - 3;
        std::set<std::string> objects = static_objects(agent);
        return !objects.empty() &&
               Process({bus_tool(), "-s", bus_.socket().string(), "-t", "2", "call", *objects.begin(), "?"}).wait() ==
                   kMethodNotFound;
    }

    TemporaryFolder folder_;
    MemoryControl *memory_;
    Bus bus_{folder_ / "ubus.sock"};
    ScriptedService service_{folder_ / "orvc.sock"};
    std::optional<Process> daemon_;
};

// Each allocation in the long run, a few in the ordinary one; many at once, since a start without the service takes
// long.
TEST(StarvedStartTest, MemoryThatRunsOutAtStartLeavesADaemonThatTellsOrNone)
{
    NEEDS_BUS_TOOL();
    uint32_t allocations = StarvedStart(0, 0).expect_all_or_none_or_told();
    uint32_t step = getenv("WEXOND_LONG_TESTS") ? 1 : 1 + allocations / 4;
    std::deque<StarvedStart> starts;
    for (uint32_t first = 1; first <= allocations; first += step)
        for (uint32_t last : {first, kEndless})
            starts.emplace_back(first, last);
    for (StarvedStart &start : starts) {
        SCOPED_TRACE(testing::Message() << start.first() << " to " << start.last());
        start.expect_all_or_none_or_told();
    }
}

// --- Threads ---

TEST_F(MemoryTest, RunsWithoutItsEventRelay)
{
    memory_->failing_thread = 3;
    enable_log();
    start();
    EXPECT_NE(take_log().find("[WEXOND_MsgRcv_ThreadInit.#]: Create gpWEXOND_MsgRcv_pthread error!\n\n"),
              std::string::npos);
    EXPECT_EQ(get_led(), kOn);
    EXPECT_FALSE(std::filesystem::exists(event_socket()));
}

TEST_F(MemoryTest, EndsWithoutTheStarterOfItsEventRelay)
{
    memory_->failing_thread = 2;
    enable_log();
    launch();
    EXPECT_EQ(daemon().wait(), 255);
    std::string log = take_log();
    for (const char *line :
         {"[WEXOND_ThreadInit.#]: WEXOND_Notify_ThreadInit error\n\n", "[main.#]: WEXOND_ThreadInit error\n\n"})
        EXPECT_NE(log.find(line), std::string::npos) << log;
    expect_status(255);
}

TEST_F(MemoryTest, FailsACallForWhichThereIsNoThread)
{
    start();
    make(kAdd2gAp);
    memory_->failing_thread = memory_->threads + 1;
    const int64_t before = blocks();
    EXPECT_EQ(make({"wexond.wifi.1.ap.2", "set", R"({"enable": "no"})"}), "(Unknown error: -1)");
    EXPECT_EQ(blocks(), before);
    EXPECT_EQ(make({"wexond.wifi.1.ap.2", "set", R"({"enable": "no"})"}), kSuccess);
}

// --- Events ---

using Messages = std::vector<std::string>;

class EventMemoryTest : public MemoryTest
{
  protected:
    void SetUp() override
    {
        start();
        wait_until_listening(event_socket());
        std::istringstream paths(paths_in(client().list("wexond*")));
        for (std::string path; std::getline(paths, path);)
            if (!describe(path)->description["notifications"].empty())
                client().subscribe(path);
        Bytes record(300);
        for (size_t offset = 0; offset < record.size(); offset += 4)
            record.u32(offset, 1);
        for (const EventKind &kind : kEvents)
            batch_ += event(kind.type, record);
    }

    // The notifications of a batch of every event.
    Messages send_all()
    {
        send_batch(event_socket(), batch_);
        Messages messages;
        while (messages.size() < std::size(kEvents))
            if (auto message = client().next_message())
                messages.push_back(*message);
            else
                break;
        EXPECT_EQ(call("wexond", "?"), "(Method not found)"); // behind the drain
        return messages;
    }

    // The same with the memory failing, until all that was stored has been sent, or lost, and freed.
    Messages send_starved(uint32_t first, uint32_t last)
    {
        const int32_t blocks = memory_->blocks;
        memory_->first = first;
        memory_->last = last;
        memory_->allocations = memory_->failures = 0;
        memory_->armed = 1;
        send_batch(event_socket(), batch_);
        auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (memory_->blocks != blocks && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(Milliseconds(2));
        memory_->armed = 0;
        EXPECT_EQ(memory_->blocks, blocks);
        EXPECT_EQ(call("wexond", "?"), "(Method not found)"); // behind the drain
        Messages messages;
        while (auto message = client().next_message(Milliseconds(1)))
            messages.push_back(*message);
        return messages;
    }

    std::string batch_;
};

TEST_F(EventMemoryTest, LosesWholeEventsOnly)
{
    const Messages whole = send_all();
    ASSERT_EQ(whole.size(), std::size(kEvents));
    EXPECT_EQ(send_starved(0, 0), whole);
    uint32_t allocations = memory_->allocations;
    EXPECT_GE(allocations, 2 * std::size(kEvents)) << "a record and a message each";
    for (uint32_t first = 1; first <= allocations; first++)
        for (uint32_t last : {first, kEndless}) {
            SCOPED_TRACE(testing::Message() << first << " to " << last << " of " << allocations);
            Messages messages = send_starved(first, last);
            EXPECT_LT(messages.size(), whole.size());
            EXPECT_TRUE(std::includes(whole.begin(), whole.end(), messages.begin(), messages.end(),
                                      [&](const std::string &a, const std::string &b) {
                                          return std::find(whole.begin(), whole.end(), a) <
                                                 std::find(whole.begin(), whole.end(), b);
                                      }))
                << testing::PrintToString(messages);
            EXPECT_EQ(send_all(), whole);
        }
}

} // namespace
