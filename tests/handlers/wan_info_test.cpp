// wexond.waninfo and wexond.ipv6.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kRunTime = 8;
constexpr uint32_t kWanStatus = 24;
constexpr uint32_t kSetIpv6 = 25;
constexpr uint32_t kIpv6Info = 26;
constexpr uint32_t kSetDhcp = 28;
constexpr uint32_t kGetPppoe = 31;
constexpr uint32_t kSetPppoe = 32;
constexpr uint32_t kPortNum = 91;
constexpr uint32_t kPortStatus = 92;
constexpr uint32_t kPortTraffic = 93;
constexpr uint32_t kPortRate = 94;

// The router of these tests: a PPPoE connection through port 5. Each record lists every field that is read.

Bytes wan_status(uint32_t connection = 2)
{
    return Bytes(168)
        .u32(0, connection)
        .u32(4, 1)
        .text(8, "203.0.113.7")
        .text(24, "255.255.255.0")
        .text(40, "203.0.113.1")
        .text(88, "192.0.2.53")
        .text(104, "192.0.2.54");
}

Bytes pppoe()
{
    return Bytes(140).text(0, "user@isp").text(33, "secret");
}

Bytes port_num(uint32_t wan_port = 5)
{
    return Bytes(48).u32(40, wan_port);
}

Bytes port_status(uint32_t duplex = 1)
{
    return Bytes(20).u32(12, duplex).u32(16, 1000);
}

Bytes port_traffic()
{
    return Bytes(72).u64(8, 11000000000).u64(16, 22000000000).u64(24, 33).u64(32, 44).u64(40, 55);
}

Bytes ipv6_info()
{
    return Bytes(356)
        .u32(0, 1)
        .u32(4, 1)
        .text(8, "2001:db8::7")
        .text(72, "2001:db8:1::")
        .u32(136, 56)
        .text(140, "fe80::1")
        .text(204, "2001:db8::53")
        .text(268, "2001:db8::54");
}

// The requests of wexond.waninfo's `get`, in order, and their failures.
struct Step {
    Request request;
    const char *reason;
    const char *log;
};

std::vector<Step> steps(uint32_t wan_port = 5)
{
    return {
        {{kWanStatus, 172}, "failed to get waninfo", "Failed to get wanstatus"},
        {{kGetPppoe, 144}, "failed to get waninfo", "Failed to get PPPoE"},
        {{kRunTime, 108}, "failed to get waninfo", "Failed to get run time"},
        {{kPortNum, 52, Bytes(48)}, "failed to get wanindex", "Failed to get port index"},
        {{kPortStatus, 24, Bytes(20).u32(0, 1).u32(4, wan_port)}, "failed to get waninfo", "Failed to get port status"},
        {{kPortRate, 20, Bytes(16).u32(0, 1).u32(4, wan_port)}, "failed to get waninfo", "Failed to get port rate"},
        {{kPortTraffic, 76, Bytes(72).u32(0, 1).u32(4, wan_port)},
         "failed to get waninfo",
         "Failed to get port traffic"},
        {{kIpv6Info, 360}, "failed to get waninfo", "Failed to get IPv6 info"},
    };
}

Requests requests_of(const std::vector<Step> &steps)
{
    Requests requests;
    for (const Step &step : steps)
        requests.push_back(step.request);
    return requests;
}

// The reply of that router, with some of its values changed.
struct Reply {
    std::string ipaddr = "203.0.113.7", subnetmask = "255.255.255.0", gateway = "203.0.113.1";
    std::string dns1 = "192.0.2.53", dns2 = "192.0.2.54";
    std::string status = "up", networktype = "PPPOE", pppoename = "user@isp", pppoepwd = "secret";
    int32_t onlinetime = 86400, negorate = 1000000;
    std::string duplexmode = "full", downloadspeed = "700", uploadspeed = "80";
    std::string bytessent = "11000000000", bytesreceived = "22000000000", packetssent = "33", packetsreceived = "44";
    int64_t crcerror = 55;
    std::string ipaddr6 = "2001:db8::7", prefix6 = "2001:db8:1::", prefixlen6 = "56", gateway6 = "fe80::1";
    std::string dns61 = "2001:db8::53", dns62 = "2001:db8::54", status6 = "up";

    std::string text() const
    {
        return table({{"wexond.waninfo", table({
                                             {"ipaddr", ipaddr},
                                             {"subnetmask", subnetmask},
                                             {"gateway", gateway},
                                             {"dns1", dns1},
                                             {"dns2", dns2},
                                             {"status", status},
                                             {"networktype", networktype},
                                             {"pppoename", pppoename},
                                             {"pppoepwd", pppoepwd},
                                             {"onlinetime", onlinetime},
                                             {"negorate", negorate},
                                             {"duplexmode", duplexmode},
                                             {"downloadspeed", downloadspeed},
                                             {"uploadspeed", uploadspeed},
                                             {"bytessent", bytessent},
                                             {"bytesreceived", bytesreceived},
                                             {"packetssent", packetssent},
                                             {"packetsreceived", packetsreceived},
                                             {"crcerror", crcerror},
                                             {"ipaddr6", ipaddr6},
                                             {"prefix6", prefix6},
                                             {"prefixlen6", prefixlen6},
                                             {"gateway6", gateway6},
                                             {"dns61", dns61},
                                             {"dns62", dns62},
                                             {"status6", status6},
                                         })}});
    }
};

class WanInfoTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        answer_as_the_router();
    }

    void answer_as_the_router()
    {
        service().answer(kRunTime, record(Bytes(104).u32(68, 86400)));
        service().answer(kWanStatus, record(wan_status()));
        service().answer(kIpv6Info, record(ipv6_info()));
        service().answer(kGetPppoe, record(pppoe()));
        service().answer(kPortNum, record(port_num()));
        service().answer(kPortStatus, record(port_status()));
        service().answer(kPortTraffic, record(port_traffic()));
        service().answer(kPortRate, record(Bytes(16).u32(8, 700).u32(12, 80)));
        for (uint32_t type : {kSetIpv6, kSetDhcp, kSetPppoe})
            service().answer(type, code(0));
    }

    std::string get() { return call("wexond.waninfo", "get"); }
    std::string set(std::string_view arguments) { return call("wexond.waninfo", "set", arguments); }
    std::string set_pppoe(const std::string &name, const std::string &password)
    {
        return set(R"({"networktype": "PPPOE", "pppoename": ")" + name + R"(", "pppoepwd": ")" + password + R"("})");
    }
};

TEST_F(WanInfoTest, SelectsPppoe)
{
    EXPECT_EQ(set_pppoe("user@isp", "secret"), kSuccess);
    EXPECT_EQ(service().take_requests(),
              (Requests{{kSetPppoe, 4, Bytes(140).text(0, "user@isp").text(33, "secret").u32(136, 384)}}));
}

TEST_F(WanInfoTest, FillsTheFieldsOfAPppoeAccountToTheirLastByte)
{
    for (size_t length : {0, 32, 33, 34, 5000}) {
        SCOPED_TRACE(length);
        EXPECT_EQ(set_pppoe(std::string(length, 'n'), std::string(length, 'p')), kSuccess);
        size_t stored = std::min<size_t>(length, 33);
        EXPECT_EQ(
            service().take_requests(),
            (Requests{
                {kSetPppoe, 4,
                 Bytes(140).text(0, std::string(stored, 'n')).text(33, std::string(stored, 'p')).u32(136, 384)}}));
    }
}

TEST_F(WanInfoTest, RequiresNameAndPasswordForPppoe)
{
    const char *reason = "required parameter: pppoename or pppoepwd";
    enable_log();
    for (const char *given :
         {R"()", R"(, "pppoename": "user")", R"(, "pppoepwd": "secret")", R"(, "pppoename": "user", "pppoepwd": 1)",
          R"(, "pppoename": [], "pppoepwd": "secret")"}) {
        SCOPED_TRACE(given);
        EXPECT_EQ(set(R"({"networktype": "PPPOE")" + std::string(given) + "}"), failure(reason));
        EXPECT_EQ(take_log(), entry_log("wexond_waninfo_set", "wexond.waninfo", "set") +
                                  "[wexond_waninfo_set.#]: networktype:PPPOE \n\n" + set_reply_log(reason));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(WanInfoTest, SelectsDhcpWhateverTheAccount)
{
    const Requests dhcp = {{kSetDhcp, 4, Bytes(4).u32(0, 1500)}};
    for (const char *given : {R"()", R"(, "pppoename": "user")", R"(, "pppoename": "user", "pppoepwd": "secret")"}) {
        EXPECT_EQ(set(R"({"networktype": "DHCP")" + std::string(given) + "}"), kSuccess) << given;
        EXPECT_EQ(service().take_requests(), dhcp) << given;
    }
}

// A static address is read back but cannot be chosen.
TEST_F(WanInfoTest, RefusesOtherConnectionTypes)
{
    for (const std::string &type :
         {std::string("STATIC"), std::string("pppoe"), std::string("dhcp"), std::string(), std::string("DHCP "),
          std::string("PPPOEPPPOE"), std::string("DHCP\\u0001"), std::string(5000, 'D')})
        EXPECT_EQ(set(R"({"networktype": ")" + type + R"(", "pppoename": "user", "pppoepwd": "secret"})"),
                  failure("unrecognized parameter: networktype"))
            << type;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(WanInfoTest, RequiresTheConnectionType)
{
    for (const char *arguments :
         {R"({})", R"({"pppoename": "user", "pppoepwd": "secret"})", R"({"networktype": 2})",
          R"({"networktype": ["DHCP"]})", R"({"networktype": null})", R"({"NetworkType": "DHCP"})"})
        EXPECT_EQ(set(arguments), failure("required parameter: networktype")) << arguments;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(WanInfoTest, ReportsAConnectionThatTheServiceRefuses)
{
    for (uint32_t type : {kSetPppoe, kSetDhcp})
        service().answer_in_turn(type, {code(1), no_answer()});
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(set_pppoe("user", "secret"), failure("failed to set PPPoE"));
        EXPECT_EQ(set(R"({"networktype": "DHCP"})"), failure("failed to set DHCP"));
    }
    EXPECT_EQ(service().take_requests().size(), 4u) << "no request is repeated";
}

TEST_F(WanInfoTest, LogsItsCallsOfSet)
{
    enable_log();
    set_pppoe("user", "secret");
    EXPECT_EQ(take_log(), entry_log("wexond_waninfo_set", "wexond.waninfo", "set") +
                              "[wexond_waninfo_set.#]: networktype:PPPOE \n\n"
                              "[wexond_waninfo_set.#]: pppoename:user / pppoepwd:secret \n\n" +
                              set_reply_log());
    service().answer(kSetPppoe, code(7));
    set_pppoe("user", "secret");
    EXPECT_EQ(take_log(), entry_log("wexond_waninfo_set", "wexond.waninfo", "set") +
                              "[wexond_waninfo_set.#]: networktype:PPPOE \n\n"
                              "[wexond_waninfo_set.#]: pppoename:user / pppoepwd:secret \n\n"
                              "[wexond_check_ret.#]: Msg retcode = 7\n"
                              "[wexond_waninfo_set.#]: Failed to set PPPoE\n" +
                              set_reply_log("failed to set PPPoE"));
    service().answer(kSetDhcp, no_answer());
    set(R"({"networktype": "DHCP", "pppoename": "user", "pppoepwd": "secret"})");
    EXPECT_EQ(take_log(), entry_log("wexond_waninfo_set", "wexond.waninfo", "set") +
                              "[wexond_waninfo_set.#]: networktype:DHCP \n\n"
                              "[wexond_check_ret.#]: Msg return buf = NULL\n"
                              "[wexond_waninfo_set.#]: Failed to set DHCP\n" +
                              set_reply_log("failed to set DHCP"));
    set(R"({"networktype": "STATIC"})");
    EXPECT_EQ(take_log(), entry_log("wexond_waninfo_set", "wexond.waninfo", "set") +
                              "[wexond_waninfo_set.#]: networktype:STATIC \n\n" +
                              set_reply_log("unrecognized parameter: networktype"));
    set("{}");
    EXPECT_EQ(take_log(), entry_log("wexond_waninfo_set", "wexond.waninfo", "set") +
                              set_reply_log("required parameter: networktype"));
}

TEST_F(WanInfoTest, CollectsTheStateOfTheWan)
{
    EXPECT_EQ(get(), Reply().text());
    EXPECT_EQ(service().take_requests(), requests_of(steps()));
}

TEST_F(WanInfoTest, AsksForTheAccountOfPppoeOnly)
{
    struct Row {
        uint32_t connection;
        const char *networktype;
    };
    std::vector<Step> without_pppoe = steps();
    without_pppoe.erase(without_pppoe.begin() + 1);
    for (const Row &row : {Row{0, ""}, {1, "DHCP"}, {3, "STATIC"}, {4, ""}, {0x02000000, ""}, {0xFFFFFFFF, ""}}) {
        SCOPED_TRACE(row.connection);
        service().answer(kWanStatus, record(wan_status(row.connection)));
        EXPECT_EQ(get(), (Reply{.networktype = row.networktype, .pppoename = "", .pppoepwd = ""}).text());
        EXPECT_EQ(service().take_requests(), requests_of(without_pppoe));
    }
}

TEST_F(WanInfoTest, TakesOnlyALinkOfExactlyOneForUp)
{
    for (uint32_t link : {0u, 2u, 0x01000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(link);
        service().answer(kWanStatus, record(wan_status().u32(4, link)));
        service().answer(kIpv6Info, record(ipv6_info().u32(4, link)));
        EXPECT_EQ(get(), (Reply{.status = "down", .status6 = "down"}).text());
    }
}

TEST_F(WanInfoTest, NamesTheDuplexMode)
{
    struct Row {
        uint32_t duplex;
        const char *text;
    };
    for (const Row &row : {Row{0, ""}, {1, "full"}, {2, "half"}, {3, "auto"}, {4, ""}, {0xFFFFFFFF, ""}}) {
        SCOPED_TRACE(row.duplex);
        service().answer(kPortStatus, record(port_status(row.duplex)));
        EXPECT_EQ(get(), (Reply{.duplexmode = row.text}).text());
    }
}

TEST_F(WanInfoTest, AsksForTheFirstWanPortWithoutJudgingIt)
{
    for (uint32_t port : {0u, 1u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(port);
        service().answer(kPortNum, record(port_num(port).u32(0, 4).u32(4, 9).u32(36, 2).u32(44, 8)));
        EXPECT_EQ(get(), Reply().text());
        EXPECT_EQ(service().take_requests(), requests_of(steps(port)));
    }
}

TEST_F(WanInfoTest, ReportsNumbersAtTheirLimits)
{
    service().answer(kRunTime, record(Bytes(104).u32(68, 0xFFFFFFFF)));
    service().answer(kPortRate, record(Bytes(16).u32(8, 0xFFFFFFFF).u32(12, 0x80000000)));
    constexpr uint64_t most = 0xFFFFFFFFFFFFFFFF;
    service().answer(
        kPortTraffic,
        record(Bytes(72).u64(8, most).u64(16, most - 1).u64(24, most - 2).u64(32, 1ull << 63).u64(40, most)));
    service().answer(kIpv6Info, record(ipv6_info().u32(136, 0xFFFFFFFF)));
    EXPECT_EQ(get(), (Reply{.onlinetime = -1,
                            .downloadspeed = "4294967295",
                            .uploadspeed = "2147483648",
                            .bytessent = "18446744073709551615",
                            .bytesreceived = "18446744073709551614",
                            .packetssent = "18446744073709551613",
                            .packetsreceived = "9223372036854775808",
                            .crcerror = -1,
                            .prefixlen6 = "-1"})
                         .text());
}

// Rates whose thousandfold passes 32 bits wrap.
TEST_F(WanInfoTest, SurvivesAnImpossibleRate)
{
    service().answer(kPortStatus, record(port_status().u32(16, 0xFFFFFFFF)));
    EXPECT_EQ(get(), (Reply{.negorate = -1000}).text());
    service().answer(kPortStatus, record(port_status().u32(16, 2147484)));
    EXPECT_EQ(get(), (Reply{.negorate = -2147483296}).text());
}

TEST_F(WanInfoTest, ReadsTextFieldsToTheirLastByte)
{
    auto filled = [](char letter, size_t width) { return std::string(width, letter); };
    service().answer(kWanStatus, record(wan_status()
                                            .text(8, filled('a', 16))
                                            .text(24, filled('b', 16))
                                            .text(40, filled('c', 16))
                                            .text(56, filled('-', 32))
                                            .text(88, filled('d', 16))
                                            .text(104, filled('e', 16))
                                            .text(120, filled('-', 48))));
    service().answer(kGetPppoe,
                     record(Bytes(140).text(0, filled('f', 33)).text(33, filled('g', 33)).text(66, filled('-', 74))));
    service().answer(kIpv6Info, record(ipv6_info()
                                           .text(8, filled('h', 64))
                                           .text(72, filled('i', 64))
                                           .text(140, filled('j', 64))
                                           .text(204, filled('k', 64))
                                           .text(268, filled('l', 64))
                                           .text(332, filled('-', 24))));
    EXPECT_EQ(get(), (Reply{.ipaddr = filled('a', 16),
                            .subnetmask = filled('b', 16),
                            .gateway = filled('c', 16),
                            .dns1 = filled('d', 16),
                            .dns2 = filled('e', 16),
                            .pppoename = filled('f', 33),
                            .pppoepwd = filled('g', 33),
                            .ipaddr6 = filled('h', 64),
                            .prefix6 = filled('i', 64),
                            .gateway6 = filled('j', 64),
                            .dns61 = filled('k', 64),
                            .dns62 = filled('l', 64)})
                         .text());
}

TEST_F(WanInfoTest, PassesOverBytesThatItDoesNotUse)
{
    std::string noise(104, '-');
    service().answer(kRunTime, record(Bytes(noise).u32(68, 86400)));
    service().answer(kPortStatus, record(port_status().text(0, noise.substr(0, 12))));
    service().answer(kPortRate, record(Bytes(16).text(0, noise.substr(0, 8)).u32(8, 700).u32(12, 80)));
    service().answer(kPortTraffic, record(port_traffic().text(0, noise.substr(0, 8)).text(48, noise.substr(0, 24))));
    EXPECT_EQ(get(), Reply().text());
}

TEST_F(WanInfoTest, TakesWhatShortAnswersLackForZero)
{
    for (const Step &step : steps())
        service().answer(step.request.type, code(0));
    service().answer(kWanStatus, record(Bytes(9).u32(0, 2).u32(4, 1).text(8, "2")));
    EXPECT_EQ(get(), R"({"wexond.waninfo": {"ipaddr": "2", "subnetmask": "", "gateway": "", "dns1": "", "dns2": "", )"
                     R"("status": "up", "networktype": "PPPOE", "pppoename": "", "pppoepwd": "", "onlinetime": 0, )"
                     R"("negorate": 0, "duplexmode": "", "downloadspeed": "0", "uploadspeed": "0", "bytessent": "0", )"
                     R"("bytesreceived": "0", "packetssent": "0", "packetsreceived": "0", "crcerror": 0l, )"
                     R"("ipaddr6": "", "prefix6": "", "prefixlen6": "0", "gateway6": "", "dns61": "", "dns62": "", )"
                     R"("status6": "down"}})");
    EXPECT_EQ(service().take_requests(), requests_of(steps(0)));
}

TEST_F(WanInfoTest, EndsAtTheFirstFailure)
{
    enable_log();
    std::vector<Step> asked;
    for (const Step &step : steps()) {
        SCOPED_TRACE(step.log);
        asked.push_back(step);
        answer_as_the_router();
        service().answer_in_turn(step.request.type, {code(9, Bytes(400).u32(0, 2)), no_answer()});
        for (const char *log : {"Msg retcode = 9\n", "Msg return buf = NULL\n"}) {
            EXPECT_EQ(get(), failure(step.reason));
            EXPECT_EQ(service().take_requests(), requests_of(asked));
            EXPECT_EQ(take_log(), entry_log("wexond_waninfo_get", "wexond.waninfo", "get") + "[wexond_check_ret.#]: " +
                                      log + "[wexond_waninfo_get.#]: " + step.log + "\n" + get_reply_log(step.reason));
        }
    }
    answer_as_the_router();
    EXPECT_EQ(get(), Reply().text());
    EXPECT_EQ(take_log(), entry_log("wexond_waninfo_get", "wexond.waninfo", "get") + get_reply_log());
}

class Ipv6Test : public HandlerTest
{
  protected:
    std::string get() { return call("wexond.ipv6", "get"); }
    std::string get(const Bytes &answer)
    {
        service().answer(kIpv6Info, record(answer));
        return get();
    }
    std::string set(std::string_view arguments) { return call("wexond.ipv6", "set", arguments); }
};

std::string shown_addresses(const char *enable, const char *status)
{
    return table({{"wexond.ipv6", table({{"enable", enable},
                                         {"status6", status},
                                         {"ipaddr6", "2001:db8::7"},
                                         {"prefix6", "2001:db8:1::"},
                                         {"prefixlen6", "56"},
                                         {"gateway6", "fe80::1"},
                                         {"dns61", "2001:db8::53"},
                                         {"dns62", "2001:db8::54"}})}});
}

// The one request of these objects with the flag 0.
TEST_F(Ipv6Test, SwitchesIpv6)
{
    service().answer(kSetIpv6, code(0));
    EXPECT_EQ(set(R"({"enable": "yes"})"), kSuccess);
    EXPECT_EQ(set(R"({"enable": "no"})"), kSuccess);
    EXPECT_EQ(service().take_requests(),
              (Requests{{kSetIpv6, 4, Bytes(4).u32(0, 1), 0}, {kSetIpv6, 4, Bytes(4).u32(0, 0), 0}}));
}

TEST_F(Ipv6Test, RefusesAWrongValueLikeAMissingOne)
{
    enable_log();
    for (const char *arguments :
         {R"({})", R"({"enable": "true"})", R"({"enable": "YES"})", R"({"enable": "yes "})", R"({"enable": ""})",
          R"({"enable": "1"})", R"({"enable": 1})", R"({"enable": true})", R"({"Enable": "yes"})"}) {
        EXPECT_EQ(set(arguments), failure("required parameter: enable")) << arguments;
        EXPECT_EQ(take_log(),
                  entry_log("wexond_ipv6_set", "wexond.ipv6", "set") + set_reply_log("required parameter: enable"));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(Ipv6Test, ReportsSuccessEvenWhereTheServiceRefuses)
{
    service().answer_in_turn(kSetIpv6, {code(5), no_answer(), code(0)});
    enable_log();
    for (const char *log : {"[wexond_check_ret.#]: Msg retcode = 5\n[wexond_ipv6_set.#]: Failed to set IPv6Enable.\n",
                            "[wexond_check_ret.#]: Msg return buf = NULL\n"
                            "[wexond_ipv6_set.#]: Failed to set IPv6Enable.\n",
                            ""}) {
        EXPECT_EQ(set(R"({"enable": "yes"})"), kSuccess);
        EXPECT_EQ(take_log(), entry_log("wexond_ipv6_set", "wexond.ipv6", "set") +
                                  "[wexond_ipv6_set.#]: IPv6Enable: yes \n\n" + log + set_reply_log());
    }
    EXPECT_EQ(service().take_requests().size(), 3u) << "no request is repeated";
}

TEST_F(Ipv6Test, ReportsTheAddresses)
{
    EXPECT_EQ(get(ipv6_info()), shown_addresses("yes", "up"));
    EXPECT_EQ(service().take_requests(), (Requests{{kIpv6Info, 360}}));
}

TEST_F(Ipv6Test, TakesOnlyExactlyOneForEnabledAndUp)
{
    for (uint32_t word : {0u, 2u, 0x00000100u, 0xFFFFFFFFu})
        EXPECT_EQ(get(ipv6_info().u32(0, word).u32(4, word)), shown_addresses("no", "down")) << word;
}

TEST_F(Ipv6Test, ReportsThePrefixLengthAsASignedText)
{
    for (const char *text : {"64", "0", "128", "-1", "-2147483648", "2147483647"}) {
        auto word = static_cast<uint32_t>(std::stol(text));
        EXPECT_EQ(get(Bytes(356).u32(136, word)), table({{"wexond.ipv6", table({{"enable", "no"},
                                                                                {"status6", "down"},
                                                                                {"ipaddr6", ""},
                                                                                {"prefix6", ""},
                                                                                {"prefixlen6", text},
                                                                                {"gateway6", ""},
                                                                                {"dns61", ""},
                                                                                {"dns62", ""}})}}));
    }
}

TEST_F(Ipv6Test, FailsWithAFullStop)
{
    service().answer_in_turn(kIpv6Info, {code(2, ipv6_info()), no_answer()});
    enable_log();
    for (const char *log : {"Msg retcode = 2\n", "Msg return buf = NULL\n"}) {
        EXPECT_EQ(get(), failure("failed to get ipv6 info."));
        EXPECT_EQ(take_log(), entry_log("wexond_ipv6_get", "wexond.ipv6", "get") + "[wexond_check_ret.#]: " + log +
                                  "[wexond_ipv6_get.#]: Failed to get ipv6 info.\n" +
                                  get_reply_log("failed to get ipv6 info."));
    }
}

TEST_F(Ipv6Test, LogsItsCalls)
{
    service().answer(kSetIpv6, code(0));
    enable_log();
    set(R"({"enable": "no"})");
    EXPECT_EQ(take_log(), entry_log("wexond_ipv6_set", "wexond.ipv6", "set") +
                              "[wexond_ipv6_set.#]: IPv6Enable: no \n\n" + set_reply_log());
    get(ipv6_info());
    EXPECT_EQ(take_log(), entry_log("wexond_ipv6_get", "wexond.ipv6", "get") + get_reply_log());
    disable_log();
    set(R"({"enable": "no"})");
    get(ipv6_info());
    EXPECT_EQ(take_log(), "");
}

} // namespace
