// The senders: each turns one event's record into a notification on the bus. Bus thread only.
//
// A sender takes the record as the event table keeps it, with zeros behind it up to its struct's size and at least one,
// and the length that arrived. It returns 0 after sending, also when the bus refused; 3 when there is no record, or
// nobody to notify.
#pragma once

#include <cstdint>

using EventSender = int (*)(const void *record, uint32_t length);

int wexond_laninfo_newdevice(const void *record, uint32_t length);
int wexond_laninfo_devicestatus(const void *record, uint32_t length);
int wexond_waninfo_ipchange(const void *record, uint32_t length);
int wexond_waninfo_updown(const void *record, uint32_t length);
int wexond_ledswitch_propertieschanged(const void *record, uint32_t length);
int wexond_wifi_switch_propertieschanged(const void *record, uint32_t length);
int wexond_elink_switch_propertieschanged(const void *record, uint32_t length);
int wexond_wps_switch_propertieschanged(const void *record, uint32_t length);
int wexond_wifi_passworderror(const void *record, uint32_t length);
int wexond_wifi_channelchanged(const void *record, uint32_t length);
int wexond_wifi_ssidchanged(const void *record, uint32_t length);
int wexond_diagnostics_pingresult(const void *record, uint32_t length);
int wexond_diagnostics_tracerouteresult(const void *record, uint32_t length);
int wexond_roaming_notification(const void *record, uint32_t length);
int wexond_wifi_vsie_proberx_newrecord(const void *record, uint32_t length);
