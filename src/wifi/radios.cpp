// wexond.wifi.1 and wexond.wifi.2, the 2.4 GHz and the 5 GHz radio, and wexond.wifi: what concerns all of Wi-Fi.

#include "wifi/radios.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/vocabulary.h"
#include "wifi/radio_records.h"

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
};

constexpr Band k2g = {
    .index = 0,
    .object = "wexond.wifi.1",
    .set_action = "set 2.4G wifi",
    .get_action = "get 2.4G wifi",
    .score_action = "get 2.4G channel score",
};

constexpr Band k5g = {
    .index = 1,
    .object = "wexond.wifi.2",
    .set_action = "set 5G wifi",
    .get_action = "get 5G wifi",
    .score_action = "get 5G channel score",
};

// The authentication modes that a radio supports: a constant, not read from the service.
constexpr char kSupportedAuth[] = "open/share/wpapskwpa2psk/wpa2psk/wpa2pskwpa3sae";

// --- One radio ---

const Option<RadioRecord> radio_options[] = {
    {CHANNEL, kChangeChannel, fill_number<&RadioRecord::channel>},
    {TXPOWER, kChangeTxPower, fill_word<&RadioRecord::txpower, kTxPower>},
    {BANDWIDTH, kChangeBandwidth, fill_code<&RadioRecord::bandwidth, kBandwidth>},
    {ENABLE, kChangeEnable, fill_word<&RadioRecord::enable, kYesNo>},
};

int radio_set(Call &call, const Band &band)
{
    Arguments<4> arguments(radio_set_policy, call.message);
    RadioRecord record{};
    record.band = band.index;
    // A call without arguments is sent too, with an empty mask.
    fill_options(call, arguments, radio_options, record, &RadioRecord::change_mask);
    exchange(call, kSetRadio, record, band.set_action);
    return send_for_set(call);
}

int radio_get(Call &call, const Band &band)
{
    RadioRecord record{};
    record.band = band.index;
    if (Answer<RadioRecord> answer = ask<RadioRecord>(call, kGetRadio, record, band.get_action)) {
        reply_start();
        void *table = reply_open_table(band.object);
        reply_word("enable", kYesNo, answer->enable);
        reply_int("channel", answer->channel);
        reply_word("txpower", kTxPower, answer->txpower);
        reply_int("currentchannel", answer->current_channel);
        reply_int("bandwidth", wexond_code_to_ubus(kBandwidth, answer->bandwidth));
        reply_word("mode", kRadioMode, answer->mode);
        reply_word("load", kLoad, answer->load);
        reply_string("auth", kSupportedAuth);
        reply_close(table);
    }
    return send_for_get(call);
}

// The scans that channelscore owes a band. They run when the handler has returned: only then does every bus library let
// the caller have its answer.
struct OwedScans {
    uloop_timeout timer;
    uint32_t count; // one for each call
};

void run_owed_scan(uloop_timeout *timer);

OwedScans owed_scans[] = {{{.cb = run_owed_scan}, 0}, {{.cb = run_owed_scan}, 0}};

void run_owed_scan(uloop_timeout *timer)
{
    OwedScans *owed = container_of(timer, OwedScans, timer);
    if (--owed->count > 0)
        uloop_timeout_set(timer, 0);
    scan_channels(static_cast<uint32_t>(owed - owed_scans));
}

void scan_later(uint32_t band)
{
    owed_scans[band].count++;
    uloop_timeout_set(&owed_scans[band].timer, 0);
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

int radio_channelscore(Call &call, const Band &band)
{
    ChannelScoreList record{};
    record.band = band.index;
    if (Answer<ChannelScoreList> answer = ask<ChannelScoreList>(call, kGetChannelScores, record, band.score_action))
        add_scores(band, *answer);
    send_for_get(call);
    // The next call is to see fresh scores.
    scan_later(band.index);
    return 0;
}

// --- All of Wi-Fi ---

int wexond_wifi_disassociation(Call &call)
{
    Arguments<1> arguments(deassociation_policy, call.message);
    DisassociateRecord record{};
    if (arguments.require(call) &&
        check_elements(call, arguments.array(MACS), std::size(record.macs), BLOBMSG_TYPE_STRING, "macs") == 0) {
        uint32_t position = 0, count = 0;
        for (const blob_attr *element : Elements(arguments.array(MACS))) {
            const char *text = element_text(element);
            CALL_LOG(call, "mac[%d]:%s \n\n", position++, text ? text : "");
            if (count < std::size(record.macs))
                copy_text(record.macs[count++], text);
        }
        record.count = count;
        exchange(call, kDisassociate, record, "disassociation");
    }
    return send_for_set(call);
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

bool set_switch(Call &call, const Switch &row, const char *text)
{
    CALL_LOG(call, "%s:%s \n\n", wifi_policy[row.argument].name, text);
    SwitchRecord code{wexond_str_to_code(row.vocabulary, text)};
    WpsRecord indexed{0, code.code};
    bool accepted = row.type == kSetWps ? exchange(call, row.type, indexed, row.action)
                                        : exchange(call, row.type, code, row.action);
    if (!accepted)
        CALL_LOG(call, "%s", row.failure);
    return accepted;
}

int wexond_wifi_set(Call &call)
{
    Arguments<3> arguments(wifi_policy, call.message);
    // The first failure ends the sequence; what was changed before it stays changed.
    for (const Switch &row : switches)
        if (arguments.has(row.argument) && !set_switch(call, row, arguments.text(row.argument)))
            break;
    return send_for_set(call);
}

struct SwitchReadings {
    SwitchRecord elink_sync;
    SwitchRecord wifi;
    WpsRecord wps;
};

// The first failure ends the sequence.
bool read_switches(Call &call, SwitchReadings &r)
{
    // Deliberate: the e-Link switch is reported as the LED switch.
    return read(call, {kGetElinkSync, "get ledswitch", "Failed to get elink sync\n"}, r.elink_sync) &&
           read(call, {kGetWifiSwitch, "get wifiswitch", "Failed to get wifi switch\n"}, r.wifi) &&
           read(call, {kGetWps, "get wpsswitch", "Failed to get wps\n"}, WpsRecord{}, r.wps);
}

int wexond_wifi_get(Call &call)
{
    SwitchReadings readings;
    if (read_switches(call, readings)) {
        reply_start();
        void *table = reply_open_table("wexond.wifi");
        reply_word("elinksync", kElinkSwitch, readings.elink_sync.code);
        reply_word("wifiswitch", kWifiSwitch, readings.wifi.code);
        reply_word("wpsswitch", kWpsSwitch, readings.wps.code);
        reply_close(table);
    }
    return send_for_get(call);
}

int wexond_wifi_channelscan(Call &call)
{
    scan_channels(0);
    scan_channels(1);
    // Deliberate: always a success.
    return send_for_set(call);
}

const ubus_method wifi_methods[] = {
    UBUS_METHOD("deassociation", SERVE(wexond_wifi_disassociation), deassociation_policy),
    UBUS_METHOD("set", SERVE(wexond_wifi_set), wifi_policy),
    UBUS_METHOD("get", SERVE(wexond_wifi_get), wifi_policy), // advertises arguments that it does not read
    UBUS_METHOD_NOARG("channelscan", SERVE(wexond_wifi_channelscan)),
};

const ubus_method wifi1_methods[] = {
    UBUS_METHOD("set", SERVE_AS("wexond_wifi1_set", radio_set, k2g), radio_set_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_wifi1_get", radio_get, k2g)),
    UBUS_METHOD_NOARG("channelscore", SERVE_AS("wexond_wifi1_channelscore", radio_channelscore, k2g)),
};

const ubus_method wifi2_methods[] = {
    UBUS_METHOD("set", SERVE_AS("wexond_wifi2_set", radio_set, k5g), radio_set_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_wifi2_get", radio_get, k5g)),
    UBUS_METHOD_NOARG("channelscore", SERVE_AS("wexond_wifi2_channelscore", radio_channelscore, k5g)),
};

ubus_object_type wifi_type = bus_object_type("wexond.wifi", wifi_methods);
ubus_object_type wifi1_type = bus_object_type("wexond.wifi.1", wifi1_methods);
ubus_object_type wifi2_type = bus_object_type("wexond.wifi.2", wifi2_methods);

} // namespace

void scan_channels(uint32_t band)
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
