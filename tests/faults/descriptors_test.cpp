// File descriptors that run out, at start and later.

#include <deque>
#include <sstream>
#include <sys/resource.h>

#include "tests/events/events.h"
#include "tests/faults/fault_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr rlim_t kPlenty = 256;

void limit_descriptors(const Process &process, rlim_t count)
{
    rlimit limit;
    ASSERT_EQ(prlimit(process.pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = count;
    ASSERT_EQ(prlimit(process.pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
}

TEST_F(FaultTest, FailsWhatNeedsADescriptorUntilThereAreSomeAgain)
{
    start_daemon();
    answer_led();
    EXPECT_EQ(get_led(), kOn);
    const std::string objects = client().list("wexond*");
    const Footprint footprint = footprint_of(daemon());
    client().subscribe("wexond.ledswitch");

    enable_log(); // of which nothing is written while the console cannot be opened
    limit_descriptors(daemon(), 3);
    restart_service(); // needs a new connection
    for (int i = 0; i < 20; i++)
        EXPECT_EQ(get_led(), failure("failed to get ledswitch"));
    EXPECT_EQ(set_led(), failure("failed to set ledswitch"));
    EXPECT_EQ(service().take_requests(), Requests{});
    send_batch(event_socket(), event(53, Bytes(4))); // taken by the accept that is under way
    EventClient patient(event_socket());
    EXPECT_TRUE(patient.send(event(22, Bytes(4).u32(0, 1))));
    EXPECT_FALSE(patient.wait_until_closed(300ms));
    take_log();

    limit_descriptors(daemon(), kPlenty);
    EXPECT_TRUE(patient.wait_until_closed());
    EXPECT_NE(take_log().find("[WEXOND_SocketServerRun.#]: Accept failed.\n"), std::string::npos);
    EXPECT_EQ(client().next_message(), R"(propertieschanged {"status": "on"})");
    expect_well(objects, footprint);
}

// A daemon on a bus of its own that may open only so many descriptors.
struct Limited {
    explicit Limited(rlim_t count)
        : limit(count), daemon({"sh", "-c",
                                "exec 3<&- 4<&- 5<&- 6<&- 7<&- 8<&- 9<&-; ulimit -S -n " + std::to_string(count) +
                                    "; exec \"$0\" \"$@\"",
                                built_program("wexond-test")},
                               {{"WEXOND_TEST_DIR", folder.path().string()},
                                {"ASAN_OPTIONS", "detect_leaks=0"}}) // which takes descriptors at the end
    {
        service.answer(kGetLed, record(Bytes(4).u32(0, 1)));
    }

    rlim_t limit;
    TemporaryFolder folder;
    // The daemon runs on without events.
    std::string without_events = "Failed to listen on " + (folder / "events.sock").string() + ": " + error_text(EMFILE);
    Bus bus{folder / "ubus.sock"};
    ScriptedService service{folder / "orvc.sock"};
    Process daemon;
};

// Either it ends, for its supervisor to start it again, or it comes up, and does what it can.
TEST(DescriptorsTest, ThatRunOutAtStartLeaveADaemonThatIsRightOrNone)
{
    if (!kEmulator.empty())
        GTEST_SKIP() << "an emulator needs descriptors of its own to start";
    auto start = std::chrono::steady_clock::now();
    std::deque<Limited> daemons;
    // The loader of the program itself needs the fourth.
    for (rlim_t limit = 4; limit <= 10; limit++)
        daemons.emplace_back(limit);
    size_t up = 0;
    for (Limited &row : daemons) {
        SCOPED_TRACE(testing::Message() << row.limit << " descriptors");
        BusClient agent(row.bus.socket());
        // Long enough for a start without the service.
        auto deadline = std::chrono::steady_clock::now() + 60s;
        std::string reply;
        while (row.daemon.is_running() && std::chrono::steady_clock::now() < deadline && !reply.starts_with("{")) {
            std::this_thread::sleep_for(20ms);
            if (agent.has_object("wexond.devinfo.ext"))
                reply = agent.call("wexond.ledswitch", "get");
        }
        if (row.daemon.is_running()) {
            up++;
            EXPECT_TRUE(reply == kOn || reply == failure("failed to get ledswitch")) << reply;
            limit_descriptors(row.daemon, kPlenty);
            EXPECT_EQ(agent.call("wexond.ledswitch", "get"), kOn);
            EXPECT_TRUE(agent.has_object("wexond.wifi.2.ap.1"));
            row.bus.stop();
        }
        EXPECT_EQ(row.daemon.wait(), 0);
        std::istringstream told(row.daemon.standard_error());
        for (std::string line; std::getline(told, line);)
            EXPECT_TRUE(line == "Failed to connect to ubus" || line == row.without_events) << line;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 90s) << "no caller waits for a daemon that is about to end";
    EXPECT_GE(up, 2u);
    EXPECT_LE(up, 6u);
}

} // namespace
