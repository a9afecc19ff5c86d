// A home's life of its own: people come and go, a neighbour mistypes a password, a phone looks for networks.

#include "events/event_records.h"
#include "filters/vsie_records.h"
#include "records.h"
#include "service.h"
#include "stations.h"

namespace
{

// A station, another one each time; null where the home has none.
Json pick_station(const Json &home, uint64_t turn)
{
    const Json &stations = home.at("stations");
    return stations.empty() ? Json() : stations[turn * 5 % stations.size()];
}

void come_or_go(Json &home, uint64_t turn)
{
    const Json station = pick_station(home, turn);
    if (station.is_null())
        return;
    set_station_active(home, station.at("mac").get<std::string>(), !station.value("active", false));
}

void mistype_password(Json &, uint64_t)
{
    PasswordErrorEvent event{};
    copy_text(event.mac, "00:00:5E:00:53:E1");
    announce(kEventWifiPasswordError, event);
}

void report_roaming(Json &home, uint64_t turn)
{
    const Json station = pick_station(home, turn);
    if (station.is_null() || station.at("medium") == "wired")
        return;
    RoamingEvent event{};
    copy_text(event.mac, station.at("mac").get<std::string>().c_str());
    event.bandwidth = 3;
    event.rssi = static_cast<int32_t>(decode_number(station.at("rssi")));
    event.connect_time = 60;
    event.channel = 44;
    copy_text(event.bssid, "00:00:5E:00:53:21");
    event.support_11k = 1;
    announce(kEventRoaming, event);
}

// A probe request with an element that the first watch waits for.
void capture_probe(Json &home, uint64_t)
{
    Json &watches = home["vsie"]["probe_requests"];
    if (watches.empty())
        return;
    VsieRecordEvent event{};
    copy_text(event.mac, "00:00:5E:00:53:34");
    decode(watches[0]["oui"], event.oui);
    event.length = 4;
    for (uint8_t i = 0; i < 4; i++)
        event.data[i] = i;
    announce(kEventVsieNewRecord, event);
    Json &frames = watches[0]["frames"];
    frames.push_back({{"mac", encode(event.mac)}, {"band", 0}, {"length", 4}, {"data", {0, 1, 2, 3}}});
    if (frames.size() > std::size(ProbeWatchRecord{}.frames))
        frames.erase(0); // the oldest makes room
}

constexpr void (*kHappenings[])(Json &, uint64_t) = {come_or_go, mistype_password, come_or_go, report_roaming,
                                                     capture_probe};

} // namespace

void live(Json &home)
{
    static uint64_t turn;
    kHappenings[turn % std::size(kHappenings)](home, turn);
    turn++;
}
