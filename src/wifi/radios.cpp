// wexond.wifi.1 and wexond.wifi.2, the 2.4 GHz and the 5 GHz radio, and wexond.wifi: what concerns all of Wi-Fi.

#include "wifi/radio_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/catalogue.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { CHANNEL, TXPOWER, BANDWIDTH, ENABLE };

const blobmsg_policy radio_set_policy[] = {
    {.name = "channel", .type = BLOBMSG_TYPE_INT32},
    {.name = "txpower", .type = BLOBMSG_TYPE_STRING},
    {.name = "bandwidth", .type = BLOBMSG_TYPE_INT32},
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},
};

enum { WIFISWITCH, WPSSWITCH, ELINKSYNC };

const blobmsg_policy wifi_policy[] = {
    {.name = "wifiswitch", .type = BLOBMSG_TYPE_STRING},
    {.name = "wpsswitch", .type = BLOBMSG_TYPE_STRING},
    {.name = "elinksync", .type = BLOBMSG_TYPE_STRING},
};

enum { MACS };

const blobmsg_policy deassociation_policy[] = {
    {.name = "macs", .type = BLOBMSG_TYPE_ARRAY},
};

// The radio objects are one implementation; this is what differs.
struct Band {
    uint32_t index; // in records
    const char *object;
    const char *set_action;
    const char *get_action;
    const char *score_action;
    const char *set_name;
    const char *get_name;
    const char *score_name;
};

constexpr Band k2g = {
    .index = 0,
    .object = "wexond.wifi.1",
    .set_action = "set 2.4G wifi",
    .get_action = "get 2.4G wifi",
    .score_action = "get 2.4G channel score",
    .set_name = "wexond_wifi1_set",
    .get_name = "wexond_wifi1_get",
    .score_name = "wexond_wifi1_channelscore",
};

constexpr Band k5g = {
    .index = 1,
    .object = "wexond.wifi.2",
    .set_action = "set 5G wifi",
    .get_action = "get 5G wifi",
    .score_action = "get 5G channel score",
    .set_name = "wexond_wifi2_set",
    .get_name = "wexond_wifi2_get",
    .score_name = "wexond_wifi2_channelscore",
};

// The authentication modes that a radio supports: a constant, not read from the service.
constexpr char kSupportedAuth[] = "open/share/wpapskwpa2psk/wpa2psk/wpa2pskwpa3sae";

// --- One radio ---

RadioRecord parse_radio(const Band &band, const Arguments<4> &arguments)
{
    RadioRecord record{};
    uint32_t mask = 0;
    record.band = band.index;
    if (arguments.has(CHANNEL)) {
        WEXOND_LOG_AS(band.set_name, "channel:%d \n\n", arguments.number(CHANNEL));
        record.channel = arguments.number(CHANNEL);
        mask |= kChangeChannel;
    }
    if (arguments.has(TXPOWER)) {
        WEXOND_LOG_AS(band.set_name, "txpower:%s \n\n", arguments.text(TXPOWER));
        record.txpower = wexond_str_to_code(kTxPower, arguments.text(TXPOWER));
        mask |= kChangeTxPower;
    }
    if (arguments.has(BANDWIDTH)) {
        WEXOND_LOG_AS(band.set_name, "bandwidth:%d \n\n", arguments.number(BANDWIDTH));
        record.bandwidth = wexond_ubus_to_code(kBandwidth, arguments.number(BANDWIDTH));
        mask |= kChangeBandwidth;
    }
    if (arguments.has(ENABLE)) {
        WEXOND_LOG_AS(band.set_name, "enable:%s \n\n", arguments.text(ENABLE));
        record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
        mask |= kChangeEnable;
    }
    record.change_mask = mask;
    return record;
}

int radio_set(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *message)
{
    Call call(object, method, band.set_name);
    Arguments<4> arguments(radio_set_policy, message);
    // A call without arguments is sent too, with an empty mask.
    exchange(kSetRadio, parse_radio(band, arguments), band.set_action, &call.status);
    return wexond_send_for_set(request, &call.status);
}

int radio_get(const Band &band, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, band.get_name);
    RadioRecord record{};
    record.band = band.index;
    Answer<RadioRecord> answer = ask<RadioRecord>(kGetRadio, record);
    if (answer.check(band.get_action, &call.status)) {
        reply_start();
        void *table = reply_open_table(band.object);
        reply_string("enable", wexond_code_to_str(kYesNo, answer->enable));
        reply_int("channel", answer->channel);
        reply_string("txpower", wexond_code_to_str(kTxPower, answer->txpower));
        reply_int("currentchannel", answer->current_channel);
        reply_int("bandwidth", wexond_code_to_ubus(kBandwidth, answer->bandwidth));
        reply_string("mode", wexond_code_to_str(kRadioMode, answer->mode));
        reply_string("load", wexond_code_to_str(kLoad, answer->load));
        reply_string("auth", kSupportedAuth);
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

void add_scores(const Band &band, const ChannelScoreList &scores)
{
    reply_start();
    void *array = reply_open_array(band.object);
    for (size_t i = 0; i < entry_count(scores); i++) {
        void *table = reply_open_table("");
        reply_int("ch", scores.entries[i].channel);
        reply_int("score", scores.entries[i].score);
        reply_close(table);
    }
    reply_close(array);
}

int radio_channelscore(const Band &band, ubus_object *object, ubus_request_data *request, const char *method,
                       blob_attr *)
{
    Call call(object, method, band.score_name);
    ChannelScoreList record{};
    record.band = band.index;
    Answer<ChannelScoreList> answer = ask<ChannelScoreList>(kGetChannelScores, record);
    if (answer.check(band.score_action, &call.status))
        add_scores(band, *answer);
    wexond_send_for_get(request, &call.status);
    // The next call is to see fresh scores.
    wexond_channel_scan(band.index);
    return 0;
}

constexpr auto wexond_wifi1_set = handle_with<radio_set, k2g>;
constexpr auto wexond_wifi1_get = handle_with<radio_get, k2g>;
constexpr auto wexond_wifi1_channelscore = handle_with<radio_channelscore, k2g>;
constexpr auto wexond_wifi2_set = handle_with<radio_set, k5g>;
constexpr auto wexond_wifi2_get = handle_with<radio_get, k5g>;
constexpr auto wexond_wifi2_channelscore = handle_with<radio_channelscore, k5g>;

// --- All of Wi-Fi ---

int wexond_wifi_disassociation(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                               blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<1> arguments(deassociation_policy, message);
    if (arguments.require(&call.status) &&
        check_elements(arguments.array(MACS), BLOBMSG_TYPE_STRING, "macs", &call.status) == 0) {
        DisassociateRecord record{};
        uint32_t position = 0, count = 0;
        for (const blob_attr *element : Elements(arguments.array(MACS))) {
            WEXOND_LOG("mac[%d]:%s \n\n", position++, element_text(element));
            if (count < std::size(record.macs))
                copy_text(record.macs[count++], element_text(element));
        }
        record.count = count;
        exchange(kDisassociate, record, "disassociation", &call.status);
    }
    return wexond_send_for_set(request, &call.status);
}

// The switches in the order in which they are written.
struct Switch {
    size_t argument;
    uint32_t vocabulary;
    uint32_t type;
    const char *action;
    const char *failure;
};

const Switch switches[] = {
    {WIFISWITCH, kWifiSwitch, kSetWifiSwitch, "set wifi switch", "Failed to set wifi switch\n"},
    {ELINKSYNC, kElinkSwitch, kSetElinkSync, "set elink sync switch", "Failed to set elink sync\n"},
    {WPSSWITCH, kWpsSwitch, kSetWps, "set wps", "Failed to set wps\n"},
};

bool set_switch(const Switch &row, const char *text, Status *status)
{
    WEXOND_LOG_AS("wexond_wifi_set", "%s:%s \n\n", wifi_policy[row.argument].name, text);
    SwitchRecord code{wexond_str_to_code(row.vocabulary, text)};
    WpsRecord indexed{0, code.code};
    bool accepted = row.type == kSetWps ? exchange(row.type, indexed, row.action, status)
                                        : exchange(row.type, code, row.action, status);
    if (!accepted)
        WEXOND_LOG_AS("wexond_wifi_set", "%s", row.failure);
    return accepted;
}

int wexond_wifi_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                    blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<3> arguments(wifi_policy, message);
    // The first failure ends the sequence; what was changed before it stays changed.
    for (const Switch &row : switches)
        if (arguments.has(row.argument) && !set_switch(row, arguments.text(row.argument), &call.status))
            break;
    return wexond_send_for_set(request, &call.status);
}

struct SwitchReadings {
    uint32_t elink_sync;
    uint32_t wifi;
    uint32_t wps;
};

// The first failure ends the sequence.
bool read_switches(SwitchReadings &readings, Status *status)
{
    // Deliberate: the e-Link switch is reported as the LED switch.
    Answer<SwitchRecord> elink_sync = ask<SwitchRecord>(kGetElinkSync);
    if (!elink_sync.check("get ledswitch", status)) {
        WEXOND_LOG_AS("wexond_wifi_get", "Failed to get elink sync\n");
        return false;
    }
    Answer<SwitchRecord> wifi = ask<SwitchRecord>(kGetWifiSwitch);
    if (!wifi.check("get wifiswitch", status)) {
        WEXOND_LOG_AS("wexond_wifi_get", "Failed to get wifi switch\n");
        return false;
    }
    Answer<WpsRecord> wps = ask<WpsRecord>(kGetWps, WpsRecord{});
    if (!wps.check("get wpsswitch", status)) {
        WEXOND_LOG_AS("wexond_wifi_get", "Failed to get wps\n");
        return false;
    }
    readings = {elink_sync->code, wifi->code, wps->code};
    return true;
}

int wexond_wifi_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method, blob_attr *)
{
    Call call(object, method, __func__);
    SwitchReadings readings;
    if (read_switches(readings, &call.status)) {
        reply_start();
        void *table = reply_open_table("wexond.wifi");
        reply_string("elinksync", wexond_code_to_str(kElinkSwitch, readings.elink_sync));
        reply_string("wifiswitch", wexond_code_to_str(kWifiSwitch, readings.wifi));
        reply_string("wpsswitch", wexond_code_to_str(kWpsSwitch, readings.wps));
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

int wexond_wifi_channelscan(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                            blob_attr *)
{
    Call call(object, method, __func__);
    wexond_channel_scan(0);
    wexond_channel_scan(1);
    // Deliberate: always a success.
    return wexond_send_for_set(request, &call.status);
}

const ubus_method wifi_methods[] = {
    UBUS_METHOD("deassociation", wexond_wifi_disassociation, deassociation_policy),
    UBUS_METHOD("set", wexond_wifi_set, wifi_policy),
    UBUS_METHOD("get", wexond_wifi_get, wifi_policy), // advertises arguments that it does not read
    UBUS_METHOD_NOARG("channelscan", wexond_wifi_channelscan),
};

const ubus_method wifi1_methods[] = {
    UBUS_METHOD("set", wexond_wifi1_set, radio_set_policy),
    UBUS_METHOD_NOARG("get", wexond_wifi1_get),
    UBUS_METHOD_NOARG("channelscore", wexond_wifi1_channelscore),
};

const ubus_method wifi2_methods[] = {
    UBUS_METHOD("set", wexond_wifi2_set, radio_set_policy),
    UBUS_METHOD_NOARG("get", wexond_wifi2_get),
    UBUS_METHOD_NOARG("channelscore", wexond_wifi2_channelscore),
};

ubus_object_type wifi_type = UBUS_OBJECT_TYPE("wexond.wifi", wifi_methods);
ubus_object_type wifi1_type = UBUS_OBJECT_TYPE("wexond.wifi.1", wifi1_methods);
ubus_object_type wifi2_type = UBUS_OBJECT_TYPE("wexond.wifi.2", wifi2_methods);

} // namespace

void wexond_channel_scan(uint32_t band)
{
    if (band > 1)
        return;
    ChannelScoreList request{};
    request.band = band;
    Status unreported{};
    // Flag 0 and no answer record are this request's own.
    Answer<ReturnCode> answer(wexond_send_msg(kStartChannelScan, 0, &request, sizeof(request), 0));
    answer.check("channelscan", &unreported);
}

ubus_object wexond_wifi_object = {
    .name = "wexond.wifi",
    .type = &wifi_type,
    .methods = wifi_methods,
    .n_methods = ARRAY_SIZE(wifi_methods),
};

ubus_object wexond_wifi1_object = {
    .name = "wexond.wifi.1",
    .type = &wifi1_type,
    .methods = wifi1_methods,
    .n_methods = ARRAY_SIZE(wifi1_methods),
};

ubus_object wexond_wifi2_object = {
    .name = "wexond.wifi.2",
    .type = &wifi2_type,
    .methods = wifi2_methods,
    .n_methods = ARRAY_SIZE(wifi2_methods),
};
