// wexond.wifi.1 and wexond.wifi.2, the radios, and wexond.wifi: the switches, the channel scan, the removal of
// stations.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kDisassociate = 59;
constexpr uint32_t kScan = 60;
constexpr uint32_t kGetElinkSync = 167;
constexpr uint32_t kSetElinkSync = 168;
constexpr uint32_t kSetWifiSwitch = 177;
constexpr uint32_t kGetWifiSwitch = 178;
constexpr uint32_t kSetRadio = 180;
constexpr uint32_t kGetRadio = 181;
constexpr uint32_t kSetWps = 196;
constexpr uint32_t kGetWps = 197;
constexpr uint32_t kGetScores = 198;

constexpr const char *kNoAnswerLog = "[wexond_check_ret.#]: Msg return buf = NULL\n";

struct Band {
    std::string name; // in texts
    uint32_t index;   // in records
    std::string object;
    std::string function; // of its handlers, before the method
};

const Band kBands[] = {
    {"2.4G", 0, "wexond.wifi.1", "wexond_wifi1_"},
    {"5G", 1, "wexond.wifi.2", "wexond_wifi2_"},
};

std::ostream &operator<<(std::ostream &stream, const Band &band)
{
    return stream << band.name;
}

// A scan of one band, which alone has the flag 0 and leaves no room for an answer.
Request scan_request(uint32_t band)
{
    return {kScan, 0, Bytes(264).u32(0, band), 0};
}

// --- One radio ---

class RadioTest : public HandlerTest, public testing::WithParamInterface<Band>
{
  protected:
    const Band &band() const { return GetParam(); }
    std::string call_radio(const std::string &method, std::string_view arguments = "{}")
    {
        return call(band().object, method, arguments);
    }
    Bytes radio() const { return Bytes(48).u32(0, band().index); }
    Bytes scores() const { return Bytes(264).u32(0, band().index); }

    std::string failed(const std::string &verb, const std::string &what) const
    {
        return "failed to " + verb + " " + band().name + " " + what;
    }

    // The record that a successful set sends.
    Bytes sent_by_set(std::string_view arguments)
    {
        service().answer(kSetRadio, code(0));
        EXPECT_EQ(call_radio("set", arguments), kSuccess);
        Requests requests = service().take_requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? Bytes() : requests[0].payload;
    }

    std::string get(const Bytes &answer)
    {
        service().answer(kGetRadio, record(answer));
        return call_radio("get");
    }

    // The table that get makes of these values.
    std::string radio_table(const ReplyFields &values) const
    {
        ReplyFields auth = {{"auth", "open/share/wpapskwpa2psk/wpa2psk/wpa2pskwpa3sae"}};
        return table({{band().object, table(values + auth)}});
    }

    std::string score_array(const std::vector<ReplyValue> &scores) const
    {
        return table({{band().object, array(scores)}});
    }
    static ReplyText score(uint32_t channel, uint32_t score) { return table({{"ch", channel}, {"score", score}}); }

    std::string log(const std::string &method, const std::string &message) const
    {
        return "[" + band().function + method + ".#]: " + message;
    }
    std::string entry_line(const std::string &method) const
    {
        return entry_log(band().function + method, band().object, method);
    }
};

INSTANTIATE_TEST_SUITE_P(Bands, RadioTest, testing::ValuesIn(kBands),
                         [](const auto &info) { return "Of" + std::to_string(info.param.index + 1); });

TEST_P(RadioTest, SendsEverySetting)
{
    service().answer(kSetRadio, code(0));
    EXPECT_EQ(call_radio("set", R"({"channel": 36, "txpower": "1", "bandwidth": 3, "enable": "yes"})"), kSuccess);
    EXPECT_EQ(service().take_requests(),
              (Requests{{kSetRadio, 4, radio().u32(4, 1).u32(8, 1).u32(12, 36).u32(20, 3).u32(44, 0x3041)}}));
}

TEST_P(RadioTest, MarksOnlyWhatIsGiven)
{
    struct Row {
        const char *arguments;
        size_t offset;
        uint32_t value;
        uint32_t bit;
    };
    const Row rows[] = {
        {R"({"channel": 0})", 12, 0, 0x2000},     {R"({"channel": 165})", 12, 165, 0x2000},
        {R"({"channel": -1})", 12, ~0u, 0x2000},  {R"({"txpower": "0"})", 8, 0, 0x1000},
        {R"({"txpower": "1"})", 8, 1, 0x1000},    {R"({"txpower": "2"})", 8, 2, 0x1000},
        {R"({"txpower": "high"})", 8, 2, 0x1000}, {R"({"txpower": ""})", 8, 2, 0x1000},
        {R"({"bandwidth": 0})", 20, 1, 0x0040},   {R"({"bandwidth": 1})", 20, 2, 0x0040},
        {R"({"bandwidth": 2})", 20, 0, 0x0040},   {R"({"bandwidth": 3})", 20, 3, 0x0040},
        {R"({"bandwidth": 4})", 20, 4, 0x0040},   {R"({"bandwidth": 5})", 20, 0, 0x0040},
        {R"({"bandwidth": -1})", 20, 0, 0x0040},  {R"({"enable": "yes"})", 4, 1, 0x0001},
        {R"({"enable": "no"})", 4, 0, 0x0001},    {R"({"enable": "Yes"})", 4, 0, 0x0001},
        {R"({"enable": "on"})", 4, 0, 0x0001},
    };
    for (const Row &row : rows)
        EXPECT_EQ(sent_by_set(row.arguments), radio().u32(row.offset, row.value).u32(44, row.bit)) << row.arguments;
}

TEST_P(RadioTest, SendsARequestAlsoWithoutArguments)
{
    EXPECT_EQ(sent_by_set("{}"), radio());
}

TEST_P(RadioTest, TakesArgumentsOfAnotherTypeForAbsent)
{
    EXPECT_EQ(sent_by_set(R"({"channel": "36", "txpower": 1, "bandwidth": [3], "enable": true, "ssid": "x"})"),
              radio());
}

TEST_P(RadioTest, ReportsARefusedSet)
{
    service().answer_in_turn(kSetRadio, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_radio("set", R"({"channel": 1})"), failure(failed("set", "wifi")));
}

TEST_P(RadioTest, ReportsTheRadio)
{
    // The words at 28, 32, 40 and 44 are not read.
    Bytes answer = radio().u32(4, 1).u32(8, 0).u32(12, 6).u32(16, 11).u32(20, 2).u32(24, 11).u32(36, 35);
    EXPECT_EQ(get(answer.u32(28, ~0u).u32(32, ~0u).u32(40, ~0u).u32(44, ~0u)), radio_table({{"enable", "yes"},
                                                                                            {"channel", 6},
                                                                                            {"txpower", "0"},
                                                                                            {"currentchannel", 11},
                                                                                            {"bandwidth", 1},
                                                                                            {"mode", "b/g/n"},
                                                                                            {"load", "35%"}}));
    EXPECT_EQ(service().take_requests(), (Requests{{kGetRadio, 52, radio()}}));
}

TEST_P(RadioTest, ReportsCodesOutsideTheVocabularies)
{
    // A bit beyond the modes is never cleared: it adds separators up to the sixth.
    EXPECT_EQ(get(Bytes(48).u32(4, 2).u32(8, 3).u32(12, ~0u).u32(16, ~0u).u32(20, 9).u32(24, 0x41).u32(36, ~0u)),
              radio_table({{"enable", "no"},
                           {"channel", -1},
                           {"txpower", "2"},
                           {"currentchannel", -1},
                           {"bandwidth", 2},
                           {"mode", "b/////"},
                           {"load", "-1%"}}));
}

TEST_P(RadioTest, ReportsEachBandwidthAndMode)
{
    struct Row {
        uint32_t bandwidth_code, bandwidth, mode_code;
        const char *mode;
    };
    const Row rows[] = {
        {0, 2, 1, "b"},
        {1, 0, 2, "g"},
        {2, 1, 4, "a"},
        {3, 3, 8, "n"},
        {4, 4, 16, "ac"},
        {5, 2, 32, "ax"},
        {~0u, 2, 63, "b/g/a/n/ac/ax"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(get(Bytes(48).u32(20, row.bandwidth_code).u32(24, row.mode_code)),
                  radio_table({{"enable", "no"},
                               {"channel", 0},
                               {"txpower", "0"},
                               {"currentchannel", 0},
                               {"bandwidth", row.bandwidth},
                               {"mode", row.mode},
                               {"load", "0%"}}));
}

TEST_P(RadioTest, TakesWhatAShortAnswerLacksForZero)
{
    EXPECT_EQ(get(Bytes(8).u32(4, 1)), radio_table({{"enable", "yes"},
                                                    {"channel", 0},
                                                    {"txpower", "0"},
                                                    {"currentchannel", 0},
                                                    {"bandwidth", 2},
                                                    {"mode", ""},
                                                    {"load", "0%"}}));
}

TEST_P(RadioTest, ReportsAnUnreadableRadio)
{
    service().answer_in_turn(kGetRadio, {code(7, radio().u32(4, 1)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_radio("get"), failure(failed("get", "wifi")));
}

TEST_P(RadioTest, ReportsScoresThenScansItsBand)
{
    service().answer(kGetScores, record(scores().u32(4, 2).u32(8, 1).u32(12, 90).u32(16, 6).u32(20, ~0u).u32(24, 11)));
    EXPECT_EQ(call_radio("channelscore"), score_array({score(1, 90), score(6, ~0u)}));
    EXPECT_EQ(service().wait_for_requests(2), (Requests{{kGetScores, 268, scores()}, scan_request(band().index)}));
}

// The scan's answer is not waited for, whatever the bus library keeps back until the handler has returned.
TEST_P(RadioTest, AnswersBeforeItsScan)
{
    service().answer(kGetScores, record(scores()));
    service().answer(kScan, after(Milliseconds(3000), code(0)));
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(call_radio("channelscore"), score_array({}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, Milliseconds(2000));
    service().wait_for_requests(2);
}

TEST_P(RadioTest, ScansOnceForEachCall)
{
    service().answer(kGetScores, record(scores()));
    Requests expected;
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(call_radio("channelscore"), score_array({}));
        expected.insert(expected.end(), {{kGetScores, 268, scores()}, scan_request(band().index)});
    }
    Requests requests = service().wait_for_requests(10);
    auto before = [](const Request &a, const Request &b) { return a.type > b.type; };
    std::ranges::stable_sort(requests, before);
    std::ranges::stable_sort(expected, before);
    EXPECT_EQ(requests, expected);
}

TEST_P(RadioTest, ReportsNoScoresAsAnEmptyArray)
{
    service().answer_in_turn(kGetScores, {record(scores().u32(8, 1).u32(12, 90)), code(0)});
    EXPECT_EQ(call_radio("channelscore"), score_array({}));
    EXPECT_EQ(call_radio("channelscore"), score_array({}));
}

TEST_P(RadioTest, ReportsAsManyScoresAsTheRecordHolds)
{
    Bytes answer = scores();
    std::vector<ReplyValue> elements;
    for (uint32_t i = 0; i < 32; i++) {
        answer.u32(8 + 8 * i, 100 + i).u32(12 + 8 * i, i);
        elements.push_back(score(100 + i, i));
    }
    for (uint32_t count : {32u, 33u, 0x20000000u, ~0u}) {
        service().answer(kGetScores, record(answer.u32(4, count)));
        EXPECT_EQ(call_radio("channelscore"), score_array(elements)) << count;
    }
}

TEST_P(RadioTest, ScansAlsoAfterScoresThatCouldNotBeRead)
{
    service().answer_in_turn(kGetScores, {code(1, scores().u32(4, 1)), no_answer()});
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(call_radio("channelscore"), failure(failed("get", "channel score")));
        EXPECT_EQ(service().wait_for_requests(2), (Requests{{kGetScores, 268, scores()}, scan_request(band().index)}));
    }
}

TEST_P(RadioTest, KeepsTheFailureOfTheScanFromTheCaller)
{
    service().answer(kGetScores, record(scores()));
    service().answer_in_turn(kScan, {code(1), no_answer()});
    EXPECT_EQ(call_radio("channelscore"), score_array({}));
    EXPECT_EQ(call_radio("channelscore"), score_array({}));
}

TEST_P(RadioTest, LogsItsCalls)
{
    service().answer_in_turn(kSetRadio, {code(0), code(3)});
    enable_log();
    call_radio("set", R"({"enable": "no", "bandwidth": 2, "txpower": "0", "channel": -36})");
    EXPECT_EQ(take_log(), entry_line("set") + log("set", "channel:-36 \n\n") + log("set", "txpower:0 \n\n") +
                              log("set", "bandwidth:2 \n\n") + log("set", "enable:no \n\n") + set_reply_log());
    call_radio("set");
    EXPECT_EQ(take_log(),
              entry_line("set") + "[wexond_check_ret.#]: Msg retcode = 3\n" + set_reply_log(failed("set", "wifi")));

    service().answer_in_turn(kGetRadio, {record(radio()), no_answer()});
    call_radio("get");
    EXPECT_EQ(take_log(), entry_line("get") + get_reply_log());
    call_radio("get");
    EXPECT_EQ(take_log(), entry_line("get") + kNoAnswerLog + get_reply_log(failed("get", "wifi")));

    service().answer_in_turn(kGetScores, {record(scores()), no_answer()});
    service().answer_in_turn(kScan, {code(0), code(8)});
    service().take_requests();
    call_radio("channelscore");
    service().wait_for_requests(2);
    EXPECT_EQ(take_log(), entry_line("channelscore") + get_reply_log());
    call_radio("channelscore");
    service().wait_for_requests(2);
    call("wexond.wifi", "?"); // comes after the scan
    EXPECT_EQ(take_log(), entry_line("channelscore") + kNoAnswerLog + get_reply_log(failed("get", "channel score")) +
                              "[wexond_check_ret.#]: Msg retcode = 8\n");
}

// --- All of Wi-Fi ---

class WifiTest : public HandlerTest
{
  protected:
    std::string call_wifi(const std::string &method, std::string_view arguments = "{}")
    {
        return call("wexond.wifi", method, arguments);
    }

    void accept_switches()
    {
        for (uint32_t type : {kSetWifiSwitch, kSetElinkSync, kSetWps})
            service().answer(type, code(0));
    }

    std::string get(uint32_t elink_sync, uint32_t wifi, uint32_t wps)
    {
        service().answer(kGetElinkSync, record(Bytes(4).u32(0, elink_sync)));
        service().answer(kGetWifiSwitch, record(Bytes(4).u32(0, wifi)));
        service().answer(kGetWps, record(Bytes(8).u32(0, 1).u32(4, wps)));
        return call_wifi("get");
    }

    static std::string switches(const std::string &elink_sync, const std::string &wifi, const std::string &wps)
    {
        return table({{"wexond.wifi", table({{"elinksync", elink_sync}, {"wifiswitch", wifi}, {"wpsswitch", wps}})}});
    }
};

const Request kGetElinkSyncRequest = {kGetElinkSync, 8};
const Request kGetWifiSwitchRequest = {kGetWifiSwitch, 8};
const Request kGetWpsRequest = {kGetWps, 12, Bytes(8)};

TEST_F(WifiTest, SendsTheSwitchesInAnOrderOfItsOwn)
{
    accept_switches();
    EXPECT_EQ(call_wifi("set", R"({"wpsswitch": "on", "elinksync": "on", "wifiswitch": "on"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kSetWifiSwitch, 4, Bytes(4).u32(0, 1)},
                                                   {kSetElinkSync, 4, Bytes(4).u32(0, 1)},
                                                   {kSetWps, 4, Bytes(8).u32(4, 1)}}));
}

TEST_F(WifiTest, SendsOnlyTheGivenSwitches)
{
    struct Row {
        const char *name;
        uint32_t type;
        size_t size;
    };
    accept_switches();
    for (const Row &row :
         {Row{"wifiswitch", kSetWifiSwitch, 4}, {"elinksync", kSetElinkSync, 4}, {"wpsswitch", kSetWps, 8}}) {
        for (const char *text : {"on", "off", "On", "1", ""}) {
            SCOPED_TRACE(std::string(row.name) + " " + text);
            Bytes record = Bytes(row.size).u32(row.size - 4, text == std::string("on"));
            EXPECT_EQ(call_wifi("set", "{\"" + std::string(row.name) + "\": \"" + text + "\"}"), kSuccess);
            EXPECT_EQ(service().take_requests(), (Requests{{row.type, 4, record}}));
        }
    }
}

TEST_F(WifiTest, SetWithoutArgumentsSendsNothingAndSucceeds)
{
    EXPECT_EQ(call_wifi("set"), kSuccess);
    EXPECT_EQ(call_wifi("set", R"({"wifiswitch": true, "elinksync": 1, "wpsswitch": ["on"]})"), kSuccess);
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(WifiTest, TheFirstRefusedSwitchEndsSet)
{
    struct Row {
        uint32_t type;
        const char *reason;
        size_t requests;
    };
    const Row rows[] = {
        {kSetWifiSwitch, "failed to set wifi switch", 1},
        {kSetElinkSync, "failed to set elink sync switch", 2},
        {kSetWps, "failed to set wps", 3},
    };
    for (const Row &row : rows) {
        for (const Answer &answer : {code(1), no_answer()}) {
            accept_switches();
            service().answer(row.type, answer);
            EXPECT_EQ(call_wifi("set", R"({"wifiswitch": "on", "wpsswitch": "on", "elinksync": "on"})"),
                      failure(row.reason));
            EXPECT_EQ(service().take_requests().size(), row.requests);
        }
    }
}

TEST_F(WifiTest, ReportsTheSwitches)
{
    EXPECT_EQ(get(1, 0, 1), switches("on", "off", "on"));
    EXPECT_EQ(service().take_requests(), (Requests{kGetElinkSyncRequest, kGetWifiSwitchRequest, kGetWpsRequest}));
    EXPECT_EQ(get(0, 1, 0), switches("off", "on", "off"));
    EXPECT_EQ(get(2, ~0u, 3), switches("off", "off", "off"));
}

TEST_F(WifiTest, GetReadsNoArguments)
{
    get(1, 1, 1);
    EXPECT_EQ(call_wifi("get", R"({"wifiswitch": "off", "wpsswitch": 5})"), switches("on", "on", "on"));
}

TEST_F(WifiTest, TakesShortAnswersForZero)
{
    get(1, 1, 1);
    service().answer(kGetElinkSync, code(0));
    service().answer(kGetWps, record(Bytes(4).u32(0, 1)));
    EXPECT_EQ(call_wifi("get"), switches("off", "on", "off"));
}

TEST_F(WifiTest, AnUnreadableElinkSwitchIsReportedAsTheLedSwitch)
{
    for (const Answer &answer : {code(1, Bytes(4).u32(0, 1)), no_answer()}) {
        service().answer(kGetElinkSync, answer);
        EXPECT_EQ(call_wifi("get"), failure("failed to get ledswitch"));
        EXPECT_EQ(service().take_requests(), (Requests{kGetElinkSyncRequest}));
    }
}

TEST_F(WifiTest, TheFirstUnreadableSwitchEndsGet)
{
    get(1, 1, 1);
    service().take_requests();
    for (const Answer &answer : {code(1), no_answer()}) {
        service().answer(kGetWps, answer);
        EXPECT_EQ(call_wifi("get"), failure("failed to get wpsswitch"));
        EXPECT_EQ(service().take_requests(), (Requests{kGetElinkSyncRequest, kGetWifiSwitchRequest, kGetWpsRequest}));
    }
    for (const Answer &answer : {code(1), no_answer()}) {
        service().answer(kGetWifiSwitch, answer);
        EXPECT_EQ(call_wifi("get"), failure("failed to get wifiswitch"));
        EXPECT_EQ(service().take_requests(), (Requests{kGetElinkSyncRequest, kGetWifiSwitchRequest}));
    }
}

TEST_F(WifiTest, ChannelScanAsksForBothBands)
{
    EXPECT_EQ(call_wifi("channelscan"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{scan_request(0), scan_request(1)}));
}

TEST_F(WifiTest, ChannelScanAlwaysSucceeds)
{
    service().answer_in_turn(kScan, {code(1), no_answer(), body(Bytes(0)), code(0xFFFFFFFF)});
    EXPECT_EQ(call_wifi("channelscan"), kSuccess);
    EXPECT_EQ(call_wifi("channelscan"), kSuccess);
    EXPECT_EQ(service().take_requests().size(), 4u);
    end_service();
    EXPECT_EQ(call_wifi("channelscan"), kSuccess);
}

TEST_F(WifiTest, LogsSwitchesAndScans)
{
    accept_switches();
    service().answer(kSetWps, code(2));
    enable_log();
    call_wifi("set", R"({"wifiswitch": "on", "wpsswitch": "off", "elinksync": "x"})");
    EXPECT_EQ(take_log(), entry_log("wexond_wifi_set", "wexond.wifi", "set") +
                              "[wexond_wifi_set.#]: wifiswitch:on \n\n"
                              "[wexond_wifi_set.#]: elinksync:x \n\n"
                              "[wexond_wifi_set.#]: wpsswitch:off \n\n"
                              "[wexond_check_ret.#]: Msg retcode = 2\n"
                              "[wexond_wifi_set.#]: Failed to set wps\n" +
                              set_reply_log("failed to set wps"));
    service().answer(kSetElinkSync, no_answer());
    call_wifi("set", R"({"elinksync": "on"})");
    EXPECT_EQ(take_log(), entry_log("wexond_wifi_set", "wexond.wifi", "set") +
                              "[wexond_wifi_set.#]: elinksync:on \n\n" + kNoAnswerLog +
                              "[wexond_wifi_set.#]: Failed to set elink sync\n" +
                              set_reply_log("failed to set elink sync switch"));
    service().answer(kSetWifiSwitch, no_answer());
    call_wifi("set", R"({"wifiswitch": "off"})");
    EXPECT_EQ(take_log(), entry_log("wexond_wifi_set", "wexond.wifi", "set") +
                              "[wexond_wifi_set.#]: wifiswitch:off \n\n" + kNoAnswerLog +
                              "[wexond_wifi_set.#]: Failed to set wifi switch\n" +
                              set_reply_log("failed to set wifi switch"));

    service().answer_in_turn(kScan, {code(4), no_answer()});
    call_wifi("channelscan");
    EXPECT_EQ(take_log(), entry_log("wexond_wifi_channelscan", "wexond.wifi", "channelscan") +
                              "[wexond_check_ret.#]: Msg retcode = 4\n" + kNoAnswerLog + set_reply_log());
}

TEST_F(WifiTest, LogsReadings)
{
    const std::string entry_line = entry_log("wexond_wifi_get", "wexond.wifi", "get");
    get(1, 1, 1);
    enable_log();
    call_wifi("get");
    EXPECT_EQ(take_log(), entry_line + get_reply_log());
    service().answer(kGetWps, no_answer());
    call_wifi("get");
    EXPECT_EQ(take_log(), entry_line + kNoAnswerLog + "[wexond_wifi_get.#]: Failed to get wps\n" +
                              get_reply_log("failed to get wpsswitch"));
    service().answer(kGetWifiSwitch, no_answer());
    call_wifi("get");
    EXPECT_EQ(take_log(), entry_line + kNoAnswerLog + "[wexond_wifi_get.#]: Failed to get wifi switch\n" +
                              get_reply_log("failed to get wifiswitch"));
    service().answer(kGetElinkSync, no_answer());
    call_wifi("get");
    EXPECT_EQ(take_log(), entry_line + kNoAnswerLog + "[wexond_wifi_get.#]: Failed to get elink sync\n" +
                              get_reply_log("failed to get ledswitch"));
}

// --- Stations sent away ---

constexpr size_t kMacSlots = 12; // 32 of 32 bytes

class DeassociationTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        service().answer(kDisassociate, code(0));
    }

    template <typename Message> void expect_sent(const Message &arguments, const Bytes &record)
    {
        EXPECT_EQ(call("wexond.wifi", "deassociation", arguments), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kDisassociate, 4, record}}));
    }

    static std::string station(size_t i) { return "station-" + std::to_string(i); }

    static std::string stations(size_t count)
    {
        std::string elements;
        for (size_t i = 0; i < count; i++)
            elements += (i ? ", \"" : "\"") + station(i) + "\"";
        return "{\"macs\": [" + elements + "]}";
    }
};

TEST_F(DeassociationTest, PassesAddressesOnAsGiven)
{
    expect_sent(R"({"macs": ["00:1a:2B:3c:4d:5e", "", "no address", "001A2B3C4D5E"]})",
                Bytes(1036)
                    .u32(0, 4)
                    .text(kMacSlots, "00:1a:2B:3c:4d:5e")
                    .text(kMacSlots + 64, "no address")
                    .text(kMacSlots + 96, "001A2B3C4D5E"));
}

TEST_F(DeassociationTest, SendsAnEmptyArrayToo)
{
    expect_sent(R"({"macs": []})", Bytes(1036));
}

TEST_F(DeassociationTest, FillsASlotToItsLastByte)
{
    std::string longest(32, 'x');
    expect_sent("{\"macs\": [\"" + longest + "\", \"" + longest + "y\", \"z\"]}",
                Bytes(1036).u32(0, 3).text(kMacSlots, longest + longest + "z"));
}

TEST_F(DeassociationTest, Sends32OfMoreStations)
{
    Bytes record = Bytes(1036).u32(0, 32);
    for (size_t i = 0; i < 32; i++)
        record.text(kMacSlots + 32 * i, station(i));
    expect_sent(stations(32), record);
    expect_sent(stations(33), record);
    expect_sent(stations(1000), record);
}

TEST_F(DeassociationTest, WhatFollowsTheThirtySecondStationDoesNotCount)
{
    Bytes record = Bytes(1036).u32(0, 32);
    std::string elements;
    for (size_t i = 0; i < 32; i++) {
        record.text(kMacSlots + 32 * i, "a");
        elements += value(Type::string, "", terminated("a"));
    }
    service().answer(kDisassociate, code(0));
    for (const std::string &more : {value(Type::int32, "", big_endian32(1)), value(Type::string, "", "open")}) {
        enable_log();
        take_log();
        EXPECT_EQ(call("wexond.wifi", "deassociation", RawMessage{value(Type::array, "macs", elements + more)}),
                  kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kDisassociate, 4, record}}));
    }
}

TEST_F(DeassociationTest, RequiresTheArray)
{
    for (const char *arguments : {"{}", R"({"macs": "00:1a:2b:3c:4d:5e"})", R"({"macs": {}})", R"({"mac": []})"})
        EXPECT_EQ(call("wexond.wifi", "deassociation", arguments), failure("required parameter: macs")) << arguments;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DeassociationTest, RefusesElementsThatAreNoTexts)
{
    for (const char *arguments : {R"({"macs": [1]})", R"({"macs": ["a", null]})", R"({"macs": [["a"], "b"]})"})
        EXPECT_EQ(call("wexond.wifi", "deassociation", arguments), failure("unrecognized parameter: macs"))
            << arguments;
    for (const std::string &malformed :
         {value(Type::string, "", "abcd"), big_endian32(0x83000020), std::string("\1\2\3", 3)})
        EXPECT_EQ(call("wexond.wifi", "deassociation",
                       RawMessage{value(Type::array, "macs", value(Type::string, "", terminated("a")) + malformed)}),
                  failure("unrecognized parameter: macs"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DeassociationTest, ReportsFailures)
{
    service().answer_in_turn(kDisassociate, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.wifi", "deassociation", R"({"macs": ["a"]})"), failure("failed to disassociation"));
}

TEST_F(DeassociationTest, LogsAlsoTheStationsThatItDrops)
{
    const std::string entry_line = entry_log("wexond_wifi_disassociation", "wexond.wifi", "deassociation");
    std::string station_lines;
    for (size_t i = 0; i < 33; i++)
        station_lines += "[wexond_wifi_disassociation.#]: mac[" + std::to_string(i) + "]:" + station(i) + " \n\n";
    enable_log();
    call("wexond.wifi", "deassociation", stations(33));
    EXPECT_EQ(take_log(), entry_line + station_lines + set_reply_log());
    call("wexond.wifi", "deassociation");
    EXPECT_EQ(take_log(), entry_line + set_reply_log("required parameter: macs"));
}

// --- The log's switch ---

TEST_F(WifiTest, LogsNothingWithoutTheFlagFile)
{
    accept_switches();
    get(1, 1, 1);
    service().answer(kGetScores, no_answer());
    service().answer(kScan, no_answer());
    call_wifi("set", R"({"wifiswitch": "on"})");
    call_wifi("channelscan");
    call_wifi("deassociation");
    call("wexond.wifi.1", "channelscore");
    EXPECT_EQ(take_log(), "");
}

} // namespace
