// wexond.wifi.1.ap and wexond.wifi.2.ap, the access points of a band: added, deleted, listed, counted. What their
// settings look like is the matter of access_point_settings_test.

#include "tests/handlers/access_points.h"

namespace
{

using namespace access_points;

class BandTest : public EitherBandTest
{
  protected:
    std::string added(uint32_t index) const { return table({{"result", "0"}, {"idx", index}, {"failreason", ""}}); }

    std::string idx(uint32_t index) const { return "{\"idx\": " + std::to_string(index) + "}"; }

    // The paths of these access points.
    std::vector<std::string> paths(const std::vector<uint32_t> &indices) const
    {
        std::vector<std::string> paths;
        for (uint32_t index : indices)
            paths.push_back(ap(index));
        return paths;
    }

    Requests sent_by_add(uint32_t index) const
    {
        return {{kSetBasic, 4, basic(band(), index)}, {kSetRateLimit, 4, rate_limit(band(), index)}};
    }

    // The request that gives an access point its default settings back.
    Request reset_of(uint32_t index) const
    {
        std::string ssid = band().default_ssid + std::to_string(index);
        return {kSetBasic, 4, basic(band(), index).text(12, ssid).u32(196, 0x3F)};
    }
};

INSTANTIATE_TEST_SUITE_P(Bands, BandTest, testing::ValuesIn(kBands), band_suffix);

// --- add ---

TEST_P(BandTest, AddsTheLowestFreeIndex)
{
    start_with({1, 2, 4});
    for (uint32_t index : {3u, 5u, 6u}) {
        EXPECT_EQ(call_band("add"), added(index));
        EXPECT_EQ(service().take_requests(), sent_by_add(index));
    }
    EXPECT_EQ(listed(), paths({1, 2, 3, 4, 5, 6}));
}

TEST_P(BandTest, AddsTheFirstToABandWithoutAny)
{
    start_with({});
    EXPECT_EQ(listed(), paths({}));
    EXPECT_EQ(call_band("add"), added(1));
    EXPECT_EQ(service().take_requests(), sent_by_add(1));
    EXPECT_EQ(listed(), paths({1}));
}

TEST_P(BandTest, AddsBeforeTheFirst)
{
    start_with({2, 3});
    EXPECT_EQ(call_band("add"), added(1));
    EXPECT_EQ(listed(), paths({1, 2, 3}));
}

TEST_P(BandTest, PublishesTheMethodsOfAnAddedAccessPoint)
{
    start_with({1});
    ASSERT_EQ(call_band("add"), added(2));
    EXPECT_EQ(client().list(ap(2)),
              ap(2) + "\n  set enable:string ssid:string key:string auth:string encrypt:string hide:int32 "
                      "accessmode:int32 accessrule:int32 allowedipport:string usbandwidth:int32 dsbandwidth:int32\n"
                      "  get\n  stats\n");
}

TEST_P(BandTest, LeavesTheOtherBandAlone)
{
    start_with({1});
    const Band &other = kBands[1 - band().index];
    ASSERT_EQ(call_band("add"), added(2));
    EXPECT_FALSE(client().has_object(other.object + ".2"));
    EXPECT_TRUE(client().has_object(other.object + ".1"));
}

TEST_P(BandTest, ARefusedAddSendsAndPublishesNothingMore)
{
    start_with({1});
    for (const Answer &answer : {code(9), no_answer()}) {
        service().answer(kSetBasic, answer);
        EXPECT_EQ(call_band("add", R"({"accessmode": 1, "accessrule": 2, "usbandwidth": 3})"),
                  table({{"result", "1"}, {"idx", 0}, {"failreason", text("failed to add % wifi ap")}}));
        EXPECT_EQ(service().take_requests(), (Requests{{kSetBasic, 4, basic(band(), 2)}}));
    }
    EXPECT_EQ(listed(), paths({1}));
    service().answer(kSetBasic, code(0));
    EXPECT_EQ(call_band("add"), added(2)) << "the index stays free";
}

TEST_P(BandTest, AddNoticesOnlyMissingAnswersOfItsLaterRequests)
{
    start_with({1});
    const std::string arguments = R"({"accessmode": 1, "accessrule": 3})";
    const std::string lines =
        entry_line("_add", band().object, "add") + log("_add", "accessmode:1 \n\n") + log("_add", "accessrule:3 \n\n");
    for (uint32_t type : {kSetAccessMode, kSetAccessRule, kSetRateLimit})
        service().answer(type, code(1));
    enable_log();
    EXPECT_EQ(call_band("add", arguments), added(2));
    EXPECT_EQ(take_log(), lines + "[wifiap_update.#]: Create wifiap '2'\n\n" + log("_add", "success ,  \n\n"));
    for (uint32_t type : {kSetAccessMode, kSetAccessRule, kSetRateLimit})
        service().answer(type, no_answer());
    service().take_requests();
    EXPECT_EQ(call_band("add", arguments), added(3));
    EXPECT_EQ(service().take_requests(), (Requests{{kSetBasic, 4, basic(band(), 3)},
                                                   {kSetAccessMode, 4, access_mode(band(), 3).u32(8, 1)},
                                                   {kSetAccessRule, 4, access_rule(band(), 3).u32(8, 3)},
                                                   {kSetRateLimit, 4, rate_limit(band(), 3)}}));
    EXPECT_EQ(take_log(), lines + log("_add", "Failed to set ap access mode\n") +
                              log("_add", "Failed to set ap access rule\n") +
                              log("_add", "Failed to set ap rate limit\n") +
                              "[wifiap_update.#]: Create wifiap '3'\n\n" + log("_add", "success ,  \n\n"));
    EXPECT_EQ(listed(), paths({1, 2, 3}));
}

TEST_P(BandTest, LogsARefusedAdd)
{
    start_with({1});
    service().answer(kSetBasic, code(9));
    enable_log();
    call_band("add");
    EXPECT_EQ(take_log(), entry_line("_add", band().object, "add") + "[wexond_check_ret.#]: Msg retcode = 9\n" +
                              log("_add", "Failed to set ap basic\n") +
                              log("_add", text("failed , failed to add % wifi ap \n\n")));
}

// Neither the deferred sender nor what follows an entry's set is the matter of add.
TEST_P(BandTest, AddIsNeitherDeferredNorSynchronisedNorAnEndOfFactorySettings)
{
    service().answer(kGetFactoryFlag, record(Bytes(4).u32(0, 1)));
    start_with({1});
    EXPECT_EQ(call_band("add", R"({"enable": "no"})"), added(2));
    EXPECT_EQ(service().take_requests(),
              (Requests{{kSetBasic, 4, basic(band(), 2).u32(196, 1)}, {kSetRateLimit, 4, rate_limit(band(), 2)}}));
}

// --- delete ---

TEST_P(BandTest, DeletesByWritingTheDefaults)
{
    start_with({1, 2, 3});
    EXPECT_EQ(call_band("delete", idx(3)), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{reset_of(3)}));
    EXPECT_EQ(listed(), paths({1, 2}));
    EXPECT_EQ(call_band("delete", idx(1)), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{reset_of(1)}));
    EXPECT_EQ(listed(), paths({2}));
    EXPECT_EQ(call(ap(3), "get"), "(object: Not found)");
}

TEST_P(BandTest, AddsADeletedIndexAgain)
{
    start_with({1, 2, 3});
    call_band("delete", idx(2));
    EXPECT_EQ(call_band("add"), added(2));
    EXPECT_EQ(listed(), paths({1, 2, 3}));
    service().take_requests();
    call_ap(2, "stats");
    EXPECT_EQ(service().take_requests(), (Requests{{kGetStatistics, 76, statistics(band(), 2)}}));
}

TEST_P(BandTest, KeepsAnAccessPointWhoseDeletionIsRefused)
{
    start_with({1, 2});
    for (const Answer &answer : {code(1), no_answer()}) {
        service().answer(kSetBasic, answer);
        EXPECT_EQ(call_band("delete", idx(2)), failure(text("failed to delete % ap")));
        EXPECT_EQ(service().take_requests(), (Requests{reset_of(2)}));
    }
    EXPECT_EQ(listed(), paths({1, 2}));
}

TEST_P(BandTest, RefusesToDeleteWhatItDoesNotKnow)
{
    start_with({1, 2});
    for (const char *arguments : {R"({"idx": 3})", R"({"idx": 0})", R"({"idx": -1})", R"({"idx": 257})"})
        EXPECT_EQ(call_band("delete", arguments), failure(text("failed to delete % ap")));
    EXPECT_EQ(service().take_requests(), Requests{});
    EXPECT_EQ(listed(), paths({1, 2}));
}

TEST_P(BandTest, DeleteRequiresTheIndex)
{
    start_with({1});
    for (const char *arguments : {"{}", R"({"idx": "1"})", R"({"idx": [1]})", R"({"index": 1})"})
        EXPECT_EQ(call_band("delete", arguments), failure("required parameter: idx"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_P(BandTest, LogsDeletions)
{
    const std::string reason = text("failed to delete % ap");
    start_with({1, 2});
    enable_log();
    call_band("delete", idx(2));
    EXPECT_EQ(take_log(), entry_line("_delete", band().object, "delete") + log("_delete", "idx:2 \n\n") +
                              "[wifiap_update.#]: Remove wifiap '2'\n\n" + set_reply_log());
    call_band("delete", R"({"idx": -7})");
    EXPECT_EQ(take_log(), entry_line("_delete", band().object, "delete") + log("_delete", "idx:-7 \n\n") +
                              log("_delete", "Failed to find idx\n") + set_reply_log(reason));
    service().answer(kSetBasic, no_answer());
    call_band("delete", idx(1));
    EXPECT_EQ(take_log(), entry_line("_delete", band().object, "delete") + log("_delete", "idx:1 \n\n") + kNoAnswerLog +
                              set_reply_log(reason));
    call_band("delete");
    EXPECT_EQ(take_log(), entry_line("_delete", band().object, "delete") + set_reply_log("required parameter: idx"));
}

// --- list ---

TEST_P(BandTest, ListsNothingAsAnEmptyArray)
{
    start_with({});
    EXPECT_EQ(call_band("list"), table({{band().object, array({})}}));
    EXPECT_EQ(call_band("stats"), table({{band().object, array({})}}));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_P(BandTest, ListsEveryAccessPointWhateverFails)
{
    // The second one answers with the rate limit alone, the third with nothing, and the service is gone at the fifth.
    start_with({1, 2, 3, 5});
    auto rule = [](size_t answered_until, const Bytes &answer) {
        return [=](const Request &request) {
            size_t index = request.payload.data()[4];
            return index < answered_until ? record(answer) : index == 3 ? code(1) : no_answer();
        };
    };
    service().answer_by(kGetBasic, rule(2, Bytes(200).text(12, "home")));
    service().answer_by(kGetAccessMode, rule(2, Bytes(12).u32(8, 4)));
    service().answer_by(kGetAccessRule, rule(2, Bytes(216).u32(8, 3)));
    service().answer_by(kGetRateLimit, rule(3, Bytes(20).u32(8, 10)));
    Shown first = {.ssid = "home", .access_mode = 4, .access_rule = 3, .upstream = 10};
    EXPECT_EQ(call_band("list"), table({{band().object, array({first.listed(1), Shown{.upstream = 10}.listed(2),
                                                               Shown().listed(3), Shown().listed(5)})}}));
    Requests expected;
    for (uint32_t index : {1u, 2u, 3u, 5u})
        for (const Request &request : readings(band(), index))
            expected.push_back(request);
    EXPECT_EQ(service().take_requests(), expected);
}

TEST_P(BandTest, ListsWithoutAService)
{
    start_with({1, 2});
    end_service();
    EXPECT_EQ(call_band("list"), table({{band().object, array({Shown().listed(1), Shown().listed(2)})}}));
    EXPECT_EQ(call_band("stats"), table({{band().object, array({})}}));
}

// --- stats ---

Bytes counters(uint64_t first)
{
    Bytes record(72);
    for (size_t i = 0; i < 8; i++)
        record.u64(8 + 8 * i, first + i);
    return record;
}

TEST_P(BandTest, ReportsTheCountersOfThoseThatAnswer)
{
    start_with({1, 2, 3, 4});
    service().answer_in_turn(
        kGetStatistics, {record(counters(1)), code(3, counters(9)), no_answer(), record(counters(0xFFFFFFFFFFFFFFF8))});
    EXPECT_EQ(call_band("stats"),
              table({{band().object, array({table(shown_counters({"1", "2", "3", "4"}, {5, 6, 7, 8})),
                                            table(shown_counters({"18446744073709551608", "18446744073709551609",
                                                                  "18446744073709551610", "18446744073709551611"},
                                                                 {-4, -3, -2, -1}))})}}));
    Requests expected;
    for (uint32_t index : {1u, 2u, 3u, 4u})
        expected.push_back({kGetStatistics, 76, statistics(band(), index)});
    EXPECT_EQ(service().take_requests(), expected);
}

TEST_P(BandTest, LogsTheCountersThatFail)
{
    start_with({1, 2});
    service().answer_in_turn(kGetStatistics, {code(3), no_answer(), record(counters(1))});
    enable_log();
    EXPECT_EQ(call_band("stats"), table({{band().object, array({})}}));
    EXPECT_EQ(take_log(), entry_line("_status", band().object, "stats") + "[wexond_check_ret.#]: Msg retcode = 3\n" +
                              log("_status", "Failed to get ap[1] status\n") + kNoAnswerLog +
                              log("_status", "Failed to get ap[2] status\n"));
    call_band("stats");
    EXPECT_EQ(take_log(), entry_line("_status", band().object, "stats"));
}

// --- The key of the list ---

// An index whose lowest byte is 0 has the empty key: it comes first in the list.
class FullBandTest : public BandTest
{
  protected:
    void SetUp() override
    {
        std::vector<uint32_t> all(256);
        for (uint32_t i = 0; i < all.size(); i++)
            all[i] = i + 1;
        start_with(all);
        service().take_requests();
    }
};

INSTANTIATE_TEST_SUITE_P(Bands, FullBandTest, testing::ValuesIn(kBands), band_suffix);

TEST_P(FullBandTest, Lists256First)
{
    EXPECT_TRUE(client().has_object(ap(256)));
    call_band("stats");
    Requests requests = service().take_requests();
    ASSERT_EQ(requests.size(), 256u);
    EXPECT_EQ(requests[0], (Request{kGetStatistics, 76, statistics(band(), 256)}));
    EXPECT_EQ(requests[1], (Request{kGetStatistics, 76, statistics(band(), 1)}));
    EXPECT_EQ(requests[255], (Request{kGetStatistics, 76, statistics(band(), 255)}));
}

TEST_P(FullBandTest, AddsTheFirstFreeNumberWhateverTheOrder)
{
    EXPECT_EQ(call_band("add"), added(257));
    EXPECT_TRUE(client().has_object(ap(257)));
    EXPECT_EQ(listed().size(), 257u);
    EXPECT_EQ(call_band("delete", idx(7)), kSuccess);
    EXPECT_EQ(call_band("add"), added(7));
    EXPECT_EQ(call_band("delete", idx(256)), kSuccess);
    EXPECT_FALSE(client().has_object(ap(256)));
    EXPECT_EQ(call_band("add"), added(256));
    EXPECT_TRUE(client().has_object(ap(256)));
}

TEST_P(FullBandTest, PassesOverNumbersWhoseKeyIsTaken)
{
    for (uint32_t index = 257; index <= 511; index++)
        ASSERT_EQ(call_band("add"), added(index));
    EXPECT_EQ(call_band("add"), added(513));
    EXPECT_EQ(listed().size(), 512u);
}

} // namespace
