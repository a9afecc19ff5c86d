// The steering of stations between access points.

#include "checks.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "stations.h"
#include "wifi/roaming_records.h"

static void describe(auto &&field, RoamingRecord &record)
{
    field("enable", record.enable, YesNo{});
    field("threshold_rssi", record.threshold_rssi);
    field("report_interval", record.report_interval);
    field("start_time", record.start_time);
    field("start_rssi", record.start_rssi);
    field("threshold_copy", record.threshold_copy);
}

// Both places of the threshold change together.
constexpr Name kChanges[] = {{kChangeRoamingEnable, "enable"},
                             {0x02, "threshold_rssi"},
                             {0x40, "threshold_copy"},
                             {kChangeRoamingInterval, "report_interval"},
                             {kChangeRoamingStartTime, "start_time"},
                             {kChangeRoamingStartRssi, "start_rssi"}};

static void describe_message(auto &&field, RoamingRecord &record)
{
    field("changes", record.change_mask, BitSet{kChanges});
}

static void describe(auto &&field, StationRssiRecord &record)
{
    field("mac", record.mac);
    field("rssi", record.rssi);
    field("band", record.band, Names{kBands});
}

static void describe(auto &&field, ApRssiQueryEntry &entry)
{
    field("bssid", entry.bssid);
    field("channel", entry.channel);
}

static void describe(auto &&field, ApRssiQueryRecord &record)
{
    field("count", record.count);
    field("mac", record.mac);
    field("access_points", record.entries);
}

static void describe(auto &&field, ApRssiEntry &entry)
{
    field("bssid", entry.bssid);
    field("rssi", entry.rssi);
}

static void describe(auto &&field, TransitionRecord &record)
{
    field("mac", record.mac);
    field("bssid", record.bssid);
    field("channel", record.channel);
}

static void describe(auto &&field, RoamingEvent &event)
{
    field("mac", event.mac);
    field("bandwidth", event.bandwidth, Names{kBandwidths});
    field("rssi", event.rssi);
    field("connect_time", event.connect_time);
    field("channel", event.channel);
    field("bssid", event.bssid);
    field("support_11k", event.support_11k, YesNo{});
    field("support_11v", event.support_11v, YesNo{});
}

namespace
{

// Signals are in dBm, times in seconds.
ReturnCode check_roaming(const RoamingRecord &request)
{
    constexpr int32_t kWeakest = -120;
    constexpr int32_t kDay = 24 * 60 * 60;
    uint32_t mask = request.change_mask;
    if ((mask & kChangeRoamingEnable) && request.enable > 1)
        return kBadSwitch;
    return first_refusal((mask & kChangeRoamingThreshold) ? check_range(request.threshold_rssi, kWeakest, 0) : kOk,
                         (mask & kChangeRoamingInterval) ? check_range(request.report_interval, 0, kDay) : kOk,
                         (mask & kChangeRoamingStartTime) ? check_range(request.start_time, 0, kDay) : kOk,
                         (mask & kChangeRoamingStartRssi) ? check_range(request.start_rssi, kWeakest, 0) : kOk);
}

// A BSSID fills its field but for the NUL.
ReturnCode check_transition(const TransitionRecord &request)
{
    if (!is_mac(text_of(request.mac)) || !is_mac(text_of(request.bssid)))
        return kBadMac;
    return is_channel(0, request.channel) || is_channel(1, request.channel) ? kOk : kBadChannel;
}

Reply get_roaming(const Json &home)
{
    return to_record<RoamingRecord>(home.at("roaming"));
}

Reply set_roaming(Json &home, const RoamingRecord &request)
{
    Json given;
    store(given, request);
    static constexpr struct {
        uint32_t bits;
        const char *key;
    } kFields[] = {
        {0x01, "enable"},     {0x02, "threshold_rssi"}, {0x04, "report_interval"},
        {0x08, "start_time"}, {0x10, "start_rssi"},     {0x40, "threshold_copy"},
    };
    for (const auto &field : kFields)
        if (request.change_mask & field.bits)
            home["roaming"][field.key] = given[field.key];
    return kOk;
}

// A station's signal where it is now; wired ones have none.
Reply get_station_rssi(const Json &home, const StationRssiRecord &request)
{
    const Json *station = find_station(home, read_text(request.mac).data);
    if (!station || station->at("medium") == "wired")
        return kNotFound;
    StationRssiRecord record = request;
    record.rssi = static_cast<int32_t>(decode_number(station->at("rssi")));
    record.band = station->at("medium") == "2.4 GHz" ? 0 : 1;
    return record;
}

// Every access point that is asked for hears the station, the later ones less.
Reply query_ap_rssi(const Json &home, const ApRssiQueryRecord &request)
{
    const Json *station = find_station(home, colon_mac(read_text(request.mac).data));
    if (!station)
        return kNotFound;
    ApRssiAnswer answer{};
    answer.count = std::min<uint32_t>(request.count, std::size(answer.entries));
    for (uint32_t i = 0; i < answer.count; i++) {
        memcpy(answer.entries[i].bssid, request.entries[i].bssid, sizeof(answer.entries[i].bssid));
        answer.entries[i].rssi = static_cast<int32_t>(decode_number(station->at("rssi"))) - 4 * static_cast<int32_t>(i);
    }
    return answer;
}

// The station moves, and the router reports it a moment later.
Reply request_transition(const Json &home, const TransitionRecord &request)
{
    std::string mac = colon_mac(read_text(request.mac).data);
    std::string bssid = colon_mac(read_text(request.bssid).data);
    uint32_t channel = request.channel;
    if (!find_station(home, mac))
        return kNotFound;
    later(std::chrono::seconds(1), [=](Json &) {
        RoamingEvent event{};
        copy_text(event.mac, mac.c_str());
        event.bandwidth = 3;
        event.rssi = -48;
        event.connect_time = 1;
        event.channel = channel;
        copy_text(event.bssid, bssid.c_str());
        event.support_11k = 1;
        event.support_11v = 1;
        announce(kEventRoaming, event);
    });
    return kOk;
}

constexpr Event kFamilyEvents[] = {
    event_of<RoamingEvent>(
        "roaming", kEventRoaming,
        R"({"mac": "00:00:5E:00:53:32", "bandwidth": "80 MHz", "rssi": -70, "connect_time": 60, "channel": 44,
                               "bssid": "00:00:5E:00:53:21", "support_11k": true, "support_11v": true})"),
};

constexpr Row kRows[] = {
    {kGetRoaming, "ORVC_GET_ROAMING", serve<get_roaming>},
    {kSetRoaming, "ORVC_SET_ROAMING", serve<set_roaming, check_roaming>},
    {kGetStationRssi, "ORVC_GET_ROAMINGRSSI", serve<get_station_rssi>},
    {kQueryApRssi, "ORVC_GET_ROAMINGSARQ", serve<query_ap_rssi>},
    {kRequestTransition, "ORVC_SET_ROAMINGBSSTR", serve<request_transition, check_transition>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
