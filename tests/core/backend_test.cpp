// The backend channel: what reaches the messaging library, and what becomes of its answers.
#include "core/backend.h"

#include <cstring>
#include <string>

#include "tests/core/core_test.h"
#include "tests/core/fake_service.h"

using namespace std::string_literals;
using test_support::Bytes;

namespace
{

// A status between bytes that nothing may touch.
struct GuardedStatus {
    char before[8];
    Status status{};
    char after[8];

    GuardedStatus()
    {
        memset(before, '#', sizeof(before));
        memset(after, '#', sizeof(after));
    }
    bool is_intact() const
    {
        return std::string(before, 8) == std::string(8, '#') && std::string(after, 8) == std::string(8, '#');
    }
};

// --- fail ---

TEST(Fail, MarksTheStatusForTheFormattedReason)
{
    Status status{};
    fail(status, "required parameter: %s or %s", "mac", "idx");
    EXPECT_EQ(status.failed, 1u);
    EXPECT_STREQ(status.reason, "required parameter: mac or idx");
}

TEST(Fail, CutsTheReasonAt127Characters)
{
    for (size_t length : {0u, 1u, 126u, 127u, 128u, 129u, 5000u}) {
        GuardedStatus guarded;
        fail(guarded.status, "%s", std::string(length, 'x').c_str());
        EXPECT_EQ(guarded.status.reason, std::string(std::min<size_t>(length, 127), 'x'));
        EXPECT_TRUE(guarded.is_intact());
    }
}

TEST(Fail, ReplacesAnEarlierReason)
{
    Status status{};
    fail(status, "a long first reason");
    fail(status, "second");
    EXPECT_STREQ(status.reason, "second");
}

TEST(Fail, MarksACall)
{
    Call call{};
    fail(call, "failed to %s", "reboot");
    EXPECT_EQ(call.status.failed, 1u);
    EXPECT_STREQ(call.status.reason, "failed to reboot");
}

TEST(Status, HoldsAFlagAnd128Bytes)
{
    EXPECT_EQ(sizeof(Status::failed), 4u);
    EXPECT_EQ(sizeof(Status::reason), 128u);
}

// --- Requests ---

class BackendChannelTest : public CoreTest
{
  protected:
    BackendChannelTest() { fake_service = {}; }
    ~BackendChannelTest() override { fake_service = {}; }

    std::string service() const { return folder() / "orvc.sock"; }
};

TEST_F(BackendChannelTest, SendsToTheServicesSocketWhatItIsGiven)
{
    fake_service.answers = {answer(0, Bytes(8).u32(0, 7))};
    void *response = wexond_send_msg(0x01020304, 0x11121314, "payload", 7, 12);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response, fake_service.last_response);
    EXPECT_EQ(fake_service.requests,
              (std::vector<SentRequest>{{service(), 0x01020304, 0x11121314, Bytes("payload"), 7, 12}}));
    free(response);
}

TEST_F(BackendChannelTest, SendsNoPayloadAsNullAndZero)
{
    EXPECT_EQ(wexond_send_msg(17, 0, nullptr, 0, 0), nullptr);
    EXPECT_EQ(fake_service.requests, (std::vector<SentRequest>{{service(), 17, 0, std::nullopt, 0, 0}}));
}

struct Record {
    le32 first;
    char text[6];
    le16 last;
};

TEST_F(BackendChannelTest, AskPassesTheRecordAndItsLengths)
{
    struct Request {
        le16 word;
    };
    fake_service.answers = {answer(0, Bytes(12).u32(0, 0x01020304).text(4, "abcdef").text(10, "\x06\x05"s))};
    Answer<Record> answer = ask<Record>(181, Request{0x0102});
    EXPECT_EQ(fake_service.requests, (std::vector<SentRequest>{{service(), 181, 1, Bytes("\x02\x01"), 2, 16}}));
    ASSERT_TRUE(answer.present());
    EXPECT_TRUE(answer.accepted());
    EXPECT_EQ(answer->first, 0x01020304u);
    EXPECT_EQ((*answer).last, 0x0506);
    EXPECT_EQ(std::string(answer->text, 6), "abcdef");
}

TEST_F(BackendChannelTest, AskWithoutARecordSendsNone)
{
    fake_service.answers = {answer(0)};
    Answer<Record> answer = ask<Record>(98);
    EXPECT_EQ(fake_service.requests, (std::vector<SentRequest>{{service(), 98, 1, std::nullopt, 0, 16}}));
    // Bytes that did not come read as zero.
    EXPECT_EQ(answer->first, 0u);
    EXPECT_EQ(answer->last, 0u);
}

TEST_F(BackendChannelTest, ExchangeAsksForAReturnCodeAlone)
{
    struct Request {
        le32 word;
        char text[3];
    };
    Request request{0x01020304, {'a', 'b', 'c'}};
    fake_service.answers = {answer(0), answer(0)};
    Call call{};
    EXPECT_TRUE(exchange(call, 21, request, "set"));
    EXPECT_TRUE(exchange(call, 17, nullptr, 0, "reset"));
    EXPECT_EQ(fake_service.requests, (std::vector<SentRequest>{
                                         {service(), 21, 1,
                                          Bytes("\x04\x03\x02\x01"
                                                "abc"),
                                          7, 4},
                                         {service(), 17, 1, std::nullopt, 0, 4},
                                     }));
    EXPECT_EQ(call.status.failed, 0u);
    EXPECT_STREQ(call.status.reason, "");
}

TEST_F(BackendChannelTest, ExchangeReportsItsFailure)
{
    fake_service.answers = {answer(5), std::nullopt};
    Call refused{}, unanswered{};
    EXPECT_FALSE(exchange(refused, 16, Record{}, "reboot"));
    EXPECT_STREQ(refused.status.reason, "failed to reboot");
    EXPECT_FALSE(exchange(unanswered, 16, Record{}, "reboot again"));
    EXPECT_STREQ(unanswered.status.reason, "failed to reboot again");
    EXPECT_EQ(fake_service.requests.size(), 2u) << "a request is never repeated";
}

TEST_F(BackendChannelTest, AcceptsTellsByTheReturnCodeAlone)
{
    enable_log();
    fake_service.answers = {answer(0), answer(1), std::nullopt};
    const Record request{0x01020304, {'a', 'b', 'c', 'd', 'e', 'f'}, 0x0506};
    EXPECT_TRUE(accepts(208, request));
    EXPECT_FALSE(accepts(208, request));
    EXPECT_FALSE(accepts(208, request));
    EXPECT_EQ(fake_service.requests, std::vector<SentRequest>(3, {service(), 208, 1,
                                                                  Bytes("\x04\x03\x02\x01"
                                                                        "abcdef\x06\x05"),
                                                                  12, 4}));
    EXPECT_EQ(take_log(), "");
}

// --- wexond_check_ret ---

void *response_with(uint32_t code)
{
    void *response = malloc(64);
    Bytes bytes = answer(code, Bytes(60));
    memcpy(response, bytes.data().data(), bytes.size());
    return response;
}

TEST_F(BackendChannelTest, CheckLeavesAnAcceptedResponseToTheCaller)
{
    enable_log();
    void *response = response_with(0);
    void *before = response;
    Status status{};
    EXPECT_EQ(wexond_check_ret(&response, &status, "check"), 0);
    EXPECT_EQ(wexond_check_ret(&response, nullptr, nullptr), 0);
    EXPECT_EQ(response, before);
    EXPECT_EQ(status.failed, 0u);
    EXPECT_STREQ(status.reason, "");
    EXPECT_EQ(take_log(), "");
    free(response);
}

TEST_F(BackendChannelTest, CheckReportsAMissingResponse)
{
    enable_log();
    void *response = nullptr;
    Status status{};
    EXPECT_EQ(wexond_check_ret(&response, &status, "get 2.4G AP num"), -1);
    EXPECT_EQ(response, nullptr);
    EXPECT_EQ(status.failed, 1u);
    EXPECT_STREQ(status.reason, "failed to get 2.4G AP num");
    EXPECT_EQ(take_log(), "[wexond_check_ret.#]: Msg return buf = NULL\n");
}

TEST_F(BackendChannelTest, CheckTakesEveryOtherCodeForAFailure)
{
    enable_log();
    const std::pair<uint32_t, const char *> codes[] = {{1, "1"},
                                                       {0x100, "256"},
                                                       {0x10000, "65536"},
                                                       {0x01000000, "16777216"},
                                                       {0x7FFFFFFF, "2147483647"},
                                                       {0x80000000, "-2147483648"},
                                                       {0xFFFFFFFF, "-1"}};
    for (auto [code, text] : codes) {
        void *response = response_with(code);
        Status status{};
        EXPECT_EQ(wexond_check_ret(&response, &status, "reboot"), -1);
        EXPECT_EQ(response, nullptr);
        EXPECT_EQ(status.failed, 1u);
        EXPECT_STREQ(status.reason, "failed to reboot");
        EXPECT_EQ(take_log(), "[wexond_check_ret.#]: Msg retcode = "s + text + "\n");
    }
}

TEST_F(BackendChannelTest, CheckNeedsNeitherStatusNorAction)
{
    for (uint32_t code : {0u, 9u}) {
        auto made = [code] { return code ? response_with(code) : nullptr; };
        Status status{};
        void *response = made();
        EXPECT_EQ(wexond_check_ret(&response, &status, nullptr), -1);
        EXPECT_EQ(status.failed, 1u);
        EXPECT_STREQ(status.reason, "failed to ");
        EXPECT_EQ(response, nullptr);
        response = made();
        EXPECT_EQ(wexond_check_ret(&response, nullptr, "reboot"), -1);
        EXPECT_EQ(response, nullptr);
        response = made();
        EXPECT_EQ(wexond_check_ret(&response, nullptr, nullptr), -1);
        EXPECT_EQ(response, nullptr);
    }
}

TEST_F(BackendChannelTest, CheckCutsALongAction)
{
    void *response = nullptr;
    Status status{};
    EXPECT_EQ(wexond_check_ret(&response, &status, std::string(200, 'x').c_str()), -1);
    EXPECT_EQ(status.reason, "failed to " + std::string(117, 'x'));
}

TEST_F(BackendChannelTest, LogsNothingWithoutTheFlagFile)
{
    void *response = nullptr;
    EXPECT_EQ(wexond_check_ret(&response, nullptr, "check"), -1);
    EXPECT_EQ(take_log(), "");
}

// --- Answer ---

TEST_F(BackendChannelTest, AnswerIsAcceptedByItsCode)
{
    Answer<Record> none(nullptr), refused(response_with(1)), accepted(response_with(0));
    EXPECT_FALSE(none.present());
    EXPECT_FALSE(none.accepted());
    EXPECT_TRUE(refused.present());
    EXPECT_FALSE(refused.accepted());
    EXPECT_TRUE(accepted.present());
    EXPECT_TRUE(accepted.accepted());
}

TEST_F(BackendChannelTest, AnswerThatFailedItsCheckIsAbsent)
{
    Status status{};
    Answer<Record> refused(response_with(1));
    EXPECT_FALSE(refused.check("reboot", &status));
    EXPECT_FALSE(refused.present());
    EXPECT_STREQ(status.reason, "failed to reboot");
    Answer<Record> accepted(response_with(0));
    EXPECT_TRUE(accepted.check("reboot"));
    EXPECT_TRUE(accepted.present());
}

TEST_F(BackendChannelTest, ReadsOneOfSeveralRecordsForACall)
{
    enable_log();
    Call call{nullptr, nullptr, nullptr, "wexond_thing_get", {}};
    le32 record = 0;
    fake_service.answers = {answer(0, Bytes(4).u32(0, 7)), answer(1, Bytes(4).u32(0, 8)), answer(1, Bytes(4).u32(0, 9)),
                            std::nullopt, std::nullopt};
    EXPECT_TRUE(read(call, {1, "look", "Failed to look\n"}, record));
    EXPECT_EQ(record, 7u);
    EXPECT_EQ(call.status.failed, 0u);
    EXPECT_EQ(take_log(), "");

    EXPECT_FALSE(read(call, {1, "look", "Failed to look\n"}, record)) << "refused";
    EXPECT_EQ(record, 7u) << "and left as it was";
    EXPECT_STREQ(call.status.reason, "failed to look");
    EXPECT_TRUE(take_log().ends_with("[wexond_thing_get.#]: Failed to look\n"));

    call.status = {};
    EXPECT_TRUE(read(call, {1, nullptr, "Failed to look\n"}, record, record)) << "whatever the return code";
    EXPECT_EQ(record, 9u);
    EXPECT_EQ(fake_service.requests.back().payload, Bytes(4).u32(0, 7)) << "the record is its own request";
    EXPECT_FALSE(read(call, {1, nullptr, "Failed to look\n"}, record)) << "but not without an answer";
    EXPECT_EQ(call.status.failed, 0u);
    EXPECT_EQ(take_log(), "[wexond_thing_get.#]: Failed to look\n");
    EXPECT_FALSE(ask<le32>(call, 1, "look again"));
    EXPECT_STREQ(call.status.reason, "failed to look again");
}

// Less than a byte of growth for each round; under a sanitizer it is the sanitizer that counts.
TEST_F(BackendChannelTest, FreesEveryResponse)
{
    struct Large {
        char bytes[65536];
    };
    auto round = [](const std::optional<Bytes> &body) {
        fake_service.answers.assign(9, body);
        void *response = wexond_send_msg(1, 1, nullptr, 0, sizeof(Large));
        if (wexond_check_ret(&response, nullptr, nullptr) == 0)
            free(response);
        Call call{};
        Large large;
        exchange(call, 16, Record{}, "reboot");
        read(call, {1, "look", ""}, large);
        read(call, {1, nullptr, ""}, Record{}, large);
        accepts(16, Record{});
        ask<Large>(1);
        ask<Large>(1, Record{}).accepted();
        ask<Large>(call, 1, "look");
        Answer<Large> answer = ask<Large>(1);
        answer.check("look");
        answer.check("look");
        fake_service = {};
    };
    for (int i = 0; i < 3; i++)
        round(answer(0));
    size_t before = heap_in_use();
    for (int i = 0; i < 100; i++) {
        round(answer(0));
        round(answer(1));
        round(std::nullopt);
    }
    EXPECT_LT(heap_in_use(), before + 100);
}

} // namespace
