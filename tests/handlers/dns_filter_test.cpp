// wexond.filter.dns and its rules: what differs from wexond.filter.url. What they share is in filter_rules_test.cpp.

#include "tests/handlers/method_arguments.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kList = 211;
constexpr uint32_t kAdd = 213;

constexpr size_t kSize = 1132;
constexpr size_t kHostnames = 8; // 32 slots of 32 bytes
constexpr size_t kName = 1032;
constexpr size_t kMac = 1064;
constexpr size_t kAction = 1096;
constexpr size_t kSlotSize = 32;

const MethodArguments kEmptyRule = {{"enable", R"("no")"}, {"hostnames", "[]"},   {"name", R"("")"},
                                    {"action", "0"},       {"mac", R"("")"},      {"mode", "0"},
                                    {"weekdays", "[]"},    {"timerange", R"("")"}};

class DnsFilterTest : public HandlerTest
{
  protected:
    std::string add(const std::string &name, const std::string &json)
    {
        return call("wexond.filter.dns", "add", kEmptyRule.with(name, json).json());
    }

    // The record that an add of an otherwise empty rule sends.
    Bytes sent_for(const std::string &name, const std::string &json)
    {
        service().answer(kAdd, record(Bytes(kSize).u32(0, 1)));
        EXPECT_EQ(add(name, json), R"({"result": "0", "idx": 1, "failreason": ""})");
        Requests requests = service().take_requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? Bytes() : requests[0].payload;
    }

    // How a stored rule, of index 1, is listed.
    std::string listed(const Bytes &rule)
    {
        service().answer(kList, record(Bytes(36228).u32(0, 1).text(4, rule.data())));
        std::string reply = call("wexond.filter.dns", "list");
        service().take_requests();
        return reply;
    }
    static Bytes stored() { return Bytes(kSize).u32(0, 1); }
    static std::string listing(const std::string &name, const std::string &mac,
                               const std::vector<ReplyValue> &hostnames)
    {
        return table({{"wexond.filter.dns", array({table({{"idx", 1},
                                                          {"enable", "no"},
                                                          {"name", name},
                                                          {"mode", 0},
                                                          {"action", 0},
                                                          {"mac", mac},
                                                          {"hostnames", array(hostnames)},
                                                          {"weekdays", array({})},
                                                          {"timerange", ""}})})}});
    }
};

TEST_F(DnsFilterTest, FillsTextFieldsToTheLastByte)
{
    std::string text(32, 'x');
    for (const std::string &given : {text, text + "yyyyyyyy", std::string(5000, 'x')}) {
        SCOPED_TRACE(given.size());
        EXPECT_EQ(sent_for("name", in_quotes(given)), Bytes(kSize).text(kName, text));
        EXPECT_EQ(sent_for("mac", in_quotes(given)), Bytes(kSize).text(kMac, text));
        EXPECT_EQ(sent_for("hostnames", array_of(1, in_quotes(given))), Bytes(kSize).text(kHostnames, text));
    }
}

TEST_F(DnsFilterTest, TakesThirtyTwoHostnames)
{
    Bytes expected(kSize);
    for (size_t i = 0; i < 32; i++)
        expected.text(kHostnames + i * kSlotSize, "a.example");
    for (size_t count : {32, 33, 500})
        EXPECT_EQ(sent_for("hostnames", array_of(count, R"("a.example")")), expected) << count;
}

TEST_F(DnsFilterTest, KeepsThePlaceOfAnEmptyHostname)
{
    EXPECT_EQ(sent_for("hostnames", R"(["", "b.example"])"), Bytes(kSize).text(kHostnames + kSlotSize, "b.example"));
}

TEST_F(DnsFilterTest, PassesTheMacOnAsItIs)
{
    for (const std::string mac : {"", "001a2b3c4d5e", "00:1a:2b:3c:4d:5e", "no mac"}) {
        EXPECT_EQ(sent_for("mac", in_quotes(mac)), Bytes(kSize).text(kMac, mac));
        EXPECT_EQ(listed(stored().text(kMac, mac)), listing("", mac, {}));
    }
}

TEST_F(DnsFilterTest, PassesTheActionOnWithoutJudgingIt)
{
    EXPECT_EQ(sent_for("action", "-1"), Bytes(kSize).u32(kAction, 0xFFFFFFFF));
}

TEST_F(DnsFilterTest, RefusesDaysOutsideOneToSeven)
{
    listed(stored());
    for (const char *weekdays : {"[0]", "[8]", "[-1]", "[1, 7, 0]", "[1, 2, 3, 4, 5, 6, 2147483647]"}) {
        EXPECT_EQ(add("weekdays", weekdays), failure("failed weekday is not valid")) << weekdays;
        EXPECT_EQ(call("wexond.filter.dns.1", "set", kEmptyRule.with("weekdays", weekdays).json()),
                  failure("failed weekday is not valid"));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DnsFilterTest, TheFirstWrongDayDecides)
{
    EXPECT_EQ(add("weekdays", R"([1, 8, "1"])"), failure("failed weekday is not valid"));
    EXPECT_EQ(add("weekdays", R"([1, "1", 8])"), failure("unrecognized parameter: weekdays"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DnsFilterTest, RefusesElementsThatAreNoTexts)
{
    for (const char *elements : {"[1]", R"(["a.example", 1])", "[[]]", "[{}]", "[null]"})
        EXPECT_EQ(add("hostnames", elements), failure("unrecognized parameter: hostnames")) << elements;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DnsFilterTest, ListsHostnamesUpToTheFirstEmptySlot)
{
    Bytes rule = stored();
    for (size_t slot : {0, 1, 3})
        rule.text(kHostnames + slot * kSlotSize, "a.example");
    EXPECT_EQ(listed(rule), listing("", "", {"a.example", "a.example"}));
}

TEST_F(DnsFilterTest, ListsFieldsThatAreFilledToTheLastByte)
{
    std::string full(32, 'x');
    Bytes rule = stored().text(kName, full).text(kMac, full);
    for (size_t i = 0; i < 32; i++)
        rule.text(kHostnames + i * kSlotSize, full);
    EXPECT_EQ(listed(rule), listing(full, full, std::vector<ReplyValue>(32, full)));
}

TEST_F(DnsFilterTest, GetAndSetOnAnObjectOfIndexZeroFailWithAReply)
{
    service().answer(kAdd, code(1));
    add("mode", "1"); // makes the entry of index 0
    service().take_requests();
    enable_log();
    EXPECT_EQ(call("wexond.filter.dns.0", "get"), failure("failed to get index"));
    EXPECT_EQ(take_log(), entry_log("wexond_filterdns1_get", "wexond.filter.dns.0", "get") +
                              "[wexond_filterdns1_get.#]: wexond_filterdns1_get:  wexond.filter.dns.0 can not found\n" +
                              get_reply_log("failed to get index"));
    EXPECT_EQ(call("wexond.filter.dns.0", "set", kEmptyRule.json()), failure("failed to get index"));
    EXPECT_EQ(call("wexond.filter.dns.0", "set"), failure("failed to get index"))
        << "before the arguments are looked at";
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(DnsFilterTest, TheStaticObjectHasNoEntryMethods)
{
    for (const char *method : {"get", "set"})
        EXPECT_EQ(call("wexond.filter.dns", method), "(Method not found)");
}

} // namespace
