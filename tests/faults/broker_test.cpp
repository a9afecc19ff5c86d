// The bus broker is killed, and comes back.

#include <random>
#include <regex>

#include "tests/events/events.h"
#include "tests/faults/fault_test.h"
#include "tests/support/listening.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

// One broker after another at the fixture's socket.
class BrokerFaultTest : public FaultTest
{
  protected:
    // A supervisor, as a router has one: it starts the daemon again until the file `stop` is there, and ends with the
    // first status that is not 0.
    void launch_supervised()
    {
        std::string folder = this->folder().path();
        launch_daemon(
            {"sh", "-c",
             "until [ -e " + folder + "/stop ]; do \"$0\" \"$@\" 2>>" + folder + "/errors || exit; sleep 0.05; done"});
    }
    void stop_supervisor() { std::ofstream(folder() / "stop"); }

    std::string errors() const
    {
        std::ifstream file(folder() / "errors");
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

// The answers of a daemon that has come up on a broker, read by a client of its own.
void expect_whole(const std::filesystem::path &socket, const std::filesystem::path &event_socket)
{
    BusClient agent(socket);
    agent.wait_for_object("wexond.devinfo.ext");
    EXPECT_EQ(agent.call("wexond.devinfo.ext", "?"), "(Method not found)");
    EXPECT_EQ(agent.call("wexond.ledswitch", "get"), kOn);
    EXPECT_TRUE(agent.has_object("wexond.wifi.1.ap.1"));
    EXPECT_TRUE(agent.has_object("wexond.wifi.2.ap.1"));
    EXPECT_TRUE(agent.has_object("wexond.wifi.timer.3"));
    agent.subscribe("wexond.ledswitch");
    wait_until_listening(event_socket);
    send_batch(event_socket, event(22, Bytes(4).u32(0, 1)));
    EXPECT_EQ(agent.next_message(), R"(propertieschanged {"status": "on"})");
}

TEST_F(BrokerFaultTest, ItsEndReleasesEverything)
{
    NEEDS_BUS_TOOL();
    answer_led();
    service().answer(98, record(Bytes(1156).u32(0, 1).u32(4, 3)));
    launch_daemon();
    expect_whole(bus().socket(), event_socket());
    Process subscriber({bus_tool(), "-s", bus().socket().string(), "subscribe", "wexond.ledswitch"});
    while (subscriber.standard_output().empty())
        send_batch(event_socket(), event(22, Bytes(4).u32(0, 1)));
    bus().kill();
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_FALSE(is_listening(event_socket()));
    EXPECT_TRUE(std::filesystem::exists(event_socket())) << "nobody answers on it";

    Bus second(bus().socket());
    launch_daemon();
    expect_whole(second.socket(), event_socket());
    second.stop();
}

// The services' answers come slowly, so that brokers die at every stage of the start, in calls, and in between.
TEST_F(BrokerFaultTest, ASupervisedDaemonComesBackWithEveryBroker)
{
    NEEDS_BUS_TOOL();
    constexpr int kBrokers = 12;
    answer_led(after(5ms, record(Bytes(4).u32(0, 1))));
    service().answer(98, after(5ms, record(Bytes(1156).u32(0, 1).u32(4, 3))));
    service().answer(206, after(10ms, record(Bytes(67844))));
    service().answer(211, after(10ms, record(Bytes(36228))));
    bus().kill();
    launch_supervised();
    std::mt19937 random(20240229);
    for (int i = 0; i < kBrokers; i++) {
        Bus broker(bus().socket());
        Process caller({"sh", "-c", R"(while "$0" "$@"; [ $? -ne 255 ]; do sleep 0.02; done)", bus_tool(), "-s",
                        broker.socket(), "call", "wexond.ledswitch", "get"});
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % (250 * kSlowness)));
        broker.kill();
        caller.wait();
    }
    Bus last(bus().socket());
    expect_whole(last.socket(), event_socket());
    stop_supervisor();
    last.kill();
    EXPECT_EQ(daemon().wait(), 0);
    EXPECT_FALSE(is_listening(event_socket()));
    std::string unknown = std::regex_replace(
        errors(),
        std::regex(
            "Failed to connect to ubus\n|Failed to add wexond[a-z0-9.]*: (Connection failed|Invalid argument)\n"),
        "");
    EXPECT_EQ(unknown, "");
}

} // namespace
