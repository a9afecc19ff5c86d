// wexond.filter.url and its rules: what differs from wexond.filter.dns. What they share is in filter_rules_test.cpp.

#include "tests/handlers/method_arguments.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kList = 206;
constexpr uint32_t kAdd = 208;

constexpr size_t kSize = 2120;
constexpr size_t kUrls = 8; // 32 slots of 32 bytes
constexpr size_t kName = 1032;
constexpr size_t kMacs = 1064; // 32 slots of 32 bytes
constexpr size_t kWeekdays = 2092;
constexpr size_t kSlotSize = 32;

const MethodArguments kEmptyRule = {{"enable", R"("no")"}, {"urls", "[]"},     {"name", R"("")"},     {"macs", "[]"},
                                    {"mode", "0"},         {"weekdays", "[]"}, {"timerange", R"("")"}};

class UrlFilterTest : public HandlerTest
{
  protected:
    std::string add(const std::string &name, const std::string &json)
    {
        return call("wexond.filter.url", "add", kEmptyRule.with(name, json).json());
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
        service().answer(kList, record(Bytes(67844).u32(0, 1).text(4, rule.data())));
        std::string reply = call("wexond.filter.url", "list");
        service().take_requests();
        return reply;
    }
    static Bytes stored() { return Bytes(kSize).u32(0, 1); }
    static std::string listing(const std::string &name, const std::vector<ReplyValue> &urls,
                               const std::vector<ReplyValue> &macs)
    {
        return table({{"wexond.filter.url", array({table({{"idx", 1},
                                                          {"enable", "no"},
                                                          {"name", name},
                                                          {"mode", 0},
                                                          {"urls", array(urls)},
                                                          {"macs", array(macs)},
                                                          {"weekdays", array({})},
                                                          {"timerange", ""}})})}});
    }
};

TEST_F(UrlFilterTest, KeepsTheEndsOfTexts)
{
    std::string text(31, 'x');
    for (const std::string &given : {text, text + "y", std::string(5000, 'x')}) {
        SCOPED_TRACE(given.size());
        EXPECT_EQ(sent_for("name", in_quotes(given)), Bytes(kSize).text(kName, text));
        EXPECT_EQ(sent_for("urls", array_of(1, in_quotes(given))), Bytes(kSize).text(kUrls, text));
    }
}

TEST_F(UrlFilterTest, TakesThirtyTwoUrlsAndMacs)
{
    Bytes urls(kSize), macs(kSize);
    for (size_t i = 0; i < 32; i++) {
        urls.text(kUrls + i * kSlotSize, "a.example");
        macs.text(kMacs + i * kSlotSize, "00:1A:2B:3C:4D:5E");
    }
    for (size_t count : {32, 33, 500}) {
        SCOPED_TRACE(count);
        EXPECT_EQ(sent_for("urls", array_of(count, R"("a.example")")), urls);
        EXPECT_EQ(sent_for("macs", array_of(count, R"("001a2b3c4d5e")")), macs);
    }
    std::string wrong_at_33 = array_of(32, R"("001a2b3c4d5e")");
    wrong_at_33.insert(wrong_at_33.size() - 1, R"(, "short")");
    EXPECT_EQ(sent_for("macs", wrong_at_33), macs);
    for (const char *more : {", 1]", ", {}, [], null]"}) {
        EXPECT_EQ(sent_for("urls", array_of(32, R"("a.example")").substr(0, 32 * 13 - 1) + more), urls);
        EXPECT_EQ(sent_for("macs", wrong_at_33.substr(0, wrong_at_33.rfind(',')) + more), macs);
    }
    EXPECT_EQ(sent_for("weekdays", R"([1, 1, 1, 1, 1, 1, 1, "8", 8])"), Bytes(kSize).u32(kWeekdays, 2));
}

TEST_F(UrlFilterTest, TheFirstWrongElementDecides)
{
    EXPECT_EQ(add("macs", R"(["short", 1])"), failure("aszMac[0]:short"));
    EXPECT_EQ(add("macs", R"([1, "short"])"), failure("unrecognized parameter: macs"));
    EXPECT_EQ(add("weekdays", R"([1, 8, "1"])"), failure("auiWeekday[1]:8"));
    EXPECT_EQ(add("weekdays", R"([1, "1", 8])"), failure("unrecognized parameter: weekdays"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(UrlFilterTest, KeepsThePlaceOfAnEmptyUrl)
{
    EXPECT_EQ(sent_for("urls", R"(["", "b.example"])"), Bytes(kSize).text(kUrls + kSlotSize, "b.example"));
}

TEST_F(UrlFilterTest, SendsMacsInUpperCaseColonForm)
{
    EXPECT_EQ(sent_for("macs", R"(["001a2b3c4d5e", "FFEEDDCCBBAA"])"),
              Bytes(kSize).text(kMacs, "00:1A:2B:3C:4D:5E").text(kMacs + kSlotSize, "FF:EE:DD:CC:BB:AA"));
    EXPECT_EQ(sent_for("macs", R"(["no mac at !!"])"), Bytes(kSize).text(kMacs, "no mac at !!"))
        << "twelve characters that are no address pass as they are";
}

TEST_F(UrlFilterTest, RefusesMacsOfAnotherLength)
{
    struct Row {
        std::string macs, reason;
    };
    const Row rows[] = {
        {R"(["00:1a:2b:3c:4d:5e"])", "aszMac[0]:00:1a:2b:3c:4d:5e"},
        {R"(["001a2b3c4d5e", "001a2b3c4d5"])", "aszMac[1]:001a2b3c4d5"},
        {R"(["001a2b3c4d5ef"])", "aszMac[0]:001a2b3c4d5ef"},
        {R"(["001a2b3c4d5e", "001a2b3c4d5e", ""])", "aszMac[2]:"},
        {"[" + in_quotes(std::string(40, 'a')) + "]", "aszMac[0]:" + std::string(40, 'a')},
        {"[" + in_quotes(std::string(500, 'a')) + "]", "aszMac[0]:" + std::string(117, 'a')}, // 127 in all
    };
    for (const Row &row : rows)
        EXPECT_EQ(add("macs", row.macs), failure(row.reason));
    listed(stored());
    EXPECT_EQ(call("wexond.filter.url.1", "set", kEmptyRule.with("macs", R"(["", ""])").json()), failure("aszMac[0]:"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(UrlFilterTest, TakesSundayAsZeroToo)
{
    EXPECT_EQ(sent_for("weekdays", "[0]"), Bytes(kSize).u32(kWeekdays, 1));
    EXPECT_EQ(sent_for("weekdays", "[0, 7]"), Bytes(kSize).u32(kWeekdays, 1));
}

TEST_F(UrlFilterTest, RefusesDaysAboveSeven)
{
    EXPECT_EQ(add("weekdays", "[8]"), failure("auiWeekday[0]:8"));
    EXPECT_EQ(add("weekdays", "[0, 1, -1]"), failure("auiWeekday[2]:-1"));
    EXPECT_EQ(add("weekdays", "[1, 2, 3, 4, 5, 6, 2147483647]"), failure("auiWeekday[6]:2147483647"));
    listed(stored());
    EXPECT_EQ(call("wexond.filter.url.1", "set", kEmptyRule.with("weekdays", "[9]").json()),
              failure("auiWeekday[0]:9"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(UrlFilterTest, RefusesElementsThatAreNoTexts)
{
    for (const char *name : {"urls", "macs"})
        for (const char *elements : {"[1]", R"(["001a2b3c4d5e", 1])", "[[]]", "[{}]", "[null]"})
            EXPECT_EQ(add(name, elements), failure(std::string("unrecognized parameter: ") + name)) << elements;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(UrlFilterTest, ListsMacsAsTwelveDigits)
{
    Bytes rule =
        stored().text(kMacs, "00:1a:2b:3c:4d:5e").text(kMacs + 32, "00:1A:2B:3C:4D:5").text(kMacs + 64, "a printer");
    EXPECT_EQ(listed(rule), listing("", {}, {"001A2B3C4D5E", "00:1A:2B:3C:4D:5", "a printer"}));
}

TEST_F(UrlFilterTest, ListsUrlsAndMacsUpToTheFirstEmptySlot)
{
    Bytes rule = stored();
    for (size_t slot : {0, 1, 3}) {
        rule.text(kUrls + slot * kSlotSize, "a.example");
        rule.text(kMacs + slot * kSlotSize, "00:1A:2B:3C:4D:5E");
    }
    EXPECT_EQ(listed(rule), listing("", {"a.example", "a.example"}, {"001A2B3C4D5E", "001A2B3C4D5E"}));
}

TEST_F(UrlFilterTest, ListsFieldsThatAreFilledToTheLastByte)
{
    std::string full(32, 'x');
    Bytes rule = stored().text(kName, full);
    for (size_t i = 0; i < 32; i++)
        rule.text(kUrls + i * kSlotSize, full).text(kMacs + i * kSlotSize, full);
    EXPECT_EQ(listed(rule), listing(full, std::vector<ReplyValue>(32, full), std::vector<ReplyValue>(32, full)));
}

TEST_F(UrlFilterTest, GetOnAnObjectWithoutARuleSendsNoReply)
{
    service().answer(kAdd, code(1));
    add("mode", "1"); // makes the entry of index 0
    service().take_requests();
    enable_log();
    for (const std::string object : {"wexond.filter.url", "wexond.filter.url.0"}) {
        EXPECT_EQ(call(object, "get"), "(no reply)");
        EXPECT_EQ(take_log(), entry_log("wexond_filterurl1_get", object, "get") +
                                  "[wexond_filterurl1_get.#]: wexond_filterurl1_get:  " + object + " can not found\n");
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(UrlFilterTest, SetOnAnObjectWithoutARuleNamesIt)
{
    service().answer(kAdd, code(1));
    add("mode", "1"); // makes the entry of index 0
    service().take_requests();
    for (const std::string object : {"wexond.filter.url", "wexond.filter.url.0"}) {
        EXPECT_EQ(call(object, "set", kEmptyRule.json()), failure(object + " can not found"));
        EXPECT_EQ(call(object, "set"), failure(object + " can not found")) << "before the arguments are looked at";
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

} // namespace
