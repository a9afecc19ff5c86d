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

// The numbers of the settings: argument and reply key, field, bit of the change mask.
struct NumberField {
    size_t argument;
    sle32 RoamingRecord::*field;
    uint32_t bit;
};

const NumberField number_fields[] = {
    {THRESHOLDRSSI, &RoamingRecord::threshold_rssi, kChangeRoamingThreshold},
    {REPORTINTERVAL, &RoamingRecord::report_interval, kChangeRoamingInterval},
    {STARTTIME, &RoamingRecord::start_time, kChangeRoamingStartTime},
    {STARTRSSI, &RoamingRecord::start_rssi, kChangeRoamingStartRssi},
};

RoamingRecord parse_settings(const SetArguments &arguments)
{
    RoamingRecord record{};
    uint32_t mask = 0;
    if (arguments.has(ENABLE)) {
        WEXOND_LOG_AS("wexond_wifiroaming_set", "enable:%s \n\n", arguments.text(ENABLE));
        record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
        mask |= kChangeRoamingEnable;
    }
    for (const NumberField &row : number_fields) {
        if (!arguments.has(row.argument))
            continue;
        auto value = static_cast<int32_t>(arguments.number(row.argument));
        WEXOND_LOG_AS("wexond_wifiroaming_set", "%s:%d \n\n", set_policy[row.argument].name, value);
        record.*row.field = value;
        mask |= row.bit;
    }
    // Deliberate: the threshold stands in the record twice.
    record.threshold_copy = record.threshold_rssi;
    record.change_mask = mask;
    return record;
}

int wexond_wifiroaming_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                           blob_attr *message)
{
    Call call(object, method, __func__);
    SetArguments arguments(set_policy, message);
    exchange(kSetRoaming, parse_settings(arguments), "set wifi roaming", &call.status);
    return wexond_send_for_set(request, &call.status);
}

void log_settings(const RoamingRecord &record)
{
    WEXOND_LOG_AS("wexond_wifiroaming_get",
                  "wexond_wifiroaming_get "
                  "uiEnable:%s,iThresholdrssi:%d,iReportinterval:%d,iStarttime:%d,iStartrssi:%d\n\n",
                  wexond_code_to_str(kYesNo, record.enable), static_cast<int32_t>(record.threshold_rssi),
                  static_cast<int32_t>(record.report_interval), static_cast<int32_t>(record.start_time),
                  static_cast<int32_t>(record.start_rssi));
}

int wexond_wifiroaming_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                           blob_attr *)
{
    Call call(object, method, __func__);
    Answer<RoamingRecord> answer = ask<RoamingRecord>(kGetRoaming);
    if (answer.check("get wifi.roaming", &call.status)) {
        log_settings(*answer);
        reply_start();
        void *table = reply_open_table("wexond.wifi.roaming");
        reply_string("enable", wexond_code_to_str(kYesNo, answer->enable));
        for (const NumberField &row : number_fields)
            reply_int(set_policy[row.argument].name, static_cast<int32_t>((*answer).*row.field));
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

// --- Signal strengths of stations ---

void add_station_rssi(const StationRssiRecord &station)
{
    auto mac = read_text(station.mac);
    wexond_mac_compact(mac.data);
    void *table = reply_open_table("");
    reply_string("mac", mac.data);
    reply_int("rssi24g", station.band == 0 ? static_cast<int32_t>(station.rssi) : 0);
    reply_int("rssi5g", station.band == 1 ? static_cast<int32_t>(station.rssi) : 0);
    reply_close(table);
}

// Asks for the station at a position of the argument; false where the answer ends the walk.
bool query_station(const char *text, uint32_t position, Status *status)
{
    StationRssiRecord request{};
    copy_text(request.mac, text, kCompactMacLimit);
    wexond_mac_colon(request.mac);
    WEXOND_LOG_AS("wexond_wifiroaming_getrssiinfo", "mac[%d]:%s \n\n", position + 1, request.mac);
    Answer<StationRssiRecord> answer = ask<StationRssiRecord>(kGetStationRssi, request);
    if (!answer.accepted()) {
        wexond_fail(status, "failed to get roaming rssi");
        return false;
    }
    add_station_rssi(*answer);
    return true;
}

void query_stations(const blob_attr *macs, Status *status)
{
    reply_start();
    void *array = reply_open_array("wexond.wifi.roaming.starssiinfo");
    uint32_t position = 0;
    for (const blob_attr *element : Elements(macs)) {
        WEXOND_LOG_AS("wexond_wifiroaming_getrssiinfo", "mac[%d]:%s \n\n", position, element_text(element));
        if (position < kMaxQueriedStations && !query_station(element_text(element), position, status))
            break;
        position++;
    }
    reply_close(array);
}

int wexond_wifiroaming_getrssiinfo(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                                   blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<1> arguments(rssi_policy, message);
    if (arguments.require(&call.status) &&
        check_elements(arguments.array(MACS), BLOBMSG_TYPE_STRING, "macs", &call.status) == 0)
        query_stations(arguments.array(MACS), &call.status);
    return wexond_send_for_get(request, &call.status);
}

// --- Signal strengths at access points ---

// Fills the next slot. Deliberate: an access point without a channel is written but not counted, so that the next one
// takes its slot.
void add_queried_ap(blob_attr *element, ApRssiQueryRecord &record)
{
    Arguments<2> arguments(query_ap_policy, blobmsg_data(element), blobmsg_data_len(element));
    if (!arguments.has(AP_BSSID)) {
        WEXOND_LOG_AS("wexond_wifiroaming_sarq", "no AP_RSSI_QUERY_AP_BSSID\n");
        return;
    }
    uint32_t count = record.count;
    copy_text(record.entries[count].bssid, arguments.text(AP_BSSID), kCompactMacLimit);
    WEXOND_LOG_AS("wexond_wifiroaming_sarq", "bssid:%s \n\n", arguments.text(AP_BSSID));
    if (!arguments.has(AP_CHANNEL)) {
        WEXOND_LOG_AS("wexond_wifiroaming_sarq", "no AP_RSSI_QUERY_AP_CHANNEL\n");
        return;
    }
    record.entries[count].channel = arguments.number(AP_CHANNEL);
    WEXOND_LOG_AS("wexond_wifiroaming_sarq", "channel:%d \n\n", arguments.number(AP_CHANNEL));
    record.count = count + 1;
}

ApRssiQueryRecord parse_query(const Arguments<2> &arguments)
{
    ApRssiQueryRecord record{};
    copy_text(record.mac, arguments.text(QUERY_MAC), kCompactMacLimit);
    WEXOND_LOG_AS("wexond_wifiroaming_sarq", "sta mac:%s \n\n", arguments.text(QUERY_MAC));
    for (blob_attr *element : Elements(arguments.array(QUERY_APS)))
        if (record.count < std::size(record.entries))
            add_queried_ap(element, record);
    return record;
}

int wexond_wifiroaming_sarq(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                            blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<2> arguments(query_policy, message);
    if (!arguments.require(&call.status) ||
        check_elements(arguments.array(QUERY_APS), BLOBMSG_TYPE_TABLE, "aps", &call.status))
        return wexond_send_for_get(request, &call.status);
    Answer<ApRssiAnswer> answer = ask<ApRssiAnswer>(kQueryApRssi, parse_query(arguments));
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
        wexond_fail(&call.status, "failed to get roaming SARQ");
    }
    return wexond_send_for_get(request, &call.status);
}

// --- Transition requests ---

void request_transition(const Arguments<3> &arguments, Status *status)
{
    TransitionRecord record{};
    copy_text(record.mac, arguments.text(TRANSITION_MAC), kCompactMacLimit);
    WEXOND_LOG_AS("wexond_wifiroaming_bsstr", "sta mac:%s \n\n", arguments.text(TRANSITION_MAC));
    record.channel = arguments.number(TRANSITION_CHANNEL);
    WEXOND_LOG_AS("wexond_wifiroaming_bsstr", "channel:%d \n\n", arguments.number(TRANSITION_CHANNEL));
    copy_text(record.bssid, arguments.text(TRANSITION_BSSID), kCompactMacLimit);
    WEXOND_LOG_AS("wexond_wifiroaming_bsstr", "bssid:%s \n\n", arguments.text(TRANSITION_BSSID));
    if (!accepts(kRequestTransition, record))
        wexond_fail(status, "failed to set roaming bsstr");
}

int wexond_wifiroaming_bsstr(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                             blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<3> arguments(transition_policy, message);
    if (arguments.require(&call.status))
        request_transition(arguments, &call.status);
    // Deliberate: the same answer whatever happened; the reason is never sent.
    reply_start();
    reply_string("result", "0");
    reply_string("statuscode", "0");
    reply_send(request);
    return 0;
}

const ubus_method methods[] = {
    UBUS_METHOD("set", wexond_wifiroaming_set, set_policy),
    UBUS_METHOD_NOARG("get", wexond_wifiroaming_get),
    UBUS_METHOD("getrssiinfo", wexond_wifiroaming_getrssiinfo, rssi_policy),
    UBUS_METHOD("startaprssiquery", wexond_wifiroaming_sarq, query_policy),
    UBUS_METHOD("startstabsstransitionrequest", wexond_wifiroaming_bsstr, advertised_transition_policy),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.wifi.roaming", methods);

} // namespace

ubus_object wexond_wifi_roaming_object = {
    .name = "wexond.wifi.roaming",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
