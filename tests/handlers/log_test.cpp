// The debug log's switch and its console. Each method's lines are tested with the method.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kGetLed = 20;

const std::string kEntry = entry_log("wexond_ledswitch_get", "wexond.ledswitch", "get");

class LogTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        service().answer(kGetLed, record(Bytes(4)));
    }

    std::filesystem::path flag() { return folder() / "debug_wexond"; }

    std::string logged_by_get()
    {
        EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "off"}})");
        return take_log();
    }
};

TEST_F(LogTest, IsOnWhileTheFlagFileExists)
{
    EXPECT_EQ(logged_by_get(), "");
    enable_log();
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
    disable_log();
    EXPECT_EQ(logged_by_get(), "");
    enable_log();
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
}

TEST_F(LogTest, TakesAnythingOfThatNameForTheFlag)
{
    std::filesystem::create_directory(flag());
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
    std::filesystem::remove(flag());
    std::filesystem::create_symlink("/", flag());
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
    std::filesystem::remove(flag());
    std::filesystem::create_symlink(folder() / "nothing", flag());
    EXPECT_EQ(logged_by_get(), "") << "a link that leads nowhere does not exist";
}

TEST_F(LogTest, SwitchesBetweenTwoStatementsOfOneCall)
{
    service().answer_by(kGetLed, [this](const Request &) {
        enable_log();
        return record(Bytes(4));
    });
    EXPECT_EQ(logged_by_get(), get_reply_log());
    service().answer_by(kGetLed, [this](const Request &) {
        disable_log();
        return record(Bytes(4));
    });
    EXPECT_EQ(logged_by_get(), kEntry);
}

TEST_F(LogTest, DropsLinesWhereTheConsoleCannotBeOpened)
{
    enable_log();
    std::filesystem::rename(folder() / "console", folder() / "moved");
    std::filesystem::create_directory(folder() / "console");
    EXPECT_EQ(logged_by_get(), "");
    std::filesystem::remove(folder() / "console");
    std::filesystem::rename(folder() / "moved", folder() / "console");
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
}

TEST_F(LogTest, HoldsNoDescriptorBetweenLines)
{
    enable_log();
    bool held = true;
    service().answer_by(kGetLed, [&](const Request &) {
        held = false;
        for (const auto &descriptor :
             std::filesystem::directory_iterator("/proc/" + std::to_string(daemon().pid()) + "/fd"))
            held = held || std::filesystem::read_symlink(descriptor) == folder() / "console";
        return record(Bytes(4));
    });
    logged_by_get();
    EXPECT_FALSE(held);
}

TEST_F(LogTest, WritesLongLinesWhole)
{
    service().answer(21, code(0));
    enable_log();
    std::string text(5000, 'x');
    call("wexond.ledswitch", "set", R"({"status": ")" + text + "\"}");
    EXPECT_EQ(take_log(), entry_log("wexond_ledswitch_set", "wexond.ledswitch", "set") +
                              "[wexond_ledswitch_set.#]: status[" + text + "] \n\n" + set_reply_log());
}

TEST_F(LogTest, WritesPercentSignsAsTheyCome)
{
    service().answer(21, code(0));
    enable_log();
    call("wexond.ledswitch", "set", R"({"status": "%s%n%d"})");
    EXPECT_EQ(take_log(), entry_log("wexond_ledswitch_set", "wexond.ledswitch", "set") +
                              "[wexond_ledswitch_set.#]: status[%s%n%d] \n\n" + set_reply_log());
}

} // namespace
