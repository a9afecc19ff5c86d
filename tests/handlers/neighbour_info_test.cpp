// wexond.neighbourinfo: the access points that the radios hear.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGet = 195;
constexpr uint32_t kEntries = 32;

// Entry i lies at 8 + 92 i: SSID at 0, BSSID at 33, channel at 68, RSSI at 72, standards at 76.
constexpr size_t entry(size_t i)
{
    return 8 + 92 * i;
}

Bytes neighbour_list(uint32_t count)
{
    return Bytes(2952).u32(4, count);
}

void add(Bytes &list, size_t i, std::string_view ssid, std::string_view bssid, uint32_t channel, int rssi,
         uint32_t standards)
{
    list.text(entry(i), ssid)
        .text(entry(i) + 33, bssid)
        .u32(entry(i) + 68, channel)
        .u32(entry(i) + 72, static_cast<uint32_t>(rssi))
        .u32(entry(i) + 76, standards);
}

ReplyText shown(const char *band, const std::string &ssid, const std::string &bssid, int32_t channel, int32_t rssi,
                const char *standard)
{
    return table({{"band", band},
                  {"ssid", ssid},
                  {"bssid", bssid},
                  {"networktype", "AP"},
                  {"channel", channel},
                  {"rssi", rssi},
                  {"standard", standard}});
}

std::string reply(const std::vector<ReplyValue> &neighbours)
{
    return table({{"wexond.neighbourinfo", array(neighbours)}});
}

const Request kAsk2G{kGet, 2956, Bytes(8)};
const Request kAsk5G{kGet, 2956, Bytes(8).u32(0, 1)};

class NeighbourInfoTest : public HandlerTest
{
  protected:
    std::string get() { return call("wexond.neighbourinfo", "get"); }
};

TEST_F(NeighbourInfoTest, ReportsBothBands)
{
    Bytes band_2g = neighbour_list(3), band_5g = neighbour_list(2);
    add(band_2g, 0, "Cafe", "00:1a:2b:3c:4d:5e", 1, -40, 2);
    add(band_2g, 1, "", "00:1A:2B:3C:4D:5F", 6, -71, 1 | 2 | 8);
    add(band_2g, 2, "last", "ff:ff:ff:ff:ff:ff", 13, -90, 32);
    add(band_5g, 0, "five", "a:b:c:d:e:f", 36, -55, 4 | 8 | 16 | 32);
    add(band_5g, 1, "six", "0A:0b:0C:0d:0E:0f", 149, 0, 0);
    service().answer_in_turn(kGet, {record(band_2g), record(band_5g)});
    EXPECT_EQ(get(), reply({shown("2.4G", "Cafe", "001A2B3C4D5E", 1, -40, "11g"),
                            shown("2.4G", "", "001A2B3C4D5F", 6, -71, "11b/11g/11n"),
                            shown("2.4G", "last", "FFFFFFFFFFFF", 13, -90, "11ax"),
                            shown("5G", "five", "a:b:c:d:e:f", 36, -55, "11a/11n/11ac/11ax"),
                            shown("5G", "six", "0A0B0C0D0E0F", 149, 0, "")}));
    EXPECT_EQ(service().take_requests(), (Requests{kAsk2G, kAsk5G}));
}

TEST_F(NeighbourInfoTest, ReportsAnEmptyArrayWhereNobodyIsHeard)
{
    service().answer(kGet, record(neighbour_list(0)));
    EXPECT_EQ(get(), reply({}));
}

TEST_F(NeighbourInfoTest, ReadsNoMoreEntriesThanTheAnswerHolds)
{
    Bytes full = neighbour_list(0);
    std::vector<ReplyValue> neighbours[2];
    for (size_t i = 0; i < kEntries; i++) {
        std::string name = "net" + std::to_string(i);
        add(full, i, name, "00:00:00:00:00:00", static_cast<uint32_t>(i), -1, 1);
        for (int band : {0, 1})
            neighbours[band].push_back(
                shown(band ? "5G" : "2.4G", name, "000000000000", static_cast<int32_t>(i), -1, "11b"));
    }
    neighbours[0].insert(neighbours[0].end(), neighbours[1].begin(), neighbours[1].end());
    for (uint32_t count : {32u, 33u, 1000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(count);
        service().answer(kGet, record(full.u32(4, count)));
        EXPECT_EQ(get(), reply(neighbours[0]));
    }
}

TEST_F(NeighbourInfoTest, KeepsFieldsThatAreFullApart)
{
    Bytes list = neighbour_list(1);
    add(list, 0, std::string(33, 's'), std::string(35, 'b'), 0xFFFFFFFF, -1, 0xFFFFFFFF);
    list.text(entry(0) + 80, std::string(12, '\xFF'));
    service().answer_in_turn(kGet, {record(list), record(neighbour_list(0))});
    // A standards word with bits above 32 makes a text as long as six passes make it.
    EXPECT_EQ(get(),
              reply({shown("2.4G", std::string(33, 's'), std::string(35, 'b'), -1, -1, "11b/11g/11a/11n/11ac/11ax")}));
}

TEST_F(NeighbourInfoTest, LeavesABssidOfAnotherFormAsItIs)
{
    for (const char *bssid : {"", "001a2b3c4d5e", "00:1a:2b:3c:4d:5", "00:1a:2b:3c:4d:5e0"}) {
        SCOPED_TRACE(bssid);
        Bytes list = neighbour_list(1);
        add(list, 0, "net", bssid, 1, -1, 1);
        service().answer_in_turn(kGet, {record(list), record(neighbour_list(0))});
        EXPECT_EQ(get(), reply({shown("2.4G", "net", bssid, 1, -1, "11b")}));
    }
}

TEST_F(NeighbourInfoTest, TakesWhatAShortAnswerLacksForZero)
{
    Bytes list = neighbour_list(2);
    add(list, 0, "whole", "00:1a:2b:3c:4d:5e", 1, -40, 2);
    Bytes cut(std::string_view(list.data()).substr(0, entry(1)));
    service().answer_in_turn(kGet, {record(cut), code(0)});
    EXPECT_EQ(get(), reply({shown("2.4G", "whole", "001A2B3C4D5E", 1, -40, "11g"), shown("2.4G", "", "", 0, 0, "")}));
}

TEST_F(NeighbourInfoTest, AFailureReplacesWhatWasBuilt)
{
    Bytes list = neighbour_list(1);
    add(list, 0, "net", "00:1a:2b:3c:4d:5e", 1, -40, 2);
    for (const Answer &refusal : {code(9, list), no_answer()}) {
        service().answer_in_turn(kGet, {record(list), refusal});
        EXPECT_EQ(get(), failure("failed to get neighbourinfo"));
        EXPECT_EQ(service().take_requests(), (Requests{kAsk2G, kAsk5G}));
        service().answer(kGet, refusal);
        EXPECT_EQ(get(), failure("failed to get neighbourinfo"));
        EXPECT_EQ(service().take_requests(), (Requests{kAsk2G}));
    }
}

TEST_F(NeighbourInfoTest, LogsWhichBandFailed)
{
    const std::string entry_line = entry_log("wexond_neighbourinfo_get", "wexond.neighbourinfo", "get");
    service().answer_in_turn(
        kGet, {record(neighbour_list(0)), record(neighbour_list(0)), code(9), record(neighbour_list(0)), no_answer()});
    enable_log();
    get();
    EXPECT_EQ(take_log(), entry_line + get_reply_log());
    get();
    EXPECT_EQ(take_log(), entry_line +
                              "[wexond_check_ret.#]: Msg retcode = 9\n"
                              "[wexond_neighbourinfo_get.#]: Failed to get neighbour info of 2.4G\n" +
                              get_reply_log("failed to get neighbourinfo"));
    get();
    EXPECT_EQ(take_log(), entry_line +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n"
                              "[wexond_neighbourinfo_get.#]: Failed to get neighbour info of 5G\n" +
                              get_reply_log("failed to get neighbourinfo"));
}

} // namespace
