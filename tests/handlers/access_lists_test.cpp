// wexond.wifi.blacklist and wexond.wifi.whitelist: the stations that are refused, or alone admitted.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr size_t kEntrySize = 100;
constexpr size_t kListSize = 12804;

struct List {
    std::string name; // in texts, object and handler names
    uint32_t add, remove, list;
};

std::ostream &operator<<(std::ostream &stream, const List &list)
{
    return stream << list.name;
}

// Index at 0, name at 4, address at 68.
Bytes entry(uint32_t index, std::string_view name, std::string_view mac)
{
    return Bytes(kEntrySize).u32(0, index).text(4, name).text(68, mac);
}

Bytes list_of(uint32_t count, const std::vector<Bytes> &entries)
{
    Bytes record = Bytes(kListSize).u32(0, count);
    for (size_t i = 0; i < entries.size(); i++)
        record.text(4 + kEntrySize * i, entries[i].data());
    return record;
}

class AccessListTest : public HandlerTest, public testing::WithParamInterface<List>
{
  protected:
    const List &list() const { return GetParam(); }
    std::string object() const { return "wexond.wifi." + list().name; }

    template <typename Message = std::string_view>
    std::string call_list(const std::string &method, const Message &arguments = "{}")
    {
        return call(object(), method, arguments);
    }

    // The reason where the service refuses a method.
    std::string refusal(const std::string &method) const { return "failed to " + method + " wifi " + list().name; }

    std::string listed(const std::vector<ReplyValue> &elements) const { return table({{object(), array(elements)}}); }
    static ReplyText shown(uint32_t index, const std::string &mac, const std::string &name)
    {
        return table({{"idx", index}, {"mac", mac}, {"name", name}});
    }

    std::string show(const Bytes &answer)
    {
        service().answer(list().list, record(answer));
        return call_list("list");
    }

    std::string entry_line(const std::string &method) const
    {
        return entry_log("wexond_wifi" + list().name + "_" + method, object(), method);
    }
    std::string log(const std::string &method, const std::string &message) const
    {
        return "[wexond_wifi" + list().name + "_" + method + ".#]: " + message;
    }
};

INSTANTIATE_TEST_SUITE_P(Lists, AccessListTest,
                         testing::Values(List{"blacklist", 117, 118, 119}, List{"whitelist", 120, 121, 122}),
                         [](const auto &info) { return info.param.name; });

TEST_P(AccessListTest, AddsAStationAndReportsItsIndex)
{
    service().answer_in_turn(list().add, {record(entry(7, "other", "other")), record(Bytes(kEntrySize).u32(0, ~0u))});
    EXPECT_EQ(call_list("add", R"({"mac": "aa:bb:cc:dd:ee:ff", "name": "phone"})"),
              R"({"result": "0", "idx": 7, "failreason": ""})");
    EXPECT_EQ(service().take_requests(), (Requests{{list().add, 104, entry(0, "phone", "aa:bb:cc:dd:ee:ff")}}));
    EXPECT_EQ(call_list("add", R"({"name": "", "mac": "no address"})"),
              R"({"result": "0", "idx": -1, "failreason": ""})");
    EXPECT_EQ(service().take_requests(), (Requests{{list().add, 104, entry(0, "", "no address")}}));
}

TEST_P(AccessListTest, TakesAnIndexThatAShortAnswerLacksForZero)
{
    service().answer(list().add, code(0));
    EXPECT_EQ(call_list("add", R"({"mac": "a", "name": "b"})"), R"({"result": "0", "idx": 0, "failreason": ""})");
}

TEST_P(AccessListTest, FillsTheTextsOfAStationToTheirLastByte)
{
    service().answer(list().add, record(Bytes(kEntrySize)));
    std::string name(64, 'n'), mac(32, 'm');
    for (const char *more : {"", "x", "xyz"}) {
        call_list("add", "{\"name\": \"" + name + more + "\", \"mac\": \"" + mac + more + "\"}");
        EXPECT_EQ(service().take_requests(), (Requests{{list().add, 104, entry(0, name, mac)}}));
    }
}

TEST_P(AccessListTest, AddRequiresAddressThenName)
{
    struct Row {
        const char *arguments;
        const char *missing;
    };
    const Row rows[] = {
        {"{}", "mac"},
        {R"({"name": "phone"})", "mac"},
        {R"({"mac": "aa:bb:cc:dd:ee:ff"})", "name"},
        {R"({"mac": 5, "name": "phone"})", "mac"},
        {R"({"mac": "aa:bb:cc:dd:ee:ff", "name": ["phone"]})", "name"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(call_list("add", row.arguments), failure(std::string("required parameter: ") + row.missing))
            << row.arguments;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_P(AccessListTest, ARefusedAddHasNoIndex)
{
    service().answer_in_turn(list().add, {code(1, entry(7, "", "")), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_list("add", R"({"mac": "a", "name": "b"})"), failure(refusal("add")));
}

TEST_P(AccessListTest, DeletesAnyIndexThatTheServiceKnows)
{
    service().answer(list().remove, code(0));
    for (uint32_t index : {3u, 0u, 128u, 0x7FFFFFFFu}) {
        EXPECT_EQ(call_list("delete", "{\"idx\": " + std::to_string(index) + "}"), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{list().remove, 4, Bytes(4).u32(0, index)}}));
    }
    EXPECT_EQ(call_list("delete", R"({"idx": -1})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{list().remove, 4, Bytes(4).u32(0, ~0u)}}));
}

TEST_P(AccessListTest, ReportsARefusedDeletion)
{
    service().answer_in_turn(list().remove, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_list("delete", R"({"idx": 3})"), failure(refusal("delete")));
}

TEST_P(AccessListTest, DeleteRequiresTheIndex)
{
    for (const char *arguments : {"{}", R"({"idx": "3"})", R"({"mac": "aa:bb:cc:dd:ee:ff"})"})
        EXPECT_EQ(call_list("delete", arguments), failure("required parameter: idx")) << arguments;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_P(AccessListTest, ListsStationsInAnswerOrder)
{
    EXPECT_EQ(
        show(list_of(3, {entry(4, "phone", "aa:bb:cc:dd:ee:ff"), entry(1, "", "00:1A:2b:3C:4d:5e"),
                         entry(~0u, "laptop", "no address"), entry(9, "beyond", "the count")})),
        listed({shown(4, "AABBCCDDEEFF", "phone"), shown(1, "001A2B3C4D5E", ""), shown(~0u, "no address", "laptop")}));
    EXPECT_EQ(service().take_requests(), (Requests{{list().list, 12808}}));
}

TEST_P(AccessListTest, ListsNoStationsAsAnEmptyArray)
{
    EXPECT_EQ(show(list_of(0, {entry(4, "phone", "aa:bb:cc:dd:ee:ff")})), listed({}));
    EXPECT_EQ(show(Bytes()), listed({}));
}

TEST_P(AccessListTest, ListsTextsThatFillTheirFields)
{
    std::string name(64, 'n'), mac(32, 'm');
    EXPECT_EQ(show(list_of(2, {entry(1, name, mac), entry(0x31313131, name, mac)})),
              listed({shown(1, mac, name), shown(0x31313131, mac, name)}));
}

TEST_P(AccessListTest, ListsAsManyStationsAsTheAnswerHolds)
{
    std::vector<Bytes> entries;
    std::vector<ReplyValue> elements;
    for (uint32_t i = 0; i < 128; i++) {
        entries.push_back(entry(i, "x", "y"));
        elements.push_back(shown(i, "y", "x"));
    }
    for (uint32_t count : {128u, 129u, 0x02000000u, ~0u})
        EXPECT_EQ(show(list_of(count, entries)), listed(elements)) << count;
}

TEST_P(AccessListTest, TakesEntriesThatAShortAnswerLacksForEmpty)
{
    EXPECT_EQ(show(Bytes(12).u32(0, 2).u32(4, 5).text(8, "tv")), listed({shown(5, "", "tv"), shown(0, "", "")}));
}

TEST_P(AccessListTest, ReportsAnUnreadableList)
{
    service().answer_in_turn(list().list, {code(1, list_of(1, {entry(1, "x", "y")})), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_list("list"), failure(refusal("list")));
}

TEST_P(AccessListTest, LogsItsCalls)
{
    service().answer_in_turn(list().add, {code(0), code(6)});
    enable_log();
    call_list("add", R"({"mac": "aa:bb:cc:dd:ee:ff", "name": "phone"})");
    const std::string argument_line = log("add", "mac:aa:bb:cc:dd:ee:ff / name:phone \n\n");
    EXPECT_EQ(take_log(), entry_line("add") + argument_line + log("add", "success ,  \n\n"));
    call_list("add", R"({"mac": "aa:bb:cc:dd:ee:ff", "name": "phone"})");
    EXPECT_EQ(take_log(), entry_line("add") + argument_line + "[wexond_check_ret.#]: Msg retcode = 6\n" +
                              log("add", "failed , " + refusal("add") + " \n\n"));
    call_list("add", R"({"mac": "aa:bb:cc:dd:ee:ff"})");
    EXPECT_EQ(take_log(), entry_line("add") + log("add", "failed , required parameter: name \n\n"));

    service().answer_in_turn(list().remove, {code(0), no_answer()});
    call_list("delete", R"({"idx": 3})");
    EXPECT_EQ(take_log(), entry_line("delete") + log("delete", "idx:3 \n\n") + set_reply_log());
    call_list("delete", R"({"idx": -3})");
    EXPECT_EQ(take_log(), entry_line("delete") + log("delete", "idx:-3 \n\n") +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n" + set_reply_log(refusal("delete")));

    service().answer_in_turn(list().list, {record(list_of(1, {entry(1, "x", "y")})), code(1)});
    call_list("list");
    EXPECT_EQ(take_log(), entry_line("list") + get_reply_log());
    call_list("list");
    EXPECT_EQ(take_log(),
              entry_line("list") + "[wexond_check_ret.#]: Msg retcode = 1\n" + get_reply_log(refusal("list")));
}

} // namespace
