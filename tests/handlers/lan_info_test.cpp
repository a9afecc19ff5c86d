// wexond.laninfo and its entry objects.

#include <cstdlib>
#include <fstream>
#include <future>
#include <sstream>

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kListStations = 103;
constexpr uint32_t kGetStation = 104;
constexpr uint32_t kGetCounts = 105;
constexpr uint32_t kSetName = 106;
constexpr uint32_t kSetModel = 107;
constexpr uint32_t kSetInternetAccess = 123;
constexpr uint32_t kSetWifiAccess = 126;
constexpr uint32_t kGetRateLimit = 135;
constexpr uint32_t kSetRateLimit = 136;

constexpr const char *kMac = "00:1a:2b:3c:4d:5e";

// A station that fills every field that is read, on the 5 GHz band.
Bytes full_station()
{
    return Bytes(544)
        .text(0, kMac)
        .text(32, "laptop")
        .text(96, "Anna's laptop")
        .text(160, "192.168.1.20")
        .u32(176, 1)
        .u32(180, 3)
        .text(184, "home")
        .u32(216, 1)
        .u32(220, 3600)
        .u32(224, 1700000000)
        .text(228, "02:1a:2b:3c:4d:5f")
        .text(260, "fe80::20")
        .text(360, "Maker")
        .text(392, "Model 7")
        .u32(424, 5000)
        .u32(428, 600)
        .u32(432, static_cast<uint32_t>(-55))
        .u32(440, 866)
        .u32(448, 1)
        .u32(452, 1)
        .u32(456, 1)
        .u32(460, 1)
        .u64(472, 47200000000)
        .u64(480, 48000000000)
        .u64(488, 488)
        .u64(496, 496)
        .u64(504, 504)
        .u64(512, 512)
        .u64(520, 520)
        .u64(528, 528)
        .u64(536, 536);
}

// The table of that station, with some of its values changed.
struct Table {
    std::string mac = "001A2B3C4D5E", vmac = "021A2B3C4D5F", hostname = "laptop", devname = "Anna's laptop";
    std::string brand = "Maker", model = "Model 7", ipaddr = "192.168.1.20", ipaddr6 = "fe80::20";
    int32_t storageaccess = 1, active = 1, onlinetime = 3600;
    std::string activetime = "2023-11-14 22:13:20", inactivetime = "";
    int32_t connecttype = 1, port = 3;
    std::string band = "5G", ssid = "home";
    int32_t rssi = -55;
    std::string downloadspeed = "5000", uploadspeed = "600";
    int32_t negorate = 866000;
    std::string duplexmode = "full";
    std::string bytessent = "48000000000", bytesreceived = "47200000000", packetssent = "496", packetsreceived = "488";
    std::string packetsretryreceived = "504", packetsretrysent = "512";
    std::string packetsfailreceived = "520", packetsfailsent = "528", packetsloss = "536";
    int32_t dsbandwidth = 0, usbandwidth = 0, internetaccess = 2;

    ReplyFields fields() const
    {
        return {
            {"mac", mac},
            {"vmac", vmac},
            {"hostname", hostname},
            {"devname", devname},
            {"brand", brand},
            {"model", model},
            {"ipaddr", ipaddr},
            {"ipaddr6", ipaddr6},
            {"storageaccess", storageaccess},
            {"active", active},
            {"onlinetime", onlinetime},
            {"activetime", activetime},
            {"inactivetime", inactivetime},
            {"connecttype", connecttype},
            {"port", port},
            {"band", band},
            {"ssid", ssid},
            {"rssi", rssi},
            {"downloadspeed", downloadspeed},
            {"uploadspeed", uploadspeed},
            {"negorate", negorate},
            {"duplexmode", duplexmode},
            {"bytessent", bytessent},
            {"bytesreceived", bytesreceived},
            {"packetssent", packetssent},
            {"packetsreceived", packetsreceived},
            {"crcerror", 0},
            {"packetsretryreceived", packetsretryreceived},
            {"packetsretrysent", packetsretrysent},
            {"packetsfailreceived", packetsfailreceived},
            {"packetsfailsent", packetsfailsent},
            {"packetsloss", packetsloss},
            {"dsbandwidth", dsbandwidth},
            {"usbandwidth", usbandwidth},
            {"internetaccess", internetaccess},
        };
    }
};

// Stations that have nothing but a number as their MAC address text, and their tables.
Bytes bare_station(uint32_t number)
{
    return Bytes(544).text(0, "mac " + std::to_string(number));
}

Table bare_table(std::string mac)
{
    return {.mac = mac,
            .vmac = "",
            .hostname = mac,
            .devname = mac,
            .brand = "",
            .model = "",
            .ipaddr = "",
            .ipaddr6 = "",
            .storageaccess = 0,
            .active = 0,
            .onlinetime = 0,
            .activetime = "",
            .inactivetime = "1970-01-01 00:00:00",
            .port = 0,
            .band = "2.4G",
            .ssid = "",
            .rssi = 0,
            .downloadspeed = "0",
            .uploadspeed = "0",
            .negorate = 0,
            .duplexmode = "",
            .bytessent = "0",
            .bytesreceived = "0",
            .packetssent = "0",
            .packetsreceived = "0",
            .packetsretryreceived = "0",
            .packetsretrysent = "0",
            .packetsfailreceived = "0",
            .packetsfailsent = "0",
            .packetsloss = "0",
            .internetaccess = 0};
}

Table bare_table(uint32_t number)
{
    return bare_table("mac " + std::to_string(number));
}

std::vector<Bytes> bare_stations(uint32_t count)
{
    std::vector<Bytes> stations;
    for (uint32_t number = 1; number <= count; number++)
        stations.push_back(bare_station(number));
    return stations;
}

std::vector<Table> bare_tables(uint32_t count)
{
    std::vector<Table> tables;
    for (uint32_t number = 1; number <= count; number++)
        tables.push_back(bare_table(number));
    return tables;
}

std::string list_reply(const std::vector<Table> &tables)
{
    std::vector<ReplyValue> elements;
    for (const Table &shown : tables)
        elements.push_back(table(ReplyFields{{"idx", static_cast<uint32_t>(elements.size() + 1)}} + shown.fields()));
    return table({{"wexond.laninfo", array(elements)}});
}

std::string entry(uint32_t number)
{
    return "wexond.laninfo." + std::to_string(number);
}

std::string get_reply(uint32_t number, const Table &shown)
{
    return table({{entry(number), table(shown.fields())}});
}

std::vector<uint32_t> counted_to(uint32_t count)
{
    std::vector<uint32_t> numbers;
    for (uint32_t number = 1; number <= count; number++)
        numbers.push_back(number);
    return numbers;
}

// A list answer: the count, four bytes of no meaning, the stations.
Bytes station_list(uint32_t count, const std::vector<Bytes> &stations)
{
    Bytes list = Bytes(8 + 544 * stations.size()).u32(0, count).u32(4, 0xEEEEEEEE);
    for (size_t i = 0; i < stations.size(); i++)
        list.text(8 + 544 * i, stations[i].data());
    return list;
}

Bytes station_counts(uint32_t total)
{
    return Bytes(20).u32(0, total).u32(4, 0xEEEEEEEE).u32(8, 1).u32(12, 2).u32(16, 3);
}

Bytes rate_limit(uint32_t limited, uint32_t downstream, uint32_t upstream)
{
    return Bytes(80).u32(0, limited).u32(68, downstream).u32(72, upstream);
}

const Request kAskCounts = {kGetCounts, 24};

Request ask_list(uint32_t count)
{
    return {kListStations, 544 * count + 12};
}

Request ask_rate_limit(std::string_view mac)
{
    return {kGetRateLimit, 84, Bytes(80).text(4, mac)};
}

Request ask_station(std::string_view mac)
{
    return {kGetStation, 548, Bytes(544).text(0, mac)};
}

// Those of a whole `list` of bare stations.
Requests list_requests(uint32_t count)
{
    Requests requests = {kAskCounts, ask_list(count)};
    for (uint32_t number = 1; number <= count; number++)
        requests.push_back(ask_rate_limit("mac " + std::to_string(number)));
    return requests;
}

class LanInfoTest : public HandlerTest
{
  protected:
    explicit LanInfoTest(const char *time_zone = "UTC0") { setenv("TZ", time_zone, 1); }

    void SetUp() override
    {
        HandlerTest::SetUp();
        service().answer(kGetRateLimit, record(Bytes(80)));
        for (uint32_t type : {kSetName, kSetModel, kSetInternetAccess, kSetWifiAccess, kSetRateLimit})
            service().answer(type, code(0));
    }

    // The service's stations from now on, where the two counts agree.
    void answer_with(const std::vector<Bytes> &stations)
    {
        auto count = static_cast<uint32_t>(stations.size());
        answer_with(count, count, stations);
    }
    void answer_with(uint32_t announced, uint32_t listed, const std::vector<Bytes> &stations)
    {
        service().answer(kGetCounts, record(station_counts(announced)));
        service().answer(kListStations, record(station_list(listed, stations)));
    }

    std::string list() { return call("wexond.laninfo", "list"); }
    std::string list_of(const std::vector<Bytes> &stations)
    {
        answer_with(stations);
        return list();
    }
    std::string get(uint32_t number) { return call(entry(number), "get"); }
    std::string set(std::string_view arguments) { return call(entry(1), "set", arguments); }

    // The numbers of the entry objects on the bus.
    std::vector<uint32_t> entry_objects()
    {
        std::vector<uint32_t> numbers;
        std::istringstream lines(client().list("wexond.laninfo.*"));
        for (std::string line; std::getline(lines, line);)
            if (!line.starts_with(' '))
                numbers.push_back(static_cast<uint32_t>(std::stoul(line.substr(sizeof("wexond.laninfo.") - 1))));
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }
};

// --- list ---

TEST_F(LanInfoTest, ListsAStation)
{
    EXPECT_EQ(list_of({full_station()}), list_reply({Table{}}));
    EXPECT_EQ(service().take_requests(), (Requests{kAskCounts, ask_list(1), ask_rate_limit(kMac)}));
}

TEST_F(LanInfoTest, ListsNoStations)
{
    EXPECT_EQ(list_of({}), R"({"wexond.laninfo": []})");
    EXPECT_EQ(service().take_requests(), (Requests{kAskCounts, ask_list(0)}));
    EXPECT_EQ(entry_objects(), counted_to(0));
}

TEST_F(LanInfoTest, ListsManyStationsWithAnEntryObjectEach)
{
    for (uint32_t count : {128u, 1u, 511u, 255u}) {
        SCOPED_TRACE(count);
        EXPECT_EQ(list_of(bare_stations(count)), list_reply(bare_tables(count)));
        EXPECT_EQ(service().take_requests(), list_requests(count));
        EXPECT_EQ(entry_objects(), counted_to(count));
    }
}

TEST_F(LanInfoTest, TakesAnEmptyHostNameForTheMacAndAnEmptyDeviceNameForTheHostName)
{
    Bytes unnamed = full_station().text(32, std::string(128, '\0'));
    EXPECT_EQ(list_of({unnamed, Bytes(unnamed).text(32, "host"), Bytes(unnamed).text(96, "device")}),
              list_reply({Table{.hostname = "001A2B3C4D5E", .devname = "001A2B3C4D5E"},
                          Table{.hostname = "host", .devname = "host"},
                          Table{.hostname = "001A2B3C4D5E", .devname = "device"}}));
}

TEST_F(LanInfoTest, ShowsTheLinkByItsMedium)
{
    auto on = [](uint32_t medium) { return full_station().u32(176, medium); };
    EXPECT_EQ(list_of({on(0), on(1), on(2), on(3), on(0x00020000), on(0xFFFFFFFF)}),
              list_reply({Table{.band = "2.4G"}, Table{.band = "5G"},
                          Table{.connecttype = 0, .band = "", .ssid = "", .rssi = 0}, Table{.band = "5G"},
                          Table{.band = "5G"}, Table{.band = "5G"}}));
}

TEST_F(LanInfoTest, ShowsTheTimeOfTheLastChangeUnderTheStateThatItLedTo)
{
    Table inactive = {.active = 0, .activetime = "", .inactivetime = "2023-11-14 22:13:20"};
    EXPECT_EQ(list_of({full_station().u32(216, 0), full_station().u32(216, 2), full_station().u32(216, 0x01000000)}),
              list_reply({inactive, inactive, inactive}));
    EXPECT_EQ(
        list_of({full_station().u32(224, 0), full_station().u32(224, 0xFFFFFFFF), full_station().u32(224, 951782400)}),
        list_reply({Table{.activetime = "1970-01-01 00:00:00"}, Table{.activetime = "2106-02-07 06:28:15"},
                    Table{.activetime = "2000-02-29 00:00:00"}}));
}

TEST_F(LanInfoTest, CombinesTheAccessFlags)
{
    struct Row {
        uint32_t internet, wifi;
        int32_t access;
    };
    const Row rows[] = {
        {0, 0, 0}, {1, 0, 0}, {0, 1, 1}, {1, 1, 2}, {2, 1, 1}, {1, 2, 0}, {0x01000000, 0x01000000, 0},
    };
    std::vector<Bytes> stations;
    std::vector<Table> tables;
    for (const Row &row : rows) {
        stations.push_back(full_station().u32(456, row.internet).u32(460, row.wifi));
        tables.push_back(Table{.internetaccess = row.access});
    }
    EXPECT_EQ(list_of(stations), list_reply(tables));
}

TEST_F(LanInfoTest, NamesTheDuplexModeAndTheStorageAccess)
{
    auto with = [](uint32_t duplex, uint32_t storage) { return full_station().u32(448, duplex).u32(452, storage); };
    EXPECT_EQ(
        list_of({with(0, 0), with(1, 1), with(2, 2), with(3, 0xFFFFFFFF), with(4, 1)}),
        list_reply({Table{.storageaccess = 0, .duplexmode = ""}, Table{.storageaccess = 1, .duplexmode = "full"},
                    Table{.storageaccess = 0, .duplexmode = "half"}, Table{.storageaccess = 0, .duplexmode = "auto"},
                    Table{.storageaccess = 1, .duplexmode = ""}}));
}

TEST_F(LanInfoTest, CompactsMacAddressesOf17Characters)
{
    struct Row {
        std::string text, shown;
    };
    const Row rows[] = {
        {"aa:bb:cc:dd:ee:ff", "AABBCCDDEEFF"},      {"AA:BB:CC:DD:EE:F", "AA:BB:CC:DD:EE:F"},
        {"aabbccddeeff", "aabbccddeeff"},           {std::string(32, 'm'), std::string(32, 'm')},
        {"not a MAC address", "not a MAC address"},
    };
    std::vector<Bytes> stations;
    std::vector<Table> tables;
    Requests requests = {kAskCounts, ask_list(std::size(rows))};
    for (const Row &row : rows) {
        stations.push_back(Bytes(544).text(0, row.text).text(228, row.text).u32(176, 1));
        tables.push_back(bare_table(row.shown));
        tables.back().vmac = row.shown;
        tables.back().band = "5G";
        requests.push_back(ask_rate_limit(row.text));
    }
    EXPECT_EQ(list_of(stations), list_reply(tables));
    EXPECT_EQ(service().take_requests(), requests) << "the service is asked with its own texts";
}

TEST_F(LanInfoTest, ReadsTextFieldsToTheirLastByte)
{
    struct Field {
        size_t offset, width;
        std::string Table::*value;
    };
    const Field fields[] = {
        {0, 32, &Table::mac},       {32, 64, &Table::hostname}, {96, 64, &Table::devname},
        {160, 16, &Table::ipaddr},  {184, 32, &Table::ssid},    {228, 32, &Table::vmac},
        {260, 64, &Table::ipaddr6}, {360, 32, &Table::brand},   {392, 32, &Table::model},
    };
    Bytes station = full_station().text(324, std::string(36, '-'));
    Table table;
    char letter = 'a';
    for (const Field &field : fields) {
        std::string text(field.width, letter++);
        station.text(field.offset, text);
        table.*field.value = text;
    }
    EXPECT_EQ(list_of({station}), list_reply({table}));
    EXPECT_EQ(service().take_requests(), (Requests{kAskCounts, ask_list(1), ask_rate_limit(std::string(32, 'a'))}));
}

TEST_F(LanInfoTest, PassesOverBytesThatItDoesNotUse)
{
    Bytes noisy = full_station();
    struct Gap {
        size_t offset, width;
    };
    for (const Gap &gap : {Gap{324, 36}, {436, 4}, {444, 4}, {464, 8}})
        noisy.text(gap.offset, std::string(gap.width, '-'));
    EXPECT_EQ(list_of({noisy}), list_reply({Table{}}));
}

TEST_F(LanInfoTest, ShowsCountersAndNumbersAtTheirLimits)
{
    Bytes station = full_station();
    for (size_t offset = 472; offset <= 536; offset += 8)
        station.u64(offset, 0xFFFFFFFFFFFFFFFF);
    for (size_t offset : {180, 220, 424, 428, 432, 440})
        station.u32(offset, 0xFFFFFFFF);
    const std::string most = "18446744073709551615";
    EXPECT_EQ(list_of({station}), list_reply({Table{.onlinetime = -1,
                                                    .port = -1,
                                                    .rssi = -1,
                                                    .downloadspeed = "-1",
                                                    .uploadspeed = "-1",
                                                    .negorate = -1000,
                                                    .bytessent = most,
                                                    .bytesreceived = most,
                                                    .packetssent = most,
                                                    .packetsreceived = most,
                                                    .packetsretryreceived = most,
                                                    .packetsretrysent = most,
                                                    .packetsfailreceived = most,
                                                    .packetsfailsent = most,
                                                    .packetsloss = most}}));
}

TEST_F(LanInfoTest, ListsBandwidthsWhereALimitIsSet)
{
    service().answer_in_turn(kGetRateLimit, {record(rate_limit(1, 100, 200)), record(rate_limit(0, 100, 200)),
                                             record(rate_limit(2, 100, 200)), record(rate_limit(1, 0xFFFFFFFF, 0)),
                                             code(7, rate_limit(1, 300, 400)), code(0)});
    std::vector<Table> tables = bare_tables(6);
    tables[0].dsbandwidth = 100;
    tables[0].usbandwidth = 200;
    tables[3].dsbandwidth = -1;
    // Deliberate: the return code is not looked at.
    tables[4].dsbandwidth = 300;
    tables[4].usbandwidth = 400;
    EXPECT_EQ(list_of(bare_stations(6)), list_reply(tables));
}

TEST_F(LanInfoTest, ListsWithoutTheBandwidthsOfAMissingAnswer)
{
    service().answer_in_turn(kGetRateLimit, {no_answer(), record(rate_limit(1, 100, 200))});
    std::vector<Table> tables = bare_tables(2);
    tables[1].dsbandwidth = 100;
    tables[1].usbandwidth = 200;
    enable_log();
    EXPECT_EQ(list_of(bare_stations(2)), list_reply(tables));
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo_list", "wexond.laninfo", "list") +
                              "[wexond_laninfo_list.#]: All Sta num = 2\n"
                              "[wexond_laninfo_list.#]: Sta num = 2\n"
                              "[wexond_laninfo_list.#]: Scan sta[0]\n"
                              "[wexond_laninfo_list.#]: Failed to get sta rate limit\n"
                              "[wexond_laninfo_list.#]: Scan sta[1]\n"
                              "[laninfo_update.#]: Create laninfo '1'\n\n"
                              "[laninfo_update.#]: Create laninfo '2'\n\n" +
                              get_reply_log());
    EXPECT_EQ(service().take_requests(), list_requests(2)) << "no request is repeated";
}

// A service that stays silent for long is not asked again for each station: the list ends in a time limit.
TEST_F(LanInfoTest, ASilentServiceCostsAListOneTimeLimitAtMost)
{
    service().answer_by(kGetRateLimit, [turn = 0](const Request &) mutable {
        return turn++ < 2 ? record(rate_limit(1, 100, 200)) : after(Milliseconds(2500), no_answer());
    });
    std::vector<Table> tables = bare_tables(20);
    for (size_t i : {0, 1})
        tables[i].dsbandwidth = 100, tables[i].usbandwidth = 200;
    auto start = std::chrono::steady_clock::now();
    enable_log();
    EXPECT_EQ(list_of(bare_stations(20)), list_reply(tables));
    EXPECT_LT(std::chrono::steady_clock::now() - start, Milliseconds(8000));
    std::string log = take_log(), line = "Failed to get sta rate limit\n";
    size_t count = 0;
    for (size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1))
        count++;
    EXPECT_EQ(count, 18u) << "those that were not asked for count as not answered";
    Requests asked = list_requests(20);
    asked.resize(2 + 3);
    EXPECT_EQ(service().take_requests(), asked);
    // The next list asks anew.
    service().answer(kGetRateLimit, record(Bytes(80)));
    EXPECT_EQ(list_of(bare_stations(20)), list_reply(bare_tables(20)));
    EXPECT_EQ(service().take_requests(), list_requests(20));
}

TEST_F(LanInfoTest, AsksForEachRateLimitWhereAnswersFailAtOnce)
{
    service().answer(kGetRateLimit, no_answer());
    EXPECT_EQ(list_of(bare_stations(64)), list_reply(bare_tables(64)));
    EXPECT_EQ(service().take_requests(), list_requests(64));
}

TEST_F(LanInfoTest, CompletesAListWhoseServiceGoesAwayHalfWay)
{
    service().answer_by(kGetRateLimit, [turn = 0](const Request &) mutable {
        return turn++ < 2 ? record(rate_limit(1, 100, 200)) : after(kPatience, no_answer());
    });
    answer_with(bare_stations(5));
    std::vector<Table> tables = bare_tables(5);
    for (size_t i : {0, 1})
        tables[i].dsbandwidth = 100, tables[i].usbandwidth = 200;
    auto end = std::async(std::launch::async, [this] {
        service().wait_for_requests(5);
        end_service();
    });
    EXPECT_EQ(list(), list_reply(tables));
    end.wait();
    EXPECT_EQ(entry_objects(), counted_to(5));
    EXPECT_EQ(list(), failure("failed to get laninfo list"));
    EXPECT_EQ(get(1), failure("failed to get laninfo"));
    restart_service();
    service().answer(kGetRateLimit, record(Bytes(80)));
    EXPECT_EQ(list_of(bare_stations(5)), list_reply(bare_tables(5)));
}

// --- Counts that disagree or cannot be ---

TEST_F(LanInfoTest, ListsNoMoreStationsThanWereAnnounced)
{
    for (uint32_t listed : {5u, 4u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(listed);
        answer_with(3, listed, bare_stations(5));
        EXPECT_EQ(list(), list_reply(bare_tables(3)));
        EXPECT_EQ(service().take_requests(), list_requests(3));
        EXPECT_EQ(entry_objects(), counted_to(3));
    }
    answer_with(0, 5, bare_stations(5));
    EXPECT_EQ(list(), list_reply({}));
    EXPECT_EQ(entry_objects(), counted_to(0));
}

TEST_F(LanInfoTest, ListsNoMoreStationsThanWereListed)
{
    answer_with(5, 2, bare_stations(5));
    EXPECT_EQ(list(), list_reply(bare_tables(2)));
    EXPECT_EQ(entry_objects(), counted_to(2));
    EXPECT_EQ(service().take_requests(),
              (Requests{kAskCounts, ask_list(5), ask_rate_limit("mac 1"), ask_rate_limit("mac 2")}));
    answer_with(5, 0, bare_stations(5));
    EXPECT_EQ(list(), list_reply({}));
    EXPECT_EQ(entry_objects(), counted_to(0));
}

TEST_F(LanInfoTest, TakesStationsThatAShortAnswerLacksForEmptyOnes)
{
    answer_with(3, 3, bare_stations(1));
    EXPECT_EQ(list(), list_reply({bare_table("mac 1"), bare_table(""), bare_table("")}));
    EXPECT_EQ(entry_objects(), counted_to(3));
    EXPECT_EQ(get(2), failure("failed to get laninfo"));
    service().answer(kListStations, code(0));
    EXPECT_EQ(list(), list_reply({}));
}

TEST_F(LanInfoTest, LogsTheCountsAsTheyCome)
{
    enable_log();
    answer_with(1, 0xFFFFFFFF, bare_stations(1));
    list();
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo_list", "wexond.laninfo", "list") +
                              "[wexond_laninfo_list.#]: All Sta num = 1\n"
                              "[wexond_laninfo_list.#]: Sta num = -1\n"
                              "[wexond_laninfo_list.#]: Scan sta[0]\n"
                              "[laninfo_update.#]: Create laninfo '1'\n\n" +
                              get_reply_log());
}

// One answer of the service carries at most 1927 stations.
TEST_F(LanInfoTest, RefusesCountsThatNoAnswerCanCarry)
{
    list_of(bare_stations(2));
    service().take_requests();
    service().answer(kGetStation, record(bare_station(2)));
    for (uint32_t count : {1928u, 7895165u, 0x7FFFFFFFu, 4294967295u}) {
        SCOPED_TRACE(count);
        answer_with(count, count, bare_stations(3));
        EXPECT_EQ(list(), failure("failed to get laninfo list"));
        EXPECT_EQ(service().take_requests(), Requests{kAskCounts});
        EXPECT_EQ(entry_objects(), counted_to(2));
    }
    Table table = bare_table(2);
    EXPECT_EQ(get(2), get_reply(2, table)) << "the last list stands";
}

TEST_F(LanInfoTest, LogsACountThatNoAnswerCanCarry)
{
    enable_log();
    answer_with(4294967295, 0, {});
    list();
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo_list", "wexond.laninfo", "list") +
                              "[wexond_laninfo_list.#]: All Sta num = -1\n"
                              "[wexond_check_ret.#]: Msg return buf = NULL\n"
                              "[wexond_laninfo_list.#]: Failed to get sta list\n" +
                              get_reply_log("failed to get laninfo list"));
}

TEST_F(LanInfoTest, ListsAsManyStationsAsTheBusCarries)
{
    EXPECT_EQ(list_of(bare_stations(1000)), list_reply(bare_tables(1000)));
    EXPECT_EQ(service().take_requests(), list_requests(1000));
}

// Of those that the bus cannot carry the caller is told; their objects are there all the same, but for the numbers that
// have the key of 256.
TEST_F(LanInfoTest, FailsWhereTheReplyPassesAMebibyte)
{
    EXPECT_EQ(list_of(bare_stations(1927)), failure("reply too large for the bus"));
    EXPECT_EQ(service().take_requests(), list_requests(1927));
    std::vector<uint32_t> numbers = counted_to(1927);
    std::erase_if(numbers, [](uint32_t number) { return number % 256 == 0 && number != 256; });
    EXPECT_EQ(entry_objects(), numbers);
    EXPECT_EQ(call("wexond.laninfo.1", "list"), failure("reply too large for the bus"));
    EXPECT_EQ(list_of(bare_stations(1)), list_reply(bare_tables(1)));
    EXPECT_EQ(entry_objects(), counted_to(1));
}

// --- Entry objects ---

TEST_F(LanInfoTest, FitsTheEntryObjectsToTheStations)
{
    EXPECT_EQ(entry_objects(), counted_to(0));
    for (uint32_t count : {7, 5, 5, 6, 0, 1, 300, 2}) {
        list_of(bare_stations(count));
        EXPECT_EQ(entry_objects(), counted_to(count));
    }
}

TEST_F(LanInfoTest, LeavesEntryObjectsOneToFiveOfSeven)
{
    list_of(bare_stations(7));
    enable_log();
    list_of(bare_stations(5));
    EXPECT_TRUE(take_log().ends_with("[laninfo_update.#]: Remove laninfo '6'\n\n"
                                     "[laninfo_update.#]: Remove laninfo '7'\n\n" +
                                     get_reply_log()));
    EXPECT_EQ(entry_objects(), counted_to(5));
    for (uint32_t number : {6, 7})
        for (const char *method : {"get", "set", "list", "getnum"})
            EXPECT_EQ(call(entry(number), method), "(object: Not found)");
}

TEST_F(LanInfoTest, EntryObjectsHaveTheMethodsOfTheStaticObject)
{
    list_of(bare_stations(1));
    const std::string methods = "  list\n"
                                "  getnum\n"
                                "  set internetaccess:int32 storageaccess:int32 usbandwidth:int32 dsbandwidth:int32 "
                                "devname:string brand:string model:string\n"
                                "  get\n";
    EXPECT_EQ(client().list("wexond.laninfo*"), "wexond.laninfo\n" + methods + "wexond.laninfo.1\n" + methods);
}

TEST_F(LanInfoTest, EntryObjectsListAndCountAllStations)
{
    list_of(bare_stations(3));
    service().take_requests();
    EXPECT_EQ(call(entry(3), "list"), list_reply(bare_tables(3)));
    EXPECT_EQ(service().take_requests(), list_requests(3));
    EXPECT_EQ(call(entry(3), "getnum"), R"({"wexond.laninfo": {"wired": 1, "2.4G": 2, "5G": 3}})");
}

// The broker carries no answers of an object that is gone, so it goes right after them.
TEST_F(LanInfoTest, EntryObjectsAnswerTheListThatWithdrawsThem)
{
    list_of(bare_stations(4));
    answer_with(bare_stations(1));
    EXPECT_EQ(call(entry(3), "list"), list_reply(bare_tables(1)));
    call("wexond.laninfo", "getnum"); // comes after
    EXPECT_EQ(entry_objects(), counted_to(1));
    EXPECT_EQ(call(entry(1), "list"), list_reply(bare_tables(1)));
    EXPECT_EQ(entry_objects(), counted_to(1));
}

TEST_F(LanInfoTest, TheStaticObjectIsNoStation)
{
    list_of(bare_stations(2));
    service().take_requests();
    enable_log();
    EXPECT_EQ(call("wexond.laninfo", "get"), failure("failed to get laninfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo1_get", "wexond.laninfo", "get") +
                              "[wexond_laninfo1_get.#]: Failed to find index\n" +
                              get_reply_log("failed to get laninfo"));
    EXPECT_EQ(call("wexond.laninfo", "set", R"({"devname": "x"})"), failure("failed to set laninfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo1_set", "wexond.laninfo", "set") +
                              "[wexond_laninfo1_set.#]: Failed to find index\n" +
                              set_reply_log("failed to set laninfo"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

// Their keys are equal: the object of 256 stays while one of them is listed, the others never get one.
TEST_F(LanInfoTest, NumbersOfEqualKeysShareOneObject)
{
    std::vector<uint32_t> numbers = counted_to(800);
    std::erase(numbers, 512);
    std::erase(numbers, 768);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(list_of(bare_stations(800)), list_reply(bare_tables(800)));
        EXPECT_EQ(entry_objects(), numbers);
    }
    service().answer(kGetStation, record(full_station()));
    Table table = {.negorate = 866};
    EXPECT_EQ(get(255), get_reply(255, table));
    EXPECT_EQ(get(800), get_reply(800, table));
    EXPECT_EQ(get(256), get_reply(256, table)) << "the station of its own number";
    list_of(bare_stations(300));
    EXPECT_EQ(entry_objects(), counted_to(300));
    EXPECT_EQ(get(256), get_reply(256, table)) << "the object serves the entry of its name";
    list_of(bare_stations(2));
    EXPECT_EQ(entry_objects(), counted_to(2));
    // The shared object may be the one that lists, too.
    for (uint32_t left : {300, 2}) {
        list_of(bare_stations(800));
        answer_with(bare_stations(left));
        EXPECT_EQ(call(entry(256), "list"), list_reply(bare_tables(left)));
        call("wexond.laninfo", "getnum"); // comes after
        EXPECT_EQ(entry_objects(), counted_to(left));
    }
}

TEST_F(LanInfoTest, NumbersOfEqualKeysAreLoggedAsUpdates)
{
    list_of(bare_stations(511));
    enable_log();
    list_of(bare_stations(512));
    EXPECT_TRUE(take_log().ends_with("[laninfo_update.#]: Update laninfo '256'\n\n" + get_reply_log()));
    list_of(bare_stations(512));
    EXPECT_TRUE(take_log().ends_with("[laninfo_update.#]: Update laninfo '512'\n\n"
                                     "[laninfo_update.#]: Update laninfo '256'\n\n" +
                                     get_reply_log()));
}

// --- getnum ---

TEST_F(LanInfoTest, CountsTheStationsByMedium)
{
    service().answer(kGetCounts, record(Bytes(20).u32(0, 9).u32(4, 8).u32(8, 4).u32(12, 0).u32(16, 0xFFFFFFFF)));
    enable_log();
    EXPECT_EQ(call("wexond.laninfo", "getnum"), R"({"wexond.laninfo": {"wired": 4, "2.4G": 0, "5G": -1}})");
    EXPECT_EQ(take_log(), entry_log("wexond_terminalnum_get", "wexond.laninfo", "getnum") + get_reply_log());
    EXPECT_EQ(service().take_requests(), Requests{kAskCounts});
}

TEST_F(LanInfoTest, ReportsCountsThatStayOut)
{
    service().answer_in_turn(kGetCounts, {code(3, station_counts(3)), no_answer()});
    enable_log();
    for (const char *log : {"Msg retcode = 3\n", "Msg return buf = NULL\n"}) {
        EXPECT_EQ(call("wexond.laninfo", "getnum"), failure("failed to get terminalnum"));
        EXPECT_EQ(take_log(), entry_log("wexond_terminalnum_get", "wexond.laninfo", "getnum") +
                                  "[wexond_check_ret.#]: " + log + get_reply_log("failed to get terminalnum"));
    }
}

// --- A list that fails ---

TEST_F(LanInfoTest, ReportsAListThatStaysOut)
{
    struct Row {
        uint32_t type;
        Answer answer;
        std::string log;
        Requests requests;
    };
    const Row rows[] = {
        {kGetCounts,
         code(3, station_counts(1)),
         "[wexond_check_ret.#]: Msg retcode = 3\n[wexond_laninfo_list.#]: Failed to get sta num\n",
         {kAskCounts}},
        {kGetCounts,
         no_answer(),
         "[wexond_check_ret.#]: Msg return buf = NULL\n[wexond_laninfo_list.#]: Failed to get sta num\n",
         {kAskCounts}},
        {kListStations,
         code(4, station_list(1, bare_stations(1))),
         "[wexond_laninfo_list.#]: All Sta num = 1\n"
         "[wexond_check_ret.#]: Msg retcode = 4\n[wexond_laninfo_list.#]: Failed to get sta list\n",
         {kAskCounts, ask_list(1)}},
        {kListStations,
         no_answer(),
         "[wexond_laninfo_list.#]: All Sta num = 1\n"
         "[wexond_check_ret.#]: Msg return buf = NULL\n[wexond_laninfo_list.#]: Failed to get sta list\n",
         {kAskCounts, ask_list(1)}},
    };
    list_of(bare_stations(3));
    service().take_requests();
    service().answer(kGetStation, record(bare_station(3)));
    for (const Row &row : rows) {
        SCOPED_TRACE(row.log);
        answer_with(bare_stations(1));
        service().answer(row.type, row.answer);
        enable_log();
        EXPECT_EQ(list(), failure("failed to get laninfo list"));
        EXPECT_EQ(take_log(), entry_log("wexond_laninfo_list", "wexond.laninfo", "list") + row.log +
                                  get_reply_log("failed to get laninfo list"));
        disable_log();
        EXPECT_EQ(service().take_requests(), row.requests);
        EXPECT_EQ(entry_objects(), counted_to(3));
        EXPECT_EQ(get(3), get_reply(3, bare_table(3))) << "the last list stands";
        service().take_requests();
    }
}

// --- get of an entry ---

// Deliberate: the rate is not multiplied here, and bandwidths are shown whether a limit is set or not.
TEST_F(LanInfoTest, GetsAStation)
{
    list_of({bare_station(1), full_station()});
    service().take_requests();
    service().answer(kGetStation, record(full_station()));
    service().answer(kGetRateLimit, record(rate_limit(0, 100, 200)));
    Table table = {.negorate = 866, .dsbandwidth = 100, .usbandwidth = 200};
    enable_log();
    EXPECT_EQ(get(2), get_reply(2, table));
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo1_get", entry(2), "get") +
                              "[wexond_laninfo1_get.#]: Succeed to find index = 2\n"
                              "[wexond_laninfo1_get.#]: Succeed to find mac = " +
                              kMac + "\n" + get_reply_log());
    EXPECT_EQ(service().take_requests(), (Requests{ask_station(kMac), ask_rate_limit(kMac)}));
}

TEST_F(LanInfoTest, AsksWithTheMacOfTheLastList)
{
    std::string wide(32, 'm');
    list_of({Bytes(544).text(0, "first"), Bytes(544).text(0, wide).text(32, "host")});
    list_of({Bytes(544).text(0, wide).text(32, "host")});
    service().take_requests();
    service().answer(kGetStation, record(bare_station(9)));
    EXPECT_EQ(get(1), get_reply(1, bare_table(9))) << "the answer's own MAC is shown";
    EXPECT_EQ(service().take_requests(), (Requests{ask_station(wide), ask_rate_limit(wide)}));
}

TEST_F(LanInfoTest, GetsBandwidthsWhateverTheReturnCode)
{
    list_of({full_station()});
    service().answer(kGetStation, record(full_station()));
    for (const Answer &answer : {code(7, rate_limit(0, 100, 200)), record(rate_limit(2, 100, 200))}) {
        service().answer(kGetRateLimit, answer);
        EXPECT_EQ(get(1), get_reply(1, Table{.negorate = 866, .dsbandwidth = 100, .usbandwidth = 200}));
    }
}

TEST_F(LanInfoTest, GetsAStationWithoutTheBandwidthsOfAMissingAnswer)
{
    list_of({full_station()});
    service().answer(kGetStation, record(full_station()));
    service().answer(kGetRateLimit, no_answer());
    enable_log();
    EXPECT_EQ(get(1), get_reply(1, Table{.negorate = 866}));
    EXPECT_TRUE(take_log().ends_with("[wexond_laninfo1_get.#]: Failed to get sta rate limit\n" + get_reply_log()));
}

TEST_F(LanInfoTest, TakesWhatAShortStationLacksForZero)
{
    list_of(bare_stations(1));
    service().answer(kGetStation, record(Bytes(6).text(0, "mac 77")));
    EXPECT_EQ(get(1), get_reply(1, bare_table(77)));
    service().answer(kGetStation, code(0));
    EXPECT_EQ(get(1), get_reply(1, bare_table("")));
}

TEST_F(LanInfoTest, ReportsAStationThatStaysOut)
{
    list_of(bare_stations(1));
    service().take_requests();
    service().answer_in_turn(kGetStation, {code(2, full_station()), no_answer()});
    enable_log();
    for (const char *log : {"Msg retcode = 2\n", "Msg return buf = NULL\n"}) {
        EXPECT_EQ(get(1), failure("failed to get laninfo"));
        EXPECT_EQ(take_log(), entry_log("wexond_laninfo1_get", entry(1), "get") +
                                  "[wexond_laninfo1_get.#]: Succeed to find index = 1\n"
                                  "[wexond_laninfo1_get.#]: Succeed to find mac = mac 1\n"
                                  "[wexond_check_ret.#]: " +
                                  log + get_reply_log("failed to get laninfo"));
        EXPECT_EQ(service().take_requests(), Requests{ask_station("mac 1")});
    }
}

TEST_F(LanInfoTest, FindsNoStationWithoutAMac)
{
    list_of({Bytes(544).text(32, "host")});
    service().take_requests();
    enable_log();
    EXPECT_EQ(get(1), failure("failed to get laninfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo1_get", entry(1), "get") +
                              "[wexond_laninfo1_get.#]: Succeed to find index = 1\n"
                              "[wexond_laninfo1_get.#]: Failed to find mac\n" +
                              get_reply_log("failed to get laninfo"));
    EXPECT_EQ(set(R"({"devname": "x"})"), failure("failed to set laninfo"));
    EXPECT_EQ(take_log(), entry_log("wexond_laninfo1_set", entry(1), "set") +
                              "[wexond_laninfo1_set.#]: Succeed to get sta num = 1\n"
                              "[wexond_laninfo1_set.#]: Failed to find mac\n" +
                              set_reply_log("failed to set laninfo"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

// --- set of an entry ---

class LanInfoSetTest : public LanInfoTest
{
  protected:
    void SetUp() override
    {
        LanInfoTest::SetUp();
        list_of({full_station()});
        service().take_requests();
    }

    static Request name(std::string_view text) { return {kSetName, 4, Bytes(96).text(0, kMac).text(32, text)}; }
    static Request internet_access(uint32_t flag)
    {
        return {kSetInternetAccess, 4, Bytes(36).text(0, kMac).u32(32, flag)};
    }
    static Request wifi_access(uint32_t flag) { return {kSetWifiAccess, 4, Bytes(36).text(0, kMac).u32(32, flag)}; }
    static Request bandwidth(uint32_t downstream, uint32_t upstream, uint32_t mask)
    {
        return {kSetRateLimit, 4, Bytes(80).text(4, kMac).u32(68, downstream).u32(72, upstream).u32(76, mask)};
    }
    static Request model(std::string_view brand, std::string_view model, uint32_t mask)
    {
        return {kSetModel, 4, Bytes(100).text(0, kMac).text(32, brand).text(64, model).u32(96, mask)};
    }
};

constexpr const char *kAllArguments =
    R"({"model": "Model 8", "brand": "Other", "devname": "phone", "dsbandwidth": 20, )"
    R"("usbandwidth": 10, "storageaccess": 1, "internetaccess": 2})";

TEST_F(LanInfoSetTest, SendsWhatIsGivenInAFixedOrder)
{
    struct Row {
        const char *arguments;
        Requests requests;
    };
    const Row rows[] = {
        {R"({})", {}},
        {kAllArguments,
         {name("phone"), internet_access(1), wifi_access(1), bandwidth(20, 10, 3), model("Other", "Model 8", 3)}},
        {R"({"internetaccess": 2, "devname": "phone"})", {name("phone"), internet_access(1), wifi_access(1)}},
        {R"({"devname": ""})", {name("")}},
        {R"({"internetaccess": 0})", {internet_access(0), wifi_access(0)}},
        {R"({"internetaccess": 1})", {internet_access(0), wifi_access(1)}},
        {R"({"usbandwidth": 10})", {bandwidth(0, 10, 1)}},
        {R"({"dsbandwidth": 20})", {bandwidth(20, 0, 2)}},
        {R"({"usbandwidth": 0, "dsbandwidth": -1})", {bandwidth(0xFFFFFFFF, 0, 3)}},
        {R"({"brand": "Other"})", {model("Other", "", 1)}},
        {R"({"model": "Model 8"})", {model("", "Model 8", 2)}},
        {R"({"brand": "", "model": ""})", {model("", "", 3)}},
        {R"({"idx": 1, "mac": "x", "ssid": [1, 2], "Devname": "x"})", {}},
        {R"({"internetaccess": "1", "storageaccess": "1", "usbandwidth": true, "dsbandwidth": [1], "devname": 1, )"
         R"("brand": {}, "model": null})",
         {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.arguments);
        EXPECT_EQ(set(row.arguments), kSuccess);
        EXPECT_EQ(service().take_requests(), row.requests);
    }
}

// Storage access can be read but not changed.
TEST_F(LanInfoSetTest, AcceptsStorageAccessAndDoesNothing)
{
    for (const char *arguments : {R"({"storageaccess": 0})", R"({"storageaccess": 1})", R"({"storageaccess": -5})"})
        EXPECT_EQ(set(arguments), kSuccess) << arguments;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(LanInfoSetTest, SendsEmptyRecordsForAnUnknownInternetAccess)
{
    for (const char *arguments : {R"({"internetaccess": 3})", R"({"internetaccess": -1})"}) {
        EXPECT_EQ(set(arguments), kSuccess) << arguments;
        EXPECT_EQ(service().take_requests(),
                  (Requests{{kSetInternetAccess, 4, Bytes(36)}, {kSetWifiAccess, 4, Bytes(36)}}));
    }
}

TEST_F(LanInfoSetTest, FillsTextFieldsToTheirLastByte)
{
    struct Row {
        const char *argument;
        size_t width;
        Request (*request)(const std::string &);
    };
    const Row rows[] = {
        {"devname", 64, [](const std::string &text) { return name(text); }},
        {"brand", 32, [](const std::string &text) { return model(text, "", 1); }},
        {"model", 32, [](const std::string &text) { return model("", text, 2); }},
    };
    for (const Row &row : rows)
        for (size_t length : {row.width - 1, row.width, row.width + 1, size_t{5000}}) {
            SCOPED_TRACE(testing::Message() << row.argument << ' ' << length);
            std::string text(length, 'x');
            EXPECT_EQ(set("{\"" + std::string(row.argument) + "\": \"" + text + "\"}"), kSuccess);
            EXPECT_EQ(service().take_requests(), Requests{row.request(text.substr(0, row.width))});
        }
}

TEST_F(LanInfoSetTest, SendsAMacThatFillsItsField)
{
    std::string mac(32, 'm');
    list_of({Bytes(544).text(0, mac).text(32, "host")});
    service().take_requests();
    EXPECT_EQ(set(kAllArguments), kSuccess);
    EXPECT_EQ(service().take_requests(),
              (Requests{{kSetName, 4, Bytes(96).text(0, mac).text(32, "phone")},
                        {kSetInternetAccess, 4, Bytes(36).text(0, mac).u32(32, 1)},
                        {kSetWifiAccess, 4, Bytes(36).text(0, mac).u32(32, 1)},
                        {kSetRateLimit, 4, Bytes(80).text(4, mac).u32(68, 20).u32(72, 10).u32(76, 3)},
                        {kSetModel, 4, Bytes(100).text(0, mac).text(32, "Other").text(64, "Model 8").u32(96, 3)}}));
}

// Settings changed before the failure stay changed.
TEST_F(LanInfoSetTest, EndsAtTheFirstFailure)
{
    struct Step {
        Request request;
        const char *action;
    };
    const Step steps[] = {
        {name("phone"), "set devname"},
        {internet_access(1), "set internetaccess"},
        {wifi_access(1), "set wifiaccess"},
        {bandwidth(20, 10, 3), "set bandwidth"},
        {model("Other", "Model 8", 3), "set model or brand"},
    };
    Requests asked;
    enable_log();
    for (const Step &step : steps) {
        SCOPED_TRACE(step.action);
        asked.push_back(step.request);
        service().answer_in_turn(step.request.type, {code(6), no_answer(), code(0)});
        for (const char *log : {"Msg retcode = 6\n", "Msg return buf = NULL\n"}) {
            std::string reason = "failed to " + std::string(step.action);
            EXPECT_EQ(set(kAllArguments), failure(reason));
            EXPECT_EQ(service().take_requests(), asked);
            EXPECT_TRUE(take_log().ends_with("[wexond_check_ret.#]: " + std::string(log) +
                                             "[wexond_laninfo1_set.#]: Failed to " + step.action + "\n" +
                                             set_reply_log(reason)));
        }
    }
    EXPECT_EQ(set(kAllArguments), kSuccess);
}

TEST_F(LanInfoSetTest, LogsItsArguments)
{
    const std::string found = entry_log("wexond_laninfo1_set", entry(1), "set") +
                              "[wexond_laninfo1_set.#]: Succeed to get sta num = 1\n"
                              "[wexond_laninfo1_set.#]: Succeed to find mac = " +
                              kMac + "\n";
    enable_log();
    set(kAllArguments);
    EXPECT_EQ(take_log(), found +
                              "[wexond_laninfo1_set.#]: devname:phone \n\n"
                              "[wexond_laninfo1_set.#]: internetaccess:2 \n\n"
                              "[wexond_laninfo1_set.#]: storageaccess:1 \n\n"
                              "[wexond_laninfo1_set.#]: usbandwidth:10 \n\n"
                              "[wexond_laninfo1_set.#]: dsbandwidth:20 \n\n"
                              "[wexond_laninfo1_set.#]: brand:Other \n\n"
                              "[wexond_laninfo1_set.#]: model:Model 8 \n\n" +
                              set_reply_log());
    set("{}");
    EXPECT_EQ(take_log(), found + set_reply_log());
    disable_log();
    set(kAllArguments);
    list();
    EXPECT_EQ(take_log(), "");
}

// --- Time zones ---

struct Zone {
    const char *name;
    const char *setting;
    std::vector<std::pair<uint32_t, std::string>> times; // seconds since the epoch, and how they are shown
};

class LanInfoZoneTest : public LanInfoTest, public testing::WithParamInterface<Zone>
{
  protected:
    LanInfoZoneTest() : LanInfoTest(GetParam().setting) {}
};

TEST_P(LanInfoZoneTest, ShowsTimesInLocalTime)
{
    std::vector<Bytes> stations;
    std::vector<Table> tables;
    for (const auto &[seconds, text] : GetParam().times) {
        stations.push_back(full_station().u32(224, seconds));
        tables.push_back(Table{.activetime = text});
        stations.push_back(full_station().u32(224, seconds).u32(216, 0));
        tables.push_back(Table{.active = 0, .activetime = "", .inactivetime = text});
    }
    EXPECT_EQ(list_of(stations), list_reply(tables));
}

// Those with summer time change to it at 1711846800 and 1710054000.
const Zone kZones[] = {
    {"EastOfGreenwich", "CST-8", {{0, "1970-01-01 08:00:00"}, {1700000000, "2023-11-15 06:13:20"}}},
    {"WestOfGreenwich",
     "EST5EDT,M3.2.0,M11.1.0",
     {{0, "1969-12-31 19:00:00"}, {1710053999, "2024-03-10 01:59:59"}, {1710054000, "2024-03-10 03:00:00"}}},
    {"HalfAnHour", "IST-5:30", {{1700000000, "2023-11-15 03:43:20"}, {0xFFFFFFFF, "2106-02-07 11:58:15"}}},
    {"SummerTime",
     "CET-1CEST,M3.5.0,M10.5.0/3",
     {{1711846799, "2024-03-31 01:59:59"}, {1711846800, "2024-03-31 03:00:00"}}},
};

INSTANTIATE_TEST_SUITE_P(Zones, LanInfoZoneTest, testing::ValuesIn(kZones),
                         [](const auto &zone) { return zone.param.name; });

// --- Memory ---

// Freed memory is kept for a while under a sanitizer, which would hide what this looks for.
class LanInfoMemoryTest : public LanInfoTest
{
  protected:
    LanInfoMemoryTest() { setenv("ASAN_OPTIONS", "quarantine_size_mb=0:thread_local_quarantine_size_kb=0", 1); }

    // The pages that the daemon has in memory.
    size_t resident_pages()
    {
        size_t size, resident;
        std::ifstream("/proc/" + std::to_string(daemon().pid()) + "/statm") >> size >> resident;
        return resident;
    }
};

// Each of these lists puts two entries out that have the key of 256.
TEST_F(LanInfoMemoryTest, StaysAsLargeAsItIsOverRepeatedLists)
{
    if (!kEmulator.empty())
        GTEST_SKIP() << "the pages would be the emulator's too";
    answer_with(bare_stations(512));
    auto list_often = [&](int times) {
        while (times-- > 0)
            EXPECT_NE(list(), "");
        service().take_requests();
    };
    list_often(20);
    size_t before = resident_pages();
    list_often(30);
#ifdef __clang__ // the flavour with a sanitizer, whose allocator scatters what is freed
    constexpr size_t kScatter = 20;
#else
    constexpr size_t kScatter = 2;
#endif
    EXPECT_LE(resident_pages(), before + kScatter);
}

} // namespace
