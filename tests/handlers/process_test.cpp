// The daemon as a process: signals, its end, its exit status and what it writes to standard error.

#include <csignal>
#include <fstream>
#include <sys/stat.h>

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr int kIgnoredSignals[] = {SIGHUP, SIGINT, SIGTERM, SIGPIPE, SIGUSR1, SIGUSR2};
constexpr uint32_t kGetLed = 20;
constexpr uint32_t kGetAp = 185;
constexpr uint32_t kGetFactoryFlag = 239;

const std::string kOn = R"({"wexond.ledswitch": {"status": "on"}})";
const std::string kStarted = "[WEXOND_ThreadRun.#]: Start wexond\n\n";
const std::string kEnded = "[WEXOND_ThreadRun.#]: Exit wexond\n\n[main.#]: Exit wexond\n\n";

// Sends every ignored signal over and over, from the first look at a process until it is destroyed.
class SignalStorm
{
  public:
    explicit SignalStorm(const Process &target)
        : thread_([this, &target] {
              while (!ending_)
                  for (int signal : kIgnoredSignals) {
                      target.send_signal(signal);
                      std::this_thread::sleep_for(2ms);
                  }
          })
    {
    }
    ~SignalStorm()
    {
        ending_ = true;
        thread_.join();
    }

  private:
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

// The letter of a process's state, and its parent.
std::pair<char, pid_t> state_of(const std::filesystem::path &proc_folder)
{
    std::string line;
    std::getline(std::ifstream(proc_folder / "stat"), line);
    char state = 0;
    pid_t parent = 0;
    if (size_t after_name = line.rfind(')'); after_name != std::string::npos)
        sscanf(line.c_str() + after_name, ") %c %d", &state, &parent);
    return {state, parent};
}

// How many children a process has, or has in this state only.
size_t children_of(pid_t parent, char wanted_state = 0)
{
    size_t count = 0;
    for (const auto &folder : std::filesystem::directory_iterator("/proc")) {
        if (!isdigit(folder.path().filename().string()[0]))
            continue;
        auto [state, its_parent] = state_of(folder.path());
        if (its_parent == parent && (!wanted_state || state == wanted_state))
            count++;
    }
    return count;
}

class ProcessTest : public DaemonTest
{
  protected:
    void answer_led(Milliseconds silence = 0ms)
    {
        service().answer(kGetLed, after(silence, record(Bytes(4).u32(0, 1))));
    }
    std::string get_led() { return call("wexond.ledswitch", "get"); }
};

TEST_F(ProcessTest, SignalsLeaveItRunning)
{
    start_daemon();
    answer_led();
    for (int signal : kIgnoredSignals) {
        daemon().send_signal(signal);
        EXPECT_EQ(get_led(), kOn) << strsignal(signal);
    }
    EXPECT_TRUE(daemon().is_running());
}

TEST_F(ProcessTest, SignalsDoNotDisturbAnExchange)
{
    start_daemon();
    answer_led(1s);
    SignalStorm storm(daemon());
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(get_led(), kOn);
    EXPECT_EQ(service().take_requests().size(), 3u);
}

TEST_F(ProcessTest, SignalsDoNotShortenThePausesOfStartUp)
{
    service().answer_in_turn(kGetAp, {code(1), code(1), record(Bytes(200))});
    auto start = std::chrono::steady_clock::now();
    launch_daemon();
    client().wait_for_object("wexond.devinfo.ext");
    SignalStorm storm(daemon());
    wait_until_up();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(ProcessTest, EndsWithTheBroker)
{
    enable_log();
    start_daemon();
    end_daemon();
    EXPECT_EQ(take_bus_thread_log(), kEnded);
}

TEST_F(ProcessTest, EndsWhenTheBrokerIsKilledWhileItIsIdle)
{
    start_daemon();
    std::this_thread::sleep_for(300ms);
    bus().kill();
    EXPECT_EQ(daemon().wait(), 0);
}

TEST_F(ProcessTest, EndsWhenTheBrokerIsKilledDuringACall)
{
    NEEDS_BUS_TOOL();
    start_daemon();
    service().answer(kGetLed, after(500ms, record(Bytes(4))));
    Process caller({bus_tool(), "-s", bus().socket().string(), "call", "wexond.ledswitch", "get"});
    service().wait_for_requests(1);
    bus().kill();
    EXPECT_EQ(daemon().wait(), 0);
}

// ThreadSanitizer lets a program sleep for a second before it ends.
#ifdef __SANITIZE_THREAD__
constexpr auto kExitSleep = 1s;
#else
constexpr auto kExitSleep = 0s;
#endif

// A silent service costs the request in hand and no more.
TEST_F(ProcessTest, EndsWithTheRequestInHandWhenTheBrokerIsKilledDuringStartUp)
{
    service().answer_all(after(2s, no_answer()));
    launch_daemon();
    service().wait_for_requests(1);
    bus().kill();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s + kExitSleep);
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(ProcessTest, EndsAtOnceWhenTheBrokerIsKilledWhileStartUpHasNoService)
{
    end_service();
    launch_daemon();
    client().wait_for_object("wexond.devinfo.ext");
    std::this_thread::sleep_for(1500ms);
    bus().kill();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s + kExitSleep);
}

TEST_F(ProcessTest, EndsWhenTheBrokerIsKilledDuringTheLastRequestOfStartUp)
{
    service().answer(kGetFactoryFlag, after(500ms, code(0)));
    enable_log();
    launch_daemon();
    service().wait_for_requests(9);
    bus().kill();
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_EQ(take_bus_thread_log(), kStarted +
                                         "[wifiap_update.#]: Create wifiap '1'\n\n"
                                         "[wifiap_update.#]: Create wifiap '1'\n\n" +
                                         kEnded);
}

TEST_F(ProcessTest, EndsWhenTheBrokerIsKilledWhileStartUpPauses)
{
    service().answer_in_turn(kGetAp, {code(1), record(Bytes(200).u32(8, 1))});
    launch_daemon();
    service().wait_for_requests(1);
    bus().kill();
    EXPECT_EQ(daemon().wait(), 0);
}

TEST_F(ProcessTest, EndsWithStatusZeroWithoutABus)
{
    bus().stop();
    enable_log();
    launch_daemon();
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_EQ(take_bus_thread_log(), kStarted + "[main.#]: Exit wexond\n\n");
    expect_standard_error("Failed to connect to ubus\n");
}

TEST_F(ProcessTest, IsSilentWithoutTheFlagFile)
{
    launch_daemon();
    wait_until_up();
    end_daemon();
    EXPECT_EQ(take_log(), "");
}

TEST_F(ProcessTest, WorksWithoutAnEventSocket)
{
    std::filesystem::create_directory(event_socket());
    expect_standard_error("Failed to listen on " + event_socket().string() + ": " + error_text(ENOTSOCK) + "\n");
    enable_log();
    launch_daemon();
    wait_until_up();
    answer_led();
    EXPECT_EQ(get_led(), kOn);
    std::string log;
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (log.find("[WEXOND_SocketServerRun.#]: Init failed.\n") == std::string::npos) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << log;
        log += take_log();
    }
}

TEST_F(ProcessTest, TakesNoArguments)
{
    launch_daemon({"sh", "-c", R"(exec "$0" "$@" --help -x 1)"});
    wait_until_up();
    answer_led();
    EXPECT_EQ(get_led(), kOn);
    EXPECT_EQ(daemon().standard_output(), "");
}

TEST_F(ProcessTest, WorksWithItsStandardDescriptorsClosed)
{
    launch_daemon({"sh", "-c", R"(exec "$0" "$@" <&- >&- 2>&-)"});
    wait_until_up();
    answer_led();
    EXPECT_EQ(get_led(), kOn);
}

// The shell's children, which wait at a gate, become the daemon's. They end while it is stopped, which makes one
// pending signal for all of them.
TEST_F(ProcessTest, CollectsEveryChild)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer holds a signal's handler back while the signal's thread waits to accept a client";
#endif
    std::string gate = folder() / "gate";
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    launch_daemon({"sh", "-c", "for child in 1 2 3 4 5; do read line <'" + gate + R"(' & done; exec "$0" "$@")"});
    wait_until_up();
    auto wait_for_children = [this](size_t count, char state) {
        auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (children_of(daemon().pid(), state) != count && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(20ms);
        EXPECT_EQ(children_of(daemon().pid(), state), count);
    };
    EXPECT_EQ(children_of(daemon().pid()), 5u);
    daemon().send_signal(SIGSTOP);
    std::ofstream keeper(gate);
    keeper << "\n\n\n\n\n" << std::flush;
    wait_for_children(5, 'Z');
    daemon().send_signal(SIGCONT);
    wait_for_children(0, 0);
    answer_led();
    EXPECT_EQ(get_led(), kOn);
}

// Stacks that no memory can hold.
TEST_F(ProcessTest, FailsWithoutItsBusThread)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer finds no place for its own memory beside such stacks";
#endif
    enable_log();
    if (!kEmulator.empty())
        GTEST_SKIP() << "the emulator's own threads would have such stacks";
    launch_daemon({"sh", "-c", R"(ulimit -s 100000000000 && exec "$0" "$@")"});
    EXPECT_EQ(daemon().wait(), 255);
    EXPECT_EQ(take_log(), "[WEXOND_ThreadInit.#]: Create gpWEXOND_pthread error!\n\n"
                          "[main.#]: WEXOND_ThreadInit error\n\n");
    expect_status(255);
}

} // namespace
