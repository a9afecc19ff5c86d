// Each event, from the bytes of its record to the notification that subscribers of its object get.

#include <gtest/gtest.h>

#include "events/event_records.h"
#include "tests/events/events.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kLedSwitch = 22;
constexpr uint32_t kTraceResult = 53;
constexpr uint32_t kWanUpDown = 54;
constexpr uint32_t kWanIpChange = 55;
constexpr uint32_t kChannelChange = 89;
constexpr uint32_t kSsidChange = 90;
constexpr uint32_t kNewStation = 109;
constexpr uint32_t kPasswordError = 111;
constexpr uint32_t kRoaming = 146;
constexpr uint32_t kVsieNewRecord = 216;

std::string notify_log(const std::string &event)
{
    return "[WEXOND_Event_NotifyDeal.#]: Notify send : " + event + " \n\n";
}

// A sender's line about the values, with the function's name twice.
std::string values_log(const std::string &function, const std::string &text)
{
    return "[" + function + ".#]: " + function + ":" + text;
}

// Of a record that is zero otherwise; the two keys of the support follow one word.
std::string roaming_report(const std::string &mac, const char *band, const std::string &bssid,
                           const std::string &support)
{
    return notification("notification", {{"roamingreport", array({table({{"mac", mac},
                                                                         {"connecttime", 0},
                                                                         {"rssi", 0},
                                                                         {"channel", 0},
                                                                         {"band", band},
                                                                         {"bssid", bssid},
                                                                         {"support11k", support},
                                                                         {"support11v", support}})})}});
}

class EventTest : public HandlerTest
{
  protected:
    void send(const std::string &batch) { send_batch(event_socket(), batch); }
    void send(uint32_t type, const Bytes &record) { send(event(type, record)); }

    std::string next_message() { return client().next_message().value_or("(no notification)"); }
};

// --- The notifications ---

struct Row {
    const char *name;
    uint32_t type;
    const char *event;
    const char *object;
    Bytes record;
    std::string message;
    std::string log;
};

std::ostream &operator<<(std::ostream &stream, const Row &row)
{
    return stream << row.event;
}

// In the order of the event table; the last two are of types that another row has, too.
const Row kRows[] = {
    {"NewStation", 109, "New Sta", "wexond.laninfo",
     Bytes(260)
         .text(0, "aa:bb:cc:dd:ee:0f")
         .text(32, "phone")
         .u32(176, 1)
         .u32(180, 3)
         .u32(216, 7)
         .text(228, "0a:1b:2c:3d:4e:5f"),
     R"(newdevice {"mac": "AABBCCDDEE0F", "vmac": "0A1B2C3D4E5F", "connecttype": 1, "port": 3, "hostname": "phone"})",
     values_log("wexond_laninfo_newdevice",
                "  mac:AABBCCDDEE0F / vmac:0A1B2C3D4E5F / connecttype:1 / port:3 / hostname:phone \n\n")},
    {"StationState", 110, "Sta on/offline", "wexond.laninfo", Bytes(220).text(0, "aa:bb:cc:dd:ee:ff").u32(216, 1),
     R"(devicestatus {"mac": "AABBCCDDEEFF", "active": 1})",
     values_log("wexond_laninfo_devicestatus", "  mac:AABBCCDDEEFF / active:1 \n\n")},
    {"WanIpChange", 55, "wan ip change", "wexond.waninfo", Bytes(24).u32(4, 1).text(8, "203.0.113.7"),
     R"(propertieschanged {"ipaddr": "203.0.113.7"})",
     values_log("wexond_waninfo_ipchange", "  ipaddr:203.0.113.7 / status:1 \n\n")},
    {"WanUpDown", 54, "wan up/down", "wexond.waninfo", Bytes(28).u32(8, 1).text(12, "203.0.113.8"),
     R"(propertieschanged {"ipaddr": "203.0.113.8", "status": "up"})",
     values_log("wexond_waninfo_updown", "  ipaddr:203.0.113.8 / status:1 \n\n")},
    {"LedSwitch", 22, "Led Switch", "wexond.ledswitch", Bytes(4).u32(0, 1), R"(propertieschanged {"status": "on"})",
     values_log("wexond_ledswitch_propertieschanged", "  status:on \n\n")},
    {"WifiSwitch", 87, "Wifi Switch", "wexond.wifi", Bytes(4).u32(0, 1), R"(propertieschanged {"wifiswitch": "on"})",
     values_log("wexond_wifi_switch_propertieschanged", "  wifiswitch:on \n\n")},
    {"ElinkSwitch", 169, "Elink Switch", "wexond.wifi", Bytes(4).u32(0, 1), R"(propertieschanged {"elinksync": "on"})",
     values_log("wexond_elink_switch_propertieschanged", "  elinksync:on \n\n")},
    {"WpsSwitch", 85, "Wps Switch", "wexond.wifi", Bytes(8).u32(4, 1), R"(propertieschanged {"wpsswitch": "on"})",
     values_log("wexond_wps_switch_propertieschanged", "  wpsswitch:on \n\n")},
    {"PasswordError", 111, "Wifi Pwd Err", "wexond.wifi", Bytes(18).text(0, "00:11:22:33:44:55"),
     R"(passworderror {"stamac": "001122334455"})",
     values_log("wexond_wifi_passworderror", "  stamac:001122334455 \n\n")},
    {"ChannelOf2G", 89, "channel change", "wexond.wifi.1", Bytes(16).u32(12, 11),
     R"(propertieschanged {"channel": 11})", values_log("wexond_wifi_channelchanged", "  band:0 / channel:11 \n\n")},
    {"SsidOf2G", 90, "ssid change", "wexond.wifi.1.ap.1", Bytes(44).u32(4, 1).text(12, "home"),
     R"(propertieschanged {"ssid": "home"})", values_log("wexond_wifi_ssidchanged", " 2.4G 1 AP / ssid:home \n\n")},
    {"PingResult", 52, "PingResult", "wexond.diagnostics",
     Bytes(24).u32(0, 4).u32(4, 1).u32(8, 99).u32(12, 20).u32(16, 10).u32(20, 30),
     R"(pingresult {"received": 4, "loss": 1, "avg": 20, "min": 10, "max": 30})",
     values_log("wexond_diagnostics_pingresult", "  received:4 / loss:1 / avg:20 / min:10 / max:30 \n\n")},
    {"TraceResult", 53, "TraceResult", "wexond.diagnostics", Bytes("1 gateway 0.3 ms"),
     R"(tracerouteresult {"result": "1 gateway 0.3 ms"})",
     values_log("wexond_diagnostics_tracerouteresult", "  result:1 gateway 0.3 ms \n\n")},
    {"Roaming", 146, "RoamingNotifi", "wexond.wifi.roaming",
     Bytes(66)
         .text(0, "aa:bb:cc:dd:ee:ff")
         .u32(20, 3)
         .u32(24, static_cast<uint32_t>(-61))
         .u32(28, 3600)
         .u32(40, 149)
         .text(44, "00:11:22:33:44:55")
         .text(62, "\1"),
     R"(notification {"roamingreport": [{"mac": "AABBCCDDEEFF", "connecttime": 3600, "rssi": -61, "channel": 149, )"
     R"("band": "80M", "bssid": "001122334455", "support11k": "yes", "support11v": "yes"}]})",
     "[wexond_roaming_notification.#]: mac:AABBCCDDEEFF, connecttime:3600, rssi:-61, channel:149, "
     "bssid:001122334455, support11k:yes, support11v:no\n\n"},
    {"VsieNewRecord", 216, "VsieNewRecord", "wexond.wifi.vsie.proberx",
     Bytes(290).text(4, "aa:bb:cc:dd:ee:ff").u32(24, 1).u32(28, 2).text(32, "\xDD\x05\x99").text(287, "\x01\x80\xFF"),
     R"(newrecord {"mac": "AABBCCDDEEFF", "band": 1, "vsie": [1, 128, 255, 221, 5]})",
     values_log("wexond_wifi_vsie_proberx_newrecord", "  vsie_oui[0]:1 \n\n") +
         values_log("wexond_wifi_vsie_proberx_newrecord", "  vsie_oui[1]:128 \n\n") +
         values_log("wexond_wifi_vsie_proberx_newrecord", "  vsie_oui[2]:255 \n\n") +
         values_log("wexond_wifi_vsie_proberx_newrecord", "  vsie[0]:221 \n\n") +
         values_log("wexond_wifi_vsie_proberx_newrecord", "  vsie[1]:5 \n\n")},
    {"ChannelOf5G", 89, "channel change", "wexond.wifi.2", Bytes(16).u32(0, 1).u32(12, 149),
     R"(propertieschanged {"channel": 149})", values_log("wexond_wifi_channelchanged", "  band:1 / channel:149 \n\n")},
    {"SsidOf5G", 90, "ssid change", "wexond.wifi.2.ap.1", Bytes(44).u32(0, 1).u32(4, 1).text(12, "home 5"),
     R"(propertieschanged {"ssid": "home 5"})", values_log("wexond_wifi_ssidchanged", " 5G 1 AP / ssid:home 5 \n\n")},
};

constexpr size_t kTypes = std::size(kEvents);

class NotificationTest : public EventTest, public testing::WithParamInterface<Row>
{
};

TEST_P(NotificationTest, GoesToItsObject)
{
    const Row &row = GetParam();
    enable_log();
    client().subscribe(row.object);
    take_log();
    send(row.type, row.record);
    EXPECT_EQ(next_message(), row.message);
    EXPECT_EQ(take_bus_thread_log(), notify_log(row.event) + row.log);
}

INSTANTIATE_TEST_SUITE_P(Events, NotificationTest, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<Row> &row) { return std::string(row.param.name); });

// Of one batch in the opposite order, and nothing twice.
TEST_F(EventTest, ADrainSendsInTheTablesOrder)
{
    std::string batch;
    for (size_t i = kTypes; i-- > 0;)
        batch += event(kRows[i].type, kRows[i].record);
    for (const char *object :
         {"wexond.laninfo", "wexond.waninfo", "wexond.ledswitch", "wexond.wifi", "wexond.wifi.1", "wexond.wifi.1.ap.1",
          "wexond.diagnostics", "wexond.wifi.roaming", "wexond.wifi.vsie.proberx"})
        client().subscribe(object);
    send(batch);
    for (size_t i = 0; i < kTypes; i++)
        EXPECT_EQ(next_message(), kRows[i].message);
    EXPECT_EQ(client().next_message(500ms), std::nullopt);
}

TEST_F(EventTest, NobodyWhoSubscribesIsNoFailure)
{
    enable_log();
    client().subscribe("wexond.diagnostics");
    take_log();
    send(event(kLedSwitch, Bytes(4)) + event(kTraceResult, Bytes("over")));
    EXPECT_EQ(next_message(), R"(tracerouteresult {"result": "over"})");
    EXPECT_EQ(take_bus_thread_log(),
              notify_log("Led Switch") + values_log("wexond_ledswitch_propertieschanged", "  status:off \n\n") +
                  notify_log("TraceResult") + values_log("wexond_diagnostics_tracerouteresult", "  result:over \n\n"));
}

// --- When they are sent ---

class EventTimeTest : public DaemonTest
{
};

TEST_F(EventTimeTest, NothingIsSentInTheFirstFiveSeconds)
{
    auto start = std::chrono::steady_clock::now();
    start_daemon();
    client().subscribe("wexond.ledswitch");
    send_batch(event_socket(), event(kLedSwitch, Bytes(4).u32(0, 1)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_EQ(client().next_message(), R"(propertieschanged {"status": "on"})");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5s);
}

TEST_F(EventTest, OnlyTheLatestOfADrainIsSent)
{
    client().subscribe("wexond.diagnostics");
    send(kTraceResult, Bytes("first"));
    send(event(kTraceResult, Bytes("second")) + event(kTraceResult, Bytes("third")));
    EXPECT_EQ(next_message(), R"(tracerouteresult {"result": "third"})");
    EXPECT_EQ(client().next_message(500ms), std::nullopt);
    send(kTraceResult, Bytes("fourth"));
    EXPECT_EQ(client().next_message(2s), R"(tracerouteresult {"result": "fourth"})") << "at one of the next drains";
}

// --- Values ---

TEST_F(EventTest, SwitchesAreOnForTheCodeOneOnly)
{
    client().subscribe("wexond.ledswitch");
    client().subscribe("wexond.wifi");
    for (uint32_t code : {0u, 1u, 2u, 0x100u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(code);
        std::string word = code == 1 ? "on" : "off";
        Bytes record = Bytes(4).u32(0, code);
        send(event(22, record) + event(87, record) + event(169, record) + event(85, Bytes(8).u32(0, 1).u32(4, code)));
        EXPECT_EQ(next_message(), notification("propertieschanged", {{"status", word}}));
        EXPECT_EQ(next_message(), notification("propertieschanged", {{"wifiswitch", word}}));
        EXPECT_EQ(next_message(), notification("propertieschanged", {{"elinksync", word}}));
        EXPECT_EQ(next_message(), notification("propertieschanged", {{"wpsswitch", word}}));
    }
}

TEST_F(EventTest, TheWanStateSelectsTheMessage)
{
    struct State {
        uint32_t code;
        const char *message;
        const char *log;
    };
    const State states[] = {
        {1, R"({"ipaddr": "203.0.113.7", "status": "up"})", "  ipaddr:203.0.113.7 / status:1 \n\n"},
        {2, R"({"ipaddr": "203.0.113.7", "status": "down"})", "  ipaddr:203.0.113.7 / status:2 \n\n"},
        {3, R"({"ipaddr": "203.0.113.7"})", "  ipaddr:203.0.113.7\n\n"},
        {0, "{}", " pstData->eAtive error\n"},
        {4, "{}", " pstData->eAtive error\n"},
        {0x101, "{}", " pstData->eAtive error\n"},
        {0xFFFFFFFF, "{}", " pstData->eAtive error\n"},
    };
    enable_log();
    client().subscribe("wexond.waninfo");
    for (const State &state : states) {
        SCOPED_TRACE(state.code);
        take_log();
        send(kWanUpDown, Bytes(28).u32(0, 1).u32(4, 2).u32(8, state.code).text(12, "203.0.113.7"));
        EXPECT_EQ(next_message(), std::string("propertieschanged ") + state.message);
        EXPECT_EQ(take_bus_thread_log(), notify_log("wan up/down") + values_log("wexond_waninfo_updown", state.log));
    }
}

// Deliberate: both keys follow the 802.11k word; the log tells the two words apart.
TEST_F(EventTest, RoamingReportsThe11kWordAs11vToo)
{
    client().subscribe("wexond.wifi.roaming");
    enable_log();
    for (uint32_t k : {0, 1, 0x101})
        for (uint32_t v : {0, 1, 0x101}) {
            SCOPED_TRACE(std::to_string(k) + ", " + std::to_string(v));
            std::string words;
            for (uint32_t word : {k, v})
                words.append({static_cast<char>(word), static_cast<char>(word >> 8)});
            take_log();
            send(kRoaming, Bytes(66).text(62, words));
            std::string known = k == 1 ? "yes" : "no";
            EXPECT_EQ(next_message(), roaming_report("", "\xD7\xD4\xB6\xAF", "", known));
            EXPECT_EQ(
                take_bus_thread_log(),
                notify_log("RoamingNotifi") +
                    "[wexond_roaming_notification.#]: mac:, connecttime:0, rssi:0, channel:0, bssid:, support11k:" +
                    known + ", support11v:" + (v == 1 ? "yes" : "no") + "\n\n");
        }
}

TEST_F(EventTest, RoamingNamesTheBandwidth)
{
    client().subscribe("wexond.wifi.roaming");
    const char *words[] = {"\xD7\xD4\xB6\xAF", "20M", "40M", "80M", "160M", "\xD7\xD4\xB6\xAF"};
    for (uint32_t code = 0; code < std::size(words); code++) {
        send(kRoaming, Bytes(66).u32(20, code));
        EXPECT_EQ(next_message(), roaming_report("", words[code], "", "no"));
    }
}

TEST_F(EventTest, AVsieRecordHoldsAtMost255Bytes)
{
    std::string data;
    for (int i = 0; i < 255; i++)
        data += static_cast<char>(i + 1);
    client().subscribe("wexond.wifi.vsie.proberx");
    for (uint32_t claimed : {0u, 1u, 254u, 255u, 256u, 4294967295u}) {
        SCOPED_TRACE(claimed);
        Bytes record = Bytes(290).u32(28, claimed).text(32, data).text(287, "\x0A\x0B\x0C");
        std::string expected = R"(newrecord {"mac": "", "band": 0, "vsie": [10, 11, 12)";
        for (uint32_t i = 0; i < std::min(claimed, 255u); i++)
            expected += ", " + std::to_string(i + 1);
        send(kVsieNewRecord, record);
        EXPECT_EQ(next_message(), expected + "]}");
    }
}

TEST_F(EventTest, IntegersAreSignedWords)
{
    client().subscribe("wexond.laninfo");
    send(kNewStation, Bytes(260).u32(176, 0xFFFFFFFF).u32(180, 0x80000000));
    EXPECT_EQ(next_message(),
              R"(newdevice {"mac": "", "vmac": "", "connecttype": -1, "port": -2147483648, "hostname": ""})");
}

// --- Texts ---

// Bytes behind a field never get into its text.
TEST_F(EventTest, TextsThatFillTheirFieldsEndThere)
{
    auto full = [](size_t size, char byte) { return std::string(size, byte); };
    struct Text {
        uint32_t type;
        const char *object;
        Bytes record;
        std::string message;
    };
    const Text texts[] = {
        {kNewStation, "wexond.laninfo",
         Bytes(full(300, 'z'))
             .text(0, full(32, 'm'))
             .text(32, full(64, 'h'))
             .u32(176, 1)
             .u32(180, 2)
             .text(228, full(32, 'v')),
         notification("newdevice", {{"mac", full(32, 'm')},
                                    {"vmac", full(32, 'v')},
                                    {"connecttype", 1},
                                    {"port", 2},
                                    {"hostname", full(64, 'h')}})},
        {110, "wexond.laninfo", Bytes(full(300, 'z')).text(0, full(32, 'm')).u32(216, 0),
         notification("devicestatus", {{"mac", full(32, 'm')}, {"active", 0}})},
        {kWanIpChange, "wexond.waninfo", Bytes(full(30, 'z')).text(8, full(16, 'a')),
         notification("propertieschanged", {{"ipaddr", full(16, 'a')}})},
        {kWanUpDown, "wexond.waninfo", Bytes(full(30, 'z')).u32(8, 3).text(12, full(16, 'a')),
         notification("propertieschanged", {{"ipaddr", full(16, 'a')}})},
        {kPasswordError, "wexond.wifi", Bytes(full(40, 'z')).text(0, full(32, 'm')),
         notification("passworderror", {{"stamac", full(32, 'm')}})},
        {kSsidChange, "wexond.wifi.1.ap.1", Bytes(full(50, 'z')).u32(0, 0).u32(4, 1).text(12, full(32, 's')),
         notification("propertieschanged", {{"ssid", full(32, 's')}})},
        {kTraceResult, "wexond.diagnostics", Bytes(full(16368, 't')),
         notification("tracerouteresult", {{"result", full(16368, 't')}})},
        {kRoaming, "wexond.wifi.roaming",
         Bytes(66).text(0, full(20, 'm')).u32(20, 1).text(44, full(18, 'b')).text(62, "\1"),
         roaming_report(full(20, 'm'), "20M", full(18, 'b'), "yes")},
        {kVsieNewRecord, "wexond.wifi.vsie.proberx", Bytes(290).text(4, full(20, 'm')).u32(24, 1),
         notification("newrecord", {{"mac", full(20, 'm')}, {"band", 1}, {"vsie", array({0, 0, 0})}})},
    };
    for (const char *object : {"wexond.laninfo", "wexond.waninfo", "wexond.wifi", "wexond.wifi.1.ap.1",
                               "wexond.diagnostics", "wexond.wifi.roaming", "wexond.wifi.vsie.proberx"})
        client().subscribe(object);
    for (const Text &text : texts) {
        send(text.type, text.record);
        EXPECT_EQ(next_message(), text.message) << text.object;
    }
}

TEST_F(EventTest, OnlyTextsOf17CharactersAreRewrittenAsMac)
{
    client().subscribe("wexond.wifi");
    const std::pair<const char *, const char *> rows[] = {
        {"a:b:c:d:e:f", "a:b:c:d:e:f"},
        {"aa:bb:cc:dd:ee:f", "aa:bb:cc:dd:ee:f"},
        {"aa:bb:cc:dd:ee:fff", "aa:bb:cc:dd:ee:fff"},
        {"aabbccddeeff", "aabbccddeeff"},
        {"aA:Bb:cC:0d:eE:f0", "AABBCC0DEEF0"},
        {"", ""},
    };
    for (const auto &[mac, reported] : rows) {
        send(kPasswordError, Bytes(32).text(0, mac));
        EXPECT_EQ(next_message(), notification("passworderror", {{"stamac", reported}}));
    }
}

// --- Nobody to notify ---

// A trace result, which is sent after them all, shows that nothing came before it.
TEST_F(EventTest, UnknownBandsAndAccessPointsAreNotNotified)
{
    struct Unknown {
        uint32_t type;
        Bytes record;
        std::string log;
    };
    auto no_ap = [](const std::string &ap) {
        return notify_log("ssid change") + values_log("wexond_wifi_ssidchanged", "  No such " + ap + " AP \n\n");
    };
    auto ssid_change = [](uint32_t band, uint32_t index) {
        return Bytes(44).u32(0, band).u32(4, index).text(12, "home");
    };
    const Unknown unknown[] = {
        {kChannelChange, Bytes(16).u32(0, 2).u32(12, 11), notify_log("channel change")},
        {kChannelChange, Bytes(16).u32(0, 0xFFFFFFFF), notify_log("channel change")},
        {kSsidChange, ssid_change(2, 1), notify_log("ssid change")},
        {kSsidChange, ssid_change(0x80000000, 1), notify_log("ssid change")},
        {kSsidChange, ssid_change(0, 7), no_ap("2.4G 7")},
        {kSsidChange, ssid_change(0, 0), no_ap("2.4G 0")},
        {kSsidChange, ssid_change(0, 257), no_ap("2.4G 257")},
        {kSsidChange, ssid_change(1, 2), no_ap("5G 2")},
        {kSsidChange, ssid_change(1, 0xFFFFFFFF), no_ap("5G -1")},
    };
    enable_log();
    for (const char *object : {"wexond.wifi", "wexond.wifi.1", "wexond.wifi.2", "wexond.wifi.1.ap.1",
                               "wexond.wifi.2.ap.1", "wexond.diagnostics"})
        client().subscribe(object);
    for (const Unknown &row : unknown) {
        take_log();
        send(event(row.type, row.record) + event(kTraceResult, Bytes("over")));
        EXPECT_EQ(next_message(), R"(tracerouteresult {"result": "over"})");
        EXPECT_EQ(take_bus_thread_log(), row.log + notify_log("TraceResult") +
                                             values_log("wexond_diagnostics_tracerouteresult", "  result:over \n\n"));
    }
}

} // namespace
