// The common part of wexond.filter.url and wexond.filter.dns, for both: the course of each method, the entry objects,
// weekdays and times of day. What differs stands in url_filter_test.cpp and dns_filter_test.cpp.

#include "tests/handlers/list_answer.h"
#include "tests/handlers/method_arguments.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr size_t kSlots = 32; // rules in a list answer

struct Filter {
    std::string name, object, word;
    uint32_t set, list, remove, add, get; // message types
    size_t size;                          // of a rule's record
    size_t weekdays;                      // offset of the weekday mask; the time ranges follow
    size_t time_limit;                    // characters that are read of "timerange"
    MethodArguments arguments;            // of a rule
    Bytes record;                         // what they make, but for the weekdays and time ranges
    ReplyFields fields;                   // how it is reported, up to the weekdays
    std::vector<std::string> log;         // what is logged of them, up to the weekdays
    std::string set_failure, list_failure, remove_failure, add_failure, get_failure;
};

void PrintTo(const Filter *filter, std::ostream *stream)
{
    *stream << filter->object;
}

const Filter kUrlFilter = {
    .name = "Url",
    .object = "wexond.filter.url",
    .word = "filterurl",
    .set = 205,
    .list = 206,
    .remove = 207,
    .add = 208,
    .get = 209,
    .size = 2120,
    .weekdays = 2092,
    .time_limit = 127,
    .arguments = {{"enable", R"("yes")"},
                  {"urls", R"(["a.example", "b.example"])"},
                  {"name", R"("homework")"},
                  {"macs", R"(["001a2b3c4d5e"])"},
                  {"mode", "-2"},
                  {"weekdays", "[]"},
                  {"timerange", R"("")"}},
    .record = Bytes(2120)
                  .u32(4, 1)
                  .text(8, "a.example")
                  .text(40, "b.example")
                  .text(1032, "homework")
                  .text(1064, "00:1A:2B:3C:4D:5E")
                  .u32(2088, 0xFFFFFFFE),
    .fields = {{"enable", "yes"},
               {"name", "homework"},
               {"mode", -2},
               {"urls", array({"a.example", "b.example"})},
               {"macs", array({"001A2B3C4D5E"})}},
    .log = {"enable:yes / name:homework / mode:-2 / timerange:", "urls[0]:a.example", "urls[1]:b.example",
            "macs[0]:001a2b3c4d5e"},
    .set_failure = "ORVC_SET_FILTERURL failed",
    .list_failure = "failed to get filter url",
    .remove_failure = "ORVC_DEL_FILTERURL failed",
    .add_failure = "ORVC_ADD_FILTERURL failed",
    .get_failure = "failed to get index filtr url",
};

const Filter kDnsFilter = {
    .name = "Dns",
    .object = "wexond.filter.dns",
    .word = "filterdns",
    .set = 210,
    .list = 211,
    .remove = 212,
    .add = 213,
    .get = 214,
    .size = 1132,
    .weekdays = 1104,
    .time_limit = 128,
    .arguments = {{"enable", R"("yes")"},
                  {"hostnames", R"(["a.example", "b.example"])"},
                  {"name", R"("homework")"},
                  {"action", "3"},
                  {"mac", R"("00:1a:2b:3c:4d:5e")"},
                  {"mode", "-2"},
                  {"weekdays", "[]"},
                  {"timerange", R"("")"}},
    .record = Bytes(1132)
                  .u32(4, 1)
                  .text(8, "a.example")
                  .text(40, "b.example")
                  .text(1032, "homework")
                  .text(1064, "00:1a:2b:3c:4d:5e")
                  .u32(1096, 3)
                  .u32(1100, 0xFFFFFFFE),
    .fields = {{"enable", "yes"},
               {"name", "homework"},
               {"mode", -2},
               {"action", 3},
               {"mac", "00:1a:2b:3c:4d:5e"},
               {"hostnames", array({"a.example", "b.example"})}},
    .log = {"enable:yes / name:homework / action:3 / mac:00:1a:2b:3c:4d:5e / mode:-2 / timerange:",
            "hostnames[0]:a.example", "hostnames[1]:b.example"},
    .set_failure = "failed to set filterdns",
    .list_failure = "failed to list filterdns",
    .remove_failure = "failed to delete filterdns",
    .add_failure = "failed to add filterdns",
    .get_failure = "failed to get idx filtr dns",
};

// The words of a weekday mask and of time ranges, start and end after one another, as they stand in a record.
using Words = std::vector<uint32_t>;

class FilterRulesTest : public HandlerTest, public testing::WithParamInterface<const Filter *>
{
  protected:
    const Filter &filter() const { return *GetParam(); }

    std::string rule_object(const std::string &index) const { return filter().object + "." + index; }
    bool has_rule(const std::string &index) { return client().has_object(rule_object(index)); }

    std::string arguments(const std::string &weekdays, const std::string &timerange) const
    {
        return filter().arguments.with("weekdays", weekdays).with("timerange", "\"" + timerange + "\"").json();
    }
    std::string arguments() const { return filter().arguments.json(); }

    Bytes rule(uint32_t index, const Words &schedule = {}) const
    {
        Bytes record = filter().record;
        record.u32(0, index);
        for (size_t i = 0; i < schedule.size(); i++)
            record.u32(filter().weekdays + 4 * i, schedule[i]);
        return record;
    }
    Bytes only_index(uint32_t index) const { return Bytes(filter().size).u32(0, index); }

    Bytes list_of(const std::vector<Bytes> &rules, std::optional<uint32_t> count = {}) const
    {
        return list_answer(kSlots, filter().size, rules, count);
    }

    using Weekdays = std::vector<ReplyValue>;
    ReplyFields fields(const Weekdays &weekdays = {}, const std::string &timerange = "") const
    {
        return filter().fields + ReplyFields{{"weekdays", array(weekdays)}, {"timerange", timerange}};
    }
    ReplyText element(uint32_t index, const Weekdays &weekdays = {}, const std::string &timerange = "") const
    {
        return table(ReplyFields{{"idx", index}} + fields(weekdays, timerange));
    }
    std::string listed(const std::vector<ReplyValue> &rules) const { return table({{filter().object, array(rules)}}); }
    std::string got(const std::string &index, const Weekdays &weekdays = {}, const std::string &timerange = "") const
    {
        return table({{rule_object(index), table(fields(weekdays, timerange))}});
    }

    // The replies of add, delete and list.
    std::string add(const Answer &answer)
    {
        service().answer(filter().add, answer);
        return call(filter().object, "add", arguments());
    }
    std::string remove(const std::string &index) { return call(filter().object, "delete", "{\"idx\": " + index + "}"); }
    std::string list(const Answer &answer)
    {
        service().answer(filter().list, answer);
        return call(filter().object, "list");
    }

    // Rules that the daemon knows from the service's list.
    void know(const std::vector<uint32_t> &indices)
    {
        std::vector<Bytes> rules;
        for (uint32_t index : indices)
            rules.push_back(rule(index));
        list(record(list_of(rules)));
        service().take_requests();
    }

    // The weekday mask and time ranges that a method sends for its arguments, and nothing else that differs.
    Bytes sent_by_add(const std::string &weekdays, const std::string &timerange)
    {
        service().answer(filter().add, record(only_index(9)));
        call(filter().object, "add", arguments(weekdays, timerange));
        return only_request(filter().add);
    }
    Bytes sent_by_set(const std::string &weekdays, const std::string &timerange)
    {
        service().answer(filter().set, code(0));
        call(rule_object("1"), "set", arguments(weekdays, timerange));
        return only_request(filter().set);
    }

    std::string function(const std::string &method, const char *entry = "") const
    {
        return "wexond_" + filter().word + entry + "_" + method;
    }
    std::string line(const std::string &function, const std::string &message) const
    {
        return "[" + function + ".#]: " + message + " \n\n";
    }
    std::string entry_line(const std::string &change, const std::string &index) const
    {
        return "[" + filter().word + "_update.#]: " + change + " " + filter().word + " '" + index + "'\n\n";
    }

  private:
    Bytes only_request(uint32_t type)
    {
        Requests requests = service().take_requests();
        if (requests.size() == 1 && requests[0].type == type)
            return requests[0].payload;
        ADD_FAILURE() << testing::PrintToString(requests);
        return {};
    }
};

INSTANTIATE_TEST_SUITE_P(, FilterRulesTest, testing::Values(&kUrlFilter, &kDnsFilter),
                         [](const auto &info) { return info.param->name; });

// --- Add ---

TEST_P(FilterRulesTest, AddSendsTheRuleAndPublishesItsObject)
{
    EXPECT_FALSE(has_rule("5"));
    EXPECT_EQ(add(record(only_index(5))), R"({"result": "0", "idx": 5, "failreason": ""})");
    auto answer_size = static_cast<uint32_t>(4 + filter().size);
    EXPECT_EQ(service().take_requests(), (Requests{{filter().add, answer_size, rule(0)}}));
    std::string methods = client().list(rule_object("5"));
    EXPECT_EQ(methods.substr(0, methods.find(' ')), rule_object("5") + "\n");
    EXPECT_NE(methods.find("\n  set enable:string "), std::string::npos) << methods;
    EXPECT_TRUE(methods.ends_with(" timerange:string\n  get\n")) << methods;
}

TEST_P(FilterRulesTest, AddKeepsTheEntryOfARefusedRule)
{
    EXPECT_EQ(add(code(1, only_index(5))), failure(filter().add_failure));
    EXPECT_TRUE(has_rule("5"));
    service().answer(filter().get, record(rule(5)));
    EXPECT_EQ(call(rule_object("5"), "get"), got("5"));
    list(record(list_of({})));
    EXPECT_FALSE(has_rule("5")) << "the next list puts it right";
}

TEST_P(FilterRulesTest, AddTakesIndexZeroFromARefusalWithoutARecord)
{
    EXPECT_EQ(add(code(1)), failure(filter().add_failure));
    EXPECT_TRUE(has_rule("0"));
    service().answer(filter().remove, code(0));
    EXPECT_EQ(remove("0"), kSuccess);
    EXPECT_FALSE(has_rule("0"));
}

TEST_P(FilterRulesTest, AddWithoutAnAnswerAddsNoEntry)
{
    EXPECT_EQ(add(no_answer()), failure(filter().add_failure));
    EXPECT_EQ(client().list(filter().object + ".*"), "");
}

TEST_P(FilterRulesTest, TheObjectOfAnIndexAddedTwiceActsOnItAndGoesWithIt)
{
    add(record(only_index(3)));
    enable_log();
    add(record(only_index(3)));
    EXPECT_NE(take_log().find(entry_line("Update", "3")), std::string::npos);
    service().take_requests();
    EXPECT_EQ(client().list(rule_object("*")), client().list(rule_object("3"))) << "one object";
    service().answer(filter().get, record(rule(3)));
    EXPECT_EQ(call(rule_object("3"), "get"), got("3"));
    service().take_requests();
    service().answer(filter().set, record(rule(3)));
    EXPECT_EQ(call(rule_object("3"), "set", arguments()), kSuccess);
    EXPECT_EQ(service().take_requests().at(0).payload, rule(3));
    service().answer(filter().remove, code(0));
    EXPECT_EQ(remove("3"), kSuccess);
    EXPECT_FALSE(has_rule("3"));
    EXPECT_EQ(remove("3"), failure("not found"));
    add(record(only_index(3)));
    add(record(only_index(3)));
    EXPECT_TRUE(has_rule("3")) << "the name is free again";
    list(record(list_of({})));
    EXPECT_FALSE(has_rule("3")) << "a list withdraws it, too";
}

// The key of an entry is its index as a text, least significant byte first.
TEST_P(FilterRulesTest, IndicesWhoseLowestByteIsZeroAreOneKey)
{
    add(record(only_index(256)));
    add(record(only_index(512)));
    EXPECT_TRUE(has_rule("256"));
    EXPECT_FALSE(has_rule("512"));
    EXPECT_EQ(remove("256"), failure("not found"));
}

TEST_P(FilterRulesTest, ObjectsAreNamedBySignedIndices)
{
    enable_log();
    EXPECT_EQ(add(record(only_index(0xFFFFFFFF))), R"({"result": "0", "idx": -1, "failreason": ""})");
    EXPECT_NE(take_log().find(entry_line("Create", "4294967295")), std::string::npos);
    EXPECT_TRUE(has_rule("-1"));
    service().take_requests();
    service().answer(filter().remove, code(0));
    EXPECT_EQ(remove("-1"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{filter().remove, 4, only_index(0xFFFFFFFF)}}));
}

// --- Delete ---

TEST_P(FilterRulesTest, DeleteWithdrawsTheObjectBeforeItAsks)
{
    know({3, 4});
    std::string log_until_request;
    service().answer_by(filter().remove, [&](const Request &) {
        log_until_request = take_log();
        return code(0);
    });
    enable_log();
    EXPECT_EQ(remove("3"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{filter().remove, 4, only_index(3)}}));
    EXPECT_EQ(log_until_request, entry_log(function("delete"), filter().object, "delete") +
                                     line(function("delete"), "idx:3") + entry_line("Remove", "3"));
    EXPECT_EQ(take_log(), set_reply_log());
    EXPECT_FALSE(has_rule("3"));
    EXPECT_TRUE(has_rule("4"));
}

TEST_P(FilterRulesTest, ARefusedDeleteDoesNotBringTheEntryBack)
{
    know({3, 4});
    service().answer_in_turn(filter().remove, {code(1), no_answer()});
    for (const char *index : {"3", "4"}) {
        EXPECT_EQ(remove(index), failure(filter().remove_failure));
        EXPECT_FALSE(has_rule(index));
        EXPECT_EQ(remove(index), failure("not found"));
    }
    EXPECT_EQ(service().take_requests(),
              (Requests{{filter().remove, 4, only_index(3)}, {filter().remove, 4, only_index(4)}}));
}

TEST_P(FilterRulesTest, DeleteOfAnUnknownRuleAsksNothing)
{
    know({3});
    EXPECT_EQ(remove("2"), failure("not found"));
    EXPECT_EQ(remove("0"), failure("not found"));
    EXPECT_EQ(call(filter().object, "delete"), failure("required parameter: idx"));
    EXPECT_EQ(call(filter().object, "delete", R"({"idx": "3"})"), failure("required parameter: idx"));
    EXPECT_EQ(service().take_requests(), Requests{});
    EXPECT_TRUE(has_rule("3"));
}

// --- List ---

TEST_P(FilterRulesTest, ListReportsTheRules)
{
    EXPECT_EQ(list(record(list_of({rule(7, {0b11, 28800, 45000}), rule(2)}))),
              listed({element(7, {7, 1}, "08:00-12:30"), element(2)}));
    auto answer_size = static_cast<uint32_t>(8 + kSlots * filter().size);
    EXPECT_EQ(service().take_requests(), (Requests{{filter().list, answer_size}}));
    EXPECT_EQ(list(record(list_of({}))), listed({}));
}

TEST_P(FilterRulesTest, ListBringsTheEntriesIntoLine)
{
    know({1, 2, 3});
    enable_log();
    list(record(list_of({rule(5), rule(3), rule(4), rule(5), rule(1)})));
    EXPECT_EQ(take_log(), entry_log(function("list"), filter().object, "list") + entry_line("Remove", "2") +
                              entry_line("Create", "5") + entry_line("Create", "4") + get_reply_log());
    for (const char *index : {"1", "3", "4", "5"})
        EXPECT_TRUE(has_rule(index)) << index;
    EXPECT_FALSE(has_rule("2"));
}

TEST_P(FilterRulesTest, AFailedListLeavesTheEntries)
{
    know({1, 2});
    service().answer_in_turn(filter().list, {code(1, list_of({rule(3)})), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call(filter().object, "list"), failure(filter().list_failure));
    EXPECT_TRUE(has_rule("1") && has_rule("2"));
    EXPECT_FALSE(has_rule("3"));
}

TEST_P(FilterRulesTest, ListCutsItsCountAtWhatTheAnswerHolds)
{
    std::vector<Bytes> rules;
    std::vector<ReplyValue> tables;
    for (uint32_t index = 1; index <= kSlots; index++) {
        rules.push_back(rule(index));
        tables.push_back(element(index));
    }
    for (uint32_t count : {32u, 33u, 0xFFFFFFFFu})
        EXPECT_EQ(list(record(list_of(rules, count))), listed(tables)) << count;
    EXPECT_TRUE(has_rule("32"));
    EXPECT_FALSE(has_rule("33"));
}

TEST_P(FilterRulesTest, ListTakesWhatAShortAnswerLacksForZero)
{
    Bytes cut(list_of({rule(9)}, 2).data().substr(0, 4 + filter().size));
    std::string reply = list(record(cut));
    std::string first = listed({element(9), table({{"idx", 0}, {"enable", "no"}, {"name", ""}, {"mode", 0}})});
    first.resize(first.size() - 3); // the second goes on
    EXPECT_EQ(reply.substr(0, reply.find("\"mode\": 0, ") + 9), first);
    EXPECT_TRUE(has_rule("9") && has_rule("0"));
}

// --- Get and set of an entry object ---

TEST_P(FilterRulesTest, GetReportsTheRuleOfItsObject)
{
    know({3, 300});
    service().answer(filter().get, record(rule(1, {0b10, 0, 60})));
    auto answer_size = static_cast<uint32_t>(4 + filter().size);
    for (uint32_t index : {3u, 300u}) {
        std::string number = std::to_string(index);
        EXPECT_EQ(call(rule_object(number), "get"), got(number, {1}, "00:00-00:01"));
        EXPECT_EQ(service().take_requests(), (Requests{{filter().get, answer_size, only_index(index)}}));
    }
}

TEST_P(FilterRulesTest, AFailedGetReportsNoRule)
{
    know({3});
    service().answer_in_turn(filter().get, {code(1, rule(3)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call(rule_object("3"), "get"), failure(filter().get_failure));
}

TEST_P(FilterRulesTest, SetSendsTheRuleWithItsIndex)
{
    know({3});
    service().answer(filter().set, record(only_index(8)));
    EXPECT_EQ(call(rule_object("3"), "set", arguments("[1, 7]", "8:00-12:30")), kSuccess);
    auto answer_size = static_cast<uint32_t>(4 + filter().size);
    EXPECT_EQ(service().take_requests(), (Requests{{filter().set, answer_size, rule(3, {0b11, 28800, 45000})}}));
    EXPECT_FALSE(has_rule("8"));
}

TEST_P(FilterRulesTest, AFailedSetLeavesTheEntry)
{
    know({3});
    service().answer_in_turn(filter().set, {code(1, only_index(8)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call(rule_object("3"), "set", arguments()), failure(filter().set_failure));
    EXPECT_EQ(client().list(rule_object("*")), client().list(rule_object("3")));
}

// --- Arguments ---

TEST_P(FilterRulesTest, RequiresEveryArgumentInOrder)
{
    know({1});
    const MethodArguments &all = filter().arguments;
    for (size_t i = 0; i < all.size(); i++) {
        SCOPED_TRACE(all.name(i));
        for (const MethodArguments &some : {all.without(i), all.first(i)}) {
            EXPECT_EQ(call(filter().object, "add", some.json()), failure("required parameter: " + all.name(i)));
            EXPECT_EQ(call(rule_object("1"), "set", some.json()), failure("required parameter: " + all.name(i)));
        }
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_P(FilterRulesTest, EnablesOnlyForTheExactTextYes)
{
    for (const char *text : {"no", "Yes", "on", "1", "", "yes "}) {
        service().answer(filter().add, record(rule(1)));
        call(filter().object, "add", filter().arguments.with("enable", "\"" + std::string(text) + "\"").json());
        EXPECT_EQ(service().take_requests().at(0).payload, rule(0).u32(4, 0)) << text;
    }
}

TEST_P(FilterRulesTest, FoldsWeekdaysIntoAMask)
{
    know({1});
    struct Row {
        const char *weekdays;
        uint32_t mask;
    };
    const Row rows[] = {
        {"[]", 0},
        {"[1]", 2},
        {"[2]", 4},
        {"[3]", 8},
        {"[4]", 16},
        {"[5]", 32},
        {"[6]", 64},
        {"[7]", 1},
        {"[1, 7, 1]", 3},
        {"[7, 6, 5, 4, 3, 2, 1]", 0x7F},
        {"[1, 1, 1, 1, 1, 1, 1, 2]", 2},
        {"[1, 1, 1, 1, 1, 1, 2, 9]", 6},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.weekdays);
        EXPECT_EQ(sent_by_add(row.weekdays, ""), rule(0, {row.mask}));
        EXPECT_EQ(sent_by_set(row.weekdays, ""), rule(1, {row.mask}));
    }
}

TEST_P(FilterRulesTest, ReadsUpToThreeTimeRangesWithoutJudgingThem)
{
    know({1});
    struct Row {
        const char *timerange;
        Words ranges;
    };
    const Row rows[] = {
        {"", {}},
        {"8:00-12:30", {28800, 45000}},
        {"08:00-12:30,13:05-18:00", {28800, 45000, 47100, 64800}},
        {"1:0-2:0,3:0-4:0,5:0-6:0", {3600, 7200, 10800, 14400, 18000, 21600}},
        {"1:0-2:0,3:0-4:0,5:0-6:0,7:0-8:0", {3600, 7200, 10800, 14400, 18000, 21600}},
        {"00:00-24:00", {0, 86400}},
        {"00:00-00:00", {0, 0}},
        {"00:00-00:00,1:0-2:0", {0, 0, 3600, 7200}},
        {"25:99-99:61", {95940, 360060}},
        {"-1:0-0:-1", {0xFFFFF1F0, 0xFFFFFFC4}},
        {"22:00-6:00", {79200, 21600}},
        {"8:00", {28800, 0}},
        {"8:00-9", {28800, 32400}},
        {"rubbish,1:0-2:0", {0, 0, 3600, 7200}},
        {",,1:0-2:0,", {3600, 7200}},
        {"1:0-2:0 and more", {3600, 7200}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.timerange);
        Words schedule = {0b10};
        schedule.insert(schedule.end(), row.ranges.begin(), row.ranges.end());
        EXPECT_EQ(sent_by_add("[1]", row.timerange), rule(0, schedule));
        EXPECT_EQ(sent_by_set("[1]", row.timerange), rule(1, schedule));
    }
}

TEST_P(FilterRulesTest, OnlyAddReadsTimeRangesWithoutWeekdays)
{
    know({1});
    EXPECT_EQ(sent_by_add("[]", "8:00-12:30"), rule(0, {0, 28800, 45000}));
    EXPECT_EQ(sent_by_set("[]", "8:00-12:30"), rule(1));
}

TEST_P(FilterRulesTest, CutsTheTextOfTimeRanges)
{
    std::string start = "0:00-0:";
    std::string whole = start + std::string(filter().time_limit - start.size() - 2, '0') + "30";
    EXPECT_EQ(sent_by_add("[1]", whole), rule(0, {0b10, 0, 1800}));
    EXPECT_EQ(sent_by_add("[1]", whole.insert(start.size(), "0")), rule(0, {0b10, 0, 180})) << "the last digit is lost";
}

TEST_P(FilterRulesTest, RefusesElementsThatAreNoDays)
{
    know({1});
    std::string rest = from_json(filter().arguments.without(filter().arguments.size() - 2).json());
    std::string day = value(Type::int32, "", big_endian32(1));
    const std::string elements[] = {
        value(Type::string, "", terminated("1")),
        value(Type::int64, "", big_endian64(1)),
        value(Type::null, "", ""),
        value(Type::int32, "", "\1\2"),
        big_endian32(0x85000020) + std::string(8, '\0'),
        std::string(2, '\1'),
    };
    for (const std::string &element : elements) {
        RawMessage message{rest + value(Type::array, "weekdays", day + element)};
        EXPECT_EQ(call(filter().object, "add", message), failure("unrecognized parameter: weekdays"));
        EXPECT_EQ(call(rule_object("1"), "set", message), failure("unrecognized parameter: weekdays"));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

// --- Weekdays and time ranges in replies ---

TEST_P(FilterRulesTest, ReportsSundayFirstAndAsSeven)
{
    know({1});
    struct Row {
        uint32_t mask;
        Weekdays in_list, in_get;
    };
    const Row rows[] = {
        {0, {}, {}},
        {1, {7}, {7}},
        {0b11, {7, 1}, {7, 1}},
        {0x7E, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}},
        {0x7F, {7, 1, 2, 3, 4, 5, 6}, {7, 1, 2, 3, 4, 5, 6}},
        {0x80, {7}, {}}, // a list looks at one bit more
        {0x81, {7, 7}, {7}},
        {0xFFFFFF00, {}, {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.mask);
        EXPECT_EQ(list(record(list_of({rule(1, {row.mask})}))), listed({element(1, row.in_list)}));
        service().answer(filter().get, record(rule(1, {row.mask})));
        EXPECT_EQ(call(rule_object("1"), "get"), got("1", row.in_get));
    }
}

TEST_P(FilterRulesTest, ReportsTimeRangesUpToTheFirstEmptyOne)
{
    know({1});
    struct Row {
        Words ranges;
        const char *text;
    };
    const Row rows[] = {
        {{}, ""},
        {{28800, 45000}, "08:00-12:30"},
        {{28800, 45000, 47100, 64800}, "08:00-12:30,13:05-18:00"},
        {{0, 60, 3600, 7200, 10800, 14400}, "00:00-00:01,01:00-02:00,03:00-04:00"},
        {{0, 0, 3600, 7200}, ""},
        {{3600, 7200, 0, 0, 10800, 14400}, "01:00-02:00"},
        {{0, 59}, "00:00-00:00"},
        {{60, 0}, "00:01-00:00"},
        {{95940, 360060}, "26:39-100:01"},
        {{~0u, ~0u, ~0u, ~0u, ~0u, ~0u}, "1193046:28-1193046:28,1193046:28-1193046:28,1193046:28-1193046:28"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        Words schedule = {1};
        schedule.insert(schedule.end(), row.ranges.begin(), row.ranges.end());
        EXPECT_EQ(list(record(list_of({rule(1, schedule)}))), listed({element(1, {7}, row.text)}));
        service().answer(filter().get, record(rule(1, schedule)));
        EXPECT_EQ(call(rule_object("1"), "get"), got("1", {7}, row.text));
    }
}

TEST_P(FilterRulesTest, ReportsAWholeDayAsEndingAtTwentyFourOClock)
{
    EXPECT_EQ(list(record(list_of({rule(1, {1, 0, 86400}), rule(2, {1, 0, 86400, 3600, 7200})}))),
              listed({element(1, {7}, "00:00-24:00"), element(2, {7}, "00:00-24:00,01:00-02:00")}));
}

TEST_P(FilterRulesTest, ReportsNoTimeRangesWithoutWeekdays)
{
    know({1});
    EXPECT_EQ(list(record(list_of({rule(1, {0, 28800, 45000})}))), listed({element(1)}));
    service().answer(filter().get, record(rule(1, {0, 0, 86400})));
    EXPECT_EQ(call(rule_object("1"), "get"), got("1"));
}

// --- Log ---

TEST_P(FilterRulesTest, LogsAddAndSet)
{
    know({1});
    service().answer(filter().add, record(only_index(5)));
    service().answer(filter().set, code(1));
    auto argument_lines = [&](const std::string &name) {
        std::string lines;
        for (const std::string &message : filter().log)
            lines += line(name, message);
        return lines + line(name, "weekdays[0]:1") + line(name, "weekdays[1]:7");
    };
    std::string add = function("add"), set = function("set", "1");
    enable_log();
    call(filter().object, "add", arguments("[1, 7]", ""));
    EXPECT_EQ(take_log(), entry_log(add, filter().object, "add") + argument_lines(add) + entry_line("Create", "5") +
                              line(add, "success , "));
    call(rule_object("1"), "set", arguments("[1, 7]", ""));
    EXPECT_EQ(take_log(),
              entry_log(set, rule_object("1"), "set") + argument_lines(set) + set_reply_log(filter().set_failure));
    call(filter().object, "add");
    EXPECT_EQ(take_log(), entry_log(add, filter().object, "add") + line(add, "failed , required parameter: enable"));
}

TEST_P(FilterRulesTest, LogsListAndGet)
{
    know({1});
    service().answer(filter().list, no_answer());
    service().answer(filter().get, record(rule(1)));
    enable_log();
    call(filter().object, "list");
    EXPECT_EQ(take_log(), entry_log(function("list"), filter().object, "list") + get_reply_log(filter().list_failure));
    call(rule_object("1"), "get");
    EXPECT_EQ(take_log(), entry_log(function("get", "1"), rule_object("1"), "get") + get_reply_log());
}

TEST_P(FilterRulesTest, LogsNothingWithoutTheFlagFile)
{
    service().answer(filter().remove, no_answer());
    add(record(only_index(5)));
    remove("5");
    list(no_answer());
    EXPECT_EQ(take_log(), "");
}

} // namespace
