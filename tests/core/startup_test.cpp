// Start-up in the test's own process: every request, pause, log line and timer, in order, without the waiting.
#include "core/startup.h"

#include <dlfcn.h>
#include <map>
#include <regex>
#include <sstream>

#include "core/catalogue.h"
#include "core/entry.h"
#include "tests/core/bus_test.h"
#include "tests/core/catalogue.h"
#include "tests/core/fake_service.h"
#include "tests/core/pauses.h"

using namespace std::string_literals;
using test_support::Bytes;

namespace
{

using Indices = std::vector<uint32_t>;

struct SetTimer {
    uloop_timeout *timer;
    int milliseconds;
};

// The requests of the daemon's code, while a test listens.
bool recording;
std::vector<SetTimer> timers;

} // namespace

extern "C" int uloop_timeout_set(uloop_timeout *timer, int milliseconds)
{
    static auto *real = reinterpret_cast<decltype(&uloop_timeout_set)>(dlsym(RTLD_NEXT, "uloop_timeout_set"));
    if (recording)
        timers.push_back({timer, milliseconds});
    return real(timer, milliseconds);
}

namespace
{

constexpr uint32_t kListTimers = 98, kGetRadio = 181, kGetAp = 185, kListUrls = 206, kListDns = 211, kGetFactory = 239;

Bytes ap_request(uint32_t band, uint32_t index)
{
    return Bytes(200).u32(0, band).u32(4, index);
}

Bytes ap(uint32_t enable, const std::string &ssid)
{
    return Bytes(200).u32(8, enable).text(12, ssid);
}

// A list answer: its count and so many rows, each with its index first.
Bytes list_of(uint32_t count, size_t stride, const Indices &indices)
{
    Bytes list(4 + 32 * stride);
    list.u32(0, count);
    for (size_t i = 0; i < indices.size(); i++)
        list.u32(4 + i * stride, indices[i]);
    return list;
}

Indices one_to(uint32_t last)
{
    Indices indices;
    for (uint32_t index = 1; index <= last; index++)
        indices.push_back(index);
    return indices;
}

uint32_t word_of(const Bytes &bytes, size_t offset)
{
    uint32_t word = 0;
    for (size_t i = 4; i-- > 0;)
        word = word << 8 | static_cast<unsigned char>(bytes.data()[offset + i]);
    return word;
}

class StartupUnitTest : public CoreBusTest
{
  protected:
    StartupUnitTest()
    {
        use_test_families();
        scanned_bands.clear();
        drains = 0;
        timers.clear();
        wexond_factory_flag = 0;
        fake_service = {};
        fake_service.rule = [this](const SentRequest &request) { return judge(request); };
        enable_log();
    }
    ~StartupUnitTest() override
    {
        forget_start();
        fake_service = {};
    }

    // The answers of a service that is up; each may be changed. Access points by band and index; others are enabled.
    uint32_t ap_counts[2] = {1, 1};
    std::map<std::pair<uint32_t, uint32_t>, std::optional<Bytes>> aps;
    std::map<uint32_t, std::optional<Bytes>> answers = {
        {kListTimers, answer(0, Bytes(1156))},
        {kListUrls, answer(0, Bytes(67844))},
        {kListDns, answer(0, Bytes(36228))},
        {kGetFactory, answer(0, Bytes(4))},
    };
    // This many requests for an access point go unanswered, counting each band and index for itself.
    std::map<std::pair<uint32_t, uint32_t>, int> unanswered;

    std::vector<long> pauses;
    int interruptions = 0;

    // Runs start-up and one turn of the loop; what it logged.
    std::string start()
    {
        RecordedPauses recorded(interruptions);
        uloop_timeout ender = {.cb = [](uloop_timeout *) { uloop_end(); }};
        uloop_timeout_set(&ender, 0);
        recording = true;
        EXPECT_EQ(wexond_main(), 0);
        recording = false;
        pauses = recorded.taken();
        uloop_timeout_cancel(&ender);
        for (const SetTimer &set : timers)
            uloop_timeout_cancel(set.timer);
        return take_log();
    }

    // Takes everything off the bus that start-up put there.
    void forget_start()
    {
        for (ubus_object *object : families.objects)
            ubus_remove_object(wexond_context, object);
        for (vlist_tree *list : {&entry_lists.wifi_aps[0], &entry_lists.wifi_aps[1], &entry_lists.wifi_timers,
                                 &entry_lists.url_filters, &entry_lists.dns_filters}) {
            Entry *entry, *next;
            vlist_for_each_element_safe (list, entry, node, next)
                entry_remove(list, entry);
        }
        take_log();
    }

    std::string entry_names()
    {
        std::string names;
        std::istringstream lines(objects());
        for (std::string line; std::getline(lines, line);)
            if (line[0] != ' ' && line != "wexond.a" && line != "wexond.b")
                names += line + "\n";
        return names;
    }

    static SentRequest request(uint32_t type, std::optional<Bytes> payload, uint32_t expected)
    {
        uint32_t length = payload ? static_cast<uint32_t>(payload->size()) : 0;
        return {"", type, 1, payload, length, expected};
    }

    // The requests so far, without their path.
    std::vector<SentRequest> requests()
    {
        std::vector<SentRequest> requests = fake_service.requests;
        for (SentRequest &request : requests) {
            EXPECT_EQ(request.path, folder() / "orvc.sock");
            request.path.clear();
        }
        return requests;
    }

  private:
    std::optional<Bytes> judge(const SentRequest &request)
    {
        if (request.type == kGetRadio)
            return answer(0, Bytes(48).u32(32, ap_counts[word_of(*request.payload, 0)]));
        if (request.type == kGetAp) {
            std::pair key(word_of(*request.payload, 0), word_of(*request.payload, 4));
            if (unanswered[key]-- > 0)
                return std::nullopt;
            auto found = aps.find(key);
            return found == aps.end() ? answer(0, ap(1, "home")) : found->second;
        }
        return answers[request.type];
    }
};

const char kCreatedFirstAps[] = "[wifiap_update.#]: Create wifiap '1'\n\n"
                                "[wifiap_update.#]: Create wifiap '1'\n\n";

TEST_F(StartupUnitTest, AsksForEverythingInOrder)
{
    ap_counts[0] = 2;
    ap_counts[1] = 3;
    start();
    EXPECT_EQ(requests(), (std::vector<SentRequest>{
                              request(185, ap_request(1, 1), 204),
                              request(181, Bytes(48).u32(0, 0), 52),
                              request(185, ap_request(0, 1), 204),
                              request(185, ap_request(0, 2), 204),
                              request(181, Bytes(48).u32(0, 1), 52),
                              request(185, ap_request(1, 1), 204),
                              request(185, ap_request(1, 2), 204),
                              request(185, ap_request(1, 3), 204),
                              request(98, std::nullopt, 1160),
                              request(206, std::nullopt, 67848),
                              request(211, std::nullopt, 36232),
                              request(239, std::nullopt, 8),
                          }));
    EXPECT_EQ(pauses, std::vector<long>{});
}

TEST_F(StartupUnitTest, RegistersTheObjectsInCatalogueOrderBeforeTheEntries)
{
    agent().listen("ubus.object.add");
    start();
    for (const char *path : {"wexond.b", "wexond.a", "wexond.wifi.1.ap.1", "wexond.wifi.2.ap.1"}) {
        std::string event = agent().next_message().value_or("(none)");
        EXPECT_EQ(std::regex_replace(event, std::regex("-?[0-9]+,"), "#,"),
                  "ubus.object.add {\"id\": #, \"path\": \""s + path + "\"}");
    }
}

TEST_F(StartupUnitTest, ReportsAnObjectThatCannotBeRegisteredAndGoesOn)
{
    agent().publish("wexond.b");
    testing::internal::CaptureStderr();
    start();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to add wexond.b: Invalid argument\n");
    EXPECT_NE(objects("wexond.a"), "");
    EXPECT_EQ(entry_names(), "wexond.wifi.1.ap.1\nwexond.wifi.2.ap.1\n");
}

TEST_F(StartupUnitTest, AnnouncesNothingMoreOnStandardError)
{
    testing::internal::CaptureStderr();
    start();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- The service is not there ---

TEST_F(StartupUnitTest, ComesUpWithoutTheService)
{
    fake_service.rule = nullptr;
    std::string unanswered_request = "[wexond_check_ret.#]: Msg return buf = NULL\n";
    std::string expected_log;
    auto expect_unanswered = [&](int count) {
        while (count-- > 0)
            expected_log += unanswered_request;
    };
    expect_unanswered(4); // probes
    for (int band = 0; band < 2; band++) {
        expect_unanswered(1 + 3); // the count, the first access point
        expected_log += "[wifiap_update.#]: Create wifiap '1'\n\n";
        expect_unanswered(3 * 3);
    }
    expected_log += "[wifitimer_init.#]: wifitimer_init:  failed \n\n"
                    "[filterurl_init.#]: NULL == pcBuf\n"
                    "[filterdns_init.#]: NULL == pcBuf\n";
    expect_unanswered(1);
    expected_log += "[wexond_main.#]: Failed to get factoryflag\n";
    EXPECT_EQ(start(), expected_log);

    EXPECT_EQ(entry_names(), "wexond.wifi.1.ap.1\nwexond.wifi.2.ap.1\n");
    EXPECT_EQ(pauses, (std::vector<long>{1, 1, 1, 1, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2}));
    std::vector<SentRequest> expected(4, request(185, ap_request(1, 1), 204));
    for (uint32_t band = 0; band < 2; band++) {
        expected.push_back(request(181, Bytes(48).u32(0, band), 52));
        for (uint32_t index = 1; index <= 4; index++)
            expected.insert(expected.end(), 3, request(185, ap_request(band, index), 204));
    }
    expected.insert(expected.end(), {request(98, std::nullopt, 1160), request(206, std::nullopt, 67848),
                                     request(211, std::nullopt, 36232), request(239, std::nullopt, 8)});
    EXPECT_EQ(requests(), expected);
    EXPECT_EQ(wexond_factory_flag, 0u);
}

TEST_F(StartupUnitTest, StopsProbingAtTheFirstSuccess)
{
    fake_service.answers = {std::nullopt, answer(7), answer(0, ap(1, "home"))};
    std::string log = start();
    EXPECT_EQ(log, "[wexond_check_ret.#]: Msg return buf = NULL\n[wexond_check_ret.#]: Msg retcode = 7\n"s +
                       kCreatedFirstAps);
    EXPECT_EQ(pauses, (std::vector<long>{1, 1}));
    EXPECT_EQ(requests().size(), 3 + 8u);
}

TEST_F(StartupUnitTest, SignalsDoNotShortenAPause)
{
    fake_service.answers = {std::nullopt, answer(0, ap(1, "home"))};
    interruptions = 1;
    start();
    EXPECT_EQ(pauses, std::vector<long>{1}) << "all of it";
}

// --- Access points ---

TEST_F(StartupUnitTest, TakesFourAccessPointsWhereTheCountIsUnknown)
{
    ap_counts[0] = ap_counts[1] = 0;
    start();
    EXPECT_EQ(entry_names(), "wexond.wifi.1.ap.1\nwexond.wifi.1.ap.2\nwexond.wifi.1.ap.3\nwexond.wifi.1.ap.4\n"
                             "wexond.wifi.2.ap.1\nwexond.wifi.2.ap.2\nwexond.wifi.2.ap.3\nwexond.wifi.2.ap.4\n");
}

TEST_F(StartupUnitTest, TakesFourAccessPointsWhereTheCountIsRefused)
{
    fake_service.rule = [](const SentRequest &request) { return answer(request.type == kGetRadio ? 1 : 0); };
    start();
    EXPECT_EQ(requests().size(), 1 + 2 * (1 + 4) + 4u);
}

TEST_F(StartupUnitTest, TakesNoMoreAccessPointsThanARadioCarries)
{
    for (uint32_t count : {65u, 1024u, 1025u, 0x80000000u, 0xFFFFFFFFu}) {
        ap_counts[0] = count;
        fake_service.requests.clear();
        start();
        EXPECT_EQ(requests().size(), 1 + 1 + std::min(count, 1024u) + 2 + 4);
        forget_start();
    }
}

TEST_F(StartupUnitTest, PassesOverUnconfiguredAccessPoints)
{
    ap_counts[0] = ap_counts[1] = 12;
    for (uint32_t band = 0; band < 2; band++) {
        auto set = [&](uint32_t index, uint32_t enable, const std::string &ssid) {
            aps[{band, index}] = answer(0, ap(enable, ssid));
        };
        const std::string own = band ? "KVQ_5G_" : "KVQ_", other = band ? "KVQ_" : "KVQ_5G_";
        set(1, 0, own + "1"); // also the first
        set(2, 0, own + "2");
        set(3, 0, "home");    // off under a name of its own
        set(4, 1, own + "4"); // on under the default name
        set(5, 0, other + "5");
        set(6, 0, own + "7");
        set(7, 0, own + "7 ");
        set(8, 2, own + "8"); // any word but 0 is on
        set(9, 0, "");
        set(10, 0, own + std::string(32 - own.size(), '1')); // a name without an end
        set(12, 0, own + "12");
    }
    start();
    std::string expected;
    for (const char *band : {"1", "2"})
        for (const char *index : {"10", "11", "3", "4", "5", "6", "7", "8", "9"})
            expected += "wexond.wifi."s + band + ".ap." + index + "\n";
    EXPECT_EQ(entry_names(), expected);
}

TEST_F(StartupUnitTest, AsksThreeTimesForAnAccessPoint)
{
    ap_counts[0] = 3;
    unanswered = {{{0, 1}, 3}, {{0, 2}, 2}, {{0, 3}, 3}};
    start();
    EXPECT_EQ(entry_names(), "wexond.wifi.1.ap.1\nwexond.wifi.1.ap.2\nwexond.wifi.2.ap.1\n");
    EXPECT_EQ(pauses, (std::vector<long>{1, 2, 1, 2, 1, 2}));
    EXPECT_EQ(requests().size(), 1 + 1 + 9 + 2 + 4u);
}

TEST_F(StartupUnitTest, TakesARefusalForAFailure)
{
    ap_counts[0] = 2;
    aps[{0, 2}] = answer(3, ap(1, "home"));
    EXPECT_EQ(start(), "[wifiap_update.#]: Create wifiap '1'\n\n"
                       "[wexond_check_ret.#]: Msg retcode = 3\n"
                       "[wexond_check_ret.#]: Msg retcode = 3\n"
                       "[wexond_check_ret.#]: Msg retcode = 3\n"
                       "[wifiap_update.#]: Create wifiap '1'\n\n");
    EXPECT_EQ(pauses, (std::vector<long>{1, 2}));
    EXPECT_EQ(entry_names(), "wexond.wifi.1.ap.1\nwexond.wifi.2.ap.1\n");
}

// --- Lists ---

std::string created(const std::string &function, const std::string &word, const Indices &indices)
{
    std::string log;
    for (uint32_t index : indices)
        log += "[" + function + ".#]: Create " + word + " '" + std::to_string(index) + "'\n\n";
    return log;
}

TEST_F(StartupUnitTest, ReadsTheLists)
{
    answers[kListTimers] = answer(0, list_of(2, 36, {7, 3, 99}));
    answers[kListUrls] = answer(0, list_of(3, 2120, {5, 4, 6, 99}));
    answers[kListDns] = answer(0, list_of(1, 1132, {8, 99}));
    EXPECT_EQ(start(), kCreatedFirstAps + created("wifitimer_update", "wifitimer", {7, 3}) +
                           created("filterurl_update", "filterurl", {5, 4, 6}) +
                           created("filterdns_update", "filterdns", {8}));
    EXPECT_EQ(entry_names(), "wexond.filter.dns.8\nwexond.filter.url.4\nwexond.filter.url.5\nwexond.filter.url.6\n"
                             "wexond.wifi.1.ap.1\nwexond.wifi.2.ap.1\nwexond.wifi.timer.3\nwexond.wifi.timer.7\n");
}

TEST_F(StartupUnitTest, CutsCountsAtWhatTheRecordsHold)
{
    for (uint32_t count : {32u, 40u, 0xFFFFFFFFu}) {
        answers[kListTimers] = answer(0, list_of(count, 36, one_to(32)));
        answers[kListUrls] = answer(0, list_of(count, 2120, one_to(32)));
        answers[kListDns] = answer(0, list_of(count, 1132, one_to(32)));
        EXPECT_EQ(start(), kCreatedFirstAps + created("wifitimer_update", "wifitimer", one_to(32)) +
                               created("filterurl_update", "filterurl", one_to(32)) +
                               created("filterdns_update", "filterdns", one_to(32)));
        forget_start();
    }
}

TEST_F(StartupUnitTest, ReadsTheListsOfARefusalToo)
{
    answers[kListTimers] = answer(1, list_of(1, 36, {7}));
    answers[kListUrls] = answer(2, list_of(1, 2120, {5}));
    answers[kListDns] = answer(3, list_of(1, 1132, {8}));
    EXPECT_EQ(start(),
              kCreatedFirstAps + created("wifitimer_update", "wifitimer", {7}) +
                  "[filterurl_init.#]: ORV_RET_OK != *peRet\n" + created("filterurl_update", "filterurl", {5}) +
                  "[filterdns_init.#]: ORV_RET_OK != *peRet\n" + created("filterdns_update", "filterdns", {8}));
}

TEST_F(StartupUnitTest, StartsTheListsAnew)
{
    start();
    EXPECT_NE(entry_find(&entry_lists.wifi_aps[0], 1), nullptr);
    EXPECT_TRUE(avl_is_empty(&entry_lists.lan_hosts.avl));
    EXPECT_TRUE(avl_is_empty(&entry_lists.classifications.avl));
}

// --- Factory flag ---

TEST_F(StartupUnitTest, ReadsTheFactoryFlag)
{
    answers[kGetFactory] = answer(0, Bytes(4).u32(0, 0x01020304));
    EXPECT_EQ(start(), kCreatedFirstAps);
    EXPECT_EQ(wexond_factory_flag, 0x01020304u);
}

TEST_F(StartupUnitTest, KeepsTheFactoryFlagClearedWhereItCannotBeRead)
{
    answers[kGetFactory] = answer(9, Bytes(4).u32(0, 1));
    EXPECT_EQ(start(), kCreatedFirstAps + "[wexond_check_ret.#]: Msg retcode = 9\n"s +
                           "[wexond_main.#]: Failed to get factoryflag\n");
    EXPECT_EQ(wexond_factory_flag, 0u);
}

// --- Timers ---

TEST_F(StartupUnitTest, ArmsTheDrainAndTheChannelScan)
{
    start();
    ASSERT_EQ(timers.size(), 2u);
    EXPECT_EQ(timers[0].milliseconds, 5000);
    EXPECT_EQ(timers[1].milliseconds, 60000);
    EXPECT_EQ(scanned_bands, Indices{}) << "not before its time";
    EXPECT_EQ(drains, 0);

    recording = true;
    uloop_timeout *drain = timers[0].timer, *scan = timers[1].timer;
    timers.clear();
    scan->cb(scan);
    EXPECT_EQ(scanned_bands, (Indices{0, 1}));
    EXPECT_EQ(timers.size(), 0u) << "one scan and no more";
    EXPECT_EQ(drains, 0);
    drain->cb(drain);
    recording = false;
    EXPECT_EQ(drains, 1);
    ASSERT_EQ(timers.size(), 1u);
    EXPECT_EQ(timers[0].timer, drain);
    EXPECT_EQ(timers[0].milliseconds, 200);
    uloop_timeout_cancel(drain);
}

// --- The end ---

TEST_F(StartupUnitTest, EndsWhenTheBusIsLostInTheLoop)
{
    uloop_timeout loss = {.cb = [](uloop_timeout *) { end_with_bus(wexond_context); }};
    uloop_timeout_set(&loss, 1);
    EXPECT_EQ(wexond_main(), 0);
    uloop_timeout_cancel(&loss);
}

// The loop would not know of an end from before it ran.
TEST_F(StartupUnitTest, EndsWhenTheLibraryLosesTheBusBeforeTheLoop)
{
    fake_service.rule = [](const SentRequest &request) {
        if (request.type == kGetFactory)
            end_with_bus(wexond_context);
        return answer(0, Bytes(48));
    };
    EXPECT_EQ(wexond_main(), 0);
}

class StartupEndTest : public StartupUnitTest, public testing::WithParamInterface<size_t>
{
};

// Probes, count and access point of either band, lists, flag.
INSTANTIATE_TEST_SUITE_P(Requests, StartupEndTest, testing::Values(1, 2, 4, 5, 6, 8, 9, 12, 20, 31, 32, 33),
                         testing::PrintToStringParamName());

// Leaves a call in the daemon's socket, so that its end is not the first thing to be read there.
void leave_call(const std::string &socket)
{
    ubus_context *caller = ubus_connect(socket.c_str());
    ASSERT_NE(caller, nullptr);
    uint32_t id = 0;
    EXPECT_EQ(ubus_lookup_id(caller, "wexond.a", &id), 0);
    blob_buf message{};
    blob_buf_init(&message, 0);
    ubus_request request;
    EXPECT_EQ(ubus_invoke_async(caller, id, "get", message.head, &request), 0);
    EXPECT_EQ(ubus_lookup_id(caller, "wexond.a", &id), 0) << "answered after the call was passed on";
    blob_buf_free(&message);
    ubus_free(caller);
}

TEST_P(StartupEndTest, AsksNothingMoreWhenTheBusIsGone)
{
    fake_service.rule = [this](const SentRequest &) -> std::optional<Bytes> {
        if (fake_service.requests.size() != GetParam())
            return std::nullopt;
        leave_call(bus().socket());
        bus().kill();
        return std::nullopt;
    };
    RecordedPauses recorded;
    EXPECT_EQ(wexond_main(), 0);
    EXPECT_EQ(fake_service.requests.size(), GetParam());
}

} // namespace
