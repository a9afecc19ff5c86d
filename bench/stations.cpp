// The cost of a list of many stations beside the exchanges that it is made of.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <domainsocket.h>
#include <fstream>
#include <nlohmann/json.hpp>

#include "bench/lab.h"
#include "system/lan_info_records.h"

namespace
{

constexpr uint32_t kStations = 128;

std::string mac_of(uint32_t number)
{
    char mac[18];
    snprintf(mac, sizeof(mac), "00:00:5E:01:%02X:%02X", number >> 8 & 0xFF, number & 0xFF);
    return mac;
}

// The home that ships, with another number of stations.
std::string crowded_home(const test_support::TemporaryFolder &folder)
{
    std::ifstream file(DEFAULT_HOME);
    auto home = nlohmann::ordered_json::parse(file);
    auto station = home.at("stations").at(0);
    home["stations"].clear();
    for (uint32_t number = 1; number <= kStations; number++) {
        station["mac"] = mac_of(number);
        home["stations"].push_back(station);
    }
    std::string path = folder / "home.json";
    std::ofstream(path) << home;
    return path;
}

void exchange(const std::string &service, uint32_t type, const void *request, size_t length, size_t record)
{
    free(SOCKET_SendMsgByType(service.c_str(), type, 1, request, static_cast<uint32_t>(length),
                              static_cast<uint32_t>(4 + record)));
}

// The requests of one list, as the daemon makes them.
void exchange_all(const std::string &service)
{
    exchange(service, kGetStationCounts, nullptr, 0, sizeof(StationCountsRecord));
    exchange(service, kListStations, nullptr, 0, sizeof(StationListHeader) + kStations * sizeof(StationRecord));
    for (uint32_t number = 1; number <= kStations; number++) {
        StationRateLimitRecord request{};
        copy_text(request.mac, mac_of(number).c_str());
        exchange(service, kGetRateLimit, &request, sizeof(request), sizeof(request));
    }
}

} // namespace

void bench_stations()
{
    constexpr int kStarts = 7, kRounds = 50; // several, as for the calls
    test_support::TemporaryFolder folder;
    std::string home = crowded_home(folder);
    std::vector<Microseconds> exchanges, lists;
    std::vector<double> shares;
    for (int start = 0; start < kStarts; start++) {
        Lab lab(home);
        auto daemon = lab.start_daemon();
        uint32_t lan_info = lab.wait_for("wexond.laninfo");
        lab.call(lan_info, "list"); // returns when start-up is over
        std::string service = lab.path("orvc.sock");
        std::vector<std::vector<Microseconds>> samples;
        WorkClock clock({lab.broker_pid(), lab.service_pid(), daemon.pid()});
        sample_in_turn(clock, {[&] { exchange_all(service); }, [&] { lab.call(lan_info, "list"); }}, kRounds, samples);
        exchanges.push_back(median(samples[0]));
        lists.push_back(median(samples[1]));
        shares.push_back(100 * (1 - exchanges.back() / lists.back()));
    }
    printf("its %u exchanges                        %8.1f us\n", kStations + 2, median(exchanges).count());
    printf("wexond.laninfo list                      %8.1f us\n", median(lists).count());
    printf("the daemon's and the bus's share         %8.1f %%  (below 25)\n", median(shares));
}
