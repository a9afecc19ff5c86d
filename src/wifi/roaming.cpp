// wexond.wifi.roaming: the steering of stations between access points. Its settings, the signal strengths it sees, and
// requests to one station to move.

#include "wifi/roaming_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { ENABLE, THRESHOLDRSSI, REPORTINTERVAL, STARTTIME, STARTRSSI };

const blobmsg_policy set_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},        {.name = "thresholdrssi", .type = BLOBMSG_TYPE_INT32},
    {.name = "reportinterval", .type = BLOBMSG_TYPE_INT32}, {.name = "starttime", .type = BLOBMSG_TYPE_INT32},
    {.name = "startrssi", .type = BLOBMSG_TYPE_INT32},
};

using SetArguments = Arguments<std::size(set_policy)>;

enum { MACS };

const blobmsg_policy rssi_policy[] = {
    {.name = "macs", .type = BLOBMSG_TYPE_ARRAY},
};

enum { QUERY_MAC, QUERY_APS };

const blobmsg_policy query_policy[] = {
    {.name = "mac", .type = BLOBMSG_TYPE_STRING},
    {.name = "aps", .type = BLOBMSG_TYPE_ARRAY},
};

enum { AP_BSSID, AP_CHANNEL };

const blobmsg_policy query_ap_policy[] = {
    {.name = "bssid", .type = BLOBMSG_TYPE_STRING},
    {.name = "channel", .type = BLOBMSG_TYPE_INT32},
};

enum { TRANSITION_MAC, TRANSITION_CHANNEL, TRANSITION_BSSID };

// Deliberate: the channel is advertised as a string and read as a number, so that one sent as a string counts as
// missing.
const blobmsg_policy advertised_transition_policy[] = {
    {.name = "mac", .type = BLOBMSG_TYPE_STRING},
    {.name = "channel", .type = BLOBMSG_TYPE_STRING},
    {.name = "bssid", .type = BLOBMSG_TYPE_STRING},
};

const blobmsg_policy transition_policy[] = {
    {.name = "mac", .type = BLOBMSG_TYPE_STRING},
    {.name = "channel", .type = BLOBMSG_TYPE_INT32},
    {.name = "bssid", .type = BLOBMSG_TYPE_STRING},
};

constexpr uint32_t kMaxQueriedStations = 32;

// --- Settings ---

const Option<RoamingRecord> options[] = {
    {ENABLE, kChangeRoamingEnable, fill_word<&RoamingRecord::enable, kYesNo>},
    {THRESHOLDRSSI, kChangeRoamingThreshold, fill_number<&RoamingRecord::threshold_rssi>},
    {REPORTINTERVAL, kChangeRoamingInterval, fill_number<&RoamingRecord::report_interval>},
    {STARTTIME, kChangeRoamingStartTime, fill_number<&RoamingRecord::start_time>},
    {STARTRSSI, kChangeRoamingStartRssi, fill_number<&RoamingRecord::start_rssi>},
};

int wexond_wifiroaming_set(Call &call)
{
    SetArguments arguments(set_policy, call.message);
    RoamingRecord record{};
    fill_options(call, arguments, options, record, &RoamingRecord::change_mask);
    // Deliberate: the threshold stands in the record twice.
    record.threshold_copy = record.threshold_rssi;
    exchange(call, kSetRoaming, record, "set wifi roaming");
    return send_for_set(call);
}

void log_settings(const Call &call, const RoamingRecord &record)
{
    CALL_LOG(call,
             "wexond_wifiroaming_get "
             "uiEnable:%s,iThresholdrssi:%d,iReportinterval:%d,iStarttime:%d,iStartrssi:%d\n\n",
             wexond_code_to_str(kYesNo, record.enable), static_cast<int32_t>(record.threshold_rssi),
             static_cast<int32_t>(record.report_interval), static_cast<int32_t>(record.start_time),
             static_cast<int32_t>(record.start_rssi));
}

int wexond_wifiroaming_get(Call &call)
{
    if (Answer<RoamingRecord> answer = ask<RoamingRecord>(call, kGetRoaming, "get wifi.roaming")) {
        log_settings(call, *answer);
        reply_start();
        void *table = reply_open_table("wexond.wifi.roaming");
        reply_word("enable", kYesNo, answer->enable);
        reply_int("thresholdrssi", static_cast<int32_t>(answer->threshold_rssi));
        reply_int("reportinterval", static_cast<int32_t>(answer->report_interval));
        reply_int("starttime", static_cast<int32_t>(answer->start_time));
        reply_int("startrssi", static_cast<int32_t>(answer->start_rssi));
        reply_close(table);
    }
    return send_for_get(call);
}

// --- Signal strengths of stations ---

void add_station_rssi(const StationRssiRecord &station)
{
    void *table = reply_open_table("");
    reply_mac("mac", station.mac);
    reply_int("rssi24g", station.band == 0 ? static_cast<int32_t>(station.rssi) : 0);
    reply_int("rssi5g", station.band == 1 ? static_cast<int32_t>(station.rssi) : 0);
    reply_close(table);
}

// Asks for the station at a position of the argument; false where the answer ends the walk.
bool query_station(Call &call, const char *text, uint32_t position)
{
    StationRssiRecord request{};
    copy_text(request.mac, text, kCompactMacLimit);
    wexond_mac_colon(request.mac);
    CALL_LOG(call, "mac[%d]:%s \n\n", position + 1, request.mac);
    Answer<StationRssiRecord> answer = ask<StationRssiRecord>(kGetStationRssi, request);
    if (!answer.accepted()) {
        fail(call, "failed to get roaming rssi");
        return false;
    }
    add_station_rssi(*answer);
    return true;
}

void query_stations(Call &call, const blob_attr *macs)
{
    reply_start();
    void *array = reply_open_array("wexond.wifi.roaming.starssiinfo");
    uint32_t position = 0;
    for (const blob_attr *element : Elements(macs)) {
        const char *text = element_text(element);
        CALL_LOG(call, "mac[%d]:%s \n\n", position, text ? text : "");
        if (position < kMaxQueriedStations && !query_station(call, text, position))
            break;
        position++;
    }
    reply_close(array);
}

int wexond_wifiroaming_getrssiinfo(Call &call)
{
    Arguments<1> arguments(rssi_policy, call.message);
    if (arguments.require(call) &&
        check_elements(call, arguments.array(MACS), kMaxQueriedStations, BLOBMSG_TYPE_STRING, "macs") == 0)
        query_stations(call, arguments.array(MACS));
    return send_for_get(call);
}

// --- Signal strengths at access points ---

// The keys of an access point; an element that is no table has none.
Arguments<2> parse_queried_ap(blob_attr *element)
{
    size_t length = blobmsg_type(element) == BLOBMSG_TYPE_TABLE ? blobmsg_data_len(element) : 0;
    return {query_ap_policy, blobmsg_data(element), length};
}

// Fills the next slot. Deliberate: an access point without a channel is written but not counted, so that the next one
// takes its slot.
void add_queried_ap(const Call &call, const Arguments<2> &arguments, ApRssiQueryRecord &record)
{
    if (!arguments.has(AP_BSSID)) {
        CALL_LOG(call, "no AP_RSSI_QUERY_AP_BSSID\n");
        return;
    }
    uint32_t count = record.count;
    copy_text(record.entries[count].bssid, arguments.text(AP_BSSID), kCompactMacLimit);
    if (!arguments.has(AP_CHANNEL)) {
        CALL_LOG(call, "no AP_RSSI_QUERY_AP_CHANNEL\n");
        return;
    }
    CALL_LOG(call, "bssid:%s \n\n", arguments.text(AP_BSSID));
    record.entries[count].channel = arguments.number(AP_CHANNEL);
    CALL_LOG(call, "channel:%d \n\n", arguments.number(AP_CHANNEL));
    record.count = count + 1;
}

// As many access points as have slots count, not as many elements.
int parse_query(Call &call, const Arguments<2> &arguments, ApRssiQueryRecord &record)
{
    copy_text(record.mac, arguments.text(QUERY_MAC), kCompactMacLimit);
    CALL_LOG(call, "sta mac:%s \n\n", arguments.text(QUERY_MAC));
    return take_elements(call, arguments.array(QUERY_APS), kNoLimit, BLOBMSG_TYPE_UNSPEC, "aps",
                         [&](blob_attr *element, size_t) {
                             add_queried_ap(call, parse_queried_ap(element), record);
                             return record.count == std::size(record.entries) ? 1 : 0;
                         });
}

int wexond_wifiroaming_sarq(Call &call)
{
    Arguments<2> arguments(query_policy, call.message);
    ApRssiQueryRecord record{};
    if (!arguments.require(call) || parse_query(call, arguments, record))
        return send_for_get(call);
    Answer<ApRssiAnswer> answer = ask<ApRssiAnswer>(kQueryApRssi, record);
    if (answer.accepted()) {
        reply_start();
        void *array = reply_open_array("wexond.wifi.roaming.aprssiinfo");
        for (size_t i = 0; i < entry_count(*answer); i++) {
            void *table = reply_open_table("");
            reply_text("bssid", answer->entries[i].bssid);
            reply_int("rssi", static_cast<int32_t>(answer->entries[i].rssi));
            reply_close(table);
        }
        reply_close(array);
    } else {
        fail(call, "failed to get roaming SARQ");
    }
    return send_for_get(call);
}

// --- Transition requests ---

void request_transition(Call &call, const Arguments<3> &arguments)
{
    TransitionRecord record{};
    copy_text(record.mac, arguments.text(TRANSITION_MAC), kCompactMacLimit);
    CALL_LOG(call, "sta mac:%s \n\n", arguments.text(TRANSITION_MAC));
    record.channel = arguments.number(TRANSITION_CHANNEL);
    CALL_LOG(call, "channel:%d \n\n", arguments.number(TRANSITION_CHANNEL));
    copy_text(record.bssid, arguments.text(TRANSITION_BSSID), kCompactMacLimit);
    CALL_LOG(call, "bssid:%s \n\n", arguments.text(TRANSITION_BSSID));
    if (!accepts(kRequestTransition, record))
        fail(call, "failed to set roaming bsstr");
}

int wexond_wifiroaming_bsstr(Call &call)
{
    Arguments<3> arguments(transition_policy, call.message);
    if (arguments.require(call))
        request_transition(call, arguments);
    // Deliberate: the same answer whatever happened; the reason is never sent.
    reply_start();
    reply_string("result", "0");
    reply_string("statuscode", "0");
    reply_send(call.request);
    return 0;
}

const ubus_method methods[] = {
    UBUS_METHOD("set", SERVE(wexond_wifiroaming_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_wifiroaming_get)),
    UBUS_METHOD("getrssiinfo", SERVE(wexond_wifiroaming_getrssiinfo), rssi_policy),
    UBUS_METHOD("startaprssiquery", SERVE(wexond_wifiroaming_sarq), query_policy),
    UBUS_METHOD("startstabsstransitionrequest", SERVE(wexond_wifiroaming_bsstr), advertised_transition_policy),
};

ubus_object_type type = bus_object_type("wexond.wifi.roaming", methods);

} // namespace

ubus_object wexond_wifi_roaming_object = {
    .name = "wexond.wifi.roaming",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
