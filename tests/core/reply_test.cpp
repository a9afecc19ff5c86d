// The two reply forms: what is sent for which status, and that nothing half-built or too large ever is.
#include "core/reply.h"

#include <climits>
#include <string>
#include <vector>

#include "tests/core/core_test.h"
#include "tests/core/faults.h"
#include "tests/support/blobmsg_bytes.h"

using namespace std::string_literals;
using test_support::to_text;

namespace
{

struct SentReply {
    ubus_context *context;
    ubus_request_data *request;
    size_t length; // of the message as it stands in the buffer
    std::string text;
};

struct SentNotification {
    ubus_context *context;
    ubus_object *object;
    std::string name;
    int timeout;
    std::string text;
};

std::vector<SentReply> sent;
size_t sendable; // longer messages find no memory
std::vector<SentNotification> notifications;
int notify_result;

std::string text_of(const blob_attr *message)
{
    return to_text({static_cast<const char *>(blob_data(message)), blob_len(message)});
}

} // namespace

// These stand in for the bus library's.

extern "C" int ubus_send_reply(ubus_context *context, ubus_request_data *request, blob_attr *message)
{
    if (blob_pad_len(message) > sendable)
        return kBusNoMemory;
    sent.push_back({context, request, blob_pad_len(message), text_of(message)});
    return 0;
}

extern "C" int ubus_notify(ubus_context *context, ubus_object *object, const char *name, blob_attr *message,
                           int timeout)
{
    notifications.push_back({context, object, name, timeout, text_of(message)});
    return notify_result;
}

namespace
{

const char kSuccess[] = R"({"result": "0", "failreason": ""})";

std::string failure(const std::string &reason)
{
    return R"({"result": "1", "failreason": ")" + reason + R"("})";
}

Status status_of(uint32_t failed, const char *reason = "")
{
    Status status{};
    status.failed = failed;
    snprintf(status.reason, sizeof(status.reason), "%s", reason);
    return status;
}

const Status kSucceeded{};

void build_small_table()
{
    void *table = reply_open_table("wexond.thing");
    void *array = reply_open_array("array");
    for (uint32_t i = 0; i < 100; i++)
        reply_int("", i);
    reply_close(array);
    reply_string("text", "value");
    reply_int64("counter", 1);
    reply_close(table);
}

class ReplyTest : public CoreTest
{
  protected:
    ReplyTest()
    {
        sent.clear();
        sendable = SIZE_MAX;
        notifications.clear();
        notify_result = 0;
        wexond_context = &context_;
    }
    ~ReplyTest() override
    {
        // Whatever a test left unsent.
        wexond_send_for_get(&request_, &kSucceeded);
        wexond_context = nullptr;
    }

    // The one message sent by a reply of this status.
    std::string set(const Status &status)
    {
        EXPECT_EQ(wexond_send_for_set(&request_, &status), 0);
        return only_reply();
    }
    std::string get(const Status &status)
    {
        EXPECT_EQ(wexond_send_for_get(&request_, &status), 0);
        return only_reply();
    }

    // A call of this status, under a handler's name.
    Call call_with(const Status &status) { return {nullptr, &request_, nullptr, "wexond_thing_add", status}; }

    std::string only_reply()
    {
        EXPECT_EQ(sent.size(), 1u);
        if (sent.size() != 1)
            return "";
        SentReply reply = sent[0];
        sent.clear();
        EXPECT_EQ(reply.context, &context_);
        EXPECT_EQ(reply.request, &request_);
        return reply.text;
    }

    // Either way of sending a table says that memory is out.
    void expect_no_memory_for_a_table()
    {
        reply_start();
        build_small_table();
        EXPECT_EQ(get(kSucceeded), failure("out of memory"));
        reply_start();
        build_small_table();
        reply_send(&request_);
        EXPECT_EQ(only_reply(), failure("out of memory"));
    }

    ubus_request_data request_{};
    ubus_context context_{};
};

// --- Set-style ---

TEST_F(ReplyTest, SetSaysZeroForSuccess)
{
    EXPECT_EQ(set(status_of(0)), kSuccess);
}

TEST_F(ReplyTest, SetSaysOneForEveryFailure)
{
    EXPECT_EQ(set(status_of(1, "failed to reboot")), failure("failed to reboot"));
    EXPECT_EQ(set(status_of(2, "two")), failure("two"));
    EXPECT_EQ(set(status_of(0xFFFFFFFF)), failure(""));
}

TEST_F(ReplyTest, SetReportsTheReasonAsItStands)
{
    EXPECT_EQ(set(status_of(0, "told although it went well")),
              R"({"result": "0", "failreason": "told although it went well"})");
    Status status{};
    fail(status, "%s", std::string(300, 'x').c_str());
    EXPECT_EQ(set(status), failure(std::string(127, 'x')));
}

TEST_F(ReplyTest, SetDiscardsWhatWasBuiltBefore)
{
    reply_start();
    reply_open_table("wexond.left.over");
    reply_string("key", "value");
    EXPECT_EQ(set(status_of(0)), kSuccess);
}

TEST_F(ReplyTest, NullStatusSendsNothing)
{
    reply_start();
    EXPECT_EQ(wexond_send_for_set(&request_, nullptr), -1);
    EXPECT_EQ(wexond_send_for_get(&request_, nullptr), -1);
    EXPECT_TRUE(sent.empty());
}

// --- Get-style ---

TEST_F(ReplyTest, GetSendsTheTableAlone)
{
    char full[4] = {'f', 'u', 'l', 'l'};
    char padded[8] = "pad";
    reply_start();
    void *table = reply_open_table("wexond.thing");
    reply_string("text", "value");
    reply_text("full", full);
    reply_text("padded", padded);
    reply_int("number", 5);
    reply_int("negative", static_cast<uint32_t>(-70));
    reply_int64("counter", UINT64_MAX);
    void *array = reply_open_array("array");
    reply_int("", 1);
    reply_string("", "two");
    void *inner = reply_open_table("");
    reply_string("three", "");
    reply_close(inner);
    reply_close(array);
    reply_close(reply_open_array("empty"));
    reply_close(table);
    EXPECT_EQ(get(status_of(0)),
              R"({"wexond.thing": {"text": "value", "full": "full", "padded": "pad", "number": 5, "negative": -70, )"
              R"("counter": -1l, "array": [1, "two", {"three": ""}], "empty": []}})");
}

TEST_F(ReplyTest, GetSendsAnEmptyTable)
{
    reply_start();
    EXPECT_EQ(get(status_of(0)), "{}");
}

TEST_F(ReplyTest, GetOnlyTakesOneForAFailure)
{
    for (uint32_t failed : {2u, 3u, 0x101u, 0xFFFFFFFFu}) {
        reply_start();
        reply_string("key", "value");
        EXPECT_EQ(get(status_of(failed, "nobody is told")), R"({"key": "value"})") << failed;
    }
}

TEST_F(ReplyTest, GetFailureDiscardsAHalfBuiltTable)
{
    reply_start();
    reply_open_table("wexond.thing");
    reply_string("key", "value");
    reply_open_array("array");
    reply_int("", 1);
    EXPECT_EQ(get(status_of(1, "failed to get thing")), failure("failed to get thing"));
    // And none of it comes back later.
    reply_start();
    reply_string("key", "value");
    EXPECT_EQ(get(status_of(0)), R"({"key": "value"})");
}

TEST_F(ReplyTest, GetFailureNeedsNoTable)
{
    EXPECT_EQ(get(status_of(1, "failed to get thing")), failure("failed to get thing"));
    EXPECT_EQ(get(status_of(1, "failed again")), failure("failed again"));
}

// The fields of a table that was never closed are its own payload; a reader finds no key in it.
TEST_F(ReplyTest, GetOfAnOpenTableDecodesToNoKey)
{
    reply_start();
    reply_open_table("wexond.devinfo");
    EXPECT_EQ(get(status_of(0)), "{<20 stray bytes>}");
}

TEST_F(ReplyTest, StartForgetsWhatWasBuilt)
{
    reply_start();
    reply_open_table("forgotten");
    reply_int("key", 1);
    reply_start();
    reply_int("kept", 2);
    EXPECT_EQ(get(status_of(0)), R"({"kept": 2})");
}

// --- The bus's limit ---

constexpr size_t kBusLimit = 1024 * 1024;
// The bytes around the data in a message: its own header, the object's id, the data's header.
constexpr size_t kAround = 4 + 8 + 4;

// A table with one text: 4 bytes of header, then the text's header (4), name (2 + 1 + 1) and bytes, padded.
void build_table_of(size_t length)
{
    reply_start();
    reply_string("k", std::string(length - 4 - 4 - 4 - 1, 'x').c_str());
}

TEST_F(ReplyTest, GetSendsWhatTheBusCanCarry)
{
    // The exact limit is the bus's; the last few dozen bytes are a margin.
    constexpr size_t kLargest = kBusLimit - 64;
    build_table_of(kLargest);
    EXPECT_EQ(wexond_send_for_get(&request_, &kSucceeded), 0);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].length, kLargest);
    EXPECT_LE(sent[0].length - 4 + kAround, kBusLimit);
}

TEST_F(ReplyTest, GetRefusesWhatTheBusWouldNotCarry)
{
    enable_log();
    for (size_t length : {kBusLimit - 60, kBusLimit, kBusLimit + 4, 4 * kBusLimit}) {
        build_table_of(length);
        EXPECT_EQ(get(status_of(0)), failure("reply too large for the bus")) << length;
        EXPECT_EQ(take_log(), "[wexond_send_for_get.#]: failed , reply too large for the bus \n\n");
    }
    reply_start();
    reply_int("next", 1);
    EXPECT_EQ(get(status_of(0)), R"({"next": 1})");
}

TEST_F(ReplyTest, GetRefusesMoreThanABufferCanHold)
{
    const std::string part(1024 * 1024, 'x');
    reply_start();
    void *array = reply_open_array("parts");
    for (int i = 0; i < 17; i++)
        reply_string("", part.c_str());
    reply_close(array);
    // A key that was refused is not made up for by the ones after it.
    reply_int("last", 1);
    EXPECT_EQ(get(status_of(0)), failure("out of memory"));
}

// --- Memory that runs out ---

TEST_F(ReplyTest, GetNeverLeavesKeysOut)
{
    reply_start();
    build_small_table();
    const std::string whole = get(status_of(0));
    int failures = 0;
    for (int calls = 0;; calls++) {
        bool has_failed;
        {
            FailingMemory memory(calls);
            reply_start();
            build_small_table();
            has_failed = memory.has_failed();
        }
        std::string reply = get(status_of(0));
        if (!has_failed) {
            EXPECT_EQ(reply, whole);
            break;
        }
        EXPECT_EQ(reply, failure("out of memory")) << calls << " allocations";
        failures++;
    }
    EXPECT_GE(failures, 3) << "the first buffer and its growth";
}

TEST_F(ReplyTest, AnOutcomeIsToldWithoutAnyMemory)
{
    const std::string reason(127, 'r');
    const uint32_t index = 3;
    FailingMemory memory(0);
    EXPECT_EQ(set(kSucceeded), kSuccess);
    EXPECT_EQ(set(status_of(1, reason.c_str())), failure(reason));
    EXPECT_EQ(get(status_of(1, reason.c_str())), failure(reason));
    EXPECT_EQ(send_for_add(call_with(status_of(1, reason.c_str())), &index), 0);
    EXPECT_EQ(only_reply(), R"({"result": "1", "idx": 3, "failreason": ")" + reason + R"("})");
    expect_no_memory_for_a_table();
    EXPECT_TRUE(memory.has_failed());
}

TEST_F(ReplyTest, ATableThatTheBusFindsNoMemoryForFails)
{
    sendable = 256;
    expect_no_memory_for_a_table();
}

TEST_F(ReplyTest, MemoryThatComesBackIsUsedAgain)
{
    {
        FailingMemory memory(0);
        reply_start();
        reply_int("lost", 1);
    }
    reply_start();
    reply_int("kept", 2);
    EXPECT_EQ(get(status_of(0)), R"({"kept": 2})");
}

TEST_F(ReplyTest, FreesTheBufferOfEveryReply)
{
    auto round = [this] {
        build_table_of(65536);
        get(status_of(0));
        build_table_of(65536);
        get(status_of(1));
        build_table_of(2 * kBusLimit);
        get(status_of(0));
        set(status_of(0));
    };
    round();
    size_t before = heap_in_use();
    for (int i = 0; i < 50; i++)
        round();
    EXPECT_LT(heap_in_use(), before + 65536);
}

// --- Replies of their own form ---

TEST_F(ReplyTest, SendSendsTheTableWhateverAStatusSays)
{
    reply_start();
    void *table = reply_open_table("wexond.thing");
    reply_counter("zero", 0);
    reply_counter("low", 0xFFFFFFFF);
    reply_counter("high", 0x0123456789ABCDEF);
    reply_counter("all", UINT64_MAX);
    reply_close(table);
    reply_send(&request_);
    EXPECT_EQ(only_reply(), R"({"wexond.thing": {"zero": "0", "low": "4294967295", "high": "81985529216486895", )"
                            R"("all": "18446744073709551615"}})");
}

TEST_F(ReplyTest, SendRefusesWhatTheBusWouldNotCarry)
{
    build_table_of(kBusLimit);
    reply_send(&request_);
    EXPECT_EQ(only_reply(), failure("reply too large for the bus"));
    {
        FailingMemory memory(0);
        reply_start();
    }
    reply_int("lost", 1);
    reply_send(&request_);
    EXPECT_EQ(only_reply(), failure("out of memory"));
}

TEST_F(ReplyTest, AddTellsTheIndexBetweenResultAndReason)
{
    enable_log();
    const uint32_t index = 3, none = 0xFFFFFFFF;
    EXPECT_EQ(send_for_add(call_with(status_of(0)), &index), 0);
    EXPECT_EQ(only_reply(), R"({"result": "0", "idx": 3, "failreason": ""})");
    EXPECT_EQ(take_log(), "[wexond_thing_add.#]: success ,  \n\n");
    EXPECT_EQ(send_for_add(call_with(status_of(1, "failed to add")), &none), 0);
    EXPECT_EQ(only_reply(), R"({"result": "1", "idx": -1, "failreason": "failed to add"})");
    EXPECT_EQ(take_log(), "[wexond_thing_add.#]: failed , failed to add \n\n");
    EXPECT_EQ(send_for_add(call_with(status_of(2, "two")), nullptr), 0);
    EXPECT_EQ(only_reply(), R"({"result": "1", "failreason": "two"})");
}

// --- Notifications ---

TEST_F(ReplyTest, NotifySendsTheTableWithoutWaiting)
{
    ubus_object object{};
    reply_start();
    void *table = reply_open_table("wexond.thing");
    reply_string("state", "on");
    reply_close(table);
    EXPECT_EQ(reply_notify(&object, "propertieschanged"), 0);
    ASSERT_EQ(notifications.size(), 1u);
    EXPECT_EQ(notifications[0].context, &context_);
    EXPECT_EQ(notifications[0].object, &object);
    EXPECT_EQ(notifications[0].name, "propertieschanged");
    EXPECT_LT(notifications[0].timeout, 0);
    EXPECT_EQ(notifications[0].text, R"({"wexond.thing": {"state": "on"}})");
    EXPECT_TRUE(sent.empty());
}

TEST_F(ReplyTest, NotifyReportsWhatCouldNotBeSent)
{
    ubus_object object{};
    reply_start();
    EXPECT_EQ(reply_notify(nullptr, "nobody"), -1);
    build_table_of(kBusLimit);
    EXPECT_EQ(reply_notify(&object, "toolarge"), -1);
    {
        FailingMemory memory(0);
        reply_start();
        reply_int("lost", 1);
    }
    EXPECT_EQ(reply_notify(&object, "incomplete"), -1);
    EXPECT_TRUE(notifications.empty());

    notify_result = UBUS_STATUS_CONNECTION_FAILED;
    reply_start();
    EXPECT_EQ(reply_notify(&object, "refused"), -1);
    EXPECT_EQ(notifications.size(), 1u);
}

TEST_F(ReplyTest, NotifyFreesTheBuffer)
{
    ubus_object object{};
    auto round = [&] {
        build_table_of(65536);
        reply_notify(&object, "sent");
        build_table_of(65536);
        reply_notify(nullptr, "not sent");
        notifications.clear();
    };
    round();
    size_t before = heap_in_use();
    for (int i = 0; i < 50; i++)
        round();
    EXPECT_LT(heap_in_use(), before + 65536);
}

// --- Log ---

TEST_F(ReplyTest, LogsEveryOutcome)
{
    enable_log();
    set(status_of(0));
    EXPECT_EQ(take_log(), "[wexond_send_for_set.#]: success ,  \n\n");
    set(status_of(2, "failed to reboot"));
    EXPECT_EQ(take_log(), "[wexond_send_for_set.#]: failed , failed to reboot \n\n");
    reply_start();
    get(status_of(0));
    EXPECT_EQ(take_log(), "[wexond_send_for_get.#]: success ,  \n\n");
    get(status_of(1, "failed to get thing"));
    EXPECT_EQ(take_log(), "[wexond_send_for_get.#]: failed , failed to get thing \n\n");
    // The log counts every non-zero flag as a failure, the reply only 1.
    reply_start();
    EXPECT_EQ(get(status_of(2, "two")), "{}");
    EXPECT_EQ(take_log(), "[wexond_send_for_get.#]: failed , two \n\n");
}

TEST_F(ReplyTest, LogsNothingForANullStatus)
{
    enable_log();
    wexond_send_for_set(&request_, nullptr);
    wexond_send_for_get(&request_, nullptr);
    EXPECT_EQ(take_log(), "");
}

} // namespace
