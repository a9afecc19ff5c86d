// The daemon's start, up to where it takes method calls.

#include <algorithm>
#include <sstream>

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

using namespace std::chrono_literals;

constexpr uint32_t kListTimers = 98;
constexpr uint32_t kGetRadio = 181;
constexpr uint32_t kGetAp = 185;
constexpr uint32_t kListUrlFilters = 206;
constexpr uint32_t kListDnsFilters = 211;
constexpr uint32_t kGetFactoryFlag = 239;

Request radio_request(uint32_t band)
{
    return {kGetRadio, 52, Bytes(48).u32(0, band)};
}

Request ap_request(uint32_t band, uint32_t index)
{
    return {kGetAp, 204, Bytes(200).u32(0, band).u32(4, index)};
}

const Request kProbe = ap_request(1, 1);

// A radio's answer: its number of access points at 32. An access point's: enable word at 8, SSID at 12.
Answer ap_count(uint32_t count)
{
    return record(Bytes(48).u32(32, count));
}

Answer access_point(uint32_t enable, std::string_view ssid)
{
    return record(Bytes(200).u32(8, enable).text(12, ssid));
}

// A list's answer: the count, then entries of `size` bytes that begin with their index; as many as the record holds.
Answer list(uint32_t count, const std::vector<uint32_t> &indices, size_t size, uint32_t return_code = 0)
{
    Bytes record = Bytes(4 + 32 * size).u32(0, count);
    for (size_t i = 0; i < indices.size(); i++)
        record.u32(4 + i * size, indices[i]);
    return code(return_code, record);
}

Answer timer_list(uint32_t count, const std::vector<uint32_t> &indices, uint32_t return_code = 0)
{
    return list(count, indices, 36, return_code);
}

std::string created(const std::string &word, const std::vector<uint32_t> &indices)
{
    std::string log;
    for (uint32_t index : indices)
        log += "[" + word + "_update.#]: Create " + word + " '" + std::to_string(index) + "'\n\n";
    return log;
}

std::vector<uint32_t> counted_to(uint32_t count)
{
    std::vector<uint32_t> indices;
    for (uint32_t i = 1; i <= count; i++)
        indices.push_back(i);
    return indices;
}

const std::string kStarted = "[WEXOND_ThreadRun.#]: Start wexond\n\n";
const std::string kNoAnswer = "[wexond_check_ret.#]: Msg return buf = NULL\n";
const std::string kFirstAps = created("wifiap", {1}) + created("wifiap", {1});

// Of a start that finds one access point in each band, after so many probes.
Requests requests_of_start(size_t probes)
{
    Requests requests(probes, kProbe);
    requests.insert(requests.end(), {radio_request(0),
                                     ap_request(0, 1),
                                     radio_request(1),
                                     ap_request(1, 1),
                                     {kListTimers, 1160},
                                     {kListUrlFilters, 67848},
                                     {kListDnsFilters, 36232},
                                     {kGetFactoryFlag, 8}});
    return requests;
}

class StartUpTest : public DaemonTest
{
  protected:
    void start_up()
    {
        launch_daemon();
        wait_until_up();
    }

    // Starts the daemon with the log on and returns what it logged until it was up.
    std::string log_of_start()
    {
        enable_log();
        start_up();
        return take_bus_thread_log();
    }

    // The names of the objects below `prefix`, one to a line.
    std::string objects_below(const std::string &prefix)
    {
        std::istringstream lines(client().list(prefix + ".*"));
        std::string names;
        for (std::string line; std::getline(lines, line);)
            if (line[0] != ' ')
                names += line + '\n';
        return names;
    }

    // The time from start until it takes calls.
    Milliseconds time_of_start()
    {
        auto start = std::chrono::steady_clock::now();
        start_up();
        return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - start);
    }

    // How each band's access points are answered; the probe, which is the first request, is accepted.
    void answer_aps(std::function<Answer(uint32_t band, uint32_t index)> answer)
    {
        service().answer_by(kGetAp, [answer, probed = false](const Request &request) mutable {
            auto byte = [&](size_t offset) { return static_cast<uint8_t>(request.payload.data().at(offset)); };
            return std::exchange(probed, true) ? answer(byte(0), byte(4)) : record(Bytes(200));
        });
    }
};

TEST_F(StartUpTest, AsksInOrder)
{
    start_up();
    EXPECT_EQ(service().take_requests(), requests_of_start(1));
}

TEST_F(StartUpTest, LogsWhatItCreates)
{
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps);
}

TEST_F(StartUpTest, ProbesUntilTheServiceAccepts)
{
    service().answer_in_turn(kGetAp, {code(1), no_answer(), access_point(1, "lab")});
    EXPECT_GE(time_of_start(), 2s);
    EXPECT_EQ(service().take_requests(), requests_of_start(3));
}

TEST_F(StartUpTest, StartsAnywayAfterFourProbes)
{
    Answer refused = code(1);
    service().answer_in_turn(kGetAp, {refused, refused, refused, refused, access_point(1, "lab")});
    EXPECT_GE(time_of_start(), 4s);
    EXPECT_EQ(service().take_requests(), requests_of_start(4));
}

TEST_F(StartUpTest, LogsAProbeThatFails)
{
    service().answer_in_turn(kGetAp, {code(77), access_point(1, "lab")});
    EXPECT_EQ(log_of_start(), kStarted + "[wexond_check_ret.#]: Msg retcode = 77\n" + kFirstAps);
}

TEST_F(StartUpTest, ReadsAsManyAccessPointsAsTheBandHas)
{
    service().answer_by(kGetRadio,
                        [](const Request &request) { return ap_count(request == radio_request(0) ? 3 : 6); });
    EXPECT_EQ(log_of_start(), kStarted + created("wifiap", counted_to(3)) + created("wifiap", counted_to(6)));
    Requests requests = service().take_requests();
    requests.resize(12);
    EXPECT_EQ(requests, (Requests{kProbe, radio_request(0), ap_request(0, 1), ap_request(0, 2), ap_request(0, 3),
                                  radio_request(1), ap_request(1, 1), ap_request(1, 2), ap_request(1, 3),
                                  ap_request(1, 4), ap_request(1, 5), ap_request(1, 6)}));
}

TEST_F(StartUpTest, TakesACountOfZeroOrNoCountForFour)
{
    service().answer_in_turn(kGetRadio, {ap_count(0), code(1, Bytes(48).u32(32, 9))});
    EXPECT_EQ(log_of_start(), kStarted + created("wifiap", counted_to(4)) + "[wexond_check_ret.#]: Msg retcode = 1\n" +
                                  created("wifiap", counted_to(4)));
}

TEST_F(StartUpTest, TakesAnAnswerWithoutACountForFour)
{
    service().answer_in_turn(kGetRadio, {no_answer(), code(0)});
    EXPECT_EQ(log_of_start(),
              kStarted + kNoAnswer + created("wifiap", counted_to(4)) + created("wifiap", counted_to(4)));
}

TEST_F(StartUpTest, ReadsAtMost1024AccessPointsOfABand)
{
    service().answer_in_turn(kGetRadio, {ap_count(0xFFFFFFFF), ap_count(65)});
    start_up();
    EXPECT_EQ(service().take_requests().size(), 1 + 1 + 1024 + 1 + 65 + 4u);
    EXPECT_EQ(std::ranges::count(objects_below("wexond.wifi.1.ap"), '\n'), 1021) << "multiples of 256 share one";
    EXPECT_EQ(std::ranges::count(objects_below("wexond.wifi.2.ap"), '\n'), 65);
}

TEST_F(StartUpTest, PassesOverUnconfiguredAccessPoints)
{
    service().answer_in_turn(kGetRadio, {ap_count(11), ap_count(11)});
    answer_aps([](uint32_t band, uint32_t index) {
        std::string default_name = (band == 0 ? "KVQ_" : "KVQ_5G_") + std::to_string(index);
        std::string other_band_name = (band == 1 ? "KVQ_" : "KVQ_5G_") + std::to_string(index);
        switch (index) {
        case 1: // both of these are unconfigured, the first and the last
        case 11:
            return access_point(0, default_name);
        case 2:
            return access_point(1, default_name);
        case 3:
            return access_point(2, default_name);
        case 4:
            return access_point(0, "home");
        case 5:
            return access_point(0, "");
        case 6:
            return access_point(0, other_band_name);
        case 7:
            return access_point(0, default_name + "0");
        case 8:
            return access_point(0, default_name.substr(0, default_name.size() - 1));
        case 9:
            return access_point(0, std::string(32, 'K'));
        default:
            return access_point(0, "kvq_" + std::to_string(index));
        }
    });
    std::vector<uint32_t> configured = {2, 3, 4, 5, 6, 7, 8, 9, 10};
    EXPECT_EQ(log_of_start(), kStarted + created("wifiap", configured) + created("wifiap", configured));
}

TEST_F(StartUpTest, TriesThreeTimesToReadAnAccessPoint)
{
    service().answer_in_turn(kGetRadio, {ap_count(2), ap_count(1)});
    answer_aps([attempt = 0](uint32_t band, uint32_t index) mutable {
        return band == 0 && index == 2 && attempt++ < 2 ? code(1) : access_point(1, "lab");
    });
    EXPECT_GE(time_of_start(), 3s) << "a second after the first, two after the second";
    Requests requests = service().take_requests();
    requests.resize(8);
    EXPECT_EQ(requests, (Requests{kProbe, radio_request(0), ap_request(0, 1), ap_request(0, 2), ap_request(0, 2),
                                  ap_request(0, 2), radio_request(1), ap_request(1, 1)}));
}

TEST_F(StartUpTest, KeepsTheFirstAccessPointThatCannotBeRead)
{
    service().answer_in_turn(kGetRadio, {ap_count(2), ap_count(1)});
    answer_aps([](uint32_t band, uint32_t) { return band == 0 ? no_answer() : access_point(1, "lab"); });
    EXPECT_EQ(log_of_start(), kStarted + kNoAnswer + kNoAnswer + kNoAnswer + created("wifiap", {1}) + kNoAnswer +
                                  kNoAnswer + kNoAnswer + created("wifiap", {1}));
}

TEST_F(StartUpTest, MirrorsTimersAndFilters)
{
    service().answer(kListTimers, timer_list(3, {1, 2, 7}));
    service().answer(kListUrlFilters, list(2, {4, 5}, 2120));
    service().answer(kListDnsFilters, list(2, {8, 255}, 1132));
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + created("wifitimer", {1, 2, 7}) + created("filterurl", {4, 5}) +
                                  created("filterdns", {8, 255}));
}

TEST_F(StartUpTest, ReadsNoMoreEntriesThanAListHolds)
{
    service().answer(kListTimers, timer_list(40, counted_to(32)));
    service().answer(kListUrlFilters, list(0xFFFFFFFF, counted_to(32), 2120));
    service().answer(kListDnsFilters, list(33, counted_to(32), 1132));
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + created("wifitimer", counted_to(32)) +
                                  created("filterurl", counted_to(32)) + created("filterdns", counted_to(32)));
    for (const char *prefix : {"wexond.wifi.timer", "wexond.filter.url", "wexond.filter.dns"})
        EXPECT_EQ(std::ranges::count(objects_below(prefix), '\n'), 32) << prefix;
}

TEST_F(StartUpTest, MirrorsListsWhateverTheirReturnCode)
{
    service().answer(kListTimers, timer_list(1, {3}, 1));
    service().answer(kListUrlFilters, list(1, {3}, 2120, 2));
    service().answer(kListDnsFilters, list(1, {3}, 1132, 0xFFFFFFFF));
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + created("wifitimer", {3}) +
                                  "[filterurl_init.#]: ORV_RET_OK != *peRet\n" + created("filterurl", {3}) +
                                  "[filterdns_init.#]: ORV_RET_OK != *peRet\n" + created("filterdns", {3}));
}

TEST_F(StartUpTest, LogsListsThatStayOut)
{
    for (uint32_t type : {kListTimers, kListUrlFilters, kListDnsFilters, kGetFactoryFlag})
        service().answer(type, no_answer());
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + "[wifitimer_init.#]: wifitimer_init:  failed \n\n" +
                                  "[filterurl_init.#]: NULL == pcBuf\n" + "[filterdns_init.#]: NULL == pcBuf\n" +
                                  kNoAnswer + "[wexond_main.#]: Failed to get factoryflag\n");
}

TEST_F(StartUpTest, LogsAFactoryFlagThatIsRefused)
{
    service().answer(kGetFactoryFlag, code(1, Bytes(4).u32(0, 1)));
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + "[wexond_check_ret.#]: Msg retcode = 1\n" +
                                  "[wexond_main.#]: Failed to get factoryflag\n");
}

// The key of an index is its bytes as a text, which ends at the first zero byte.
TEST_F(StartUpTest, AddsAnIndexOfAnEqualKeyWithoutCreatingAnything)
{
    service().answer(kListTimers, timer_list(6, {3, 3, 0, 256, 0x00010003, 0xFFFFFFFF}));
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + created("wifitimer", {3}) +
                                  "[wifitimer_update.#]: Update wifitimer '3'\n\n" + created("wifitimer", {0}) +
                                  "[wifitimer_update.#]: Update wifitimer '0'\n\n"
                                  "[wifitimer_update.#]: Update wifitimer '3'\n\n" +
                                  created("wifitimer", {0xFFFFFFFF}));
    EXPECT_EQ(objects_below("wexond.wifi.timer"), "wexond.wifi.timer.-1\nwexond.wifi.timer.0\nwexond.wifi.timer.3\n");
}

TEST_F(StartUpTest, TakesWhatAShortListLacksForZero)
{
    service().answer(kListTimers, record(Bytes(8).u32(0, 2).u32(4, 5)));
    EXPECT_EQ(log_of_start(), kStarted + kFirstAps + created("wifitimer", {5, 0}));
}

TEST_F(StartUpTest, ReportsAnObjectWhoseNameIsTaken)
{
    client().publish("wexond.ledswitch");
    start_up();
    expect_standard_error("Failed to add wexond.ledswitch: Invalid argument\n");
}

TEST_F(StartUpTest, PublishesItsObjectsBeforeTheServiceAnswers)
{
    service().answer(kGetFactoryFlag, after(2s, code(0)));
    launch_daemon();
    service().wait_for_requests(9);
    EXPECT_TRUE(client().has_object("wexond.devinfo.ext"));
    service().answer(20, record(Bytes(4).u32(0, 1)));
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch": {"status": "on"}})") << "once start-up is over";
    EXPECT_EQ(service().take_requests(), (Requests{{20, 8}}));
}

TEST_F(StartUpTest, TakesAsLongAsTheServiceIsSilent)
{
    service().answer(kGetFactoryFlag, after(15s, code(0)));
    EXPECT_GE(time_of_start(), 10s);
}

TEST_F(StartUpTest, ComesUpWithoutAService)
{
    end_service();
    std::string no_ap = kNoAnswer + kNoAnswer + kNoAnswer;
    std::string band = kNoAnswer + no_ap + created("wifiap", {1}) + no_ap + no_ap + no_ap;
    EXPECT_EQ(log_of_start(), kStarted + kNoAnswer + kNoAnswer + kNoAnswer + kNoAnswer + band + band +
                                  "[wifitimer_init.#]: wifitimer_init:  failed \n\n" +
                                  "[filterurl_init.#]: NULL == pcBuf\n" + "[filterdns_init.#]: NULL == pcBuf\n" +
                                  kNoAnswer + "[wexond_main.#]: Failed to get factoryflag\n");
    EXPECT_EQ(objects_below("wexond.wifi.1.ap"), "wexond.wifi.1.ap.1\n");
    EXPECT_EQ(objects_below("wexond.wifi.2.ap"), "wexond.wifi.2.ap.1\n");
    for (const char *prefix : {"wexond.wifi.timer", "wexond.filter.url", "wexond.filter.dns", "wexond.laninfo"})
        EXPECT_EQ(objects_below(prefix), "");
    EXPECT_EQ(call("wexond", "reboot"), failure("failed to reboot"));
}

} // namespace
