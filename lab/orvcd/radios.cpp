// The two radios, and the switches of all of Wi-Fi.

#include "checks.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "stations.h"
#include "wifi/radio_records.h"

constexpr Name kRadioChanges[] = {{kChangeEnable, "enable"},
                                  {kChangeBandwidth, "bandwidth"},
                                  {kChangeTxPower, "txpower"},
                                  {kChangeChannel, "channel"}};

static void describe(auto &&field, RadioRecord &record)
{
    field("enable", record.enable, YesNo{});
    field("txpower", record.txpower);
    field("channel", record.channel);
    field("current_channel", record.current_channel);
    field("bandwidth", record.bandwidth, Names{kBandwidths});
    field("mode", record.mode, BitSet{kStandards});
    field("load", record.load);
}

static void describe_message(auto &&field, RadioRecord &record)
{
    field("band", record.band, Names{kBands});
    field("ap_count", record.ap_count);
    field("changes", record.change_mask, BitSet{kRadioChanges});
}

static void describe(auto &&field, ChannelScore &score)
{
    field("channel", score.channel);
    field("score", score.score);
}

static void describe_message(auto &&field, ChannelScoreList &list)
{
    field("band", list.band, Names{kBands});
}

static void describe(auto &&field, DisassociateRecord &record)
{
    field("count", record.count);
    field("macs", record.macs);
}

static void describe(auto &&field, SwitchRecord &record)
{
    field("on", record.code, YesNo{});
}

static void describe(auto &&field, WpsRecord &record)
{
    field("on", record.code, YesNo{});
}

static void describe(auto &&field, WpsSwitchEvent &event)
{
    field("on", event.code, YesNo{});
}

static void describe(auto &&field, ChannelChangeEvent &event)
{
    field("band", event.band, Names{kBands});
    field("channel", event.channel);
}

namespace
{

ReturnCode check_radio(const RadioRecord &request)
{
    uint32_t mask = request.change_mask;
    if ((mask & kChangeEnable) && request.enable > 1)
        return kBadSwitch;
    if ((mask & kChangeBandwidth) &&
        request.bandwidth > (request.band == 0 ? 2u : 4u)) // 40 MHz is the widest of 2.4 GHz
        return kBadBandwidth;
    if ((mask & kChangeTxPower) && request.txpower > 2)
        return kBadPower;
    return (mask & kChangeChannel) && !is_channel(request.band, request.channel) ? kBadChannel : kOk;
}

ReturnCode check_disassociate(const DisassociateRecord &request)
{
    if (request.count > std::size(request.macs))
        return kBadRange;
    for (size_t i = 0; i < request.count; i++)
        if (!is_mac(text_of(request.macs[i])))
            return kBadMac;
    return kOk;
}

ReturnCode check_wifi_switch(const SwitchRecord &record)
{
    return check_switch(record.code);
}

ReturnCode check_wps(const WpsRecord &record)
{
    return check_switch(record.code);
}

// Up to which index the band has access points, configured or not.
uint32_t count_access_points(const Json &radio)
{
    uint32_t highest = 0;
    for (const Json &access_point : radio.at("access_points"))
        highest = std::max(highest, access_point.at("index").get<uint32_t>());
    return highest;
}

Reply get_radio(const Json &home, const RadioRecord &request)
{
    const Json *radio = radio_of(home, request.band);
    if (!radio)
        return kNotFound;
    auto record = to_record<RadioRecord>(*radio);
    record.band = request.band;
    record.ap_count = count_access_points(*radio);
    return record;
}

// Nothing is heard here, but every scan finds another score for every channel.
Reply start_channel_scan(Json &home, const ChannelScoreList &request)
{
    Json *radio = radio_of(home, request.band);
    if (!radio)
        return kNotFound;
    uint64_t scans = decode_number((*radio)["channel_scans"]) + 1;
    (*radio)["channel_scans"] = scans;
    for (Json &entry : (*radio)["channel_scores"])
        entry["score"] = 30 + (decode_number(entry["channel"]) * 17 + scans * 23) % 70;
    return kOk;
}

// A set request's change mask says which fields it gives.
Reply set_radio(Json &home, const RadioRecord &request)
{
    Json *radio = radio_of(home, request.band);
    if (!radio)
        return kNotFound;
    auto record = to_record<RadioRecord>(*radio);
    uint32_t old_channel = record.current_channel;
    if (request.change_mask & kChangeEnable)
        record.enable = request.enable;
    if (request.change_mask & kChangeBandwidth)
        record.bandwidth = request.bandwidth;
    if (request.change_mask & kChangeTxPower)
        record.txpower = request.txpower;
    if (request.change_mask & kChangeChannel) {
        record.channel = request.channel;
        if (request.channel != 0) // 0 leaves the choice to the radio, which stays where it is
            record.current_channel = request.channel;
    }
    store(*radio, record);
    if (record.current_channel != old_channel)
        announce(kEventChannelChange, ChannelChangeEvent{request.band, {}, record.current_channel});
    return kOk;
}

Reply get_channel_scores(const Json &home, const ChannelScoreList &request)
{
    const Json *radio = radio_of(home, request.band);
    if (!radio)
        return kNotFound;
    auto list = to_list<ChannelScoreList>(radio->at("channel_scores"));
    list.band = request.band;
    return list;
}

// A station that is sent away comes back by itself, unless it is told not to: it is off line for a moment.
Reply disassociate(Json &home, const DisassociateRecord &request)
{
    for (size_t i = 0; i < std::min<size_t>(request.count, std::size(request.macs)); i++) {
        std::string mac = colon_mac(read_text(request.macs[i]).data);
        if (!find_station(home, mac))
            continue;
        set_station_active(home, mac, false);
        later(std::chrono::seconds(3), [mac](Json &home) { set_station_active(home, mac, true); });
    }
    return kOk;
}

// The switches of all of Wi-Fi: where each stands in the home, and the event that tells of it.

SwitchRecord read_switch(const Json &home, const char *key)
{
    return {YesNo{}.decode(home.at("switches").at(key))};
}

void write_switch(Json &home, const char *key, uint32_t code)
{
    home["switches"][key] = YesNo{}.encode(code);
}

Reply get_wifi_switch(const Json &home)
{
    return read_switch(home, "wifi");
}

Reply set_wifi_switch(Json &home, const SwitchRecord &record)
{
    write_switch(home, "wifi", record.code);
    announce(kEventWifiSwitch, SwitchEvent{record.code});
    return kOk;
}

Reply get_elink_sync(const Json &home)
{
    return read_switch(home, "elink_sync");
}

Reply set_elink_sync(Json &home, const SwitchRecord &record)
{
    write_switch(home, "elink_sync", record.code);
    announce(kEventElinkSwitch, SwitchEvent{record.code});
    return kOk;
}

Reply get_wps(const Json &home, const WpsRecord &request)
{
    return WpsRecord{request.index, read_switch(home, "wps").code};
}

Reply set_wps(Json &home, const WpsRecord &record)
{
    write_switch(home, "wps", record.code);
    announce(kEventWpsSwitch, WpsSwitchEvent{0, record.code});
    return kOk;
}

constexpr Event kFamilyEvents[] = {
    event_of<SwitchEvent>("wifi-switch", kEventWifiSwitch, R"({"on": true})"),
    event_of<SwitchEvent>("elink-switch", kEventElinkSwitch, R"({"on": true})"),
    event_of<WpsSwitchEvent>("wps-switch", kEventWpsSwitch, R"({"on": true})"),
    event_of<ChannelChangeEvent>("channel", kEventChannelChange, R"({"band": "2.4 GHz", "channel": 6})"),
};

constexpr Row kRows[] = {
    {kDisassociate, "ORVC_SET_DISASSOCIATION", serve<disassociate, check_disassociate>},
    {kStartChannelScan, "ORVC_SET_CHANNELSCAN", serve<start_channel_scan>},
    {kGetElinkSync, "ORVC_GET_ELINKSYNC", serve<get_elink_sync>},
    {kSetElinkSync, "ORVC_SET_ELINKSYNC", serve<set_elink_sync, check_wifi_switch>},
    {kSetWifiSwitch, "ORVC_SET_WIFISWITCH", serve<set_wifi_switch, check_wifi_switch>},
    {kGetWifiSwitch, "ORVC_GET_WIFISWITCH", serve<get_wifi_switch>},
    {kSetRadio, "ORVC_SET_RADIO", serve<set_radio, check_radio>},
    {kGetRadio, "ORVC_GET_RADIO", serve<get_radio>},
    {kSetWps, "ORVC_SET_WPS", serve<set_wps, check_wps>},
    {kGetWps, "ORVC_GET_WPS", serve<get_wps>},
    {kGetChannelScores, "ORVC_GET_CHANNELSCORE", serve<get_channel_scores>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
