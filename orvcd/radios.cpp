// The two radios.

#include "records.h"
#include "service.h"
#include "wifi/radio_records.h"

static constexpr Name kBandwidths[] = {{0, "auto"}, {1, "20 MHz"}, {2, "40 MHz"}, {3, "80 MHz"}, {4, "160 MHz"}};

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

// Up to which index the band has access points, configured or not.
static uint32_t count_access_points(const Json &radio)
{
    uint32_t highest = 0;
    for (const Json &access_point : radio.at("access_points"))
        highest = std::max(highest, access_point.at("index").get<uint32_t>());
    return highest;
}

static Reply get_radio(const Json &home, const RadioRecord &request)
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
static Reply start_channel_scan(Json &home, const ChannelScoreList &request)
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

static constexpr Row rows[] = {
    {kStartChannelScan, "ORVC_SET_CHANNELSCAN", serve<start_channel_scan>},
    {kGetRadio, "ORVC_GET_RADIO", serve<get_radio>},
};
const Family kRadioFamily = rows;
