// The event table between two threads, and a flood of events at a daemon that is called meanwhile.

#include <thread>
#include <vector>

#include "core/catalogue.h"
#include "core/wire.h"
#include "events/event_records.h"
#include "events/event_server.h"
#include "events/event_table.h"
#include "events/notifications.h"
#include "tests/core/core_test.h"
#include "tests/events/events.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kGetLed = 20;
constexpr uint32_t kTraceResult = 53;
constexpr uint32_t kChannelChange = 89;
constexpr uint32_t kVsieNewRecord = 216;

// A sender's call: its first word, and in which drain.
struct Sent {
    uint32_t value;
    uint32_t drain;
};

uint32_t drains;
std::vector<Sent> sent_first, sent_last;

int keep(std::vector<Sent> &sent, const void *record)
{
    sent.push_back({*static_cast<const le32 *>(record), drains});
    return 0;
}

} // namespace

// Stands in for the senders: those of the table's first and last row keep what they are given.
int notify_event(size_t event, const void *record, uint32_t)
{
    if (event == 0)
        return keep(sent_first, record);
    if (event == std::size(kEvents) - 1)
        return keep(sent_last, record);
    ADD_FAILURE() << "an event that nobody stored";
    return 0;
}

namespace
{

class EventTableTest : public CoreTest
{
  protected:
    EventTableTest()
    {
        sent_first.clear();
        sent_last.clear();
    }
};

// In order, at most one in a drain, the latest at the end.
void expect_latest_of_each_drain(const std::vector<Sent> &sent, uint32_t last)
{
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(sent.back().value, last);
    for (size_t i = 1; i < sent.size(); i++) {
        EXPECT_LT(sent[i - 1].value, sent[i].value);
        EXPECT_LT(sent[i - 1].drain, sent[i].drain);
    }
}

TEST_F(EventTableTest, SendsTheLatestOfEachTypeOnceADrain)
{
    constexpr uint32_t kBatches = 5000;
    std::atomic<bool> is_over = false;
    std::thread receiver([&] {
        for (uint32_t value = 1; value <= kBatches; value++) {
            Bytes record = Bytes(290).u32(0, value);
            std::string batch = event(kVsieNewRecord, record) + event(109, record);
            WEXOND_ServerRecvDeal(batch.data(), static_cast<uint32_t>(batch.size()));
        }
        is_over = true;
    });
    auto drain = [] {
        drains++;
        WEXOND_Event_NotifyDeal();
    };
    while (!is_over)
        drain();
    receiver.join();
    drain();
    expect_latest_of_each_drain(sent_first, kBatches);
    expect_latest_of_each_drain(sent_last, kBatches);
}

// --- The daemon ---

class EventFloodTest : public HandlerTest
{
  protected:
    void expect_message(const std::string &message) { EXPECT_EQ(client().next_message(), message); }
};

// The number of a `propertieschanged {"channel": 5}`.
uint32_t channel_of(const std::string &message)
{
    uint32_t channel = 0;
    EXPECT_EQ(sscanf(message.c_str(), "propertieschanged {\"channel\": %u}", &channel), 1) << message;
    return channel;
}

TEST_F(EventFloodTest, CallsAreAnsweredAndTheLatestIsSentOnceADrain)
{
    constexpr uint32_t kMessages = 100000, kBatch = 100;
    service().answer(kGetLed, record(Bytes(4).u32(0, 1)));
    client().subscribe("wexond.wifi.1");
    send_batch(event_socket(), event(kChannelChange, Bytes(16)));
    expect_message(R"(propertieschanged {"channel": 0})"); // the drains have begun

    auto start = std::chrono::steady_clock::now();
    std::atomic<bool> is_over = false;
    std::thread sender([&] {
        for (uint32_t channel = 0; channel < kMessages;) {
            std::string batch;
            for (uint32_t i = 0; i < kBatch; i++)
                batch += event(kChannelChange, Bytes(16).u32(12, ++channel));
            EXPECT_TRUE(EventClient(event_socket()).send(batch));
            std::this_thread::sleep_for(1ms);
        }
        is_over = true;
    });
    while (!is_over)
        EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "on"}})");
    sender.join();

    uint32_t count = 0;
    for (uint32_t latest = 0; latest < kMessages; count++) {
        std::optional<std::string> message = client().next_message();
        ASSERT_TRUE(message) << "after " << latest;
        uint32_t channel = channel_of(*message);
        ASSERT_GT(channel, latest) << "in order, each once";
        latest = channel;
    }
    auto drains = (std::chrono::steady_clock::now() - start) / 200ms + 1;
    EXPECT_LE(count, drains);
    EXPECT_GE(count, 2u);
    EXPECT_EQ(client().next_message(500ms), std::nullopt);
}

TEST_F(EventFloodTest, TakesBatchesOfManyClientsAtOnce)
{
    constexpr size_t kClients = 32;
    client().subscribe("wexond.diagnostics");
    std::vector<std::thread> clients;
    for (size_t i = 0; i < kClients; i++)
        clients.emplace_back([this, i] {
            for (int j = 0; j < 20; j++)
                send_batch(event_socket(), event(kTraceResult, Bytes(std::string(1000 * (i % 16) + 1, 'x'))));
        });
    for (std::thread &thread : clients)
        thread.join();
    send_batch(event_socket(), event(kTraceResult, Bytes("last")));
    for (std::string message; message != R"(tracerouteresult {"result": "last"})";) {
        std::optional<std::string> next = client().next_message();
        ASSERT_TRUE(next);
        message = *next;
    }
}

} // namespace
