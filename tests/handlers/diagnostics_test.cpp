// wexond.diagnostics: load, open ports, ping and traceroute.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kCpuRate = 5;
constexpr uint32_t kMemoryRate = 6;
constexpr uint32_t kFlashRate = 7;
constexpr uint32_t kTcpPorts = 9;
constexpr uint32_t kUdpPorts = 10;
constexpr uint32_t kPing = 50;
constexpr uint32_t kTraceroute = 51;

const Request kAskCpu = {kCpuRate, 12};
const Request kAskMemory = {kMemoryRate, 8};
const Request kAskFlash = {kFlashRate, 12};
const Request kAskTcp = {kTcpPorts, 132};
const Request kAskUdp = {kUdpPorts, 132};

Bytes ping_record(std::string_view host)
{
    return Bytes(148).text(0, host);
}

// The word at 80 is always 1.
Bytes traceroute_record(std::string_view host)
{
    return Bytes(88).text(0, host).u32(80, 1);
}

// One port number for each of 32 slots.
Bytes port_slots(const std::vector<uint32_t> &ports)
{
    Bytes slots(128);
    for (size_t i = 0; i < ports.size(); i++)
        slots.u32(4 * i, ports[i]);
    return slots;
}

class DiagnosticsTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        answer_as_the_device();
    }

    void answer_as_the_device()
    {
        service().answer(kCpuRate, record(Bytes(8).u32(0, 17).u32(4, 61)));
        service().answer(kMemoryRate, record(Bytes(4).u32(0, 42)));
        service().answer(kFlashRate, record(Bytes(8).u32(0, 5120).u32(4, 38)));
        service().answer(kTcpPorts, record(port_slots({22, 0, 80, 443})));
        service().answer(kUdpPorts, record(port_slots({0, 53})));
        for (uint32_t type : {kPing, kTraceroute})
            service().answer(type, code(0));
    }

    std::string get() { return call("wexond.diagnostics", "get"); }
    std::string netstat() { return call("wexond.diagnostics", "netstat"); }
    std::string ping(std::string_view arguments) { return call("wexond.diagnostics", "ping", arguments); }
    std::string traceroute(std::string_view arguments) { return call("wexond.diagnostics", "traceroute", arguments); }

    // The request that a job with these arguments makes.
    Requests sent_by(const std::string &method, std::string_view arguments)
    {
        EXPECT_EQ(call("wexond.diagnostics", method, arguments), kSuccess);
        return service().take_requests();
    }

    std::string failure_log(const char *function, const std::string &method, std::string_view reason)
    {
        return entry_log(function, "wexond.diagnostics", method) + get_reply_log(reason);
    }
};

TEST_F(DiagnosticsTest, ReportsTheLoad)
{
    EXPECT_EQ(get(), R"({"wexond.diagnostics": {"cputemperature": 61, "cpuusage": 17, "memusage": 42, )"
                     R"("flashusage": 38, "flashfree": 5120}})");
    EXPECT_EQ(service().take_requests(), (Requests{kAskCpu, kAskMemory, kAskFlash}));
}

TEST_F(DiagnosticsTest, PassesTheLoadOnAsItIs)
{
    service().answer(kCpuRate, record(Bytes(8).u32(0, 0xFFFFFFFF).u32(4, 0x80000000)));
    service().answer(kMemoryRate, record(Bytes(4).u32(0, 0x7FFFFFFF)));
    service().answer(kFlashRate, record(Bytes(8).u32(0, 0xFFFFFFFE).u32(4, 101)));
    EXPECT_EQ(get(), R"({"wexond.diagnostics": {"cputemperature": -2147483648, "cpuusage": -1, )"
                     R"("memusage": 2147483647, "flashusage": 101, "flashfree": -2}})");
}

TEST_F(DiagnosticsTest, TakesWhatShortAnswersLackForZero)
{
    service().answer(kCpuRate, record(Bytes(4).u32(0, 17)));
    for (uint32_t type : {kMemoryRate, kFlashRate, kUdpPorts})
        service().answer(type, code(0));
    service().answer(kTcpPorts, record(Bytes(5).u32(0, 22).text(4, "\1")));
    EXPECT_EQ(get(), R"({"wexond.diagnostics": {"cputemperature": 0, "cpuusage": 17, "memusage": 0, )"
                     R"("flashusage": 0, "flashfree": 0}})");
    EXPECT_EQ(netstat(), R"({"tcp": [22, 1], "udp": []})");
}

// The failure of a missing processor answer is the one that is reported, unless a later one replaces it.
TEST_F(DiagnosticsTest, AsksForMemoryAndFlashAfterAMissingCpuAnswer)
{
    service().answer(kCpuRate, no_answer());
    EXPECT_EQ(get(), failure("failed to get cpu rate"));
    EXPECT_EQ(service().take_requests(), (Requests{kAskCpu, kAskMemory, kAskFlash}));
    service().answer(kFlashRate, code(1));
    EXPECT_EQ(get(), failure("failed to flash rate"));
    EXPECT_EQ(service().take_requests(), (Requests{kAskCpu, kAskMemory, kAskFlash}));
    service().answer(kMemoryRate, no_answer());
    EXPECT_EQ(get(), failure("failed to get mem rate"));
    EXPECT_EQ(service().take_requests(), (Requests{kAskCpu, kAskMemory}));
}

TEST_F(DiagnosticsTest, AsksForNothingElseAfterARefusal)
{
    struct Row {
        uint32_t type;
        Answer answer;
        const char *reason;
        Requests requests;
    };
    // Deliberate: the text of a refused flash request lacks a word.
    const Row rows[] = {
        {kCpuRate, code(1, Bytes(8).u32(0, 17)), "failed to get cpu rate", {kAskCpu}},
        {kCpuRate, code(0xFFFFFFFF), "failed to get cpu rate", {kAskCpu}},
        {kMemoryRate, code(1, Bytes(4).u32(0, 42)), "failed to get mem rate", {kAskCpu, kAskMemory}},
        {kMemoryRate, no_answer(), "failed to get mem rate", {kAskCpu, kAskMemory}},
        {kFlashRate, code(1, Bytes(8).u32(0, 5120)), "failed to flash rate", {kAskCpu, kAskMemory, kAskFlash}},
        {kFlashRate, no_answer(), "failed to get flash rate", {kAskCpu, kAskMemory, kAskFlash}},
    };
    enable_log();
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.reason << ", type " << row.type);
        answer_as_the_device();
        service().answer(row.type, row.answer);
        EXPECT_EQ(get(), failure(row.reason));
        EXPECT_EQ(service().take_requests(), row.requests);
        EXPECT_EQ(take_log(), failure_log("wexond_diagnostics_get", "get", row.reason));
    }
}

TEST_F(DiagnosticsTest, ReportsOpenPortsWithoutATable)
{
    EXPECT_EQ(netstat(), R"({"tcp": [22, 80, 443], "udp": [53]})");
    EXPECT_EQ(service().take_requests(), (Requests{kAskTcp, kAskUdp}));
}

TEST_F(DiagnosticsTest, ReportsNoOpenPortsAsEmptyArrays)
{
    for (uint32_t type : {kTcpPorts, kUdpPorts})
        service().answer(type, record(Bytes(128)));
    EXPECT_EQ(netstat(), R"({"tcp": [], "udp": []})");
}

TEST_F(DiagnosticsTest, ReportsAllPortSlotsInTheirOrder)
{
    std::vector<uint32_t> ports;
    std::vector<ReplyValue> shown;
    for (uint32_t i = 0; i < 32; i++) {
        ports.push_back(65535 - i);
        shown.push_back(65535 - i);
    }
    service().answer(kTcpPorts, record(port_slots(ports)));
    service().answer(kUdpPorts, record(port_slots({7, 0xFFFFFFFF, 7}).u32(124, 9)));
    EXPECT_EQ(netstat(), table({{"tcp", array(shown)}, {"udp", array({7, -1, 7, 9})}}));
}

TEST_F(DiagnosticsTest, DropsTheTcpPortsWhereTheUdpPortsFail)
{
    enable_log();
    for (const Answer &answer : {code(3, port_slots({53})), no_answer()}) {
        service().answer(kUdpPorts, answer);
        EXPECT_EQ(netstat(), failure("failed to get udp open port"));
        EXPECT_EQ(service().take_requests(), (Requests{kAskTcp, kAskUdp}));
        EXPECT_EQ(take_log(), failure_log("wexond_diagnostics_netstat", "netstat", "failed to get udp open port"));
    }
}

TEST_F(DiagnosticsTest, DoesNotAskForUdpPortsWhereTheTcpPortsFail)
{
    enable_log();
    for (const Answer &answer : {code(3, port_slots({22})), no_answer()}) {
        service().answer(kTcpPorts, answer);
        EXPECT_EQ(netstat(), failure("failed to get tcp open port"));
        EXPECT_EQ(service().take_requests(), (Requests{kAskTcp}));
        EXPECT_EQ(take_log(), failure_log("wexond_diagnostics_netstat", "netstat", "failed to get tcp open port"));
    }
}

TEST_F(DiagnosticsTest, StartsAPing)
{
    EXPECT_EQ(
        sent_by("ping", R"({"host": "example.org", "num": 4, "timeout": 2500, "blocksize": 56})"),
        (Requests{{kPing, 4, ping_record("example.org").u32(64, 4).u32(68, 2500).u32(72, 56).u32(144, 2 | 4 | 8)}}));
}

TEST_F(DiagnosticsTest, StartsATraceroute)
{
    EXPECT_EQ(sent_by("traceroute",
                      R"({"host": "example.org", "numoftries": 3, "timeout": 2500, "blocksize": 38, "maxhop": 30})"),
              (Requests{{kTraceroute, 4,
                         traceroute_record("example.org")
                             .u32(64, 3)
                             .u32(68, 2)
                             .u32(72, 38)
                             .u32(76, 30)
                             .u32(84, 16 | 4 | 8 | 32)}}));
}

// Deliberate: the two masks mark the same argument with different bits.
TEST_F(DiagnosticsTest, MarksTheGivenArgumentsOfAPing)
{
    struct Row {
        const char *given;
        Bytes record;
    };
    const Row rows[] = {
        {"", ping_record("h")},
        {R"(, "num": 7)", ping_record("h").u32(64, 7).u32(144, 2)},
        {R"(, "timeout": 7)", ping_record("h").u32(68, 7).u32(144, 4)},
        {R"(, "blocksize": 7)", ping_record("h").u32(72, 7).u32(144, 8)},
        {R"(, "num": 0)", ping_record("h").u32(144, 2)},
        {R"(, "num": 0, "timeout": 0, "blocksize": 0)", ping_record("h").u32(144, 14)},
        {R"(, "num": -1, "timeout": -2, "blocksize": -3)",
         ping_record("h").u32(64, 0xFFFFFFFF).u32(68, 0xFFFFFFFE).u32(72, 0xFFFFFFFD).u32(144, 14)},
        {R"(, "num": "7", "timeout": true, "blocksize": [7])", ping_record("h")},
        {R"(, "numoftries": 7, "maxhop": 7)", ping_record("h")},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(sent_by("ping", R"({"host": "h")" + std::string(row.given) + "}"),
                  (Requests{{kPing, 4, row.record}}));
    }
}

TEST_F(DiagnosticsTest, MarksTheGivenArgumentsOfATraceroute)
{
    struct Row {
        const char *given;
        Bytes record;
    };
    const Row rows[] = {
        {"", traceroute_record("h")},
        {R"(, "numoftries": 7)", traceroute_record("h").u32(64, 7).u32(84, 16)},
        {R"(, "timeout": 7000)", traceroute_record("h").u32(68, 7).u32(84, 4)},
        {R"(, "blocksize": 7)", traceroute_record("h").u32(72, 7).u32(84, 8)},
        {R"(, "maxhop": 7)", traceroute_record("h").u32(76, 7).u32(84, 32)},
        {R"(, "maxhop": 0)", traceroute_record("h").u32(84, 32)},
        {R"(, "numoftries": 0, "timeout": 0, "blocksize": 0, "maxhop": 0)", traceroute_record("h").u32(84, 60)},
        {R"(, "numoftries": -1, "blocksize": -3, "maxhop": -4)",
         traceroute_record("h").u32(64, 0xFFFFFFFF).u32(72, 0xFFFFFFFD).u32(76, 0xFFFFFFFC).u32(84, 16 | 8 | 32)},
        {R"(, "numoftries": "7", "timeout": 7.5, "blocksize": {}, "maxhop": null)", traceroute_record("h")},
        {R"(, "num": 7)", traceroute_record("h")},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(sent_by("traceroute", R"({"host": "h")" + std::string(row.given) + "}"),
                  (Requests{{kTraceroute, 4, row.record}}));
    }
}

// Deliberate: that of a ping passes as it is.
TEST_F(DiagnosticsTest, DividesTheTimeoutOfATracerouteOnly)
{
    struct Row {
        const char *timeout;
        uint32_t ping, traceroute;
    };
    const Row rows[] = {
        {"999", 999, 0},
        {"1000", 1000, 1},
        {"1999", 1999, 1},
        {"2500", 2500, 2},
        {"2147483647", 2147483647, 2147483},
        {"-1", 4294967295, 4294967},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.timeout);
        std::string arguments = R"({"host": "h", "timeout": )" + std::string(row.timeout) + "}";
        EXPECT_EQ(sent_by("ping", arguments), (Requests{{kPing, 4, ping_record("h").u32(68, row.ping).u32(144, 4)}}));
        EXPECT_EQ(sent_by("traceroute", arguments),
                  (Requests{{kTraceroute, 4, traceroute_record("h").u32(68, row.traceroute).u32(84, 4)}}));
    }
}

TEST_F(DiagnosticsTest, FillsTheHostFieldToItsLastByte)
{
    for (size_t length : {0, 63, 64, 65, 5000}) {
        SCOPED_TRACE(length);
        std::string host(length, 'h');
        std::string arguments = R"({"host": ")" + host + R"("})";
        host = host.substr(0, 64);
        EXPECT_EQ(sent_by("ping", arguments), (Requests{{kPing, 4, ping_record(host)}}));
        EXPECT_EQ(sent_by("traceroute", arguments), (Requests{{kTraceroute, 4, traceroute_record(host)}}));
    }
}

TEST_F(DiagnosticsTest, RequiresTheHost)
{
    enable_log();
    for (const char *arguments : {R"({})", R"({"num": 1, "numoftries": 1, "timeout": 1})", R"({"host": 1})",
                                  R"({"host": ["example.org"]})", R"({"Host": "example.org"})"}) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(ping(arguments), failure("required parameter: host"));
        EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_ping", "wexond.diagnostics", "ping") +
                                  set_reply_log("required parameter: host"));
        EXPECT_EQ(traceroute(arguments), failure("required parameter: host"));
        EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_traceroute", "wexond.diagnostics", "traceroute") +
                                  set_reply_log("required parameter: host"));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DiagnosticsTest, ReportsAJobThatIsNotAccepted)
{
    for (uint32_t type : {kPing, kTraceroute})
        service().answer_in_turn(type, {code(1), code(0xFFFFFFFF), no_answer(), code(0)});
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(ping(R"({"host": "h"})"), failure("failed to ping"));
        EXPECT_EQ(traceroute(R"({"host": "h"})"), failure("failed to traceroute"));
    }
    EXPECT_EQ(service().take_requests().size(), 6u) << "no request is repeated";
    EXPECT_EQ(ping(R"({"host": "h"})"), kSuccess);
    EXPECT_EQ(traceroute(R"({"host": "h"})"), kSuccess);
}

TEST_F(DiagnosticsTest, LogsItsCalls)
{
    enable_log();
    get();
    EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_get", "wexond.diagnostics", "get") + get_reply_log());
    netstat();
    EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_netstat", "wexond.diagnostics", "netstat") + get_reply_log());
    ping(R"({"host": "h"})");
    EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_ping", "wexond.diagnostics", "ping") +
                              "[wexond_diagnostics_ping.#]: host:h \n\n" + set_reply_log());
    ping(R"({"blocksize": -1, "timeout": 2500, "num": 4, "host": "example.org"})");
    EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_ping", "wexond.diagnostics", "ping") +
                              "[wexond_diagnostics_ping.#]: host:example.org \n\n"
                              "[wexond_diagnostics_ping.#]: num:4 \n\n"
                              "[wexond_diagnostics_ping.#]: timeout:2500 \n\n"
                              "[wexond_diagnostics_ping.#]: blocksize:4294967295 \n\n" +
                              set_reply_log());
    service().answer(kTraceroute, code(1));
    traceroute(R"({"host": "h", "numoftries": 3, "timeout": 2500, "blocksize": 0, "maxhop": 30})");
    EXPECT_EQ(take_log(), entry_log("wexond_diagnostics_traceroute", "wexond.diagnostics", "traceroute") +
                              "[wexond_diagnostics_traceroute.#]: host:h \n\n"
                              "[wexond_diagnostics_traceroute.#]: numoftries:3 \n\n"
                              "[wexond_diagnostics_traceroute.#]: timeout:2500 \n\n"
                              "[wexond_diagnostics_traceroute.#]: blocksize:0 \n\n"
                              "[wexond_diagnostics_traceroute.#]: maxhop:30 \n\n" +
                              set_reply_log("failed to traceroute"));
}

TEST_F(DiagnosticsTest, LogsNothingWithoutTheFlagFile)
{
    get();
    netstat();
    ping(R"({"host": "h"})");
    traceroute(R"({})");
    EXPECT_EQ(take_log(), "");
}

} // namespace
