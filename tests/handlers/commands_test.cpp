// wexond: upgrade, reboot, reset.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kReboot = 16;
constexpr uint32_t kReset = 17;
constexpr uint32_t kUpgrade = 19;

// The upgrade record: URL at 0, file size at 384, checksum at 388, reboot word at 452.
Bytes upgrade_record(std::string_view url, uint32_t size, std::string_view checksum, uint32_t reboot)
{
    return Bytes(456).text(0, url).u32(384, size).text(388, checksum).u32(452, reboot);
}

std::string upgrade_arguments(const std::string &url, const std::string &size, const std::string &checksum,
                              const std::string &reboot)
{
    return R"({"downurl": ")" + url + R"(", "filesize": )" + size + R"(, "chksum": ")" + checksum +
           R"(", "isreboot": ")" + reboot + R"("})";
}

class CommandsTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        for (uint32_t type : {kReboot, kReset, kUpgrade})
            service().answer(type, code(0));
    }

    // Makes the call and returns the one record that it sent.
    Bytes sent_by_upgrade(const std::string &arguments)
    {
        EXPECT_EQ(call("wexond", "upgrade", arguments), kSuccess);
        Requests requests = service().take_requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? Bytes() : requests[0].payload;
    }
};

TEST_F(CommandsTest, SendsTheUpgradeRecord)
{
    EXPECT_EQ(call("wexond", "upgrade", upgrade_arguments("http://host/image.bin", "12345678", "d41d8cd9", "1")),
              kSuccess);
    EXPECT_EQ(service().take_requests(),
              (Requests{{kUpgrade, 4, upgrade_record("http://host/image.bin", 12345678, "d41d8cd9", 1)}}));
}

TEST_F(CommandsTest, TakesOnlyTheTextZeroForNoReboot)
{
    struct Row {
        const char *text;
        uint32_t word;
    };
    for (const Row &row : {Row{"0", 0}, {"1", 1}, {"yes", 1}, {"", 1}, {"no", 1}, {"false", 1}, {"00", 1}, {" 0", 1}}) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(sent_by_upgrade(upgrade_arguments("u", "1", "c", row.text)), upgrade_record("u", 1, "c", row.word));
    }
}

TEST_F(CommandsTest, SendsAtMost256CharactersOfTheUrl)
{
    for (size_t length : {255u, 256u, 257u, 300u, 384u, 1000u}) {
        SCOPED_TRACE(length);
        std::string sent(std::min<size_t>(length, 256), 'u');
        EXPECT_EQ(sent_by_upgrade(upgrade_arguments(std::string(length, 'u'), "1", "c", "0")),
                  upgrade_record(sent, 1, "c", 0));
    }
}

TEST_F(CommandsTest, FillsTheChecksumFieldToItsLastByte)
{
    for (size_t length : {63u, 64u, 65u, 200u}) {
        SCOPED_TRACE(length);
        std::string sent(std::min<size_t>(length, 64), 'c');
        EXPECT_EQ(sent_by_upgrade(upgrade_arguments("u", "1", std::string(length, 'c'), "0")),
                  upgrade_record("u", 1, sent, 0));
    }
}

TEST_F(CommandsTest, PassesTheFileSizeOnWithoutJudgingIt)
{
    struct Row {
        const char *text;
        uint32_t word;
    };
    for (const Row &row : {Row{"0", 0}, {"-1", 0xFFFFFFFF}, {"2147483647", 0x7FFFFFFF}, {"-2147483648", 0x80000000}}) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(sent_by_upgrade(upgrade_arguments("u", row.text, "c", "0")), upgrade_record("u", row.word, "c", 0));
    }
}

TEST_F(CommandsTest, SendsEmptyTextsAsTheyAre)
{
    EXPECT_EQ(sent_by_upgrade(upgrade_arguments("", "0", "", "0")), Bytes(456));
}

TEST_F(CommandsTest, RequiresEveryArgumentOfUpgradeInOrder)
{
    struct Row {
        const char *arguments;
        const char *missing;
    };
    const Row rows[] = {
        {R"({})", "downurl"},
        {R"({"filesize": 1, "chksum": "c", "isreboot": "0"})", "downurl"},
        {R"({"downurl": "u", "chksum": "c", "isreboot": "0"})", "filesize"},
        {R"({"downurl": "u", "filesize": 1, "isreboot": "0"})", "chksum"},
        {R"({"downurl": "u", "filesize": 1, "chksum": "c"})", "isreboot"},
        {R"({"isreboot": "0"})", "downurl"},
        {R"({"downurl": 1, "filesize": 1, "chksum": "c", "isreboot": "0"})", "downurl"},
        {R"({"downurl": "u", "filesize": "1", "chksum": "c", "isreboot": "0"})", "filesize"},
        {R"({"downurl": "u", "filesize": 4294967296, "chksum": "c", "isreboot": "0"})", "filesize"},
        {R"({"downurl": "u", "filesize": 1, "chksum": ["c"], "isreboot": "0"})", "chksum"},
        {R"({"downurl": "u", "filesize": 1, "chksum": "c", "isreboot": 0})", "isreboot"},
        {R"({"downurl": "u", "filesize": 1, "chksum": "c", "isreboot": false})", "isreboot"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.arguments);
        EXPECT_EQ(call("wexond", "upgrade", row.arguments), failure(std::string("required parameter: ") + row.missing));
        EXPECT_EQ(service().take_requests(), Requests{});
    }
}

TEST_F(CommandsTest, RebootSendsAZeroWordAndResetNothing)
{
    EXPECT_EQ(call("wexond", "reboot"), kSuccess);
    EXPECT_EQ(call("wexond", "reset"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kReboot, 4, Bytes(4)}, {kReset, 4}}));
}

TEST_F(CommandsTest, RebootAndResetIgnoreArguments)
{
    EXPECT_EQ(call("wexond", "reboot", R"({"delay": 5, "downurl": "u"})"), kSuccess);
    EXPECT_EQ(call("wexond", "reset", R"({"really": true})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kReboot, 4, Bytes(4)}, {kReset, 4}}));
}

TEST_F(CommandsTest, ReportsWhatTheServiceRefuses)
{
    struct Row {
        const char *method;
        uint32_t type;
        const char *reason;
    };
    std::string arguments = upgrade_arguments("u", "1", "c", "0");
    for (const Row &row : {Row{"upgrade", kUpgrade, "failed to upgrade"},
                           {"reboot", kReboot, "failed to reboot"},
                           {"reset", kReset, "failed to reset"}}) {
        SCOPED_TRACE(row.method);
        service().answer_in_turn(row.type, {code(1), code(0xFFFFFFFF), no_answer(), code(0)});
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(call("wexond", row.method, arguments), failure(row.reason));
        EXPECT_EQ(call("wexond", row.method, arguments), kSuccess);
        EXPECT_EQ(service().take_requests().size(), 4u);
    }
}

TEST_F(CommandsTest, RepliesWithoutAService)
{
    end_service();
    EXPECT_EQ(call("wexond", "upgrade", upgrade_arguments("u", "1", "c", "0")), failure("failed to upgrade"));
    EXPECT_EQ(call("wexond", "reboot"), failure("failed to reboot"));
    EXPECT_EQ(call("wexond", "reset"), failure("failed to reset"));
}

TEST_F(CommandsTest, LogsTheCallAndItsArguments)
{
    enable_log();
    call("wexond", "upgrade", upgrade_arguments("http://host/i", "-7", "abc", "yes"));
    EXPECT_EQ(take_log(),
              entry_log("wexond_upgrade", "wexond", "upgrade") +
                  "[wexond_upgrade.#]: downurl:http://host/i / filesize:-7 / chksum:abc / isreboot:yes \n\n" +
                  set_reply_log());
    call("wexond", "upgrade");
    EXPECT_EQ(take_log(),
              entry_log("wexond_upgrade", "wexond", "upgrade") + set_reply_log("required parameter: downurl"));
    call("wexond", "reboot");
    EXPECT_EQ(take_log(), entry_log("wexond_reboot", "wexond", "reboot") + set_reply_log());
    service().answer_in_turn(kReset, {code(0xFFFFFFFE), no_answer()});
    call("wexond", "reset");
    EXPECT_EQ(take_log(), entry_log("wexond_reset", "wexond", "reset") + "[wexond_check_ret.#]: Msg retcode = -2\n" +
                              set_reply_log("failed to reset"));
    call("wexond", "reset");
    EXPECT_EQ(take_log(), entry_log("wexond_reset", "wexond", "reset") +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n" + set_reply_log("failed to reset"));
}

} // namespace
