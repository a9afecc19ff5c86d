// Batches of event messages, and the table that keeps them: the relay's code in the test's own process. Without a
// catalogue of objects every notification fails; what was kept shows in the log.

#include <map>
#include <memory>

#include "core/entry.h"
#include "events/event_records.h"
#include "events/event_server.h"
#include "events/event_table.h"
#include "events/notifications.h"
#include "tests/core/core_test.h"
#include "tests/core/faults.h"
#include "tests/events/events.h"

using test_support::Bytes;

namespace
{

constexpr uint32_t kLedSwitch = 22;
constexpr uint32_t kPingResult = 52;
constexpr uint32_t kTraceResult = 53;
constexpr uint32_t kWifiSwitch = 87;
constexpr uint32_t kNewStation = 109;
constexpr uint32_t kPasswordError = 111;

const std::map<uint32_t, std::string> kEventNames = [] {
    std::map<uint32_t, std::string> names;
    for (const EventKind &event : kEvents)
        names.emplace(event.type, event.name);
    return names;
}();

std::string stored_log(uint32_t type)
{
    return "[WEXOND_ServerRecvDeal.#]: Event : " + kEventNames.at(type) + "\n";
}

std::string length_error_log(const std::string &end, size_t received)
{
    return "[WEXOND_ServerRecvDeal.#]: MSG: len error, uiLen(" + end + "), uiMsgLen(" + std::to_string(received) +
           ")\n\n";
}

std::string type_error_log(const std::string &type)
{
    return "[WEXOND_ServerRecvDeal.#]: MSG: Type(" + type + ") error \n\n";
}

// A drain's log of one event.
std::string sent_log(uint32_t type, const std::string &function, const std::string &values)
{
    std::string start = "[" + function + ".#]: " + function + ":  ";
    return "[WEXOND_Event_NotifyDeal.#]: Notify send : " + kEventNames.at(type) + " \n\n" + start + values + " \n\n" +
           start + "Notify failed \n\n";
}

std::string led_log(const std::string &status)
{
    return sent_log(kLedSwitch, "wexond_ledswitch_propertieschanged", "status:" + status);
}

std::string trace_log(const std::string &text)
{
    return sent_log(kTraceResult, "wexond_diagnostics_tracerouteresult", "result:" + text);
}

std::string led_event(uint32_t status)
{
    return event(kLedSwitch, Bytes(4).u32(0, status));
}

std::string trace_event(std::string_view text)
{
    return event(kTraceResult, Bytes(text));
}

class BatchesTest : public CoreTest
{
  protected:
    BatchesTest()
    {
        entry_lists_init();
        enable_log();
    }
    // The table is the process's: what a test leaves in it would be the next one's.
    ~BatchesTest() override { WEXOND_Event_NotifyDeal(); }

    // Deals with a batch that no byte follows; returns what was logged.
    std::string deal(const std::string &batch)
    {
        auto exact = std::make_unique<char[]>(batch.size());
        batch.copy(exact.get(), batch.size());
        WEXOND_ServerRecvDeal(exact.get(), static_cast<uint32_t>(batch.size()));
        return take_log();
    }

    std::string drain()
    {
        EXPECT_EQ(WEXOND_Event_NotifyDeal(), 0);
        return take_log();
    }
};

// --- Splitting ---

TEST_F(BatchesTest, KeepsAllMessagesOfABatch)
{
    EXPECT_EQ(deal(led_event(1) + trace_event("1 gateway")), stored_log(kLedSwitch) + stored_log(kTraceResult));
    EXPECT_EQ(drain(), led_log("on") + trace_log("1 gateway"));
    EXPECT_EQ(drain(), "") << "each is sent once";
}

TEST_F(BatchesTest, DropsAMessageThatClaimsMoreThanCame)
{
    std::string whole = led_event(1) + trace_event("kept");
    EXPECT_EQ(deal(whole + event(kPasswordError, 100, std::string(40, 'x'))),
              stored_log(kLedSwitch) + stored_log(kTraceResult) + length_error_log("156", 96));
    EXPECT_EQ(drain(), led_log("on") + trace_log("kept"));
}

TEST_F(BatchesTest, DropsWhatFollowsALengthError)
{
    std::string bad = event(kPasswordError, 21, "");
    EXPECT_EQ(deal(bad + led_event(1)), length_error_log("37", 36));
    EXPECT_EQ(drain(), "");
}

TEST_F(BatchesTest, LengthsBeyond32BitsDoNotWrapAround)
{
    struct Row {
        uint32_t claimed;
        const char *logged; // the end of the message as far as the log's number reaches
    };
    const Row rows[] = {
        {0xFFFFFFFF, "15"},          {0xFFFFFFF1, "1"},           {0xFFFFFFF0, "0"},          {0xFFFFFFEF, "-1"},
        {0x80000000, "-2147483632"}, {0x7FFFFFF0, "-2147483648"}, {0x7FFFFFEF, "2147483647"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(deal(event(kLedSwitch, row.claimed, "1234")), length_error_log(row.logged, 20)) << row.claimed;
    EXPECT_EQ(deal(led_event(1) + event(kTraceResult, 0xFFFFFFF0 - 20, "1234")),
              stored_log(kLedSwitch) + length_error_log("0", 40));
}

TEST_F(BatchesTest, EveryTruncationKeepsTheWholeMessages)
{
    struct Message {
        uint32_t type;
        size_t start, end;
    };
    const Message messages[] = {{kLedSwitch, 0, 20}, {kTraceResult, 20, 41}, {kPingResult, 41, 81}};
    const std::string batch = led_event(1) + trace_event("1 gtw") + event(kPingResult, Bytes(24));
    ASSERT_EQ(batch.size(), 81u);
    for (size_t length = 0; length <= batch.size(); length++) {
        std::string expected;
        for (const Message &message : messages)
            if (length >= message.end)
                expected += stored_log(message.type);
            else if (length >= message.start + 16)
                expected += length_error_log(std::to_string(message.end), length);
        EXPECT_EQ(deal(batch.substr(0, length)), expected) << length;
    }
}

TEST_F(BatchesTest, SkipsTypesFrom248On)
{
    const std::map<uint32_t, std::string> types = {
        {248, "248"}, {249, "249"}, {0x7FFFFFFF, "2147483647"}, {0x80000016, "-2147483626"}, {0xFFFFFFFF, "-1"},
    };
    for (const auto &[type, logged] : types) {
        EXPECT_EQ(deal(event(type, Bytes(8)) + led_event(1)), type_error_log(logged) + stored_log(kLedSwitch));
        EXPECT_EQ(drain(), led_log("on"));
    }
}

TEST_F(BatchesTest, ALengthErrorGoesBeforeATypeError)
{
    EXPECT_EQ(deal(event(248, 9, "12345678")), length_error_log("25", 24));
}

TEST_F(BatchesTest, PassesOverTypesWithoutARowInSilence)
{
    for (uint32_t type = 0; type < 248; type++)
        if (!kEventNames.contains(type)) {
            EXPECT_EQ(deal(event(type, Bytes(300))), "") << type;
            EXPECT_EQ(drain(), "") << type;
        }
    EXPECT_EQ(deal(event(100, Bytes(4)) + led_event(1)), stored_log(kLedSwitch));
}

TEST_F(BatchesTest, KeepsTheLatestOfAType)
{
    EXPECT_EQ(deal(trace_event("a longer first text") + trace_event("second")),
              stored_log(kTraceResult) + stored_log(kTraceResult));
    EXPECT_EQ(drain(), trace_log("second"));
    deal(trace_event("third"));
    deal(trace_event("a longer fourth text"));
    EXPECT_EQ(drain(), trace_log("a longer fourth text")) << "across batches too";
}

TEST_F(BatchesTest, ReplacedRecordsAreFreed)
{
    const std::string record(4096, 'x');
    deal(trace_event(record));
    size_t before = heap_in_use();
    for (int i = 0; i < 1000; i++)
        deal(trace_event(record));
    EXPECT_LT(heap_in_use(), before + 100 * record.size());
}

// --- Records ---

TEST_F(BatchesTest, AnEmptyRecordIsAnEvent)
{
    EXPECT_EQ(deal(event(kLedSwitch, Bytes()) + event(kTraceResult, Bytes())),
              stored_log(kLedSwitch) + stored_log(kTraceResult));
    EXPECT_EQ(drain(), led_log("off") + trace_log(""));
}

// Under AddressSanitizer it also shows that no sender reads beyond what was kept.
TEST_F(BatchesTest, ShortRecordsAreFollowedByZeros)
{
    for (const auto &[type, name] : kEventNames) {
        SCOPED_TRACE(name);
        deal(event(type, Bytes(300)));
        const std::string log_of_zeros = drain();
        EXPECT_NE(log_of_zeros, "");
        for (size_t length = 0; length < 300; length++) {
            deal(event(type, Bytes(length)));
            EXPECT_EQ(drain(), log_of_zeros) << length;
        }
    }
}

TEST_F(BatchesTest, AFieldEndsWhereTheRecordDoes)
{
    for (const auto &[type, name] : kEventNames) {
        for (size_t length = 0; length < 300; length++) {
            EXPECT_EQ(deal(event(type, Bytes(std::string(length, 'x')))), stored_log(type)) << length;
            EXPECT_NE(drain().find("Notify send : " + name + " "), std::string::npos) << length;
        }
    }
    deal(event(kPasswordError, Bytes("aa:bb:cc")));
    EXPECT_EQ(drain(), sent_log(kPasswordError, "wexond_wifi_passworderror", "stamac:aa:bb:cc"));
}

TEST_F(BatchesTest, IsSilentWithoutTheFlagFile)
{
    std::filesystem::remove(folder() / "debug_wexond");
    EXPECT_EQ(deal(led_event(1) + event(248, Bytes()) + event(kLedSwitch, 1, "")), "");
    EXPECT_EQ(drain(), "");
}

// --- Memory ---

TEST_F(BatchesTest, AnEventWithoutMemoryIsLost)
{
    {
        FailingMemory none(0);
        EXPECT_EQ(deal(led_event(1) + event(kWifiSwitch, Bytes(4))), stored_log(kLedSwitch) + stored_log(kWifiSwitch));
    }
    EXPECT_EQ(drain(), "");
    EXPECT_EQ(deal(led_event(1)), stored_log(kLedSwitch));
    EXPECT_EQ(drain(), led_log("on")) << "the next one is kept again";
}

// Deliberate: the replaced event stays pending, and its sender finds no record.
TEST_F(BatchesTest, AReplacementWithoutMemoryLosesBoth)
{
    deal(event(kNewStation, Bytes(260)));
    {
        FailingMemory none(0);
        deal(event(kNewStation, Bytes(260)));
    }
    EXPECT_EQ(drain(), "[WEXOND_Event_NotifyDeal.#]: Notify send : New Sta \n\n");
    EXPECT_EQ(drain(), "");
}

// --- Threads and clients that are none ---

TEST_F(BatchesTest, ReportsThreadsThatCannotBeStarted)
{
    FailingThreads none;
    EXPECT_EQ(WEXOND_Notify_ThreadInit(), 1);
    EXPECT_EQ(take_log(), "");
}

TEST_F(BatchesTest, DoesNotListenToNobody)
{
    WEXOND_ServerListen(0);
    EXPECT_EQ(take_log(), "[WEXOND_ServerListen.#]: Fd error.\n");
    WEXOND_ServerListen(-1);
    EXPECT_EQ(take_log(), "[WEXOND_ServerListen.#]: Start listen...\n"
                          "[WEXOND_ServerListen.#]: Listen error, close socket.\n");
}

TEST_F(BatchesTest, SendersRefuseToSendNothing)
{
    for (size_t i = 0; i < std::size(kEvents); i++)
        EXPECT_EQ(notify_event(i, nullptr, 0), 3) << kEvents[i].name;
    EXPECT_EQ(take_log(), "");
}

} // namespace
