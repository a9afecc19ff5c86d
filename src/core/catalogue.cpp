#include "core/catalogue.h"

#include "events/event_server.h"
#include "events/event_table.h"
#include "wifi/radios.h"

extern ubus_object wexond_object;
extern ubus_object wexond_iptv_object;
extern ubus_object wexond_ledswitch_object;
extern ubus_object wexond_serverinfo_object;
extern ubus_object wexond_devinfo_object;
extern ubus_object wexond_laninfo_object;
extern ubus_object wexond_waninfo_object;
extern ubus_object wexond_neighbourinfo_object;
extern ubus_object wexond_wifi_object;
extern ubus_object wexond_wifi_blacklist_object;
extern ubus_object wexond_wifi_whitelist_object;
extern ubus_object wexond_wifi_mesh_object;
extern ubus_object wexond_wifi_vsie_object;
extern ubus_object wexond_wifi_vsie_beacontx_object;
extern ubus_object wexond_wifi_vsie_proberx_object;
extern ubus_object wexond_wifi_vsie_proberesp_object;
extern ubus_object wexond_wifi_timer_object;
extern ubus_object wexond_wifi_roaming_object;
extern ubus_object wexond_wifi1_object;
extern ubus_object wexond_wifi1ap_object;
extern ubus_object wexond_wifi2_object;
extern ubus_object wexond_wifi2ap_object;
extern ubus_object wexond_qos_object;
extern ubus_object wexond_qos_classification_object;
extern ubus_object wexond_diagnostics_object;
extern ubus_object wexond_filterurl_object;
extern ubus_object wexond_filterdns_object;
extern ubus_object wexond_ipv6_object;
extern ubus_object wexond_devinfo_ext_object;

extern ubus_object_type wexond_filterdns_entry_type;
extern ubus_object_type wexond_filterurl_entry_type;
extern ubus_object_type wexond_laninfo_type;
extern ubus_object_type wexond_wifitimer_entry_type;
extern ubus_object_type wexond_wifi1ap_entry_type;
extern ubus_object_type wexond_wifi2ap_entry_type;

namespace
{

constexpr ubus_object *kObjects[] = {
    &wexond_object,
    &wexond_iptv_object,
    &wexond_ledswitch_object,
    &wexond_serverinfo_object,
    &wexond_devinfo_object,
    &wexond_laninfo_object,
    &wexond_waninfo_object,
    &wexond_neighbourinfo_object,
    &wexond_wifi_object,
    &wexond_wifi_blacklist_object,
    &wexond_wifi_whitelist_object,
    &wexond_wifi_mesh_object,
    &wexond_wifi_vsie_object,
    &wexond_wifi_vsie_beacontx_object,
    &wexond_wifi_vsie_proberx_object,
    &wexond_wifi_vsie_proberesp_object,
    &wexond_wifi_timer_object,
    &wexond_wifi_roaming_object,
    &wexond_wifi1_object,
    &wexond_wifi1ap_object,
    &wexond_wifi2_object,
    &wexond_wifi2ap_object,
    &wexond_qos_object,
    &wexond_qos_classification_object,
    &wexond_diagnostics_object,
    &wexond_filterurl_object,
    &wexond_filterdns_object,
    &wexond_ipv6_object,
    &wexond_devinfo_ext_object,
};

} // namespace

const Families kAllFamilies = {
    .objects = kObjects,
    .entry_types =
        {
            .filterdns = &wexond_filterdns_entry_type,
            .filterurl = &wexond_filterurl_entry_type,
            .laninfo = &wexond_laninfo_type,
            .wifitimer = &wexond_wifitimer_entry_type,
            .wifi_aps = {&wexond_wifi1ap_entry_type, &wexond_wifi2ap_entry_type},
        },
    .start_events = WEXOND_Notify_ThreadInit,
    .drain_events = WEXOND_Event_NotifyDeal,
    .scan_channels = scan_channels,
};
