// wexond.iptv: the VLAN of IPTV and who carries it.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGet = 137;
constexpr uint32_t kSet = 138;

// Enable word at 0, first VLAN at 4: id and the masks of Ethernet ports, 2.4G and 5G; the second one at 20.
Bytes iptv_record(uint32_t enable, uint32_t vlan, uint32_t ethernet, uint32_t wifi_2g, uint32_t wifi_5g)
{
    return Bytes(36).u32(0, enable).u32(4, vlan).u32(8, ethernet).u32(12, wifi_2g).u32(16, wifi_5g);
}

std::string set_arguments(const std::string &enable, const std::string &vlan, const std::string &ethernet,
                          const std::string &wifi_2g, const std::string &wifi_5g)
{
    return R"({"enable": ")" + enable + R"(", "vlanid": )" + vlan + R"(, "ethport": )" + ethernet + R"(, "2.4G": )" +
           wifi_2g + R"(, "5G": )" + wifi_5g + "}";
}

class IptvTest : public HandlerTest
{
  protected:
    // The record that a successful set sends.
    template <typename Message> Bytes sent_by_set(const Message &message)
    {
        service().answer(kSet, code(0));
        EXPECT_EQ(call("wexond.iptv", "set", message), kSuccess);
        Requests requests = service().take_requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? Bytes() : requests[0].payload;
    }

    // The Ethernet mask that an array of these elements makes.
    Bytes sent_for_elements(const std::string &elements)
    {
        return sent_by_set(RawMessage{
            value(Type::string, "enable", terminated("yes")) + value(Type::int32, "vlanid", big_endian32(7)) +
            value(Type::array, "ethport", elements) + value(Type::array, "2.4G", "") + value(Type::array, "5G", "")});
    }
};

TEST_F(IptvTest, SendsTheFirstVlanAndClearsTheSecond)
{
    service().answer(kSet, code(0));
    EXPECT_EQ(call("wexond.iptv", "set", set_arguments("yes", "85", "[1, 3]", "[0]", "[]")), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kSet, 4, iptv_record(1, 85, 10, 1, 0)}}));
}

TEST_F(IptvTest, EnablesOnlyForTheExactTextYes)
{
    for (const char *text : {"no", "Yes", "on", "1", "", "yes "})
        EXPECT_EQ(sent_by_set(set_arguments(text, "7", "[]", "[]", "[]")), iptv_record(0, 7, 0, 0, 0)) << text;
}

TEST_F(IptvTest, PassesTheVlanIdOnWithoutJudgingIt)
{
    EXPECT_EQ(sent_by_set(set_arguments("yes", "-1", "[]", "[]", "[]")), iptv_record(1, 0xFFFFFFFF, 0, 0, 0));
    EXPECT_EQ(sent_by_set(set_arguments("yes", "0", "[]", "[]", "[]")), iptv_record(1, 0, 0, 0, 0));
}

TEST_F(IptvTest, SetsTheBitOfAnElementsLowEightBits)
{
    struct Row {
        const char *elements;
        uint32_t mask;
    };
    const Row rows[] = {
        {"[0]", 1},    {"[31]", 0x80000000}, {"[32]", 0},       {"[40]", 0},
        {"[255]", 0},  {"[256]", 1},         {"[260]", 16},     {"[-1]", 0},
        {"[-256]", 1}, {"[5, 5, 5]", 32},    {"[2, 40, 1]", 6}, {"[0, 1, 2, 3, 4, 5, 6, 7]", 0xFF},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.elements);
        EXPECT_EQ(sent_by_set(set_arguments("yes", "7", row.elements, "[]", "[]")), iptv_record(1, 7, row.mask, 0, 0));
        EXPECT_EQ(sent_by_set(set_arguments("yes", "7", "[]", row.elements, "[]")), iptv_record(1, 7, 0, row.mask, 0));
        EXPECT_EQ(sent_by_set(set_arguments("yes", "7", "[]", "[]", row.elements)), iptv_record(1, 7, 0, 0, row.mask));
    }
}

// An element counts by the first 32 bits of its value, big-endian, whatever its type; what is shorter is followed by
// zeros.
TEST_F(IptvTest, ReadsElementsOfOtherTypesAsNumbers)
{
    struct Row {
        const char *name;
        std::string element;
        uint32_t mask;
    };
    const Row rows[] = {
        {"int64: its high word", value(Type::int64, "", big_endian64(0x0000000300000005)), 8},
        {"int16: its two bytes lead", value(Type::int16, "", std::string("\0\5", 2)), 1},
        {"int8: its byte leads", value(Type::int8, "", "\5"), 1},
        {"text: its first four characters", value(Type::string, "", terminated("abc\4de")), 16},
        {"text of one character", value(Type::string, "", terminated("5")), 1},
        {"null", value(Type::null, "", ""), 1},
        {"empty table", value(Type::table, "", ""), 1},
        {"named element", value(Type::int32, "port", big_endian32(6)), 64},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sent_for_elements(row.element), iptv_record(1, 7, row.mask, 0, 0));
    }
}

TEST_F(IptvTest, StopsAtAMalformedElement)
{
    std::string good = value(Type::int32, "", big_endian32(2)), later = value(Type::int32, "", big_endian32(3));
    struct Row {
        const char *name;
        std::string malformed;
    };
    const Row rows[] = {
        {"longer than the array", big_endian32(0x85000020) + std::string(8, '\0')},
        {"of no length", big_endian32(0x85000000) + std::string(8, '\0')},
        {"shorter than its own word", big_endian32(0x85000003) + std::string(8, '\0')},
        {"without a name header", big_endian32(0x85000004)},
        {"a name that passes the end", big_endian32(0x8500000C) + std::string("\xFF\xFF\0\0\0\0\0\0", 8)},
        {"a short int32", value(Type::int32, "", "\1\2")},
        {"a text without an end", value(Type::string, "", "abcd")},
        {"a type that there is not", big_endian32(0x8900000C) + std::string(8, '\0')},
        {"fewer bytes than a word", std::string(2, '\1')},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sent_for_elements(good + row.malformed), iptv_record(1, 7, 4, 0, 0));
        EXPECT_EQ(sent_for_elements(good + row.malformed + later), iptv_record(1, 7, 4, 0, 0));
    }
}

TEST_F(IptvTest, RequiresEveryArgumentInOrder)
{
    struct Row {
        const char *arguments;
        const char *missing;
    };
    const Row rows[] = {
        {R"({})", "enable"},
        {R"({"vlanid": 7, "ethport": [], "2.4G": [], "5G": []})", "enable"},
        {R"({"enable": "yes", "ethport": [], "2.4G": [], "5G": []})", "vlanid"},
        {R"({"enable": "yes", "vlanid": 7, "2.4G": [], "5G": []})", "ethport"},
        {R"({"enable": "yes", "vlanid": 7, "ethport": [], "5G": []})", "2.4G"},
        {R"({"enable": "yes", "vlanid": 7, "ethport": [], "2.4G": []})", "5G"},
        {R"({"enable": true, "vlanid": 7, "ethport": [], "2.4G": [], "5G": []})", "enable"},
        {R"({"enable": "yes", "vlanid": "7", "ethport": [], "2.4G": [], "5G": []})", "vlanid"},
        {R"({"enable": "yes", "vlanid": 7, "ethport": 1, "2.4G": [], "5G": []})", "ethport"},
        {R"({"enable": "yes", "vlanid": 7, "ethport": [], "2.4G": {}, "5G": []})", "2.4G"},
        {R"({"enable": "yes", "vlanid": 7, "ethport": [], "2.4G": [], "5G": "0"})", "5G"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.arguments);
        EXPECT_EQ(call("wexond.iptv", "set", row.arguments),
                  failure(std::string("required parameter: ") + row.missing));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(IptvTest, ReportsWhatSetStored)
{
    service().answer(kGet, record(iptv_record(1, 85, 10, 1, 0)));
    EXPECT_EQ(call("wexond.iptv", "get"),
              R"({"wexond.iptv": {"vlanid": 85, "ethport": [1, 3], "2.4G": [0], "5G": [], "5G-2": []}})");
    EXPECT_EQ(service().take_requests(), (Requests{{kGet, 40}}));
}

TEST_F(IptvTest, ReportsBothVlansInOneArrayEach)
{
    Bytes both = iptv_record(0, 85, 10, 1, 8).u32(20, 86).u32(24, 6).u32(28, 3).u32(32, 1);
    service().answer(kGet, record(both));
    EXPECT_EQ(
        call("wexond.iptv", "get"),
        R"({"wexond.iptv": {"vlanid": 85, "ethport": [1, 3, 1, 2], "2.4G": [0, 0, 1], "5G": [3, 0], "5G-2": []}})");
}

TEST_F(IptvTest, PassesOverAVlanWithoutAnId)
{
    service().answer(kGet, record(iptv_record(1, 0, 10, 1, 8)));
    EXPECT_EQ(call("wexond.iptv", "get"),
              R"({"wexond.iptv": {"vlanid": 0, "ethport": [], "2.4G": [], "5G": [], "5G-2": []}})");
    service().answer(kGet, record(iptv_record(1, 0, 10, 1, 8).u32(20, 86).u32(24, 4).u32(28, 2).u32(32, 1)));
    EXPECT_EQ(call("wexond.iptv", "get"),
              R"({"wexond.iptv": {"vlanid": 0, "ethport": [2], "2.4G": [1], "5G": [0], "5G-2": []}})");
}

TEST_F(IptvTest, ReportsEightEthernetPortsAndFourAccessPoints)
{
    service().answer(kGet, record(iptv_record(1, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF)));
    EXPECT_EQ(call("wexond.iptv", "get"), R"({"wexond.iptv": {"vlanid": -1, "ethport": [0, 1, 2, 3, 4, 5, 6, 7], )"
                                          R"("2.4G": [0, 1, 2, 3], "5G": [0, 1, 2, 3], "5G-2": []}})");
    service().answer(kGet, record(iptv_record(1, 1, 0xFFFFFF00, 0xFFFFFFF0, 0xFFFFFFF0)));
    EXPECT_EQ(call("wexond.iptv", "get"),
              R"({"wexond.iptv": {"vlanid": 1, "ethport": [], "2.4G": [], "5G": [], "5G-2": []}})");
}

TEST_F(IptvTest, TakesWhatAShortAnswerLacksForZero)
{
    service().answer(kGet, record(Bytes(12).u32(4, 85).u32(8, 10)));
    EXPECT_EQ(call("wexond.iptv", "get"),
              R"({"wexond.iptv": {"vlanid": 85, "ethport": [1, 3], "2.4G": [], "5G": [], "5G-2": []}})");
}

TEST_F(IptvTest, ReportsFailures)
{
    service().answer_in_turn(kSet, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.iptv", "set", set_arguments("yes", "7", "[]", "[]", "[]")),
                  failure("failed to set iptv"));
    service().answer_in_turn(kGet, {code(1, iptv_record(1, 85, 10, 1, 0)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.iptv", "get"), failure("failed to get iptv"));
}

TEST_F(IptvTest, LogsItsCalls)
{
    service().answer(kSet, code(0));
    service().answer_in_turn(kGet, {record(Bytes(36)), no_answer()});
    enable_log();
    call("wexond.iptv", "set", set_arguments("yes", "-85", "[1, 300]", "[0, -1]", "[2]"));
    EXPECT_EQ(take_log(), entry_log("wexond_iptv_set", "wexond.iptv", "set") +
                              "[wexond_iptv_set.#]: enable:yes / vlanid:-85 \n\n"
                              "[wexond_iptv_set.#]: eth port:1 \n\n"
                              "[wexond_iptv_set.#]: eth port:300 \n\n"
                              "[wexond_iptv_set.#]: 2.4G port:0 \n\n"
                              "[wexond_iptv_set.#]: 2.4G port:-1 \n\n"
                              "[wexond_iptv_set.#]: 5G port:2 \n\n" +
                              set_reply_log());
    call("wexond.iptv", "set", R"({"enable": "yes"})");
    EXPECT_EQ(take_log(),
              entry_log("wexond_iptv_set", "wexond.iptv", "set") + set_reply_log("required parameter: vlanid"));
    call("wexond.iptv", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_iptv_get", "wexond.iptv", "get") + get_reply_log());
    call("wexond.iptv", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_iptv_get", "wexond.iptv", "get") +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n" + get_reply_log("failed to get iptv"));
}

} // namespace
