// The event socket: who may connect, how long a client is served, and what becomes of those that misbehave.

#include <regex>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "tests/events/events.h"
#include "tests/support/daemon_test.h"
#include "tests/support/listening.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kGetLed = 20;
constexpr uint32_t kLedSwitch = 22;
constexpr uint32_t kTraceResult = 53;

const std::string kListens = "[WEXOND_ServerListen.#]: Start listen...\n";
const std::string kClosed = "[WEXOND_SocketServerRun.#]: Exit socket client of wexond.\n";
const std::string kSilent = kListens + "[WEXOND_ServerListen.#]: Nothing, continue listen...\n" + kClosed;
const std::string kGone = kListens + "[WEXOND_ServerListen.#]: Listen error, close socket.\n" + kClosed;
const std::string kLedStored = "[WEXOND_ServerRecvDeal.#]: Event : Led Switch\n";
const std::string kTraceStored = "[WEXOND_ServerRecvDeal.#]: Event : TraceResult\n";

const std::string kOn = R"({"wexond.ledswitch": {"status": "on"}})";
const std::string kNotifiedOn = R"(propertieschanged {"status": "on"})";

std::string led_event()
{
    return event(kLedSwitch, Bytes(4).u32(0, 1));
}

std::string length_error_log(size_t end, size_t received)
{
    return "[WEXOND_ServerRecvDeal.#]: MSG: len error, uiLen(" + std::to_string(end) + "), uiMsgLen(" +
           std::to_string(received) + ")\n\n";
}

// A socket file that nobody listens at.
void leave_stale_socket(const std::filesystem::path &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    close(fd);
}

class EventSocketStartTest : public DaemonTest
{
  protected:
    std::string get_led()
    {
        service().answer(kGetLed, record(Bytes(4).u32(0, 1)));
        return call("wexond.ledswitch", "get");
    }

    void expect_notification()
    {
        client().subscribe("wexond.ledswitch");
        send_batch(event_socket(), led_event());
        EXPECT_EQ(client().next_message(), kNotifiedOn);
    }

    // Starts the daemon, which has to log this line.
    void start_until_logged(const std::string &line)
    {
        enable_log();
        launch_daemon();
        EXPECT_NE(log_up_to(line).find(line), std::string::npos);
        wait_until_up();
    }

    // Collects the log until it has this line.
    std::string log_up_to(const std::string &line)
    {
        std::string log;
        auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (log.find(line) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            log += take_log();
            std::this_thread::sleep_for(5ms);
        }
        return log;
    }
};

// --- The socket ---

TEST_F(EventSocketStartTest, BelongsToItsOwnerAlone)
{
    launch_daemon({"sh", "-c", R"(umask 0; exec "$0" "$@")"});
    wait_until_listening(event_socket());
    struct stat status;
    ASSERT_EQ(stat(event_socket().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFSOCK | S_IRUSR | S_IWUSR);
    wait_until_up();
}

TEST_F(EventSocketStartTest, ReplacesASocketThatNobodyAnswersOn)
{
    leave_stale_socket(event_socket());
    start_daemon();
    expect_notification();
}

TEST_F(EventSocketStartTest, LogsItsStart)
{
    start_until_logged("[WEXOND_SocketServerRun.#]: Run socket server for wexond.\n");
}

TEST_F(EventSocketStartTest, WithoutItOnlyNotificationsAreLost)
{
    std::filesystem::create_directory(event_socket());
    expect_standard_error("Failed to listen on " + event_socket().string() + ": " + error_text(ENOTSOCK) + "\n");
    start_until_logged("[WEXOND_SocketServerRun.#]: Init failed.\n");
    EXPECT_EQ(get_led(), kOn);
    std::this_thread::sleep_for(5s); // past the first drain
    EXPECT_EQ(get_led(), kOn);
}

// The first daemon lives on a bus and with a service of its own; the one under test finds its socket taken.
TEST_F(EventSocketStartTest, LeavesItToADaemonThatAnswersOnIt)
{
    NEEDS_BUS_TOOL();
    TemporaryFolder folder;
    Bus bus(folder / "ubus.sock");
    ScriptedService service(folder / "orvc.sock");
    Process first({built_program("wexond-test")}, {{"WEXOND_TEST_DIR", folder.path().string()}});
    wait_until_listening(folder / "events.sock");
    std::filesystem::create_symlink(folder / "events.sock", event_socket());

    expect_standard_error("Failed to listen on " + event_socket().string() + ": " + error_text(ENOTSOCK) + "\n");
    start_until_logged("[WEXOND_SocketServerRun.#]: Init failed.\n");
    EXPECT_EQ(get_led(), kOn);

    Process subscriber({bus_tool(), "-s", bus.socket().string(), "subscribe", "wexond.ledswitch"});
    std::this_thread::sleep_for(500ms * kSlowness);
    send_batch(folder / "events.sock", led_event());
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::string output;
    while (output.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(20ms);
        output += subscriber.standard_output();
    }
    EXPECT_NE(output.find(R"("status")"), std::string::npos) << output;
    bus.stop();
    EXPECT_EQ(first.wait(), 0);
}

// --- Clients ---

class EventSocketTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        start_daemon();
        client().subscribe("wexond.ledswitch");
        client().subscribe("wexond.diagnostics");
        enable_log();
    }

    // The next client is served as if nothing had been.
    void expect_service_goes_on()
    {
        take_log();
        send_batch(event_socket(), led_event());
        EXPECT_EQ(take_relay_log(), batch_log(kLedStored));
        EXPECT_EQ(client().next_message(), kNotifiedOn);
    }

    // The log of the relay's threads; drains come when they like.
    std::string take_relay_log()
    {
        static const std::regex line(R"(\[WEXOND_S\w+\.#\]: [^[]*)");
        std::string log = take_log(), relay_log;
        for (std::sregex_iterator match(log.begin(), log.end(), line), end; match != end; ++match)
            relay_log += match->str();
        return relay_log;
    }

    std::string log_of_batch(const std::string &batch)
    {
        take_log();
        send_batch(event_socket(), batch);
        return take_relay_log();
    }
};

TEST_F(EventSocketTest, ClosesASilentClientAfterFiveSeconds)
{
    auto start = std::chrono::steady_clock::now();
    EventClient silent(event_socket());
    EventClient waiting(event_socket());
    EXPECT_TRUE(waiting.send(led_event()));
    service().answer(kGetLed, record(Bytes(4).u32(0, 1)));
    EXPECT_EQ(call("wexond.ledswitch", "get"), kOn) << "calls go on meanwhile";
    EXPECT_TRUE(silent.wait_until_closed());
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_TRUE(waiting.wait_until_closed());
    EXPECT_EQ(client().next_message(), kNotifiedOn) << "the next one had to wait and is served";
    EXPECT_EQ(take_relay_log(), kSilent + batch_log(kLedStored));
}

TEST_F(EventSocketTest, ServesClientsOnceThereAreDescriptorsAgain)
{
    rlimit before, none;
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, nullptr, &before), 0);
    none = {.rlim_cur = 3, .rlim_max = before.rlim_max};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, &none, nullptr), 0);
    // The accept that is under way already has its descriptor.
    send_batch(event_socket(), event(kTraceResult, Bytes("first")));
    EventClient patient(event_socket());
    EXPECT_TRUE(patient.send(led_event()));
    EXPECT_FALSE(patient.wait_until_closed(500ms));
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_NOFILE, &before, nullptr), 0);
    EXPECT_TRUE(patient.wait_until_closed());
    EXPECT_EQ(client().next_message(), kNotifiedOn);
    EXPECT_EQ(client().next_message(), R"(tracerouteresult {"result": "first"})");
}

// One receive is all that a client gets.
TEST_F(EventSocketTest, DropsAClientThatWritesAByteAtATime)
{
    EventClient slow(event_socket());
    std::string bytes = led_event();
    size_t sent = 0;
    for (; sent < bytes.size() && slow.send(bytes.substr(sent, 1)); sent++)
        std::this_thread::sleep_for(20ms);
    EXPECT_LT(sent, bytes.size()) << "the connection was closed before the end";
    EXPECT_TRUE(slow.wait_until_closed());
    EXPECT_EQ(take_relay_log(), batch_log(""));
    expect_service_goes_on();
}

TEST_F(EventSocketTest, ReadsOneBatchOfAClient)
{
    EventClient talkative(event_socket());
    EXPECT_TRUE(talkative.send(led_event()));
    EXPECT_TRUE(talkative.wait_until_closed());
    EXPECT_FALSE(talkative.send(event(kTraceResult, Bytes("late"))));
    EXPECT_EQ(client().next_message(), kNotifiedOn);
    EXPECT_EQ(client().next_message(500ms), std::nullopt);
}

TEST_F(EventSocketTest, DropsTheMessageInWhichAClientDies)
{
    std::string whole = led_event();
    std::string cut = event(kTraceResult, 40, std::string(20, 'x'));
    {
        EventClient dying(event_socket());
        EXPECT_TRUE(dying.send(whole + cut));
    }
    EXPECT_EQ(client().next_message(), kNotifiedOn);
    EXPECT_EQ(take_relay_log(), batch_log(kLedStored + length_error_log(76, 56)));
    expect_service_goes_on();
}

TEST_F(EventSocketTest, GoesOnAfterAClientThatSaysNothingAndLeaves)
{
    {
        EventClient hasty(event_socket());
    }
    send_batch(event_socket(), led_event());
    EXPECT_EQ(take_relay_log(), kGone + batch_log(kLedStored));
    EXPECT_EQ(client().next_message(), kNotifiedOn);
}

TEST_F(EventSocketTest, IgnoresFewerBytesThanAHeader)
{
    EXPECT_EQ(log_of_batch(led_event().substr(0, 15)), batch_log(""));
    EXPECT_EQ(log_of_batch(led_event() + led_event().substr(0, 15)), batch_log(kLedStored));
    EXPECT_EQ(client().next_message(), kNotifiedOn);
}

// Bytes that do not fit are dropped with the message that they belong to.
TEST_F(EventSocketTest, CutsABatchAt16384Bytes)
{
    std::string led = led_event();
    EXPECT_EQ(log_of_batch(led + event(kTraceResult, Bytes(16384 - 20 - 16))), batch_log(kLedStored + kTraceStored))
        << "exactly full";
    EXPECT_EQ(log_of_batch(led + event(kTraceResult, Bytes(16384 - 20 - 15))),
              batch_log(kLedStored + length_error_log(16385, 16384)));
    EXPECT_EQ(log_of_batch(event(kTraceResult, Bytes(16384 - 16)) + led), batch_log(kTraceStored));
    EXPECT_EQ(log_of_batch(event(kTraceResult, Bytes(16384 - 31)) + led), batch_log(kTraceStored));
    EXPECT_EQ(log_of_batch(event(kTraceResult, Bytes(16384 - 32)) + led),
              batch_log(kTraceStored + length_error_log(16388, 16384)))
        << "the header fits, the record does not";
    EXPECT_EQ(log_of_batch(event(kTraceResult, Bytes(20000))), batch_log(length_error_log(20016, 16384)));
}

TEST_F(EventSocketTest, LogsAnyNumberOfMessagesOfABatch)
{
    std::string batch, log;
    for (int i = 0; i < 1024; i++) {
        batch += event(248, Bytes());
        log += "[WEXOND_ServerRecvDeal.#]: MSG: Type(248) error \n\n";
    }
    EXPECT_EQ(log_of_batch(batch), batch_log(log));
}

} // namespace
