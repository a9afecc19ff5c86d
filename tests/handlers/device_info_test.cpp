// wexond.devinfo and wexond.devinfo.ext.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kHwInfo = 0;
constexpr uint32_t kFwInfo = 1;
constexpr uint32_t kManuInfo = 2;
constexpr uint32_t kManageInfo = 3;
constexpr uint32_t kFuncSupport = 4;
constexpr uint32_t kUplinkSupport = 23;
constexpr uint32_t kWanStatus = 24;
constexpr uint32_t kSetDhcp = 28;
constexpr uint32_t kSetBridge = 34;
constexpr uint32_t kPortNum = 91;
constexpr uint32_t kOpvmBasicInfo = 164;

// The requests of wexond.devinfo's `get`, in order, and its log where an answer stays out.
struct Step {
    uint32_t type;
    uint32_t expected;
    const char *failure;
};

constexpr Step kSteps[] = {
    {kHwInfo, 356, "Failed to get hwinfo"},
    {kFwInfo, 164, "Failed to get fwinfo"},
    {kManageInfo, 100, "Failed to get manage info"},
    {kFuncSupport, 36, "Failed to func support"},
    {kOpvmBasicInfo, 76, "Failed to opvm basic info"},
    {kManuInfo, 100, "Failed to manu info"},
    {kPortNum, 52, "Failed to port num"},
    {kUplinkSupport, 24, "Failed to uplink support"},
    {kWanStatus, 172, "Failed to get wan status"},
};

// The requests of the first `count` steps.
Requests steps(size_t count)
{
    Requests requests;
    for (size_t i = 0; i < count; i++)
        requests.push_back({kSteps[i].type, kSteps[i].expected});
    return requests;
}

// The device of these tests. Each record lists every field that is read.

Bytes hw_info()
{
    return Bytes(352)
        .text(0, "Maker")
        .text(16, "Model 7")
        .text(48, "V1.0")
        .text(80, "http://maker.example")
        .u32(188, 1000)
        .u32(192, 100)
        .u32(196, 10)
        .u32(204, 2500)
        .text(256, "A home router")
        .u32(328, 1 | 2 | 8)
        .u32(336, 4 | 8 | 16)
        .u32(344, 574)
        .u32(348, 2402);
}

Bytes func_support()
{
    return Bytes(32).u32(4, 1).u32(8, 0).u32(12, 1).u32(20, 1).u32(28, 1);
}

Bytes opvm_basic_info(std::string_view serial = "SN0001")
{
    return Bytes(72).text(0, "VUNQ-1").text(16, serial).text(51, "IF-2.1");
}

Bytes port_num()
{
    return Bytes(48).u32(0, 4).u32(4, 1).u32(8, 2).u32(12, 3).u32(16, 4).u32(36, 1).u32(40, 5);
}

Bytes uplink_support()
{
    return Bytes(20).u32(0, 1).u32(12, 1);
}

// The reply of that device, with some of its keys changed.
struct Reply {
    std::string vunq = "VUNQ-1", ifversion = "IF-2.1", mac = "001A2B3C4D5E", sn = "SN0001";
    std::string vpn = "yes", usb = "no", dualband = "yes";
    int mesh = 1;
    std::vector<ReplyValue> lanports = {1, 2, 3, 4}, wanports = {5};
    std::string suggestworkmode = "any", workmode = "router", wireless = "no";
    std::string vendor = "Maker", model = "Model 7", hdversion = "V1.0", url = "http://maker.example";
    std::string description = "A home router", swversion = "3.2.1", ipaddr = "192.168.1.1";

    std::string text() const
    {
        return table({{"wexond.devinfo", table({{"vendor", vendor},
                                                {"model", model},
                                                {"hdversion", hdversion},
                                                {"url", url},
                                                {"description", description},
                                                {"devtype", "AP"},
                                                {"swversion", swversion},
                                                {"ipaddr", ipaddr},
                                                {"vpn", vpn},
                                                {"usb", usb},
                                                {"dualband", dualband},
                                                {"mesh", mesh},
                                                {"vunq", vunq},
                                                {"ifversion", ifversion},
                                                {"mac", mac},
                                                {"sn", sn},
                                                {"lanports", array(lanports)},
                                                {"wanports", array(wanports)},
                                                {"suggestworkmode", suggestworkmode},
                                                {"workmode", workmode},
                                                {"wireless", wireless},
                                                {"triband", "no"}})}});
    }
};

class DeviceInfoTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        answer_as_the_device();
    }

    void answer_as_the_device()
    {
        service().answer(kHwInfo, record(hw_info()));
        service().answer(kFwInfo, record(Bytes(160).text(0, "3.2.1")));
        service().answer(kManageInfo, record(Bytes(96).text(80, "192.168.1.1")));
        service().answer(kFuncSupport, record(func_support()));
        service().answer(kOpvmBasicInfo, record(opvm_basic_info()));
        service().answer(kManuInfo, record(Bytes(96).text(0, "00:1a:2b:3c:4d:5e")));
        service().answer(kPortNum, record(port_num()));
        service().answer(kUplinkSupport, record(uplink_support()));
        service().answer(kWanStatus, record(Bytes(168).u32(0, 1)));
        for (uint32_t type : {kSetDhcp, kSetBridge})
            service().answer(type, code(0));
    }

    std::string get() { return call("wexond.devinfo", "get"); }
    std::string get_ext() { return call("wexond.devinfo.ext", "get"); }
    std::string set(const std::string &mode)
    {
        return call("wexond.devinfo", "set", "{\"workmode\": \"" + mode + "\"}");
    }
};

TEST_F(DeviceInfoTest, CollectsTheDevice)
{
    EXPECT_EQ(get(), Reply().text());
    EXPECT_EQ(service().take_requests(), steps(std::size(kSteps)));
}

TEST_F(DeviceInfoTest, ReportsFunctionsThatAreExactlyOne)
{
    service().answer(kFuncSupport, record(Bytes(32).u32(4, 2).u32(8, 1).u32(12, 0xFFFFFFFF)));
    EXPECT_EQ(get(), (Reply{.vpn = "no", .usb = "yes", .dualband = "no", .mesh = 0}).text());
}

TEST_F(DeviceInfoTest, ReportsTheKindOfMesh)
{
    struct Row {
        uint32_t word5, word7;
        int mesh;
    };
    for (const Row &row : {Row{0, 0, 0}, {1, 0, 2}, {0, 1, 1}, {1, 1, 1}, {1, 2, 2}, {2, 2, 0}}) {
        SCOPED_TRACE(testing::Message() << row.word5 << ' ' << row.word7);
        service().answer(kFuncSupport, record(func_support().u32(20, row.word5).u32(28, row.word7)));
        EXPECT_EQ(get(), (Reply{.mesh = row.mesh}).text());
    }
}

TEST_F(DeviceInfoTest, IgnoresTheUnusedFunctionWords)
{
    service().answer(kFuncSupport, record(func_support().u32(0, 1).u32(16, 1).u32(24, 1)));
    service().answer(kUplinkSupport, record(uplink_support().u32(4, 7).u32(8, 7).u32(16, 7)));
    EXPECT_EQ(get(), Reply().text());
}

TEST_F(DeviceInfoTest, AddsTheMacToASerialNumberOf22Characters)
{
    struct Row {
        size_t length;
        const char *added;
    };
    for (const Row &row : {Row{0, ""}, {21, ""}, {22, "001A2B3C4D5E"}, {23, ""}, {34, ""}}) {
        SCOPED_TRACE(row.length);
        std::string serial(row.length, 'S');
        service().answer(kOpvmBasicInfo, record(opvm_basic_info(serial)));
        EXPECT_EQ(get(), (Reply{.sn = serial + row.added}).text());
    }
}

TEST_F(DeviceInfoTest, LeavesAMacOfAnotherFormAsItIs)
{
    std::string serial(22, 'S');
    service().answer(kOpvmBasicInfo, record(opvm_basic_info(serial)));
    for (std::string mac : {"", "001a2b3c4d5e", "001A2B3C4D5E", "00:1a:2b:3c:4d:5", "00:1a:2b:3c:4d:5e7"}) {
        SCOPED_TRACE(mac);
        service().answer(kManuInfo, record(Bytes(96).text(0, mac)));
        EXPECT_EQ(get(), (Reply{.mac = mac, .sn = serial + mac}).text());
    }
}

TEST_F(DeviceInfoTest, LeavesOutPortsThatAreZero)
{
    service().answer(kPortNum, record(port_num().u32(8, 0)));
    EXPECT_EQ(get(), (Reply{.lanports = {1, 3, 4}}).text());
    service().answer(kPortNum, record(Bytes(48).u32(0, 8).u32(36, 2)));
    EXPECT_EQ(get(), (Reply{.lanports = {}, .wanports = {}}).text());
}

TEST_F(DeviceInfoTest, ReportsAsManyPortsAsTheCountsSay)
{
    Bytes ports = Bytes(48).u32(0, 8).u32(36, 2).u32(40, 21).u32(44, 22);
    for (size_t i = 1; i <= 8; i++)
        ports.u32(4 * i, static_cast<uint32_t>(10 + i));
    service().answer(kPortNum, record(ports));
    EXPECT_EQ(get(), (Reply{.lanports = {11, 12, 13, 14, 15, 16, 17, 18}, .wanports = {21, 22}}).text());
    service().answer(kPortNum, record(ports.u32(0, 1).u32(36, 0)));
    EXPECT_EQ(get(), (Reply{.lanports = {11}, .wanports = {}}).text());
    service().answer(kPortNum, record(ports.u32(0, 0).u32(36, 1)));
    EXPECT_EQ(get(), (Reply{.lanports = {}, .wanports = {21}}).text());
}

// A count above the slots runs on through the words that follow: the WAN count and the WAN ports.
TEST_F(DeviceInfoTest, PortCountsRunOnToTheEndOfTheRecord)
{
    Bytes ports = port_num().u32(36, 2);
    struct Row {
        uint32_t count;
        std::vector<ReplyValue> lanports;
    };
    for (const Row &row : {Row{8, {1, 2, 3, 4}},
                           {9, {1, 2, 3, 4, 2}},
                           {10, {1, 2, 3, 4, 2, 5}},
                           {11, {1, 2, 3, 4, 2, 5}},
                           {12, {1, 2, 3, 4, 2, 5}},
                           {0x7FFFFFFF, {1, 2, 3, 4, 2, 5}},
                           {0xFFFFFFFF, {1, 2, 3, 4, 2, 5}}}) {
        SCOPED_TRACE(row.count);
        service().answer(kPortNum, record(ports.u32(0, row.count)));
        EXPECT_EQ(get(), (Reply{.lanports = row.lanports}).text());
    }
    for (uint32_t count : {3u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(count);
        service().answer(kPortNum, record(port_num().u32(36, count).u32(44, 6)));
        EXPECT_EQ(get(), (Reply{.wanports = {5, 6}}).text());
    }
}

TEST_F(DeviceInfoTest, SuggestsAnyWorkModeWhereBothUplinksAreSupported)
{
    struct Row {
        uint32_t word0, word3;
        const char *mode;
    };
    for (const Row &row :
         {Row{1, 1, "any"}, {1, 0, "router"}, {0, 1, "router"}, {0, 0, "router"}, {2, 1, "router"}, {1, 2, "router"}}) {
        SCOPED_TRACE(testing::Message() << row.word0 << ' ' << row.word3);
        service().answer(kUplinkSupport, record(Bytes(20).u32(0, row.word0).u32(12, row.word3)));
        EXPECT_EQ(get(), (Reply{.suggestworkmode = row.mode}).text());
    }
}

TEST_F(DeviceInfoTest, ReportsTheWorkMode)
{
    struct Row {
        uint32_t code;
        const char *mode, *wireless;
    };
    for (const Row &row : {Row{0, "router", "no"},
                           {1, "router", "no"},
                           {4, "bridge", "no"},
                           {5, "repeater", "yes"},
                           {6, "router", "no"},
                           {0xFFFFFFFF, "router", "no"}}) {
        SCOPED_TRACE(row.code);
        service().answer(kWanStatus, record(Bytes(168).u32(0, row.code)));
        EXPECT_EQ(get(), (Reply{.workmode = row.mode, .wireless = row.wireless}).text());
    }
}

TEST_F(DeviceInfoTest, KeepsFieldsThatAreFullApart)
{
    Bytes hardware = Bytes(352)
                         .text(0, std::string(16, 'a'))
                         .text(16, std::string(32, 'b'))
                         .text(48, std::string(32, 'c'))
                         .text(80, std::string(108, 'd'))
                         .u32(188, 0x41414141)
                         .text(256, std::string(72, 'e'))
                         .u32(328, 0x42424242);
    service().answer(kHwInfo, record(hardware));
    service().answer(kFwInfo, record(Bytes(160).text(0, std::string(160, 'f'))));
    service().answer(kManageInfo, record(Bytes(96).text(0, std::string(80, '#')).text(80, std::string(16, 'g'))));
    service().answer(
        kOpvmBasicInfo,
        record(Bytes(72).text(0, std::string(16, 'h')).text(16, std::string(35, 'i')).text(51, std::string(21, 'j'))));
    EXPECT_EQ(get(), (Reply{.vunq = std::string(16, 'h'),
                            .ifversion = std::string(21, 'j'),
                            .sn = std::string(35, 'i'),
                            .vendor = std::string(16, 'a'),
                            .model = std::string(32, 'b'),
                            .hdversion = std::string(32, 'c'),
                            .url = std::string(108, 'd'),
                            .description = std::string(72, 'e'),
                            .swversion = std::string(160, 'f'),
                            .ipaddr = std::string(16, 'g')})
                         .text());
}

TEST_F(DeviceInfoTest, TakesWhatShortAnswersLackForZero)
{
    for (const Step &step : kSteps)
        service().answer(step.type, code(0));
    EXPECT_EQ(get(), R"({"wexond.devinfo": {"vendor": "", "model": "", "hdversion": "", "url": "", "description": "", )"
                     R"("devtype": "AP", "swversion": "", "ipaddr": "", "vpn": "no", "usb": "no", "dualband": "no", )"
                     R"("mesh": 0, "vunq": "", "ifversion": "", "mac": "", "sn": "", "lanports": [], "wanports": [], )"
                     R"("suggestworkmode": "router", "workmode": "router", "wireless": "no", "triband": "no"}})");
}

// The return codes of the later eight answers are not looked at.
TEST_F(DeviceInfoTest, TakesTheRecordsOfLaterAnswersWhateverTheirCode)
{
    service().answer(kFwInfo, code(1, Bytes(160).text(0, "3.2.1")));
    service().answer(kManageInfo, code(2, Bytes(96).text(80, "192.168.1.1")));
    service().answer(kFuncSupport, code(3, func_support()));
    service().answer(kOpvmBasicInfo, code(4, opvm_basic_info()));
    service().answer(kManuInfo, code(5, Bytes(96).text(0, "00:1a:2b:3c:4d:5e")));
    service().answer(kPortNum, code(6, port_num()));
    service().answer(kUplinkSupport, code(7, uplink_support()));
    service().answer(kWanStatus, code(0xFFFFFFFF, Bytes(168).u32(0, 1)));
    EXPECT_EQ(get(), Reply().text());
}

TEST_F(DeviceInfoTest, FailsWhereTheHardwareIsNotKnown)
{
    service().answer_in_turn(kHwInfo, {code(1, hw_info()), no_answer()});
    enable_log();
    EXPECT_EQ(get(), failure("failed to get devinfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_devinfo_get", "wexond.devinfo", "get") +
                              "[wexond_check_ret.#]: Msg retcode = 1\n"
                              "[wexond_devinfo_get.#]: Failed to get hwinfo\n" +
                              get_reply_log("failed to get devinfo"));
    EXPECT_EQ(get(), failure("failed to get devinfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_devinfo_get", "wexond.devinfo", "get") +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n"
                              "[wexond_devinfo_get.#]: Failed to get hwinfo\n" +
                              get_reply_log("failed to get devinfo"));
    EXPECT_EQ(service().take_requests(), (Requests{{kHwInfo, 356}, {kHwInfo, 356}}));
}

// The reply is then the name of a table that was never closed: 20 bytes, from which a reader decodes no key.
TEST_F(DeviceInfoTest, RepliesWithoutAKeyWhereALaterAnswerStaysOut)
{
    enable_log();
    for (size_t i = 1; i < std::size(kSteps); i++) {
        SCOPED_TRACE(kSteps[i].failure);
        answer_as_the_device();
        service().answer(kSteps[i].type, no_answer());
        EXPECT_EQ(get(), "{<20 stray bytes>}");
        EXPECT_EQ(service().take_requests(), steps(i + 1));
        EXPECT_EQ(take_log(), entry_log("wexond_devinfo_get", "wexond.devinfo", "get") +
                                  "[wexond_devinfo_get.#]: " + kSteps[i].failure + "\n" + get_reply_log());
    }
    answer_as_the_device();
    EXPECT_EQ(get(), Reply().text());
}

TEST_F(DeviceInfoTest, LogsItsCalls)
{
    enable_log();
    get();
    EXPECT_EQ(take_log(), entry_log("wexond_devinfo_get", "wexond.devinfo", "get") + get_reply_log());
    get_ext();
    EXPECT_EQ(take_log(), entry_log("wexond_devinfoext_get", "wexond.devinfo.ext", "get") + get_reply_log());
    set("bridge");
    EXPECT_EQ(take_log(), entry_log("wexond_devinfo_set", "wexond.devinfo", "set") +
                              "[wexond_devinfo_set.#]: workmode:bridge \n\n" + set_reply_log());
    call("wexond.devinfo", "set");
    EXPECT_EQ(take_log(),
              entry_log("wexond_devinfo_set", "wexond.devinfo", "set") + set_reply_log("required parameter: workmode"));
}

TEST_F(DeviceInfoTest, ReportsSpeedsAndStandards)
{
    EXPECT_EQ(get_ext(), R"({"wexond.devinfo.ext": {"wifispec": "11a/11b/11g/11n/11ac", "wanmaxrate": 2500000, )"
                         R"("wifimaxrate": 2976000, "lanmaxrate": [1000000, 100000, 10000]}})");
    EXPECT_EQ(service().take_requests(), (Requests{{kHwInfo, 356}}));
}

TEST_F(DeviceInfoTest, JoinsTheStandardsOfBothRadios)
{
    struct Row {
        uint32_t first, second;
        const char *text;
    };
    const Row rows[] = {
        {0, 0, ""},
        {1, 0, "11b"},
        {0, 32, "11ax"},
        {4, 4, "11a"},
        {2, 4, "11a/11g"},
        {63, 0, "11a/11b/11g/11n/11ac/11ax"},
        {0, 63, "11a/11b/11g/11n/11ac/11ax"},
        {0xFFFFFFC0, 0xFFFFFFC0, ""},
        {0xFFFFFFFF, 0, "11a/11b/11g/11n/11ac/11ax"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        service().answer(kHwInfo, record(Bytes(352).u32(328, row.first).u32(336, row.second)));
        EXPECT_EQ(get_ext(), table({{"wexond.devinfo.ext", table({{"wifispec", row.text},
                                                                  {"wanmaxrate", 0},
                                                                  {"wifimaxrate", 0},
                                                                  {"lanmaxrate", array({0, 0, 0})}})}}));
    }
}

// Rates whose thousandfold passes 32 bits wrap.
TEST_F(DeviceInfoTest, SurvivesImpossibleRates)
{
    service().answer(kHwInfo,
                     record(Bytes(352).u32(188, 0xFFFFFFFF).u32(204, 0x80000000).u32(344, 0xFFFFFFFF).u32(348, 3)));
    EXPECT_EQ(get_ext(), R"({"wexond.devinfo.ext": {"wifispec": "", "wanmaxrate": 0, "wifimaxrate": 2000, )"
                         R"("lanmaxrate": [-1000, 0, 0]}})");
}

TEST_F(DeviceInfoTest, ExtFailsWhereTheHardwareIsNotKnown)
{
    service().answer_in_turn(kHwInfo, {code(2, hw_info()), no_answer()});
    enable_log();
    EXPECT_EQ(get_ext(), failure("failed to get devinfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_devinfoext_get", "wexond.devinfo.ext", "get") +
                              "[wexond_check_ret.#]: Msg retcode = 2\n"
                              "[wexond_devinfoext_get.#]: Failed to get hwinfo\n" +
                              get_reply_log("failed to get devinfo"));
    EXPECT_EQ(get_ext(), failure("failed to get devinfo"));
}

TEST_F(DeviceInfoTest, SetsTheWorkMode)
{
    EXPECT_EQ(set("router"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kSetDhcp, 4, Bytes(4).u32(0, 1500)}}));
    EXPECT_EQ(set("bridge"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kSetBridge, 4, Bytes(4).u32(0, 1)}}));
}

TEST_F(DeviceInfoTest, RefusesTheRepeater)
{
    enable_log();
    EXPECT_EQ(set("repeater"), failure("unrecognized parameter: workmode"));
    EXPECT_EQ(take_log(), entry_log("wexond_devinfo_set", "wexond.devinfo", "set") +
                              "[wexond_devinfo_set.#]: workmode:repeater \n\n"
                              "[wexond_devinfo_set.#]: Repeater is not support\n" +
                              set_reply_log("unrecognized parameter: workmode"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DeviceInfoTest, AcceptsAnUnknownWorkModeAndDoesNothing)
{
    for (const char *mode : {"Router", "BRIDGE", "", "access point", "router ", "1"})
        EXPECT_EQ(set(mode), kSuccess) << mode;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DeviceInfoTest, RequiresTheWorkMode)
{
    for (const char *arguments :
         {R"({})", R"({"workmode": 1})", R"({"workmode": ["router"]})", R"({"mode": "router"})"})
        EXPECT_EQ(call("wexond.devinfo", "set", arguments), failure("required parameter: workmode")) << arguments;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DeviceInfoTest, ReportsAWorkModeThatTheServiceRefuses)
{
    for (uint32_t type : {kSetDhcp, kSetBridge})
        service().answer_in_turn(type, {code(1), no_answer()});
    for (const char *mode : {"router", "router", "bridge", "bridge"})
        EXPECT_EQ(set(mode), failure("failed to set devinfo")) << mode;
}

} // namespace
