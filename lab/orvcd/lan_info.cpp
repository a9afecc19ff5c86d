// The stations of the home.

#include <ctime>

#include "checks.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "system/lan_info_records.h"

constexpr Name kMedia[] = {{0, "2.4 GHz"}, {1, "5 GHz"}, {2, "wired"}};
constexpr Name kDuplexes[] = {{0, "none"}, {1, "full"}, {2, "half"}, {3, "auto"}};

static void describe(auto &&field, StationRecord &record)
{
    field("mac", record.mac);
    field("host_name", record.host_name);
    field("device_name", record.device_name);
    field("address", record.address);
    field("medium", record.medium, Names{kMedia});
    field("port", record.port);
    field("ssid", record.ssid);
    field("active", record.active, YesNo{});
    field("online_time", record.online_time);
    field("changed_at", record.changed_at);
    field("virtual_mac", record.virtual_mac);
    field("address6", record.address6);
    field("brand", record.brand);
    field("model", record.model);
    field("download_speed", record.download_speed);
    field("upload_speed", record.upload_speed);
    field("rssi", record.rssi);
    field("rate", record.rate);
    field("duplex", record.duplex, Names{kDuplexes});
    field("storage_access", record.storage_access, YesNo{});
    field("internet_access", record.internet_access, YesNo{});
    field("wifi_access", record.wifi_access, YesNo{});
}

static void describe(auto &&field, StationRateLimitRecord &record)
{
    field("limited", record.limited, YesNo{});
    field("downstream", record.downstream);
    field("upstream", record.upstream);
}

constexpr Name kModelChanges[] = {{1, "brand"}, {2, "model"}};
constexpr Name kRateChanges[] = {{1, "upstream"}, {2, "downstream"}};

static void describe_message(auto &&field, StationRateLimitRecord &record)
{
    field("mac", record.mac);
    field("changes", record.change_mask, BitSet{kRateChanges});
}

static void describe(auto &&field, StationNameRecord &record)
{
    field("mac", record.mac);
    field("device_name", record.device_name);
}

static void describe(auto &&field, StationModelRecord &record)
{
    field("mac", record.mac);
    field("changes", record.change_mask, BitSet{kModelChanges});
    field("brand", record.brand);
    field("model", record.model);
}

static void describe(auto &&field, StationAccessRecord &record)
{
    field("mac", record.mac);
    field("allowed", record.flag, YesNo{});
}

static void describe(auto &&field, StationCountsRecord &record)
{
    field("total", record.total);
    field("wired", record.wired);
    field("2.4 GHz", record.wifi_2g);
    field("5 GHz", record.wifi_5g);
}

static void describe(auto &&field, StationEvent &event)
{
    field("mac", event.mac);
    field("host_name", event.host_name);
    field("medium", event.medium);
    field("port", event.port);
    field("active", event.active, YesNo{});
    field("virtual_mac", event.virtual_mac);
}

static void describe(auto &&field, PasswordErrorEvent &event)
{
    field("mac", event.mac);
}

namespace
{

ReturnCode check_access(const StationAccessRecord &record)
{
    return check_switch(record.flag);
}

// For how long a station on line has been so: longer by the time that the service is up, unless it came since.
uint64_t seconds_online(const StationRecord &record)
{
    uint64_t since_change = static_cast<uint64_t>(time(nullptr)) - record.changed_at;
    return std::min(record.online_time + seconds_up(), since_change);
}

// The traffic of a station while on line.
void advance(StationRecord &record)
{
    uint64_t seconds = record.active == 1 ? seconds_online(record) : 0;
    if (record.active == 1)
        record.online_time = static_cast<uint32_t>(seconds);
    record.bytes_received = seconds * 1'100;
    record.bytes_sent = seconds * 14'000;
    record.packets_received = seconds * 9;
    record.packets_sent = seconds * 12;
    record.retries_received = seconds / 40;
    record.retries_sent = seconds / 30;
    record.failures_received = seconds / 4'000;
    record.failures_sent = seconds / 3'000;
    record.packets_lost = seconds / 5'000;
}

StationRecord station_record(const Json &station)
{
    auto record = to_record<StationRecord>(station);
    advance(record);
    return record;
}

std::string as_text(const StationMac &mac)
{
    return read_text(mac).data;
}

Json decode_stations(std::string_view answer)
{
    Json stations = Json::array();
    for (size_t at = sizeof(StationListHeader); at < answer.size(); at += sizeof(StationRecord))
        stations.push_back(fields_of<StationRecord>(answer.substr(at, sizeof(StationRecord))));
    return {{"entries", stations}};
}

Reply list_stations(const Json &home)
{
    const Json &stations = home.at("stations");
    StationListHeader header{};
    header.count = static_cast<uint32_t>(stations.size());
    std::string answer(reinterpret_cast<const char *>(&header), sizeof(header));
    for (const Json &station : stations) {
        StationRecord record = station_record(station);
        answer.append(reinterpret_cast<const char *>(&record), sizeof(record));
    }
    return Reply(std::move(answer), decode_stations);
}

Reply get_station(const Json &home, const StationRecord &request)
{
    const Json *station = find_station(home, as_text(request.mac));
    return station ? Reply(station_record(*station)) : Reply(kNotFound);
}

Reply get_station_counts(const Json &home)
{
    StationCountsRecord counts{};
    for (const Json &station : home.at("stations")) {
        uint32_t medium = to_record<StationRecord>(station).medium;
        le32 &count = medium == 2 ? counts.wired : medium == 0 ? counts.wifi_2g : counts.wifi_5g;
        count = count + 1;
        counts.total = counts.total + 1;
    }
    return counts;
}

// Has `set` change the station that a request names.
template <typename Record, typename Set> Reply change_station(Json &home, const Record &record, Set set)
{
    Json *station = find_station(home, as_text(record.mac));
    if (!station)
        return kNotFound;
    set(*station);
    return kOk;
}

Reply set_station_name(Json &home, const StationNameRecord &record)
{
    return change_station(
        home, record, [&](Json &station) { station["device_name"] = encode(record.device_name); });
}

Reply set_station_model(Json &home, const StationModelRecord &record)
{
    return change_station(
        home, record,
        [&](Json &station) {
            if (record.change_mask & 1)
                station["brand"] = encode(record.brand);
            if (record.change_mask & 2)
                station["model"] = encode(record.model);
        });
}

Reply set_internet_access(Json &home, const StationAccessRecord &record)
{
    return change_station(
        home, record, [&](Json &station) { station["internet_access"] = record.flag == 1; });
}

Reply set_wifi_access(Json &home, const StationAccessRecord &record)
{
    return change_station(
        home, record, [&](Json &station) { station["wifi_access"] = record.flag == 1; });
}

Reply get_rate_limit(const Json &home, const StationRateLimitRecord &request)
{
    const Json *station = find_station(home, as_text(request.mac));
    if (!station)
        return kNotFound;
    auto record = to_record<StationRateLimitRecord>(*station);
    memcpy(record.mac, request.mac, sizeof(record.mac));
    return record;
}

Reply set_rate_limit(Json &home, const StationRateLimitRecord &record)
{
    return change_station(
        home, record,
        [&](Json &station) {
            if (record.change_mask & 1)
                station["upstream"] = encode(record.upstream);
            if (record.change_mask & 2)
                station["downstream"] = encode(record.downstream);
            station["limited"] = decode_number(station["upstream"]) != 0 || decode_number(station["downstream"]) != 0;
        });
}

constexpr Event kFamilyEvents[] = {
    event_of<StationEvent>(
        "new-station", kEventNewStation,
        R"({"mac": "00:00:5E:00:53:50", "host_name": "visitor", "medium": 0, "port": 0, "virtual_mac": ""})"),
    event_of<StationEvent>("station-state", kEventStationState, R"({"mac": "00:00:5E:00:53:32", "active": true})"),
    event_of<PasswordErrorEvent>("password-error", kEventWifiPasswordError, R"({"mac": "00:00:5E:00:53:51"})"),
};

constexpr Row kRows[] = {
    {kListStations, "ORVC_GET_STALIST", serve<list_stations>},
    {kGetStation, "ORVC_GET_STAINFO", serve<get_station>},
    {kGetStationCounts, "ORVC_GET_STANUM", serve<get_station_counts>},
    {kSetStationName, "ORVC_SET_STANAME", serve<set_station_name>},
    {kSetStationModel, "ORVC_SET_STAMODEL", serve<set_station_model>},
    {kSetInternetAccess, "ORVC_SET_INTERNETACCESS", serve<set_internet_access, check_access>},
    {kSetWifiAccess, "ORVC_SET_WIFIACCESS", serve<set_wifi_access, check_access>},
    {kGetRateLimit, "ORVC_GET_STARATELIMIT", serve<get_rate_limit>},
    {kSetRateLimit, "ORVC_SET_STARATELIMIT", serve<set_rate_limit>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
