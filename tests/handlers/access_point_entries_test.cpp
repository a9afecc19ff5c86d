// wexond.wifi.<band>.ap.<n>, one access point: its counters, and the steps of its `set`. What its settings look like is
// the matter of access_point_settings_test, what it sends later that of deferred_sender_test.

#include <sys/resource.h>

#include "tests/handlers/access_points.h"

namespace
{

using namespace access_points;

// Basic settings with nothing but the enable word.
Request basic_request(uint32_t band_index, uint32_t index, uint32_t enable, uint32_t mask = 1)
{
    return {kSetBasic, 4, Bytes(200).u32(0, band_index).u32(4, index).u32(8, enable).u32(196, mask)};
}

Request rate_request(const Band &band, uint32_t index)
{
    return {kSetRateLimit, 4, rate_limit(band, index)};
}

class EntryTest : public EitherBandTest
{
};

INSTANTIATE_TEST_SUITE_P(Bands, EntryTest, testing::ValuesIn(kBands), band_suffix);

const Request kAskForSync = {kGetDualBandSync, 8};
const Request kClearFactoryFlag = {kSetFactoryFlag, 4, Bytes(4)};

// --- stats ---

TEST_P(EntryTest, ReportsItsCounters)
{
    start_with({1, 2});
    Bytes answer = Bytes(72)
                       .u32(0, ~0u)
                       .u32(4, ~0u)
                       .u64(8, 0x100000002)
                       .u64(16, 2)
                       .u64(24, 3)
                       .u64(32, 0xFFFFFFFFFFFFFFFF)
                       .u64(40, 0x8000000000000000)
                       .u64(48, 0x7FFFFFFFFFFFFFFF)
                       .u64(56, 7)
                       .u64(64, 0xFFFFFFFFFFFFFFFF);
    service().answer(kGetStatistics, record(answer));
    EXPECT_EQ(call_ap(2, "stats"), table({{ap(2), table(shown_counters({"4294967298", "2", "3", "18446744073709551615"},
                                                                       {INT64_MIN, INT64_MAX, 7, -1}))}}));
    EXPECT_EQ(service().take_requests(), (Requests{{kGetStatistics, 76, statistics(band(), 2)}}));
}

TEST_P(EntryTest, TakesCountersThatAShortAnswerLacksForZero)
{
    start_with({1});
    service().answer(kGetStatistics, record(Bytes(20).u64(8, 5).u32(16, 6)));
    EXPECT_EQ(call_ap(1, "stats"), table({{ap(1), table(shown_counters({"5", "6", "0", "0"}, {0, 0, 0, 0}))}}));
}

TEST_P(EntryTest, ReportsUnreadableCounters)
{
    start_with({1});
    service().answer_in_turn(kGetStatistics, {code(1, Bytes(72)), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call_ap(1, "stats"), failure(text("failed to get % ap status")));
}

TEST_P(EntryTest, LogsItsCounters)
{
    start_with({1});
    service().answer_in_turn(kGetStatistics, {code(0), code(4)});
    enable_log();
    call_ap(1, "stats");
    EXPECT_EQ(take_log(), entry_line("1_status", ap(1), "stats") + get_reply_log());
    call_ap(1, "stats");
    EXPECT_EQ(take_log(), entry_line("1_status", ap(1), "stats") + "[wexond_check_ret.#]: Msg retcode = 4\n" +
                              get_reply_log(text("failed to get % ap status")));
}

// --- set, of either band ---

TEST_P(EntryTest, ReadsTheSettingsOfItsOwnIndex)
{
    start_with({1, 3});
    call_ap(3, "get");
    EXPECT_EQ(service().take_requests(), readings(band(), 3));
}

TEST_P(EntryTest, ReportsARefusedSetAndSendsTheRest)
{
    start_with({1});
    for (const Answer &answer : {code(1), no_answer()}) {
        service().take_requests();
        service().answer(kSetBasic, answer);
        EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes", "accessmode": 1, "accessrule": 2})"),
                  failure("failed to set ap basic"));
        Requests requests = service().take_requests();
        ASSERT_GE(requests.size(), 4u);
        requests.erase(requests.begin(), requests.end() - 4);
        EXPECT_EQ(requests, (Requests{basic_request(band().index, 1, 1),
                                      {kSetAccessMode, 4, access_mode(band(), 1).u32(8, 1)},
                                      {kSetAccessRule, 4, access_rule(band(), 1).u32(8, 2)},
                                      rate_request(band(), 1)}));
    }
}

TEST_P(EntryTest, NoticesOnlyMissingAnswersOfTheRest)
{
    const std::string arguments = R"({"accessmode": 1, "accessrule": 2})";
    start_with({1});
    const std::string lines =
        entry_line("1_set", ap(1), "set") + log("1_set", "accessmode:1 \n\n") + log("1_set", "accessrule:2 \n\n");
    for (uint32_t type : {kSetAccessMode, kSetAccessRule, kSetRateLimit})
        service().answer(type, code(1));
    enable_log();
    EXPECT_EQ(call_ap(1, "set", arguments), kSuccess);
    EXPECT_EQ(take_log(), lines + set_reply_log());
    for (uint32_t type : {kSetAccessMode, kSetAccessRule, kSetRateLimit})
        service().answer(type, no_answer());
    EXPECT_EQ(call_ap(1, "set", arguments), kSuccess);
    EXPECT_EQ(take_log(), lines + log("1_set", "Failed to set ap access mode\n") +
                              log("1_set", "Failed to set ap access rule\n") +
                              log("1_set", "Failed to set " + band().rate_limit_word + "\n") + set_reply_log());
}

TEST_P(EntryTest, LogsARefusedSet)
{
    start_with({1});
    service().answer(kSetBasic, code(2));
    enable_log();
    call_ap(1, "set");
    EXPECT_EQ(take_log(), entry_line("1_set", ap(1), "set") + "[wexond_check_ret.#]: Msg retcode = 2\n" +
                              log("1_set", "Failed to set ap basic\n") + set_reply_log("failed to set ap basic"));
}

// --- set and the factory flag ---

class FactoryTest : public EntryTest
{
  protected:
    void SetUp() override
    {
        service().answer(kGetFactoryFlag, record(Bytes(4).u32(0, 1)));
        start_with({1});
    }

    // How often a set clears the flag.
    size_t cleared_by_set()
    {
        service().take_requests();
        call_ap(1, "set", R"({"enable": "yes"})");
        Requests requests = service().take_requests();
        return std::count(requests.begin(), requests.end(), kClearFactoryFlag);
    }
};

INSTANTIATE_TEST_SUITE_P(Bands, FactoryTest, testing::ValuesIn(kBands), band_suffix);

TEST_P(FactoryTest, EndsWithTheFirstAcceptedSet)
{
    EXPECT_EQ(cleared_by_set(), 1u);
    EXPECT_EQ(cleared_by_set(), 0u);
}

TEST_P(FactoryTest, EndsRightAfterTheBasicSettings)
{
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes", "accessmode": 0})"), kSuccess);
    Requests requests = service().take_requests();
    ASSERT_GE(requests.size(), 4u);
    requests.erase(requests.begin(), requests.end() - 4);
    EXPECT_EQ(requests, (Requests{basic_request(band().index, 1, 1),
                                  kClearFactoryFlag,
                                  {kSetAccessMode, 4, access_mode(band(), 1)},
                                  rate_request(band(), 1)}));
}

TEST_P(FactoryTest, OutlastsARefusedSet)
{
    service().answer(kSetBasic, code(1));
    EXPECT_EQ(cleared_by_set(), 0u);
    service().answer(kSetBasic, code(0));
    EXPECT_EQ(cleared_by_set(), 1u);
}

TEST_P(FactoryTest, IsReportedAndTriedAgainWhereItDoesNotEnd)
{
    service().answer_in_turn(kSetFactoryFlag, {code(1), no_answer(), code(0)});
    enable_log();
    for (const std::string &check_log :
         {std::string("[wexond_check_ret.#]: Msg retcode = 1\n"), std::string(kNoAnswerLog)}) {
        EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), failure("failed to set factoryflag"));
        EXPECT_EQ(take_log(), entry_line("1_set", ap(1), "set") + log("1_set", "enable:yes \n\n") + check_log +
                                  log("1_set", "Failed to set factoryflag\n") +
                                  set_reply_log("failed to set factoryflag"));
    }
    EXPECT_EQ(cleared_by_set(), 1u);
    EXPECT_EQ(cleared_by_set(), 0u);
}

TEST_P(FactoryTest, IsClearedOncePerProcessWhateverTheBand)
{
    EXPECT_EQ(cleared_by_set(), 1u);
    service().take_requests();
    EXPECT_EQ(call(kBands[1 - band().index].object + ".1", "set", R"({"enable": "yes"})"), kSuccess);
    for (const Request &request : service().take_requests())
        EXPECT_NE(request.type, kSetFactoryFlag);
}

TEST_P(EntryTest, LeavesAnotherFactoryFlagThanOneAlone)
{
    service().answer(kGetFactoryFlag, record(Bytes(4).u32(0, 2)));
    start_with({1});
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), kSuccess);
    for (const Request &request : service().take_requests())
        EXPECT_NE(request.type, kSetFactoryFlag);
}

// --- set of a 5 GHz access point ---

class FiveGigahertzTest : public OneBandTest
{
  protected:
    FiveGigahertzTest() : OneBandTest(kBands[1]) {}
};

TEST_F(FiveGigahertzTest, SendsAtOnceAndWithoutAskingForSync)
{
    start_with({1, 2});
    for (uint32_t index : {1u, 2u}) {
        EXPECT_EQ(call_ap(index, "set", R"({"enable": "no"})"), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{basic_request(1, index, 0), rate_request(band(), index)}));
    }
    EXPECT_EQ(call_ap(2, "set"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{basic_request(1, 2, 0, 0), rate_request(band(), 2)}));
}

// --- set of a 2.4 GHz access point ---

class SyncTest : public OneBandTest
{
  protected:
    SyncTest() : OneBandTest(kBands[0]) {}

    void start_in_sync(uint32_t sync, uint32_t factory = 0)
    {
        service().answer(kGetFactoryFlag, record(Bytes(4).u32(0, factory)));
        start_with({1, 2});
        service().answer(kGetDualBandSync, record(Bytes(4).u32(0, sync)));
    }
};

TEST_F(SyncTest, SendsOnlyItsOwnSettingsWithoutSync)
{
    start_in_sync(0);
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "no"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{kAskForSync, basic_request(0, 1, 0), rate_request(band(), 1)}));
    service().answer(kGetDualBandSync, record(Bytes(4).u32(0, 2)));
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{kAskForSync, basic_request(0, 1, 1), rate_request(band(), 1)}));
}

TEST_F(SyncTest, SendsTheTwinsSettingsFirst)
{
    start_in_sync(1);
    EXPECT_EQ(call_ap(2, "set", R"({"enable": "yes", "accessmode": 3, "accessrule": 4, "usbandwidth": 5})"), kSuccess);
    EXPECT_EQ(service().take_requests(),
              (Requests{kAskForSync,
                        basic_request(1, 2, 1),
                        basic_request(0, 2, 1),
                        {kSetAccessMode, 4, access_mode(band(), 2).u32(8, 3)},
                        {kSetAccessRule, 4, access_rule(band(), 2).u32(8, 4)},
                        {kSetRateLimit, 4, rate_limit(band(), 2).u32(8, 5).u32(16, 0x400)}}));
}

TEST_F(SyncTest, EndsFactorySettingsWithTheTwin)
{
    start_in_sync(1, 1);
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{kAskForSync, basic_request(1, 1, 1), kClearFactoryFlag,
                                                   basic_request(0, 1, 1), rate_request(band(), 1)}));
}

TEST_F(SyncTest, EndsFactorySettingsWithItselfWhereTheTwinIsRefused)
{
    start_in_sync(1, 1);
    service().answer_in_turn(kSetBasic, {code(1), code(0)});
    enable_log();
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), failure("failed to set ap basic"));
    EXPECT_EQ(service().take_requests(), (Requests{kAskForSync, basic_request(1, 1, 1), basic_request(0, 1, 1),
                                                   kClearFactoryFlag, rate_request(band(), 1)}));
    EXPECT_EQ(take_log(), entry_line("1_set", ap(1), "set") + log("1_set", "enable:yes \n\n") +
                              "[wexond_check_ret.#]: Msg retcode = 1\n" + set_reply_log("failed to set ap basic"));
}

TEST_F(SyncTest, TriesTheFactoryFlagAgainAfterEachAcceptedRequest)
{
    start_in_sync(1, 1);
    service().answer(kSetFactoryFlag, code(1));
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), failure("failed to set factoryflag"));
    EXPECT_EQ(service().take_requests(),
              (Requests{kAskForSync, basic_request(1, 1, 1), kClearFactoryFlag, basic_request(0, 1, 1),
                        kClearFactoryFlag, rate_request(band(), 1)}));
}

TEST_F(SyncTest, AnUnreadableSyncCountsAsOffAndIsReported)
{
    start_in_sync(1);
    enable_log();
    for (const Answer &answer : {code(1, Bytes(4).u32(0, 1)), no_answer()}) {
        service().answer(kGetDualBandSync, answer);
        EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), failure("failed to get dualbandsync."));
        EXPECT_EQ(service().take_requests(), (Requests{kAskForSync, basic_request(0, 1, 1), rate_request(band(), 1)}));
        EXPECT_EQ(take_log(), entry_line("1_set", ap(1), "set") + log("1_set", "enable:yes \n\n") +
                                  (answer.is_given ? "[wexond_check_ret.#]: Msg retcode = 1\n" : kNoAnswerLog) +
                                  log("1_set", "Failed to get dualbandsync.\n") +
                                  set_reply_log("failed to get dualbandsync."));
    }
}

TEST_F(SyncTest, ReportsTheLastFailure)
{
    start_in_sync(1, 1);
    service().answer(kGetDualBandSync, code(1));
    service().answer(kSetFactoryFlag, code(1));
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), failure("failed to set factoryflag"));
    service().answer(kSetBasic, code(1));
    EXPECT_EQ(call_ap(1, "set", R"({"enable": "yes"})"), failure("failed to set ap basic"));
}

TEST_F(SyncTest, DefersASecondaryAccessPointThatIsNotSwitchedOn)
{
    start_in_sync(1, 1);
    for (const char *arguments : {R"({"enable": "no"})", R"({"enable": "Yes"})", R"({"ssid": "x"})", "{}"}) {
        EXPECT_EQ(call_ap(2, "set", arguments), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{rate_request(band(), 2)})) << arguments;
    }
}

TEST_F(SyncTest, DefersOnlyTheBasicSettings)
{
    start_in_sync(1, 1);
    enable_log();
    EXPECT_EQ(call_ap(2, "set", R"({"enable": "no", "accessmode": 3, "accessrule": 4})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{kSetAccessMode, 4, access_mode(band(), 2).u32(8, 3)},
                                                   {kSetAccessRule, 4, access_rule(band(), 2).u32(8, 4)},
                                                   rate_request(band(), 2)}));
    EXPECT_EQ(take_log(), entry_line("1_set", ap(2), "set") + log("1_set", "enable:no \n\n") +
                              log("1_set", "accessmode:3 \n\n") + log("1_set", "accessrule:4 \n\n") +
                              log("1_set", "pthread_create gpWEXOND_Apbasic_pthread\n\n") + set_reply_log());
}

TEST_F(SyncTest, DoesNotDeferTheFirstAccessPoint)
{
    start_in_sync(0);
    for (const char *arguments : {R"({"enable": "no"})", "{}"}) {
        EXPECT_EQ(call_ap(1, "set", arguments), kSuccess);
        EXPECT_EQ(service().take_requests().size(), 3u) << arguments;
    }
}

#if defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer);
#elif defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// No address space is left for the thread's stack.
TEST_F(SyncTest, EndsTheCallWithoutAReplyWhereTheSenderCannotStart)
{
    if (kSanitized)
        GTEST_SKIP() << "a sanitizer needs the address space for itself";
    if (!kEmulator.empty())
        GTEST_SKIP() << "the limit would be the emulator's, which does not live within it";
    start_in_sync(1, 1);
    enable_log();
    rlimit nothing_more = {1, RLIM_INFINITY};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_AS, &nothing_more, nullptr), 0);
    std::string reply = call_ap(2, "set", R"({"enable": "no", "accessmode": 1})");
    rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(prlimit(daemon().pid(), RLIMIT_AS, &unlimited, nullptr), 0);
    EXPECT_EQ(reply, "(Unknown error: -1)");
    EXPECT_EQ(take_log(), entry_line("1_set", ap(2), "set") + log("1_set", "enable:no \n\n") +
                              log("1_set", "accessmode:1 \n\n") +
                              log("1_set", "pthread_create gpWEXOND_Apbasic_pthread\n\n") +
                              log("1_set", "Create gpWEXOND_Apbasic_pthread error!\n\n"));
    EXPECT_EQ(service().take_requests(), Requests{});
    EXPECT_EQ(call_ap(2, "set", R"({"enable": "no"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{rate_request(band(), 2)}));
}

} // namespace
