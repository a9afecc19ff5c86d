// wexond.wifi.timer and its timers.

#include "tests/handlers/list_answer.h"
#include "tests/handlers/method_arguments.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kList = 98;
constexpr uint32_t kSet = 99;
constexpr uint32_t kGet = 100;
constexpr uint32_t kAdd = 101;
constexpr uint32_t kDelete = 102;

const MethodArguments kTimer = {{"weekday", R"("1")"}, {"time", R"("07:30")"}, {"enable", R"("yes")"}};

// As requests carry it: two words that are always 1, and a weekday that is a bit.
Bytes timer(uint32_t index, uint32_t weekday, uint32_t hour, uint32_t minute, uint32_t enable)
{
    return Bytes(36).u32(0, index).u32(4, 1).u32(8, enable).u32(12, 1).u32(16, hour).u32(20, minute).u32(32, weekday);
}

Bytes index_record(uint32_t index)
{
    return Bytes(4).u32(0, index);
}

Bytes list_of(const std::vector<Bytes> &timers, std::optional<uint32_t> count = {})
{
    return list_answer(32, 36, timers, count);
}

ReplyFields fields(const char *weekday, const char *time, const char *enable)
{
    return {{"weekday", weekday}, {"time", time}, {"enable", enable}};
}

ReplyText element(uint32_t index, const char *weekday, const char *time, const char *enable)
{
    return table(ReplyFields{{"idx", index}} + fields(weekday, time, enable));
}

std::string listed(const std::vector<ReplyValue> &timers)
{
    return table({{"wexond.wifi.timer", array(timers)}});
}

std::string create_line(const std::string &index)
{
    return "[wifitimer_update.#]: Create wifitimer '" + index + "'\n\n";
}

class WifiTimerTest : public HandlerTest
{
  protected:
    static std::string timer_object(const std::string &index) { return "wexond.wifi.timer." + index; }
    bool has_timer(const std::string &index) { return client().has_object(timer_object(index)); }

    // Replies.
    std::string add(const MethodArguments &arguments) { return call("wexond.wifi.timer", "add", arguments.json()); }
    std::string remove(const std::string &index)
    {
        return call("wexond.wifi.timer", "delete", "{\"idx\": " + index + "}");
    }
    std::string list(const Answer &answer)
    {
        service().answer(kList, answer);
        return call("wexond.wifi.timer", "list");
    }

    // Timers that the daemon knows from the service's list.
    void know(const std::vector<uint32_t> &indices)
    {
        std::vector<Bytes> timers;
        for (uint32_t index : indices)
            timers.push_back(index_record(index));
        list(record(list_of(timers)));
        service().take_requests();
    }

    // An add and a set of timer 1 with the same arguments send this timer.
    void expect_sent(const MethodArguments &arguments, uint32_t weekday, uint32_t hour, uint32_t minute,
                     uint32_t enable)
    {
        service().answer(kAdd, record(index_record(9)));
        service().answer(kSet, code(0));
        EXPECT_EQ(add(arguments), R"({"result": "0", "idx": 9, "failreason": ""})");
        EXPECT_EQ(call(timer_object("1"), "set", arguments.json()), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kAdd, 8, timer(0, weekday, hour, minute, enable)},
                                                       {kSet, 4, timer(1, weekday, hour, minute, enable)}}));
    }
};

TEST_F(WifiTimerTest, AddSendsTheTimerAndPublishesItsObject)
{
    service().answer(kAdd, record(index_record(5)));
    EXPECT_FALSE(has_timer("5"));
    EXPECT_EQ(add(kTimer), R"({"result": "0", "idx": 5, "failreason": ""})");
    EXPECT_EQ(service().take_requests(), (Requests{{kAdd, 8, timer(0, 2, 7, 30, 1)}}));
    EXPECT_EQ(client().list("wexond.wifi.timer.*"),
              "wexond.wifi.timer.5\n  set weekday:string time:string enable:string\n  get\n");
}

TEST_F(WifiTimerTest, ARefusedAddMakesNoEntry)
{
    service().answer_in_turn(kAdd, {code(1, index_record(5)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(add(kTimer), failure("failed to add wifitimer"));
    EXPECT_EQ(client().list("wexond.wifi.timer.*"), "");
}

TEST_F(WifiTimerTest, TakesTheWeekdayAsTheTextOfANumber)
{
    know({1});
    struct Row {
        const char *text;
        uint32_t bit;
    };
    const Row rows[] = {{"1", 2},  {"2", 4}, {"3", 8}, {"4", 16}, {"5", 32},  {"6", 64},  {"7", 1}, {"0", 0},
                        {"-1", 0}, {"8", 0}, {"", 0},  {"x", 0},  {"Mon", 0}, {" 07", 1}, {"3x", 8}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        expect_sent(kTimer.with("weekday", "\"" + std::string(row.text) + "\""), row.bit, 7, 30, 1);
    }
}

TEST_F(WifiTimerTest, ReadsTheTimeWithoutJudgingIt)
{
    know({1});
    struct Row {
        std::string text;
        uint32_t hour, minute;
    };
    const Row rows[] = {
        {"07:30", 7, 30},
        {"7:5", 7, 5},
        {"25:99", 25, 99},
        {"-1:-2", 0xFFFFFFFF, 0xFFFFFFFE},
        {"", 0, 0},
        {"noon", 0, 0},
        {"7", 7, 0},
        {"7-30", 7, 0},
        {":30", 0, 0},
        {"7:30:59", 7, 30},
        {"7:" + std::string(60, '0') + "30", 7, 30},
        {"7:" + std::string(61, '0') + "30", 7, 3}, // 64 characters are read
        {std::string(64, ' ') + "7:30", 0, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        expect_sent(kTimer.with("time", "\"" + row.text + "\""), 2, row.hour, row.minute, 1);
    }
}

TEST_F(WifiTimerTest, EnablesOnlyForTheExactTextYes)
{
    know({1});
    for (const char *text : {"no", "Yes", "on", "1", "", "yes "})
        expect_sent(kTimer.with("enable", "\"" + std::string(text) + "\""), 2, 7, 30, 0);
}

TEST_F(WifiTimerTest, RequiresEveryArgumentInOrder)
{
    know({1});
    for (size_t i = 0; i < kTimer.size(); i++)
        for (const MethodArguments &some : {kTimer.without(i), kTimer.first(i)}) {
            EXPECT_EQ(add(some), failure("required parameter: " + kTimer.name(i)));
            EXPECT_EQ(call(timer_object("1"), "set", some.json()), failure("required parameter: " + kTimer.name(i)));
        }
    EXPECT_EQ(call("wexond.wifi.timer", "delete"), failure("required parameter: idx"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(WifiTimerTest, DeleteWithdrawsTheObjectBeforeItAsks)
{
    know({3, 4});
    std::string log_until_request;
    service().answer_by(kDelete, [&](const Request &) {
        log_until_request = take_log();
        return code(0);
    });
    enable_log();
    EXPECT_EQ(remove("3"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kDelete, 4, index_record(3)}}));
    EXPECT_EQ(log_until_request, entry_log("wexond_wifitimer_delete", "wexond.wifi.timer", "delete") +
                                     "[wexond_wifitimer_delete.#]: idx:3 \n\n"
                                     "[wifitimer_update.#]: Remove wifitimer '3'\n\n");
    EXPECT_FALSE(has_timer("3"));
    EXPECT_TRUE(has_timer("4"));
}

TEST_F(WifiTimerTest, ARefusedDeleteDoesNotBringTheEntryBack)
{
    know({3, 4});
    service().answer_in_turn(kDelete, {code(1), no_answer()});
    for (const char *index : {"3", "4"}) {
        EXPECT_EQ(remove(index), failure("failed to delete wifitimer"));
        EXPECT_FALSE(has_timer(index));
    }
    EXPECT_EQ(service().take_requests(), (Requests{{kDelete, 4, index_record(3)}, {kDelete, 4, index_record(4)}}));
}

TEST_F(WifiTimerTest, DeleteOfAnUnknownTimerAsksNothing)
{
    know({3});
    for (const char *index : {"2", "0", "-1"})
        EXPECT_EQ(remove(index), failure("failed to delete wifitimer"));
    EXPECT_EQ(service().take_requests(), Requests{});
    EXPECT_TRUE(has_timer("3"));
}

TEST_F(WifiTimerTest, ListReportsTheTimers)
{
    EXPECT_EQ(list(record(list_of({timer(5, 2, 7, 5, 1), timer(2, 1, 25, 99, 0), timer(3, 0, 0, 0, 2)}))),
              listed({element(5, "1", "07:05", "yes"), element(2, "7", "25:99", "no"), element(3, "", "00:00", "no")}));
    EXPECT_EQ(service().take_requests(), (Requests{{kList, 1160}}));
    EXPECT_EQ(list(record(list_of({}))), R"({"wexond.wifi.timer": []})");
}

TEST_F(WifiTimerTest, ListBringsTheEntriesIntoLine)
{
    know({1, 2, 3});
    enable_log();
    list(record(list_of({index_record(5), index_record(3), index_record(4), index_record(1)})));
    EXPECT_EQ(take_log(), entry_log("wexond_wifitimer_list", "wexond.wifi.timer", "list") +
                              "[wifitimer_update.#]: Remove wifitimer '2'\n\n" + create_line("5") + create_line("4") +
                              get_reply_log());
    for (const char *index : {"1", "3", "4", "5"})
        EXPECT_TRUE(has_timer(index)) << index;
    EXPECT_FALSE(has_timer("2"));
}

TEST_F(WifiTimerTest, AFailedListLeavesTheEntries)
{
    know({1});
    service().answer_in_turn(kList, {code(1, list_of({index_record(2)})), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.wifi.timer", "list"), failure("failed to list wifitimer"));
    EXPECT_EQ(client().list("wexond.wifi.timer.*"), client().list("wexond.wifi.timer.1"));
    EXPECT_TRUE(has_timer("1"));
}

TEST_F(WifiTimerTest, ListCutsItsCountAtWhatTheAnswerHolds)
{
    std::vector<Bytes> timers;
    std::vector<ReplyValue> elements;
    for (uint32_t index = 1; index <= 32; index++) {
        timers.push_back(timer(index, 2, 7, 30, 1));
        elements.push_back(element(index, "1", "07:30", "yes"));
    }
    for (uint32_t count : {32u, 40u, 0xFFFFFFFFu})
        EXPECT_EQ(list(record(list_of(timers, count))), listed(elements)) << count;
    EXPECT_TRUE(has_timer("32"));
    EXPECT_FALSE(has_timer("33"));
}

TEST_F(WifiTimerTest, GetReportsTheTimerOfItsObject)
{
    know({3, 300});
    service().answer(kGet, record(timer(1, 64, 0xFFFFFFFF, 0x80000000, 1)));
    EXPECT_EQ(call(timer_object("3"), "get"),
              table({{timer_object("3"), table(fields("6", "-1:-2147483648", "yes"))}}));
    service().answer(kGet, record(timer(1, 0x7E, 7, 30, 0)));
    EXPECT_EQ(call(timer_object("300"), "get"), table({{timer_object("300"), table(fields("1", "07:30", "no"))}}));
    EXPECT_EQ(service().take_requests(), (Requests{{kGet, 40, index_record(3)}, {kGet, 40, index_record(300)}}));
}

TEST_F(WifiTimerTest, GetTakesWhatAShortAnswerLacksForZero)
{
    know({3});
    service().answer(kGet, record(Bytes(20).u32(8, 1).u32(16, 7)));
    EXPECT_EQ(call(timer_object("3"), "get"), table({{timer_object("3"), table(fields("", "07:00", "yes"))}}));
}

TEST_F(WifiTimerTest, ReportsFailuresOfAnEntry)
{
    know({3});
    service().answer_in_turn(kGet, {code(1, timer(3, 2, 7, 30, 1)), no_answer()});
    service().answer_in_turn(kSet, {code(1), no_answer()});
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(call(timer_object("3"), "get"), failure("failed to get wifitimer"));
        EXPECT_EQ(call(timer_object("3"), "set", kTimer.json()), failure("failed to set wifitimer"));
    }
    EXPECT_TRUE(has_timer("3"));
}

// Unlike filter rules, timers may have this index.
TEST_F(WifiTimerTest, IndexZeroIsATimerLikeOthers)
{
    know({0});
    service().answer(kGet, record(timer(0, 2, 7, 30, 1)));
    service().answer(kSet, code(0));
    EXPECT_EQ(call(timer_object("0"), "get"), table({{timer_object("0"), table(fields("1", "07:30", "yes"))}}));
    EXPECT_EQ(call(timer_object("0"), "set", kTimer.json()), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kGet, 40, index_record(0)}, {kSet, 4, timer(0, 2, 7, 30, 1)}}));
}

TEST_F(WifiTimerTest, TheObjectOfAnIndexAddedTwiceActsOnIt)
{
    service().answer(kAdd, record(index_record(3)));
    add(kTimer);
    enable_log();
    add(kTimer);
    EXPECT_EQ(take_log(), entry_log("wexond_wifitimer_add", "wexond.wifi.timer", "add") +
                              "[wexond_wifitimer_add.#]: weekday:1 / time:07:30 / enable:yes \n\n"
                              "[wifitimer_update.#]: Update wifitimer '3'\n\n"
                              "[wexond_wifitimer_add.#]: success ,  \n\n");
    service().take_requests();
    service().answer(kSet, code(0));
    EXPECT_EQ(call(timer_object("3"), "set", kTimer.json()), kSuccess);
    Requests requests = service().take_requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].payload.data()[0], 3) << "the index";
}

TEST_F(WifiTimerTest, LogsItsCalls)
{
    service().answer_in_turn(kAdd, {record(index_record(1)), code(7)});
    service().answer(kSet, code(0));
    service().answer(kGet, no_answer());
    service().answer(kDelete, code(0));
    std::string add_entry = entry_log("wexond_wifitimer_add", "wexond.wifi.timer", "add");
    std::string arguments = "]: weekday:1 / time:07:30 / enable:yes \n\n";
    enable_log();
    add(kTimer);
    EXPECT_EQ(take_log(), add_entry + "[wexond_wifitimer_add.#" + arguments + create_line("1") +
                              "[wexond_wifitimer_add.#]: success ,  \n\n");
    add(kTimer);
    EXPECT_EQ(take_log(), add_entry + "[wexond_wifitimer_add.#" + arguments +
                              "[wexond_check_ret.#]: Msg retcode = 7\n"
                              "[wexond_wifitimer_add.#]: failed , failed to add wifitimer \n\n");
    add(kTimer.first(0));
    EXPECT_EQ(take_log(), add_entry + "[wexond_wifitimer_add.#]: failed , required parameter: weekday \n\n");
    call(timer_object("1"), "set", kTimer.json());
    EXPECT_EQ(take_log(), entry_log("wexond_wifitimer1_set", timer_object("1"), "set") + "[wexond_wifitimer1_set.#" +
                              arguments + set_reply_log());
    call(timer_object("1"), "get");
    EXPECT_EQ(take_log(), entry_log("wexond_wifitimer1_get", timer_object("1"), "get") +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n" +
                              get_reply_log("failed to get wifitimer"));
    disable_log();
    call(timer_object("1"), "get");
    remove("1");
    EXPECT_EQ(take_log(), "");
}

} // namespace
