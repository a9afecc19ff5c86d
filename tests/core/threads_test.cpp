// The daemon's threads: the bus thread's start, and the deferred sender of an access point's basic settings.
#include "core/threads.h"

#include "core/catalogue.h"
#include "tests/core/catalogue.h"
#include "tests/core/core_test.h"
#include "tests/core/fake_service.h"
#include "tests/core/faults.h"
#include "tests/core/pauses.h"

using test_support::Bytes;

namespace
{

class ThreadsTest : public CoreTest
{
  protected:
    ThreadsTest()
    {
        fake_service = {};
        event_relay_result = 0;
        enable_log();
    }
};

// --- The bus thread ---

TEST_F(ThreadsTest, WithoutABusTheBusThreadEnds)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(WEXOND_ThreadInit(), 0);
    WEXOND_ThreadJoin();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to connect to ubus\n");
    EXPECT_EQ(take_log(), "[WEXOND_ThreadRun.#]: Start wexond\n\n");
    EXPECT_TRUE(fake_service.requests.empty());
}

TEST_F(ThreadsTest, ReportsABusThreadThatCannotBeStarted)
{
    FailingThreads none;
    EXPECT_EQ(WEXOND_ThreadInit(), -1);
    EXPECT_EQ(take_log(), "[WEXOND_ThreadInit.#]: Create gpWEXOND_pthread error!\n\n");
}

TEST_F(ThreadsTest, ReportsAnEventRelayThatCannotBeStarted)
{
    event_relay_result = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(WEXOND_ThreadInit(), -1);
    WEXOND_ThreadJoin();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Failed to connect to ubus\n") << "the bus thread runs on";
    EXPECT_NE(take_log().find("[WEXOND_ThreadInit.#]: WEXOND_Notify_ThreadInit error\n\n"), std::string::npos);
}

// --- Pauses ---

TEST_F(ThreadsTest, SignalsDoNotShortenAPause)
{
    RecordedPauses pauses(2);
    wexond_pause(7);
    EXPECT_EQ(pauses.taken(), std::vector<long>{-1000});
}

// --- The deferred sender ---

ApBasicRecord basic_settings()
{
    ApBasicRecord record{};
    record.band = 0;
    record.ap_index = 2;
    copy_text(record.ssid, "guests");
    record.change_mask = 0x3F;
    return record;
}

Bytes basic_settings_bytes()
{
    return Bytes(200).u32(4, 2).text(12, "guests").u32(196, 0x3F);
}

TEST_F(ThreadsTest, DeferredSenderSendsItsCopyAfterFifteenSeconds)
{
    const std::optional<Bytes> answers[] = {answer(0), answer(7), std::nullopt};
    for (const std::optional<Bytes> &service_answer : answers) {
        fake_service = {};
        fake_service.answers = {service_answer};
        RecordedPauses pauses;
        ApBasicRecord record = basic_settings();
        EXPECT_EQ(WEXOND_Apbasic_ThreadInit(record, "wexond_wifi1ap1_set"), 0);
        memset(&record, 0xEE, sizeof(record));
        EXPECT_EQ(wait_for_sent(1),
                  (std::vector<SentRequest>{{folder() / "orvc.sock", 184, 1, basic_settings_bytes(), 200, 4}}));
        EXPECT_EQ(pauses.taken(), std::vector<long>{15});
        EXPECT_EQ(take_log(), "[wexond_wifi1ap1_set.#]: pthread_create gpWEXOND_Apbasic_pthread\n\n")
            << "the answer is not looked at";
    }
}

TEST_F(ThreadsTest, SeveralDeferredSendersWaitAtOnce)
{
    RecordedPauses pauses;
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(WEXOND_Apbasic_ThreadInit(basic_settings(), "wexond_wifi1ap1_set"), 0);
    EXPECT_EQ(wait_for_sent(8).size(), 8u);
}

TEST_F(ThreadsTest, DeferredSenderNeedsMemory)
{
    FailingMalloc memory(sizeof(ApBasicRecord));
    EXPECT_EQ(WEXOND_Apbasic_ThreadInit(basic_settings(), "wexond_wifi1ap1_set"), 1);
    EXPECT_EQ(take_log(), "[wexond_wifi1ap1_set.#]: malloc is NULL!\n");
    EXPECT_TRUE(fake_service.requests.empty());
}

TEST_F(ThreadsTest, DeferredSenderNeedsAThread)
{
    size_t before = heap_in_use();
    for (int i = 0; i < 100; i++) {
        FailingThreads none;
        EXPECT_EQ(WEXOND_Apbasic_ThreadInit(basic_settings(), "wexond_wifi1ap1_set"), -1);
        EXPECT_EQ(take_log(), "[wexond_wifi1ap1_set.#]: pthread_create gpWEXOND_Apbasic_pthread\n\n"
                              "[wexond_wifi1ap1_set.#]: Create gpWEXOND_Apbasic_pthread error!\n\n");
    }
    EXPECT_TRUE(fake_service.requests.empty());
    EXPECT_LT(heap_in_use(), before + 100 * sizeof(ApBasicRecord));
}

} // namespace
