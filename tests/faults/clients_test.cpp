// Clients of the bus by the hundred, and such as do not read or die.

#include <csignal>
#include <list>
#include <random>

#include "tests/faults/agent.h"
#include "tests/faults/fault_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kGetStationRssi = 143;
constexpr uint32_t kListBeaconIes = 219;
constexpr uint32_t kDeleteUrlFilter = 207, kAddUrlFilter = 208;
constexpr size_t kUrlFilterSize = 2120;

class ClientFaultTest : public FaultTest
{
  protected:
    void SetUp() override
    {
        start_daemon();
        answer_led();
        EXPECT_EQ(get_led(), kOn);
        objects_ = client().list("wexond*");
        footprint_ = footprint_of(daemon());
        service().take_requests();
    }

    void expect_well() { FaultTest::expect_well(objects_, footprint_); }

    std::string objects_;
    Footprint footprint_;
};

// A station whose address ends in its number.
std::string mac_of(int number)
{
    char text[13];
    snprintf(text, sizeof(text), "00112233%04X", number);
    return text;
}

uint32_t number_of(std::string_view colon_mac)
{
    return static_cast<uint32_t>(
        std::stoul(std::string(colon_mac.substr(12, 2)) + std::string(colon_mac.substr(15, 2)), nullptr, 16));
}

// Each asks for a station of its own, whose signal strength is its number.
TEST_F(ClientFaultTest, HundredsAtOnceGetEachItsOwnAnswer)
{
    constexpr int kClients = 200;
    service().answer_by(kGetStationRssi, [](const Request &request) {
        std::string mac = request.payload.data().substr(0, 17);
        return record(Bytes(28).text(0, mac).u32(20, number_of(mac)));
    });
    std::list<Agent> agents;
    for (int i = 0; i < kClients; i++)
        agents.emplace_back(bus().socket());
    for (int round = 0; round < 3; round++) {
        int number = 0;
        for (Agent &agent : agents)
            agent.send("wexond.wifi.roaming", "getrssiinfo", R"({"macs": [")" + mac_of(number++) + R"("]})");
        number = 0;
        for (Agent &agent : agents) {
            EXPECT_EQ(agent.finish(),
                      table({{"wexond.wifi.roaming.starssiinfo",
                              array({table({{"mac", mac_of(number)}, {"rssi24g", number}, {"rssi5g", 0}})})}}));
            number++;
        }
    }
    EXPECT_EQ(service().take_requests().size(), size_t{3 * kClients});
    agents.clear();
    expect_well();
}

// The broker keeps two mebibytes for it, and lets the rest wait.
TEST_F(ClientFaultTest, OneThatNeverReadsCostsNobodyElse)
{
    constexpr int kCalls = 300;
    Bytes list(8836);
    list.u32(0, 8);
    for (size_t offset = 4; offset < list.size(); offset += 1104)
        list.u32(offset, 1).u32(offset + 76, 256);
    service().answer(kListBeaconIes, record(list));
    size_t reply_size = call("wexond.wifi.vsie.beacontx", "list").size();
    EXPECT_GT(kCalls * reply_size, 1024u * 1024) << "and more on the wire";
    service().take_requests();
    long daemon_memory = anonymous_memory(daemon().pid()), broker_memory = anonymous_memory(bus().pid());
    Agent lazy(bus().socket());
    for (int i = 0; i < kCalls; i++) {
        lazy.send("wexond.wifi.vsie.beacontx", "list");
        if (i % 20 == 0) {
            EXPECT_EQ(get_led(), kOn);
        }
    }
    EXPECT_EQ(get_led(), kOn) << "behind all calls";
    // Its answers fill the queue and the reserve behind it; then its calls wait until it reads.
    const size_t asked = service().take_requests().size();
    EXPECT_GT(asked, size_t{kCalls / 20 + 1 + 30});
    EXPECT_LE(asked, size_t{kCalls + kCalls / 20 + 1});
    EXPECT_LE(anonymous_memory(daemon().pid()), daemon_memory + MEMORY_SLACK);
    EXPECT_LE(anonymous_memory(bus().pid()), broker_memory + 2048 + MEMORY_SLACK);
    expect_well();
}

TEST_F(ClientFaultTest, OnesThatDieInMidCallCostNobodyElse)
{
    constexpr int kClients = 60;
    std::mt19937 random(20240229);
    answer_led(after(1ms, record(Bytes(4).u32(0, 1))));
    for (int i = 0; i < kClients; i++) {
        Agent dying(bus().socket());
        dying.send("wexond.ledswitch", "get");
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    }
    EXPECT_EQ(get_led(), kOn) << "behind all calls";
    EXPECT_EQ(service().take_requests().size(), size_t{kClients + 1});
    expect_well();
}

TEST_F(ClientFaultTest, GetTheirAnswersThroughABrokerThatStoodStill)
{
    std::list<Agent> agents;
    for (int i = 0; i < 20; i++) {
        agents.emplace_back(bus().socket());
        agents.back().send("wexond.ledswitch", "get");
    }
    kill(bus().pid(), SIGSTOP);
    std::this_thread::sleep_for(500ms);
    kill(bus().pid(), SIGCONT);
    for (Agent &agent : agents)
        EXPECT_EQ(agent.finish(), kOn);
    EXPECT_EQ(service().take_requests().size(), agents.size());
    agents.clear();
    expect_well();
}

// Rules come and go as fast as one client can ask for them, which has the daemon add and remove objects while calls
// fill its queue: each addition waits for an answer of the broker's that is behind them all.
TEST_F(ClientFaultTest, AFloodOfRulesThatComeAndGoDoesNotSilenceTheDaemon)
{
    service().answer(kAddUrlFilter, after(1ms, record(Bytes(kUrlFilterSize).u32(0, 7))));
    service().answer(kDeleteUrlFilter, record(Bytes(kUrlFilterSize).u32(0, 7)));
    const std::string rule = R"({"enable": "yes", "urls": ["a.example"], "macs": ["001122334455"], "mode": 1,
        "weekdays": [1, 7], "timerange": "08:00-12:00", "name": ")" +
                             std::string(30, 'n') + R"("})";
    {
        std::list<Agent> flooders;
        auto end = std::chrono::steady_clock::now() + 200ms;
        for (int i = 0; i < 4; i++)
            flooders.emplace_back(bus().socket());
        while (std::chrono::steady_clock::now() < end)
            for (Agent &flooder : flooders) {
                flooder.send("wexond.filter.url", "add", rule);
                flooder.send("wexond.filter.url", "delete", R"({"idx": 7})");
            }
    }
    // Where the daemon keeps as many calls as it may, the next one is refused at once.
    std::string led = get_led();
    for (auto deadline = std::chrono::steady_clock::now() + kPatience;
         led == "(Out of memory)" && std::chrono::steady_clock::now() < deadline;)
        led = get_led();
    EXPECT_EQ(led, kOn) << "behind all calls";
    service().answer(kAddUrlFilter, record(Bytes(kUrlFilterSize).u32(0, 8)));
    call("wexond.filter.url", "add", rule);
    EXPECT_TRUE(client().has_object("wexond.filter.url.8")) << "it is on speaking terms with the broker";
    EXPECT_EQ(get_led(), kOn);
    EXPECT_EQ(footprint_of(daemon()), footprint_);
}

// More calls than the daemon can answer, for longer than its queue in the broker lasts.
TEST_F(ClientFaultTest, AFloodOfLargeCallsFillsNeitherBrokerNorDaemon)
{
    long daemon_memory = anonymous_memory(daemon().pid()), broker_memory = anonymous_memory(bus().pid());
    service().answer(kSetLed, record(Bytes(4)));
    const std::string large = R"({"status": ")" + std::string(100000, 'x') + R"("})";
    {
        std::list<Agent> flooders;
        for (int i = 0; i < 4; i++)
            flooders.emplace_back(bus().socket());
        auto end = std::chrono::steady_clock::now() + 1s;
        long most = 0;
        while (std::chrono::steady_clock::now() < end) {
            for (Agent &flooder : flooders)
                flooder.send("wexond.ledswitch", "set", large);
            most = std::max(most, anonymous_memory(daemon().pid()) + anonymous_memory(bus().pid()));
        }
        EXPECT_LE(most, daemon_memory + broker_memory + 8 * 1024 + MEMORY_SLACK);
    }
    // Each caller has a share of the queue, so that calls of the flood may still come behind this one.
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    do {
        service().take_requests();
        EXPECT_EQ(get_led(), kOn);
    } while (service().take_requests() != Requests{{kGetLed, 8}} && std::chrono::steady_clock::now() < deadline);
    EXPECT_LE(anonymous_memory(daemon().pid()), daemon_memory + 2048 + MEMORY_SLACK);
    EXPECT_LE(anonymous_memory(bus().pid()), broker_memory + 1024 + MEMORY_SLACK);
    expect_well();
}

} // namespace
