// wexond.wifi.roaming: the steering of stations between access points.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGet = 141;
constexpr uint32_t kSet = 142;
constexpr uint32_t kGetStationRssi = 143;
constexpr uint32_t kQueryApRssi = 144;
constexpr uint32_t kRequestTransition = 145;

constexpr const char *kObject = "wexond.wifi.roaming";
constexpr const char *kNoAnswerLog = "[wexond_check_ret.#]: Msg return buf = NULL\n";

uint32_t word(int32_t number)
{
    return static_cast<uint32_t>(number);
}

// "<name> 0", "<name> 1" and so on as the elements of an array.
std::string numbered(const std::string &name, size_t count)
{
    std::string elements;
    for (size_t i = 0; i < count; i++)
        elements += (i ? ", \"" : "\"") + name + std::to_string(i) + "\"";
    return elements;
}

class RoamingTest : public HandlerTest
{
  protected:
    template <typename Message = std::string_view>
    std::string call_roaming(const std::string &method, const Message &arguments = "{}")
    {
        return call(kObject, method, arguments);
    }
};

// --- set and get ---

class RoamingSettingsTest : public RoamingTest
{
  protected:
    void expect_sent(std::string_view arguments, const Bytes &record)
    {
        service().answer(kSet, code(0));
        EXPECT_EQ(call_roaming("set", arguments), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kSet, 4, record}})) << arguments;
    }
};

TEST_F(RoamingSettingsTest, SendsEverySetting)
{
    expect_sent(R"({"enable": "yes", "thresholdrssi": -70, "reportinterval": 5, "starttime": 10, "startrssi": -60})",
                Bytes(32)
                    .u32(0, 1)
                    .u32(4, word(-70))
                    .u32(8, 5)
                    .u32(12, 10)
                    .u32(16, word(-60))
                    .u32(24, word(-70))
                    .u32(28, 0x5F));
}

TEST_F(RoamingSettingsTest, WritesTheThresholdTwice)
{
    expect_sent(R"({"thresholdrssi": -70})", Bytes(32).u32(4, word(-70)).u32(24, word(-70)).u32(28, 0x42));
}

TEST_F(RoamingSettingsTest, MarksOnlyWhatIsGiven)
{
    expect_sent(R"({"enable": "yes"})", Bytes(32).u32(0, 1).u32(28, 0x01));
    expect_sent(R"({"enable": "no"})", Bytes(32).u32(28, 0x01));
    expect_sent(R"({"enable": "on"})", Bytes(32).u32(28, 0x01));
    expect_sent(R"({"thresholdrssi": 0})", Bytes(32).u32(28, 0x42));
    expect_sent(R"({"reportinterval": -1})", Bytes(32).u32(8, ~0u).u32(28, 0x04));
    expect_sent(R"({"starttime": 2147483647})", Bytes(32).u32(12, 0x7FFFFFFF).u32(28, 0x08));
    expect_sent(R"({"startrssi": -2147483648})", Bytes(32).u32(16, 0x80000000).u32(28, 0x10));
}

TEST_F(RoamingSettingsTest, SendsARequestAlsoWithoutArguments)
{
    expect_sent("{}", Bytes(32));
    expect_sent(R"({"enable": 1, "thresholdrssi": "-70", "reportinterval": [], "starttime": true, "startrssi": {}})",
                Bytes(32));
}

TEST_F(RoamingSettingsTest, AreReported)
{
    Bytes answer = Bytes(32).u32(0, 1).u32(4, word(-70)).u32(8, 5).u32(12, 10).u32(16, word(-60));
    service().answer(kGet, record(answer.u32(20, ~0u).u32(24, ~0u).u32(28, ~0u)));
    EXPECT_EQ(call_roaming("get"), R"({"wexond.wifi.roaming": {"enable": "yes", "thresholdrssi": -70, )"
                                   R"("reportinterval": 5, "starttime": 10, "startrssi": -60}})");
    EXPECT_EQ(service().take_requests(), (Requests{{kGet, 36}}));
}

TEST_F(RoamingSettingsTest, TakeWhatAShortAnswerLacksForZero)
{
    service().answer(kGet, record(Bytes(6).u32(0, 2).text(4, "\1")));
    EXPECT_EQ(call_roaming("get"), R"({"wexond.wifi.roaming": {"enable": "no", "thresholdrssi": 1, )"
                                   R"("reportinterval": 0, "starttime": 0, "startrssi": 0}})");
}

TEST_F(RoamingSettingsTest, ReportFailures)
{
    service().answer_in_turn(kSet, {code(1), no_answer()});
    service().answer_in_turn(kGet, {code(1, Bytes(32).u32(0, 1)), no_answer()});
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(call_roaming("set", R"({"enable": "yes"})"), failure("failed to set wifi roaming"));
        EXPECT_EQ(call_roaming("get"), failure("failed to get wifi.roaming"));
    }
}

TEST_F(RoamingSettingsTest, AreLogged)
{
    const std::string set_line = entry_log("wexond_wifiroaming_set", kObject, "set");
    const std::string get_line = entry_log("wexond_wifiroaming_get", kObject, "get");
    service().answer_in_turn(kSet, {code(0), code(2)});
    service().answer_in_turn(
        kGet, {record(Bytes(32).u32(0, 1).u32(4, word(-70)).u32(8, 5).u32(12, 10).u32(16, ~0u)), no_answer()});
    enable_log();
    call_roaming("set", R"({"startrssi": -60, "starttime": 10, "reportinterval": 5, "thresholdrssi": -70,
                            "enable": "maybe"})");
    EXPECT_EQ(take_log(), set_line +
                              "[wexond_wifiroaming_set.#]: enable:maybe \n\n"
                              "[wexond_wifiroaming_set.#]: thresholdrssi:-70 \n\n"
                              "[wexond_wifiroaming_set.#]: reportinterval:5 \n\n"
                              "[wexond_wifiroaming_set.#]: starttime:10 \n\n"
                              "[wexond_wifiroaming_set.#]: startrssi:-60 \n\n" +
                              set_reply_log());
    call_roaming("set");
    EXPECT_EQ(take_log(),
              set_line + "[wexond_check_ret.#]: Msg retcode = 2\n" + set_reply_log("failed to set wifi roaming"));
    call_roaming("get");
    EXPECT_EQ(take_log(), get_line +
                              "[wexond_wifiroaming_get.#]: wexond_wifiroaming_get uiEnable:yes,iThresholdrssi:-70,"
                              "iReportinterval:5,iStarttime:10,iStartrssi:-1\n\n" +
                              get_reply_log());
    call_roaming("get");
    EXPECT_EQ(take_log(), get_line + kNoAnswerLog + get_reply_log("failed to get wifi.roaming"));
}

// --- getrssiinfo ---

// Address at 0, signal at 20, band at 24.
Bytes station(std::string_view mac, int32_t rssi = 0, uint32_t band = 0)
{
    return Bytes(28).text(0, mac).u32(20, word(rssi)).u32(24, band);
}

Request station_request(std::string_view mac)
{
    return {kGetStationRssi, 32, station(mac)};
}

std::string station_array(const std::vector<ReplyValue> &stations)
{
    return table({{"wexond.wifi.roaming.starssiinfo", array(stations)}});
}

ReplyText shown_station(const std::string &mac, int32_t rssi_2g, int32_t rssi_5g)
{
    return table({{"mac", mac}, {"rssi24g", rssi_2g}, {"rssi5g", rssi_5g}});
}

std::string macs(const std::string &elements)
{
    return "{\"macs\": [" + elements + "]}";
}

class StationRssiTest : public RoamingTest
{
};

TEST_F(StationRssiTest, ReportsTheSignalOnTheBandItWasMeasuredOn)
{
    service().answer_in_turn(kGetStationRssi, {record(station("00:1a:2b:3c:4d:5e", -40, 0)),
                                               record(station("AA:BB:CC:DD:EE:FF", -55, 1)),
                                               record(station("other", -60, 2)), record(station("", -61, ~0u))});
    EXPECT_EQ(call_roaming("getrssiinfo", macs(R"("001a2b3c4d5e", "AABBCCDDEEFF", "000000000000", "ffffffffffff")")),
              station_array({shown_station("001A2B3C4D5E", -40, 0), shown_station("AABBCCDDEEFF", 0, -55),
                             shown_station("other", 0, 0), shown_station("", 0, 0)}));
    EXPECT_EQ(service().take_requests(),
              (Requests{station_request("00:1A:2B:3C:4D:5E"), station_request("AA:BB:CC:DD:EE:FF"),
                        station_request("00:00:00:00:00:00"), station_request("FF:FF:FF:FF:FF:FF")}));
}

TEST_F(StationRssiTest, AsksByTheFirst13CharactersUnlessTheyAreTwelveDigits)
{
    struct Row {
        const char *given;
        const char *sent;
    };
    const Row rows[] = {
        {"001a2b3c4d5e", "00:1A:2B:3C:4D:5E"},
        {"001a2b3c4d5", "001a2b3c4d5"},
        {"001a2b3c4d5ef", "001a2b3c4d5ef"},
        {"001a2b3c4d5efa", "001a2b3c4d5ef"},
        {"00:1a:2b:3c:4d:5e", "00:1a:2b:3c:4"},
        {"no addresses", "no addresses"},
        {"", ""},
    };
    service().answer(kGetStationRssi, code(0));
    for (const Row &row : rows) {
        call_roaming("getrssiinfo", macs("\"" + std::string(row.given) + "\""));
        EXPECT_EQ(service().take_requests(), (Requests{station_request(row.sent)})) << row.given;
    }
}

TEST_F(StationRssiTest, ReadsAnAddressUpToItsFieldsEnd)
{
    service().answer(kGetStationRssi, record(station(std::string(20, 'x'), 0x31313131)));
    EXPECT_EQ(call_roaming("getrssiinfo", macs(R"("a")")),
              station_array({shown_station("xxxxxxxxxxxxxxxxxxxx", 825307441, 0)}));
}

TEST_F(StationRssiTest, ReportsNoStationsAsAnEmptyArray)
{
    EXPECT_EQ(call_roaming("getrssiinfo", macs("")), station_array({}));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(StationRssiTest, AsksFor32OfMoreStations)
{
    service().answer_by(kGetStationRssi, [](const Request &request) { return record(request.payload); });
    Requests requests;
    std::vector<ReplyValue> elements;
    for (size_t i = 0; i < 32; i++) {
        std::string name = "station " + std::to_string(i);
        requests.push_back(station_request(name));
        elements.push_back(shown_station(name, 0, 0));
    }
    for (size_t count : {32, 33, 40}) {
        EXPECT_EQ(call_roaming("getrssiinfo", macs(numbered("station ", count))), station_array(elements));
        EXPECT_EQ(service().take_requests(), requests);
    }
    std::string mixed = macs(numbered("station ", 32));
    mixed.insert(mixed.rfind(']'), ", 1, {}");
    EXPECT_EQ(call_roaming("getrssiinfo", mixed), station_array(elements)) << "what follows does not count";
}

TEST_F(StationRssiTest, TheFirstFailureIsTheWholeReply)
{
    for (const Answer &answer : {code(1, station("x")), no_answer()}) {
        service().answer_in_turn(kGetStationRssi, {record(station("first")), answer});
        EXPECT_EQ(call_roaming("getrssiinfo", macs(R"("first", "second", "third")")),
                  failure("failed to get roaming rssi"));
        EXPECT_EQ(service().take_requests(), (Requests{station_request("first"), station_request("second")}));
    }
}

TEST_F(StationRssiTest, RequiresTheArray)
{
    for (const char *arguments : {"{}", R"({"macs": "001a2b3c4d5e"})", R"({"macs": {}})"})
        EXPECT_EQ(call_roaming("getrssiinfo", arguments), failure("required parameter: macs")) << arguments;
}

TEST_F(StationRssiTest, RefusesElementsThatAreNoTexts)
{
    for (const char *elements : {"1", R"("a", true)", R"(["a"])"})
        EXPECT_EQ(call_roaming("getrssiinfo", macs(elements)), failure("unrecognized parameter: macs")) << elements;
    EXPECT_EQ(call_roaming("getrssiinfo", RawMessage{value(Type::array, "macs", value(Type::string, "", "open"))}),
              failure("unrecognized parameter: macs"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(StationRssiTest, LogsEachStationTwice)
{
    const std::string entry_line = entry_log("wexond_wifiroaming_getrssiinfo", kObject, "getrssiinfo");
    auto line = [](size_t position, const std::string &mac) {
        return "[wexond_wifiroaming_getrssiinfo.#]: mac[" + std::to_string(position) + "]:" + mac + " \n\n";
    };
    service().answer_in_turn(kGetStationRssi, {code(0), code(0), code(1)});
    enable_log();
    call_roaming("getrssiinfo", macs(R"("001a2b3c4d5e", "00:1a:2b:3c:4d:5e")"));
    EXPECT_EQ(take_log(), entry_line + line(0, "001a2b3c4d5e") + line(1, "00:1A:2B:3C:4D:5E") +
                              line(1, "00:1a:2b:3c:4d:5e") + line(2, "00:1a:2b:3c:4") + get_reply_log());
    // A failure is the handler's own and ends the walk.
    call_roaming("getrssiinfo", macs(R"("a", "b")"));
    EXPECT_EQ(take_log(), entry_line + line(0, "a") + line(1, "a") + get_reply_log("failed to get roaming rssi"));

    service().answer(kGetStationRssi, code(0));
    call_roaming("getrssiinfo", macs(numbered("s", 34)));
    std::string lines;
    for (size_t i = 0; i < 34; i++) {
        std::string name = "s" + std::to_string(i);
        lines += line(i, name) + (i < 32 ? line(i + 1, name) : "");
    }
    EXPECT_EQ(take_log(), entry_line + lines + get_reply_log());
}

// --- startaprssiquery ---

// Count at 0, station at 4, access points from 20.
Bytes query(uint32_t count, std::string_view mac)
{
    return Bytes(660).u32(0, count).text(4, mac);
}

constexpr size_t bssid_at(size_t slot)
{
    return 20 + 20 * slot;
}

constexpr size_t channel_at(size_t slot)
{
    return 36 + 20 * slot;
}

std::string query_arguments(const std::string &aps)
{
    return R"({"mac": "001a2b3c4d5e", "aps": [)" + aps + "]}";
}

class ApRssiTest : public RoamingTest
{
  protected:
    void expect_sent(const std::string &arguments, const Bytes &record)
    {
        service().answer(kQueryApRssi, code(0));
        EXPECT_EQ(call_roaming("startaprssiquery", arguments), R"({"wexond.wifi.roaming.aprssiinfo": []})");
        EXPECT_EQ(service().take_requests(), (Requests{{kQueryApRssi, 648, record}}));
    }

    std::string query_with(const Bytes &answer)
    {
        service().answer(kQueryApRssi, record(answer));
        return call_roaming("startaprssiquery", query_arguments(""));
    }

    static std::string signals(const std::vector<ReplyValue> &access_points)
    {
        return table({{"wexond.wifi.roaming.aprssiinfo", array(access_points)}});
    }
    static ReplyText shown(const char *bssid, uint32_t rssi) { return table({{"bssid", bssid}, {"rssi", rssi}}); }
};

TEST_F(ApRssiTest, AsksForTheStationAtEachAccessPoint)
{
    expect_sent(query_arguments(R"({"bssid": "AABBCCDDEEFF", "channel": 36}, {"channel": -1, "bssid": "no address"})"),
                query(2, "001a2b3c4d5e")
                    .text(bssid_at(0), "AABBCCDDEEFF")
                    .u32(channel_at(0), 36)
                    .text(bssid_at(1), "no address")
                    .u32(channel_at(1), ~0u));
    expect_sent(query_arguments(""), query(0, "001a2b3c4d5e"));
}

TEST_F(ApRssiTest, CutsAddressesAt13Characters)
{
    expect_sent(R"({"mac": "0123456789abcdef", "aps": [{"bssid": "fedcba9876543210", "channel": 1}]})",
                query(1, "0123456789abc").text(bssid_at(0), "fedcba9876543").u32(channel_at(0), 1));
    expect_sent(R"({"mac": "0123456789abc", "aps": [{"bssid": "", "channel": 1}]})",
                query(1, "0123456789abc").u32(channel_at(0), 1));
}

TEST_F(ApRssiTest, AnAccessPointWithoutAChannelIsOverwrittenByTheNext)
{
    expect_sent(query_arguments(R"({"bssid": "AABBCCDDEEFF"}, {"bssid": "second", "channel": 2})"),
                query(1, "001a2b3c4d5e").text(bssid_at(0), "second").u32(channel_at(0), 2));
    expect_sent(query_arguments(R"({"bssid": "first", "channel": 1}, {"bssid": "second", "channel": "2"})"),
                query(1, "001a2b3c4d5e").text(bssid_at(0), "first").u32(channel_at(0), 1).text(bssid_at(1), "second"));
}

TEST_F(ApRssiTest, PassesOverAnAccessPointWithoutABssid)
{
    expect_sent(query_arguments(R"({"channel": 1}, {"bssid": 5, "channel": 2}, {}, {"bssid": "x", "channel": 3})"),
                query(1, "001a2b3c4d5e").text(bssid_at(0), "x").u32(channel_at(0), 3));
}

TEST_F(ApRssiTest, AsksAt32OfMoreAccessPoints)
{
    Bytes full = query(32, "001a2b3c4d5e");
    std::string elements;
    for (uint32_t i = 0; i < 32; i++) {
        full.text(bssid_at(i), "ap " + std::to_string(i)).u32(channel_at(i), i);
        elements += (i ? ", " : "") + std::string(R"({"bssid": "ap )") + std::to_string(i) + R"(", "channel": )" +
                    std::to_string(i) + "}";
    }
    for (const char *more :
         {"", R"(, {"bssid": "ap 32", "channel": 32})", R"(, {"bssid": "ap 32"}, {"channel": 1}, {})", ", 1"})
        expect_sent(query_arguments(elements + more), full);
    // Slots that are not filled do not count.
    expect_sent(query_arguments(R"({"channel": 1}, {"bssid": "x"}, )" + elements), full);
}

TEST_F(ApRssiTest, ReportsTheSignals)
{
    EXPECT_EQ(query_with(Bytes(644)
                             .u32(0, 2)
                             .text(4, "AABBCCDDEEFF")
                             .u32(20, word(-55))
                             .text(24, std::string(16, 'x'))
                             .u32(40, 0x31313131)
                             .text(44, "beyond the count")),
              signals({shown("AABBCCDDEEFF", word(-55)), shown("xxxxxxxxxxxxxxxx", 0x31313131)}));
    EXPECT_EQ(query_with(Bytes(644)), signals({}));
    EXPECT_EQ(query_with(Bytes(8).u32(0, 2).text(4, "a")), signals({shown("a", 0), shown("", 0)}));
}

TEST_F(ApRssiTest, ReportsAsManySignalsAsTheAnswerHolds)
{
    Bytes answer(644);
    std::vector<ReplyValue> elements;
    for (uint32_t i = 0; i < 32; i++) {
        answer.text(4 + 20 * i, "ap").u32(20 + 20 * i, i);
        elements.push_back(shown("ap", i));
    }
    for (uint32_t count : {32u, 33u, 0x10000000u, ~0u})
        EXPECT_EQ(query_with(answer.u32(0, count)), signals(elements)) << count;
}

TEST_F(ApRssiTest, RequiresStationThenAccessPoints)
{
    struct Row {
        const char *arguments;
        const char *missing;
    };
    const Row rows[] = {
        {"{}", "mac"},
        {R"({"aps": []})", "mac"},
        {R"({"mac": 1, "aps": []})", "mac"},
        {R"({"mac": "001a2b3c4d5e"})", "aps"},
        {R"({"mac": "001a2b3c4d5e", "aps": {}})", "aps"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(call_roaming("startaprssiquery", row.arguments),
                  failure(std::string("required parameter: ") + row.missing));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(ApRssiTest, TakesAnElementThatIsNoTableForOneWithoutABssid)
{
    for (const char *element : {R"("AABBCCDDEEFF")", "1", "[]", "null", R"([{"bssid": "x", "channel": 1}])"}) {
        expect_sent(query_arguments(element), query(0, "001a2b3c4d5e"));
        expect_sent(query_arguments(std::string(element) + R"(, {"bssid": "x", "channel": 1})"),
                    query(1, "001a2b3c4d5e").text(bssid_at(0), "x").u32(channel_at(0), 1));
    }
    enable_log();
    call_roaming("startaprssiquery", query_arguments("1"));
    EXPECT_EQ(take_log(), entry_log("wexond_wifiroaming_sarq", kObject, "startaprssiquery") +
                              "[wexond_wifiroaming_sarq.#]: sta mac:001a2b3c4d5e \n\n"
                              "[wexond_wifiroaming_sarq.#]: no AP_RSSI_QUERY_AP_BSSID\n" +
                              get_reply_log());
}

TEST_F(ApRssiTest, RefusesMalformedElements)
{
    std::string mac = value(Type::string, "mac", terminated("y"));
    for (const std::string &malformed : {value(Type::string, "", "open"), std::string(2, '\1')})
        EXPECT_EQ(call_roaming("startaprssiquery", RawMessage{mac + value(Type::array, "aps", malformed)}),
                  failure("unrecognized parameter: aps"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(ApRssiTest, TakesMalformedValuesOfAnAccessPointForAbsent)
{
    service().answer(kQueryApRssi, code(0));
    std::string open_text = value(Type::table, "", value(Type::string, "bssid", "open"));
    std::string short_number =
        value(Type::table, "", value(Type::string, "bssid", terminated("x")) + value(Type::int32, "channel", "\1\2"));
    std::string stray = value(Type::table, "", std::string(4, '\xFF'));
    EXPECT_EQ(call_roaming("startaprssiquery", RawMessage{value(Type::string, "mac", terminated("y")) +
                                                          value(Type::array, "aps", open_text + stray + short_number)}),
              signals({}));
    EXPECT_EQ(service().take_requests(), (Requests{{kQueryApRssi, 648, query(0, "y").text(bssid_at(0), "x")}}));
}

TEST_F(ApRssiTest, ReportsFailures)
{
    service().answer_in_turn(kQueryApRssi, {code(1, Bytes(644).u32(0, 1)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_roaming("startaprssiquery", query_arguments("")), failure("failed to get roaming SARQ"));
}

TEST_F(ApRssiTest, LogsItsArguments)
{
    const std::string entry_line = entry_log("wexond_wifiroaming_sarq", kObject, "startaprssiquery");
    service().answer_in_turn(kQueryApRssi, {code(0), code(1)});
    enable_log();
    call_roaming("startaprssiquery",
                 query_arguments(R"({"bssid": "AABBCCDDEEFF00", "channel": -36}, {"bssid": "x"}, {"channel": 1})"));
    EXPECT_EQ(take_log(), entry_line +
                              "[wexond_wifiroaming_sarq.#]: sta mac:001a2b3c4d5e \n\n"
                              "[wexond_wifiroaming_sarq.#]: bssid:AABBCCDDEEFF00 \n\n"
                              "[wexond_wifiroaming_sarq.#]: channel:-36 \n\n"
                              "[wexond_wifiroaming_sarq.#]: no AP_RSSI_QUERY_AP_CHANNEL\n"
                              "[wexond_wifiroaming_sarq.#]: no AP_RSSI_QUERY_AP_BSSID\n" +
                              get_reply_log());
    // The failure is the handler's own: no line of the common check.
    call_roaming("startaprssiquery", query_arguments(""));
    EXPECT_EQ(take_log(), entry_line + "[wexond_wifiroaming_sarq.#]: sta mac:001a2b3c4d5e \n\n" +
                              get_reply_log("failed to get roaming SARQ"));
}

// --- startstabsstransitionrequest ---

constexpr const char *kConstantReply = R"({"result": "0", "statuscode": "0"})";

class TransitionTest : public RoamingTest
{
  protected:
    template <typename Message> void expect_sent(const Message &arguments, const Requests &requests)
    {
        EXPECT_EQ(call_roaming("startstabsstransitionrequest", arguments), kConstantReply);
        EXPECT_EQ(service().take_requests(), requests);
    }
};

TEST_F(TransitionTest, SendsTheRequest)
{
    service().answer(kRequestTransition, code(0));
    Bytes record = Bytes(32).text(0, "001a2b3c4d5e").text(13, "AABBCCDDEEFF").u32(28, 36);
    expect_sent(R"({"mac": "001a2b3c4d5e", "channel": 36, "bssid": "AABBCCDDEEFF"})",
                {{kRequestTransition, 4, record}});
    // Addresses are cut at 13 characters; the station's fills its field.
    expect_sent(R"({"mac": "0123456789abcdef", "channel": -1, "bssid": "fedcba9876543210"})",
                {{kRequestTransition, 4, Bytes(32).text(0, "0123456789abcfedcba9876543").u32(28, ~0u)}});
}

TEST_F(TransitionTest, TakesAChannelSentAsTextForMissing)
{
    expect_sent(R"({"mac": "001a2b3c4d5e", "channel": "36", "bssid": "AABBCCDDEEFF"})", {});
}

TEST_F(TransitionTest, AnswersAlikeWhateverIsMissing)
{
    for (const char *arguments :
         {"{}", R"({"channel": 36, "bssid": "x"})", R"({"mac": "x", "bssid": "y"})", R"({"mac": "x", "channel": 36})"})
        expect_sent(arguments, {});
}

TEST_F(TransitionTest, AnswersAlikeWhateverFails)
{
    service().answer_in_turn(kRequestTransition, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        expect_sent(R"({"mac": "", "channel": 0, "bssid": ""})", {{kRequestTransition, 4, Bytes(32)}});
    end_service();
    EXPECT_EQ(call_roaming("startstabsstransitionrequest", R"({"mac": "x", "channel": 1, "bssid": "y"})"),
              kConstantReply);
}

TEST_F(TransitionTest, LogsItsArguments)
{
    const std::string entry_line = entry_log("wexond_wifiroaming_bsstr", kObject, "startstabsstransitionrequest");
    service().answer(kRequestTransition, no_answer());
    enable_log();
    call_roaming("startstabsstransitionrequest", R"({"bssid": "fedcba9876543210", "channel": -36, "mac": "x"})");
    EXPECT_EQ(take_log(), entry_line + "[wexond_wifiroaming_bsstr.#]: sta mac:x \n\n"
                                       "[wexond_wifiroaming_bsstr.#]: channel:-36 \n\n"
                                       "[wexond_wifiroaming_bsstr.#]: bssid:fedcba9876543210 \n\n");
    call_roaming("startstabsstransitionrequest");
    EXPECT_EQ(take_log(), entry_line);
}

} // namespace
