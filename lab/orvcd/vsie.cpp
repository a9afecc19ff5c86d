// Vendor-specific information elements: sent in beacons, watched for in probe requests, sent in probe responses.

#include "checks.h"
#include "events.h"
#include "filters/vsie_records.h"
#include "records.h"
#include "service.h"

static void describe(auto &&field, VsieLimitsRecord &record)
{
    field("beacon_entries", record.beacon_entries);
    field("beacon_concurrent", record.beacon_concurrent);
    field("probe_request_entries", record.probe_request_entries);
    field("probe_response_entries", record.probe_response_entries);
}

static void describe(auto &&field, BeaconIeRecord &record)
{
    field("index", record.index);
    field("service_name", record.service_name);
    field("ssid_index", record.ssid_index);
    field("duration", record.duration);
    field("length", record.length);
    field("data", record.data);
}

static void describe(auto &&field, ProbeFrame &frame)
{
    field("mac", frame.mac);
    field("band", frame.band);
    field("length", frame.length);
    field("data", frame.data);
}

static void describe(auto &&field, ProbeWatchRecord &record)
{
    field("index", record.index);
    field("service_name", record.service_name);
    field("band", record.band);
    field("oui", record.oui);
    field("frames", record.frames);
}

static void describe(auto &&field, ProbeResponseIeRecord &record)
{
    field("index", record.index);
    field("mac", record.mac);
    field("band", record.band);
    field("length", record.length);
    field("data", record.data);
}

static void describe(auto &&field, VsieIndexRecord &record)
{
    field("index", record.index);
}

static void describe(auto &&field, BeaconIeRunRecord &record)
{
    field("index", record.index);
    field("run", record.run, YesNo{});
}

static void describe(auto &&field, ProbeFlushRecord &record)
{
    field("service_name", record.service_name);
}

static void describe(auto &&field, VsieRecordEvent &event)
{
    field("mac", event.mac);
    field("band", event.band);
    field("oui", event.oui);
    field("data", event.data);
}

namespace
{

// The bytes of an element: at least one, each a byte.
template <typename Byte, size_t N> ReturnCode check_element(uint32_t length, const Byte (&data)[N])
{
    if (length == 0 || length > N)
        return kBadElement;
    return std::all_of(data, data + length, [](uint32_t byte) { return byte <= 0xFF; }) ? kOk : kBadElement;
}

ReturnCode check_beacon_ie(const BeaconIeRecord &record)
{
    return first_refusal(text_of(record.service_name).empty() ? kBadName : kOk, check_range(record.ssid_index, 0, 16),
                         check_range(record.duration, 0, INT32_MAX), check_element(record.length, record.data));
}

ReturnCode check_probe_watch(const ProbeWatchRecord &record)
{
    return text_of(record.service_name).empty() ? kBadName : check_range(record.band, 0, 1);
}

ReturnCode check_probe_response_ie(const ProbeResponseIeRecord &record)
{
    return is_mac(text_of(record.mac)) ? check_element(record.length, record.data) : kBadMac;
}

ReturnCode check_run(const BeaconIeRunRecord &record)
{
    return check_switch(record.run);
}

Reply get_limits(const Json &home)
{
    return to_record<VsieLimitsRecord>(home.at("vsie").at("limits"));
}

Reply list_beacon_ies(const Json &home)
{
    return to_list<BeaconIeList>(home.at("vsie").at("beacon"));
}

Reply list_probe_watches(const Json &home)
{
    const Json &watches = home.at("vsie").at("probe_requests");
    auto list = to_list<ProbeWatchList>(watches);
    for (size_t i = 0; i < list.count; i++)
        list.entries[i].frame_count = slot_count(watches[i].at("frames"), list.entries[i].frames);
    return list;
}

Reply list_probe_response_ies(const Json &home)
{
    return to_list<ProbeResponseIeList>(home.at("vsie").at("probe_responses"));
}

// The three lists are added to and deleted from alike.
constexpr char kBeacon[] = "beacon";
constexpr char kProbeRequests[] = "probe_requests";
constexpr char kProbeResponses[] = "probe_responses";

template <const char *key, typename Record, typename List> Reply add_ie(Json &home, const Record &request)
{
    Record record = request;
    if (!add_entry(home["vsie"][key], record, std::size(List{}.entries)))
        return kFull;
    return VsieIndexRecord{record.index};
}

template <const char *key> Reply delete_ie(Json &home, const VsieIndexRecord &request)
{
    return remove_entry(home["vsie"][key], request.index) ? kOk : kNotFound;
}

Reply run_beacon_ie(Json &home, const BeaconIeRunRecord &request)
{
    Json *entry = find_entry(home["vsie"]["beacon"], request.index);
    if (!entry)
        return kNotFound;
    (*entry)["running"] = request.run == 1;
    return kOk;
}

Reply flush_probe_watch(Json &home, const ProbeFlushRecord &request)
{
    Json name = encode(request.service_name);
    bool found = false;
    for (Json &watch : home["vsie"]["probe_requests"]) {
        if (watch["service_name"] == name) {
            watch["frames"] = Json::array();
            found = true;
        }
    }
    return found ? kOk : kNotFound;
}

std::string make_probe_record(const Json &fields)
{
    auto event = to_event<VsieRecordEvent>(fields);
    event.length = slot_count(fields.at("data"), event.data);
    return bytes_of(event);
}

constexpr Event kFamilyEvents[] = {
    {kEventVsieNewRecord, "probe-record",
     R"({"mac": "00:00:5E:00:53:34", "band": 0, "oui": [0, 0, 94], "data": [16, 1, 2, 3]})", make_probe_record,
     fields_of<VsieRecordEvent>},
};

constexpr Row kRows[] = {
    {kGetVsieLimits, "ORVC_GET_VSIE", serve<get_limits>},
    {kAddBeaconIe, "ORVC_ADD_VSIEBEACONTX", serve<add_ie<kBeacon, BeaconIeRecord, BeaconIeList>, check_beacon_ie>},
    {kDeleteBeaconIe, "ORVC_DEL_VSIEBEACONTX", serve<delete_ie<kBeacon>>},
    {kListBeaconIes, "ORVC_GET_VSIEBEACONTX", serve<list_beacon_ies>},
    {kRunBeaconIe, "ORVC_SET_VSIEBEACONTX", serve<run_beacon_ie, check_run>},
    {kAddProbeWatch, "ORVC_ADD_VSIEPROBERX",
     serve<add_ie<kProbeRequests, ProbeWatchRecord, ProbeWatchList>, check_probe_watch>},
    {kDeleteProbeWatch, "ORVC_DEL_VSIEPROBERX", serve<delete_ie<kProbeRequests>>},
    {kListProbeWatches, "ORVC_GET_VSIEPROBERX", serve<list_probe_watches>},
    {kFlushProbeWatch, "ORVC_SET_VSIEPROBERXFLUSH", serve<flush_probe_watch>},
    {kAddProbeResponseIe, "ORVC_ADD_VSIEPROBERESP",
     serve<add_ie<kProbeResponses, ProbeResponseIeRecord, ProbeResponseIeList>, check_probe_response_ie>},
    {kDeleteProbeResponseIe, "ORVC_DEL_VSIEPROBERESP", serve<delete_ie<kProbeResponses>>},
    {kListProbeResponseIes, "ORVC_GET_VSIEPROBERESP", serve<list_probe_response_ies>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
