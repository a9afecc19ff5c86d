// The debug log's switch and its console. Each method's lines are tested with the method.

#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

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

TEST_F(LogTest, IsOffForAFlagFileOfSomebodyElse)
{
    constexpr uid_t kNobody = 65534;
    enable_log();
    if (chown(flag().c_str(), kNobody, kNobody) != 0)
        GTEST_SKIP() << "only root may give files away";
    EXPECT_EQ(logged_by_get(), "");
    ASSERT_EQ(chown(flag().c_str(), geteuid(), kNobody), 0);
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
}

// --- A console that takes no more ---

// Fills a pipe or a terminal to its last byte; how much went in.
size_t fill(const std::filesystem::path &path)
{
    int fd = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    size_t length = 0;
    std::string block(65536, '.');
    while (!block.empty()) {
        ssize_t written = write(fd, block.data(), block.size());
        if (written > 0)
            length += static_cast<size_t>(written);
        else
            block.resize(block.size() / 2);
    }
    close(fd);
    return length;
}

TEST_F(LogTest, DropsWhatAFullConsoleDoesNotTake)
{
    enable_log();
    size_t filled = fill(folder() / "console");
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "off"}})");
    EXPECT_LT(std::chrono::steady_clock::now() - start, kPatience / 2);
    EXPECT_EQ(take_log(), std::string(filled, '.'));
    EXPECT_EQ(logged_by_get(), kEntry + get_reply_log());
}

// A terminal on which nobody reads, as after Ctrl-S.
class Terminal
{
  public:
    Terminal() : fd_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
        grantpt(fd_);
        unlockpt(fd_);
    }
    ~Terminal() { close(fd_); }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    std::string name() const { return ptsname(fd_); }

  private:
    int fd_;
};

class TerminalLogTest : public LogTest
{
  protected:
    // Of a session without a terminal, as a supervisor starts it.
    void SetUp() override
    {
        std::filesystem::remove(folder() / "console");
        std::filesystem::create_symlink(terminal_.name(), folder() / "console");
        launch_daemon({"setsid"});
        wait_until_up();
        service().answer(kGetLed, record(Bytes(4)));
        enable_log();
    }

    // The seventh word of its statistics.
    std::string controlling_terminal()
    {
        std::ifstream file("/proc/" + std::to_string(daemon().pid()) + "/stat");
        std::string word;
        for (int i = 0; i < 7; i++)
            file >> word;
        return word;
    }

    Terminal terminal_;
};

TEST_F(TerminalLogTest, NeverWaitsForItAndIsNotControlledByIt)
{
    for (int i = 0; i < 700; i++)
        ASSERT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "off"}})") << i;
    EXPECT_EQ(controlling_terminal(), "0");
}

} // namespace
