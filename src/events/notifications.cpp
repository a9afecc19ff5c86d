#include "events/notifications.h"

#include <algorithm>

#include "core/bands.h"
#include "core/entry.h"
#include "core/families.h"
#include "core/log.h"
#include "core/reply.h"
#include "core/vocabulary.h"
#include "events/event_records.h"

namespace
{

constexpr int kNotSent = 3;

// Sends the message built so far, waiting for no answers.
int notify(ubus_object *object, const char *name, const char *function)
{
    if (reply_notify(object, name))
        WEXOND_LOG_AS(function, "%s:  Notify failed \n\n", function);
    return 0;
}

int notify(const char *object_name, const char *name, const char *function)
{
    return notify(static_object(object_name), name, function);
}

// The compact form of a record's MAC address.
template <size_t N> Text<N> compact_mac(const char (&field)[N])
{
    Text<N> mac = read_text(field);
    wexond_mac_compact(mac.data);
    return mac;
}

// The events of one on/off code under one key.
int notify_switch(const char *object_name, const char *key, uint32_t vocabulary, uint32_t code, const char *function)
{
    const char *text = wexond_code_to_str(vocabulary, code);
    reply_start();
    reply_string(key, text);
    WEXOND_LOG_AS(function, "%s:  %s:%s \n\n", function, key, text);
    return notify(object_name, "propertieschanged", function);
}

// --- The senders ---

int wexond_laninfo_newdevice(const void *record, uint32_t)
{
    const auto &event = *static_cast<const StationEvent *>(record);
    auto mac = compact_mac(event.mac);
    auto virtual_mac = compact_mac(event.virtual_mac);
    auto host_name = read_text(event.host_name);
    reply_start();
    reply_string("mac", mac.data);
    reply_string("vmac", virtual_mac.data);
    reply_int("connecttype", event.medium);
    reply_int("port", event.port);
    reply_string("hostname", host_name.data);
    WEXOND_LOG("%s:  mac:%s / vmac:%s / connecttype:%d / port:%d / hostname:%s \n\n", __func__, mac.data,
               virtual_mac.data, static_cast<uint32_t>(event.medium), static_cast<uint32_t>(event.port),
               host_name.data);
    return notify("wexond.laninfo", "newdevice", __func__);
}

int wexond_laninfo_devicestatus(const void *record, uint32_t)
{
    const auto &event = *static_cast<const StationEvent *>(record);
    auto mac = compact_mac(event.mac);
    reply_start();
    reply_string("mac", mac.data);
    reply_int("active", event.active);
    WEXOND_LOG("%s:  mac:%s / active:%d \n\n", __func__, mac.data, static_cast<uint32_t>(event.active));
    return notify("wexond.laninfo", "devicestatus", __func__);
}

int wexond_waninfo_ipchange(const void *record, uint32_t)
{
    const auto &event = *static_cast<const WanIpChangeEvent *>(record);
    auto address = read_text(event.address);
    reply_start();
    reply_string("ipaddr", address.data);
    WEXOND_LOG("%s:  ipaddr:%s / status:%d \n\n", __func__, address.data, static_cast<uint32_t>(event.status));
    return notify("wexond.waninfo", "propertieschanged", __func__);
}

int wexond_waninfo_updown(const void *record, uint32_t)
{
    enum : uint32_t { UP = 1, DOWN = 2, ADDRESS_ONLY = 3 };
    const auto &event = *static_cast<const WanUpDownEvent *>(record);
    auto address = read_text(event.address);
    uint32_t state = event.state;
    reply_start();
    if (state == UP || state == DOWN) {
        reply_string("ipaddr", address.data);
        reply_string("status", state == UP ? "up" : "down");
        WEXOND_LOG("%s:  ipaddr:%s / status:%d \n\n", __func__, address.data, state);
    } else if (state == ADDRESS_ONLY) {
        reply_string("ipaddr", address.data);
        WEXOND_LOG("%s:  ipaddr:%s\n\n", __func__, address.data);
    } else {
        // Deliberate: an unknown state is notified too, with an empty message.
        WEXOND_LOG("%s: pstData->eAtive error\n", __func__);
    }
    return notify("wexond.waninfo", "propertieschanged", __func__);
}

int wexond_ledswitch_propertieschanged(const void *record, uint32_t)
{
    return notify_switch("wexond.ledswitch", "status", kStatusSwitch, static_cast<const SwitchEvent *>(record)->code,
                         __func__);
}

int wexond_wifi_switch_propertieschanged(const void *record, uint32_t)
{
    return notify_switch("wexond.wifi", "wifiswitch", kWifiSwitch, static_cast<const SwitchEvent *>(record)->code,
                         __func__);
}

int wexond_elink_switch_propertieschanged(const void *record, uint32_t)
{
    return notify_switch("wexond.wifi", "elinksync", kElinkSwitch, static_cast<const SwitchEvent *>(record)->code,
                         __func__);
}

int wexond_wps_switch_propertieschanged(const void *record, uint32_t)
{
    return notify_switch("wexond.wifi", "wpsswitch", kWpsSwitch, static_cast<const WpsSwitchEvent *>(record)->code,
                         __func__);
}

int wexond_wifi_passworderror(const void *record, uint32_t)
{
    auto mac = compact_mac(static_cast<const PasswordErrorEvent *>(record)->mac);
    reply_start();
    reply_string("stamac", mac.data);
    WEXOND_LOG("%s:  stamac:%s \n\n", __func__, mac.data);
    return notify("wexond.wifi", "passworderror", __func__);
}

int wexond_wifi_channelchanged(const void *record, uint32_t)
{
    static constexpr const char *kRadios[] = {"wexond.wifi.1", "wexond.wifi.2"};
    const auto &event = *static_cast<const ChannelChangeEvent *>(record);
    uint32_t band = event.band, channel = event.channel;
    if (band >= std::size(kRadios))
        return kNotSent;
    reply_start();
    reply_int("channel", channel);
    WEXOND_LOG("%s:  band:%d / channel:%d \n\n", __func__, band, channel);
    return notify(kRadios[band], "propertieschanged", __func__);
}

int wexond_wifi_ssidchanged(const void *record, uint32_t)
{
    const auto &event = *static_cast<const SsidChangeEvent *>(record);
    uint32_t band = event.band, ap_index = event.ap_index;
    if (band >= std::size(entry_lists.wifi_aps))
        return kNotSent;
    const char *band_word = kRadioBands[band].word;
    Entry *entry = entry_find(&entry_lists.wifi_aps[band], ap_index);
    if (!entry || !entry->object.id) {
        WEXOND_LOG("%s:  No such %s %d AP \n\n", __func__, band_word, ap_index);
        return kNotSent;
    }
    auto ssid = read_text(event.ssid);
    reply_start();
    reply_string("ssid", ssid.data);
    WEXOND_LOG("%s: %s %d AP / ssid:%s \n\n", __func__, band_word, ap_index, ssid.data);
    return notify(&entry->object, "propertieschanged", __func__);
}

int wexond_diagnostics_pingresult(const void *record, uint32_t)
{
    const auto &event = *static_cast<const PingResultEvent *>(record);
    reply_start();
    reply_int("received", event.received);
    reply_int("loss", event.loss);
    reply_int("avg", event.average);
    reply_int("min", event.minimum);
    reply_int("max", event.maximum);
    WEXOND_LOG("%s:  received:%d / loss:%d / avg:%d / min:%d / max:%d \n\n", __func__,
               static_cast<uint32_t>(event.received), static_cast<uint32_t>(event.loss),
               static_cast<uint32_t>(event.average), static_cast<uint32_t>(event.minimum),
               static_cast<uint32_t>(event.maximum));
    return notify("wexond.diagnostics", "pingresult", __func__);
}

int wexond_diagnostics_tracerouteresult(const void *record, uint32_t)
{
    const auto *text = static_cast<const char *>(record);
    reply_start();
    reply_string("result", text);
    WEXOND_LOG("%s:  result:%s \n\n", __func__, text);
    return notify("wexond.diagnostics", "tracerouteresult", __func__);
}

int wexond_roaming_notification(const void *record, uint32_t)
{
    const auto &event = *static_cast<const RoamingEvent *>(record);
    auto mac = compact_mac(event.mac);
    auto bssid = compact_mac(event.bssid);
    reply_start();
    void *array = reply_open_array("roamingreport");
    void *table = reply_open_table("");
    reply_string("mac", mac.data);
    reply_int("connecttime", event.connect_time);
    reply_int("rssi", static_cast<int32_t>(event.rssi));
    reply_int("channel", event.channel);
    reply_string("band", wexond_code_to_str(kChannelBandwidth, event.bandwidth));
    reply_string("bssid", bssid.data);
    // Deliberate: both keys report the 802.11k word; the log shows the two words apart.
    reply_string("support11k", wexond_code_to_str(kYesNo, event.support_11k));
    reply_string("support11v", wexond_code_to_str(kYesNo, event.support_11k));
    reply_close(table);
    reply_close(array);
    WEXOND_LOG("mac:%s, connecttime:%d, rssi:%d, channel:%d, bssid:%s, support11k:%s, support11v:%s\n\n", mac.data,
               static_cast<uint32_t>(event.connect_time), static_cast<int32_t>(event.rssi),
               static_cast<uint32_t>(event.channel), bssid.data, event.support_11k == 1 ? "yes" : "no",
               event.support_11v == 1 ? "yes" : "no");
    return notify("wexond.wifi.roaming", "notification", __func__);
}

int wexond_wifi_vsie_proberx_newrecord(const void *record, uint32_t)
{
    const auto &event = *static_cast<const VsieRecordEvent *>(record);
    size_t count = std::min<size_t>(event.length, std::size(event.data));
    reply_start();
    reply_string("mac", compact_mac(event.mac).data);
    reply_int("band", event.band);
    void *array = reply_open_array("vsie");
    for (size_t i = 0; i < std::size(event.oui); i++) {
        WEXOND_LOG("%s:  vsie_oui[%d]:%d \n\n", __func__, static_cast<int>(i), event.oui[i]);
        reply_int("", event.oui[i]);
    }
    for (size_t i = 0; i < count; i++) {
        WEXOND_LOG("%s:  vsie[%d]:%d \n\n", __func__, static_cast<int>(i), event.data[i]);
        reply_int("", event.data[i]);
    }
    reply_close(array);
    return notify("wexond.wifi.vsie.proberx", "newrecord", __func__);
}

struct Notification {
    uint32_t event;
    int (*send)(const void *record, uint32_t length);
};

// In the order of the events.
constexpr Notification kNotifications[] = {
    {kEventNewStation, wexond_laninfo_newdevice},
    {kEventStationState, wexond_laninfo_devicestatus},
    {kEventWanIpChange, wexond_waninfo_ipchange},
    {kEventWanUpDown, wexond_waninfo_updown},
    {kEventLedSwitch, wexond_ledswitch_propertieschanged},
    {kEventWifiSwitch, wexond_wifi_switch_propertieschanged},
    {kEventElinkSwitch, wexond_elink_switch_propertieschanged},
    {kEventWpsSwitch, wexond_wps_switch_propertieschanged},
    {kEventWifiPasswordError, wexond_wifi_passworderror},
    {kEventChannelChange, wexond_wifi_channelchanged},
    {kEventSsidChange, wexond_wifi_ssidchanged},
    {kEventPingResult, wexond_diagnostics_pingresult},
    {kEventTraceResult, wexond_diagnostics_tracerouteresult},
    {kEventRoaming, wexond_roaming_notification},
    {kEventVsieNewRecord, wexond_wifi_vsie_proberx_newrecord},
};
static_assert(std::ranges::equal(kNotifications, kEvents, {}, &Notification::event, &EventKind::type));

} // namespace

int notify_event(size_t event, const void *record, uint32_t length)
{
    return record ? kNotifications[event].send(record, length) : kNotSent;
}
