// The daemon's threads: the bus thread's start, and the deferred sender of an access point's basic settings.
#include "core/threads.h"

#include <poll.h>
#include <pthread.h>
#include <thread>

#include "core/clock.h"
#include "tests/core/catalogue.h"
#include "tests/core/core_test.h"
#include "tests/core/fake_service.h"
#include "tests/core/faults.h"
#include "tests/core/pauses.h"
#include "wifi/deferred_settings.h"

using test_support::Bytes;

namespace
{

class ThreadsTest : public CoreTest
{
  protected:
    ThreadsTest()
    {
        use_test_families();
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
    pause_seconds(7);
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

// Settings whose radio texts tell one from the other.
ApBasicRecord numbered_settings(size_t number)
{
    ApBasicRecord record = basic_settings();
    copy_text(record.ssid, std::to_string(number).c_str());
    return record;
}

std::string ssids_of(const std::vector<SentRequest> &requests)
{
    std::string ssids;
    for (const SentRequest &request : requests)
        ssids += request.payload->data().substr(12, 32).c_str() + std::string(" ");
    return ssids;
}

int start_sender(size_t number)
{
    return WEXOND_Apbasic_ThreadInit(numbered_settings(number), "wexond_wifi1ap1_set");
}

TEST_F(ThreadsTest, DeferredSendersSendInTheOrderOfTheirCalls)
{
    HeldPauses pauses;
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(start_sender(i), 0);
        ASSERT_TRUE(pauses.wait_for(i + 1)) << "each has a thread of its own";
    }
    pauses.end(2);
    pauses.end(1);
    poll(nullptr, 0, 100); // sleeping would be held, too
    EXPECT_EQ(ssids_of(wait_for_sent(0)), "") << "they wait for the first";
    pauses.end(0);
    EXPECT_EQ(ssids_of(wait_for_sent(3)), "0 1 2 ");
}

TEST_F(ThreadsTest, AtMost64DeferredSendersWait)
{
    HeldPauses pauses;
    for (size_t i = 0; i < 64; i++)
        EXPECT_EQ(start_sender(i), 0) << i;
    take_log();
    EXPECT_EQ(start_sender(64), -1);
    EXPECT_EQ(take_log(), "[wexond_wifi1ap1_set.#]: pthread_create gpWEXOND_Apbasic_pthread\n\n"
                          "[wexond_wifi1ap1_set.#]: Create gpWEXOND_Apbasic_pthread error!\n\n");
    ASSERT_TRUE(pauses.wait_for(64));
    for (size_t i = 0; i < 64; i++)
        pauses.end(i);
    EXPECT_EQ(wait_for_sent(64).size(), 64u) << "those that were taken are sent";
    // The last has to see its answer before there is room again for all.
    while (start_sender(65) != 0)
        std::this_thread::yield();
    ASSERT_TRUE(pauses.wait_for(65));
    pauses.end(64);
    EXPECT_EQ(wait_for_sent(65).back().payload, Bytes(200).u32(4, 2).text(12, "65").u32(196, 0x3F));
}

TEST_F(ThreadsTest, DeferredSenderHasASmallStack)
{
    RecordedPauses pauses;
    size_t size = 0;
    fake_service.rule = [&size](const SentRequest &) {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, &size);
        pthread_attr_destroy(&attributes);
        return std::nullopt;
    };
    EXPECT_EQ(start_sender(0), 0);
    wait_for_sent(1);
    EXPECT_GE(size, size_t{64} * 1024);
    EXPECT_LE(size, size_t{512} * 1024) << "what processors and sanitizers add";
}

TEST_F(ThreadsTest, DeferredSenderNeedsMemory)
{
    FailingMalloc memory(sizeof(ApBasicRecord) + sizeof(uint32_t)); // and its number
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
