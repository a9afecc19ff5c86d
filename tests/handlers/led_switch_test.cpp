// wexond.ledswitch: one word, written and read.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGet = 20;
constexpr uint32_t kSet = 21;

class LedSwitchTest : public HandlerTest
{
};

TEST_F(LedSwitchTest, SendsOneForOnAndZeroForAnyOtherText)
{
    service().answer(kSet, code(0));
    struct Row {
        const char *text;
        uint32_t word;
    };
    for (const Row &row : {Row{"on", 1}, {"off", 0}, {"On", 0}, {"OFF", 0}, {"", 0}, {"on ", 0}, {"1", 0}}) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(call("wexond.ledswitch", "set", std::string(R"({"status": ")") + row.text + "\"}"), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kSet, 4, Bytes(4).u32(0, row.word)}}));
    }
}

TEST_F(LedSwitchTest, RequiresTheStatus)
{
    for (const char *arguments :
         {R"({})", R"({"status": 1})", R"({"status": true})", R"({"status": ["on"]})", R"({"Status": "on"})"}) {
        SCOPED_TRACE(arguments);
        EXPECT_EQ(call("wexond.ledswitch", "set", arguments), failure("required parameter: status"));
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(LedSwitchTest, ReportsOneAsOnAndAnyOtherWordAsOff)
{
    struct Row {
        uint32_t word;
        const char *text;
    };
    for (const Row &row : {Row{1, "on"}, {0, "off"}, {2, "off"}, {0xFFFFFFFF, "off"}, {0x01000000, "off"}}) {
        SCOPED_TRACE(row.word);
        service().answer(kGet, record(Bytes(4).u32(0, row.word)));
        EXPECT_EQ(call("wexond.ledswitch", "get"), table({{"wexond.ledswitch", table({{"status", row.text}})}}));
        EXPECT_EQ(service().take_requests(), (Requests{{kGet, 8}}));
    }
}

TEST_F(LedSwitchTest, ReportsFailures)
{
    service().answer_in_turn(kSet, {code(1), no_answer()});
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status": "on"})"), failure("failed to set ledswitch"));
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status": "on"})"), failure("failed to set ledswitch"));
    service().answer_in_turn(kGet, {code(1, Bytes(4).u32(0, 1)), no_answer()});
    EXPECT_EQ(call("wexond.ledswitch", "get"), failure("failed to get ledswitch"));
    EXPECT_EQ(call("wexond.ledswitch", "get"), failure("failed to get ledswitch"));
}

TEST_F(LedSwitchTest, LogsItsCalls)
{
    service().answer(kSet, code(0));
    service().answer_in_turn(kGet, {record(Bytes(4)), code(3)});
    enable_log();
    call("wexond.ledswitch", "set", R"({"status": "OFF"})");
    EXPECT_EQ(take_log(), entry_log("wexond_ledswitch_set", "wexond.ledswitch", "set") +
                              "[wexond_ledswitch_set.#]: status[OFF] \n\n" + set_reply_log());
    call("wexond.ledswitch", "set");
    EXPECT_EQ(take_log(), entry_log("wexond_ledswitch_set", "wexond.ledswitch", "set") +
                              set_reply_log("required parameter: status"));
    call("wexond.ledswitch", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_ledswitch_get", "wexond.ledswitch", "get") + get_reply_log());
    call("wexond.ledswitch", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_ledswitch_get", "wexond.ledswitch", "get") +
                              "[wexond_check_ret.#]: Msg retcode = 3\n" + get_reply_log("failed to get ledswitch"));
}

} // namespace
