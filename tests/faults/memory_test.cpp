// Memory that runs out at every single allocation of every method's call, and threads that cannot be started.

#include <deque>
#include <regex>
#include <set>
#include <sstream>
#include <sys/mman.h>

#include "events/event_records.h"
#include "tests/events/events.h"
#include "tests/faults/starved_test.h"
#include "tests/support/listening.h"

using namespace test_support;

namespace
{

constexpr uint32_t kEndless = UINT32_MAX;

// A method with arguments that it takes, and the calls before and after it that give the daemon its state back.
struct Row {
    Call call;
    std::vector<Call> before = {};
    std::vector<Call> after = {};
};

constexpr const char *kStation = R"({"internetaccess": 2, "storageaccess": 1, "usbandwidth": 1, "dsbandwidth": 2,
    "devname": "d", "brand": "b", "model": "m"})";
constexpr const char *kRadio = R"({"channel": 6, "txpower": "high", "bandwidth": 20, "enable": "yes"})";

// Every method of the catalogue and of each kind of entry.
const Row kRows[] = {
    {{"wexond", "upgrade", R"({"downurl": "http://a", "filesize": 1, "chksum": "c", "isreboot": "1"})"}},
    {{"wexond", "reboot"}},
    {{"wexond", "reset"}},
    {{"wexond.iptv", "set", R"({"enable": "yes", "vlanid": 5, "ethport": [1, 2], "2.4G": [1], "5G": [2]})"}},
    {{"wexond.iptv", "get"}},
    {{"wexond.ledswitch", "set", R"({"status": "on"})"}},
    {{"wexond.ledswitch", "get"}},
    {{"wexond.serverinfo", "set", R"({"bssaddr": "a", "abiaddr": "b", "devtoken": "c", "devid": "d",
        "backup": ["e", "f"]})"}},
    {{"wexond.serverinfo", "get"}},
    {{"wexond.devinfo", "set", R"({"workmode": "router"})"}},
    {{"wexond.devinfo", "get"}},
    {kListStations, {kListNoStations}},
    {kListNoStations, {kListStations}},
    {{"wexond.laninfo", "getnum"}},
    {{"wexond.laninfo.1", "list"}, {kListStations}},
    {{"wexond.laninfo.1", "list", "{}", World::empty}, {kListStations}},
    {{"wexond.laninfo.1", "getnum"}, {kListStations}},
    {{"wexond.laninfo.1", "set", kStation}, {kListStations}},
    {{"wexond.laninfo.1", "get"}, {kListStations}},
    {{"wexond.waninfo", "set", R"({"networktype": "PPPOE", "pppoename": "n", "pppoepwd": "p"})"}},
    {{"wexond.waninfo", "get"}},
    {{"wexond.neighbourinfo", "get"}},
    {{"wexond.wifi", "deassociation", R"({"macs": ["00:11:22:33:44:55"]})"}},
    {{"wexond.wifi", "set", R"({"wifiswitch": "on", "wpsswitch": "on", "elinksync": "on"})"}},
    {{"wexond.wifi", "get"}},
    {{"wexond.wifi", "channelscan"}},
    {{"wexond.wifi.blacklist", "add", R"({"mac": "001122334455", "name": "n"})"}},
    {{"wexond.wifi.blacklist", "delete", kIndex2}},
    {{"wexond.wifi.blacklist", "list"}},
    {{"wexond.wifi.whitelist", "add", R"({"mac": "001122334455", "name": "n"})"}},
    {{"wexond.wifi.whitelist", "delete", kIndex2}},
    {{"wexond.wifi.whitelist", "list"}},
    {{"wexond.wifi.mesh", "set", R"({"mode": "controller", "roaming": "yes"})"}},
    {{"wexond.wifi.mesh", "get"}},
    {{"wexond.wifi.mesh", "backhaulbss"}},
    {{"wexond.wifi.mesh", "topo"}},
    {{"wexond.wifi.vsie", "get"}},
    {{"wexond.wifi.vsie.beacontx", "add",
      R"({"servicename": "s", "ssididx": 1, "duration": 9, "len": 2, "iedata": [7, 8]})"}},
    {{"wexond.wifi.vsie.beacontx", "delete", kIndex2}},
    {{"wexond.wifi.vsie.beacontx", "list"}},
    {{"wexond.wifi.vsie.beacontx", "start", kIndex2}},
    {{"wexond.wifi.vsie.beacontx", "stop", kIndex2}},
    {{"wexond.wifi.vsie.proberx", "add", R"({"servicename": "s", "band": 1, "oui": [1, 2, 3]})"}},
    {{"wexond.wifi.vsie.proberx", "delete", kIndex2}},
    {{"wexond.wifi.vsie.proberx", "list"}},
    {{"wexond.wifi.vsie.proberx", "flush", R"({"servicename": "s"})"}},
    {{"wexond.wifi.vsie.proberesp", "add", R"({"mac": "001122334455", "iedata": [1, 2]})"}},
    {{"wexond.wifi.vsie.proberesp", "delete", kIndex2}},
    {{"wexond.wifi.vsie.proberesp", "list"}},
    {kAddTimer, {}, {kDeleteTimer}},
    {kDeleteTimer, {kAddTimer}, {kDeleteTimer}},
    {kListTimers, {kListNoTimers, kAddTimer}, {kListTimers}},
    {{"wexond.wifi.timer.1", "set", kTimer}},
    {{"wexond.wifi.timer.1", "get"}},
    {{"wexond.wifi.roaming", "set", R"({"enable": "yes", "thresholdrssi": -70, "reportinterval": 1, "starttime": 2,
        "startrssi": -60})"}},
    {{"wexond.wifi.roaming", "get"}},
    {{"wexond.wifi.roaming", "getrssiinfo", R"({"macs": ["001122334455", "001122334456"]})"}},
    {{"wexond.wifi.roaming", "startaprssiquery",
      R"({"mac": "001122334455", "aps": [{"bssid": "001122334456", "channel": 6}]})"}},
    {{"wexond.wifi.roaming", "startstabsstransitionrequest",
      R"({"mac": "001122334455", "channel": 6, "bssid": "001122334456"})"}},
    {{"wexond.wifi.1", "set", kRadio}},
    {{"wexond.wifi.1", "get"}},
    {{"wexond.wifi.1", "channelscore"}},
    {kAdd2gAp, {}, {kDelete2gAp}},
    {kDelete2gAp, {kAdd2gAp}, {kDelete2gAp}},
    {{"wexond.wifi.1.ap", "list"}},
    {{"wexond.wifi.1.ap", "stats"}},
    {{"wexond.wifi.1.ap.1", "set", kAp}},
    {{"wexond.wifi.1.ap.1", "get"}},
    {{"wexond.wifi.1.ap.1", "stats"}},
    {{"wexond.wifi.2", "set", kRadio}},
    {{"wexond.wifi.2", "get"}},
    {{"wexond.wifi.2", "channelscore"}},
    {kAdd5gAp, {}, {kDelete5gAp}},
    {kDelete5gAp, {kAdd5gAp}, {kDelete5gAp}},
    {{"wexond.wifi.2.ap", "list"}},
    {{"wexond.wifi.2.ap", "stats"}},
    {{"wexond.wifi.2.ap.1", "set", kAp}},
    {{"wexond.wifi.2.ap.1", "get"}},
    {{"wexond.wifi.2.ap.1", "stats"}},
    {{"wexond.qos", "set", R"({"enable": "yes", "enabledscp": "yes", "enable8021p": "yes"})"}},
    {{"wexond.qos", "get"}},
    {kAddRule, {}, {kDeleteRule}},
    {kDeleteRule, {kAddRule}, {kDeleteRule}},
    {kListRules, {kListNoRules, kAddRule}, {kListRules}},
    {{"wexond.diagnostics", "get"}},
    {{"wexond.diagnostics", "netstat"}},
    {{"wexond.diagnostics", "ping", R"({"host": "h", "num": 1, "timeout": 2, "blocksize": 3})"}},
    {{"wexond.diagnostics", "traceroute",
      R"({"host": "h", "numoftries": 1, "timeout": 2, "blocksize": 3, "maxhop": 4})"}},
    {kAddUrlRule, {}, {kDeleteUrlRule}},
    {kDeleteUrlRule, {kAddUrlRule}, {kDeleteUrlRule}},
    {kListUrlRules, {kListNoUrlRules, kAddUrlRule}, {kListUrlRules}},
    {{"wexond.filter.url.1", "set", kUrlRule}},
    {{"wexond.filter.url.1", "get"}},
    {kAddDnsRule, {}, {kDeleteDnsRule}},
    {kDeleteDnsRule, {kAddDnsRule}, {kDeleteDnsRule}},
    {kListDnsRules, {kListNoDnsRules, kAddDnsRule}, {kListDnsRules}},
    {{"wexond.filter.dns.1", "set", kDnsRule}},
    {{"wexond.filter.dns.1", "get"}},
    {{"wexond.ipv6", "set", R"({"enable": "yes"})"}},
    {{"wexond.ipv6", "get"}},
    {{"wexond.devinfo.ext", "get"}},
};

// What a call replied, what it asked of the service, and which objects there were then.
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

// What a method replies when the service leaves requests of it unanswered is what it is known to say, and all that it
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
    for (const Row &row : kRows)
        starve(row);
}

TEST_F(MemoryTest, EveryMethodIsTried)
{
    start();
    make(kListStations);
    // These static objects list the methods of their entries, which they do not serve.
    std::set<std::string> tried = {"wexond.filter.url set", "wexond.filter.url get", "wexond.laninfo set",
                                   "wexond.laninfo get"};
    std::set<std::string> listed;
    for (const Row &row : kRows)
        tried.insert(row.call.object + std::string(" ") + row.call.method);
    std::istringstream lines(client().list("wexond*"));
    for (std::string line, object; std::getline(lines, line);)
        if (line[0] != ' ')
            object = line + " ";
        else
            listed.insert(object + line.substr(2, line.find(' ', 2) - 2));
    EXPECT_EQ(tried, listed);
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
        while (daemon_->is_running() && !is_up(agent) && failures().size() < kObjects)
            std::this_thread::sleep_for(Milliseconds(5));
        uint32_t allocations = memory_->allocations;
        memory_->armed = 0;
        if (daemon_->is_running()) {
            std::set<std::string> objects = static_objects(agent), missing = failures();
            EXPECT_EQ(objects.size() + missing.size(), kObjects) << testing::PrintToString(objects);
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
    static constexpr size_t kObjects = 29; // of the catalogue
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
        for (const char *object :
             {"wexond.laninfo", "wexond.waninfo", "wexond.ledswitch", "wexond.wifi", "wexond.wifi.2",
              "wexond.wifi.2.ap.1", "wexond.diagnostics", "wexond.wifi.roaming", "wexond.wifi.vsie.proberx"})
            client().subscribe(object);
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
