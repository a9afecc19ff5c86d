// The messages of the event socket: a header, then the event's record. A client's messages are one batch, which it
// sends in one write: the daemon receives once and closes the connection. Records may arrive short; what is missing
// counts as zero.
#pragma once

#include "core/wire.h"

constexpr uint32_t kBatchLimit = 16384; // bytes; what is beyond is lost

struct EventHeader {
    le32 type;
    le32 reserved[2];
    le32 length; // of the record that follows
};
static_assert(sizeof(EventHeader) == 16);
static_assert(offsetof(EventHeader, length) == 12);

constexpr uint32_t kEventTypeLimit = 248; // types from here on are errors

// A switch of the LEDs, of Wi-Fi, of e-Link: one word, an on/off code.
struct SwitchEvent {
    le32 code;
};
static_assert(sizeof(SwitchEvent) == 4);

constexpr uint32_t kEventLedSwitch = 22;

constexpr uint32_t kEventPingResult = 52;

struct PingResultEvent {
    le32 received;
    le32 loss;
    le32 reserved;
    le32 average;
    le32 minimum;
    le32 maximum;
};
static_assert(sizeof(PingResultEvent) == 24);
static_assert(offsetof(PingResultEvent, loss) == 4);
static_assert(offsetof(PingResultEvent, average) == 12);
static_assert(offsetof(PingResultEvent, minimum) == 16);
static_assert(offsetof(PingResultEvent, maximum) == 20);

constexpr uint32_t kEventTraceResult = 53; // its whole record is the result's text

constexpr uint32_t kEventWanUpDown = 54;

struct WanUpDownEvent {
    le32 reserved[2];
    le32 state; // 1 up, 2 down, 3 address only
    char address[16];
};
static_assert(sizeof(WanUpDownEvent) == 28);
static_assert(offsetof(WanUpDownEvent, state) == 8);
static_assert(offsetof(WanUpDownEvent, address) == 12);

constexpr uint32_t kEventWanIpChange = 55;

struct WanIpChangeEvent {
    le32 reserved;
    le32 status;
    char address[16];
};
static_assert(sizeof(WanIpChangeEvent) == 24);
static_assert(offsetof(WanIpChangeEvent, address) == 8);

constexpr uint32_t kEventWpsSwitch = 85;

struct WpsSwitchEvent {
    le32 reserved;
    le32 code;
};
static_assert(sizeof(WpsSwitchEvent) == 8);

constexpr uint32_t kEventWifiSwitch = 87;

constexpr uint32_t kEventChannelChange = 89;

struct ChannelChangeEvent {
    le32 band; // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 reserved[2];
    le32 channel;
};
static_assert(sizeof(ChannelChangeEvent) == 16);
static_assert(offsetof(ChannelChangeEvent, channel) == 12);

constexpr uint32_t kEventSsidChange = 90;

struct SsidChangeEvent {
    le32 band; // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 ap_index;
    le32 reserved;
    char ssid[32];
};
static_assert(sizeof(SsidChangeEvent) == 44);
static_assert(offsetof(SsidChangeEvent, ap_index) == 4);
static_assert(offsetof(SsidChangeEvent, ssid) == 12);

// Station events begin like the service's station record.
constexpr uint32_t kEventNewStation = 109;
constexpr uint32_t kEventStationState = 110;

struct StationEvent {
    char mac[32]; // colon form
    char host_name[64];
    char reserved1[80];
    le32 medium;
    le32 port;
    char reserved2[32];
    le32 active; // 1 on line
    char reserved3[8];
    char virtual_mac[32];
};
static_assert(sizeof(StationEvent) == 260);
static_assert(offsetof(StationEvent, host_name) == 32);
static_assert(offsetof(StationEvent, medium) == 176);
static_assert(offsetof(StationEvent, port) == 180);
static_assert(offsetof(StationEvent, active) == 216);
static_assert(offsetof(StationEvent, virtual_mac) == 228);

constexpr uint32_t kEventWifiPasswordError = 111;

struct PasswordErrorEvent {
    char mac[32]; // of the station, colon form
};
static_assert(sizeof(PasswordErrorEvent) == 32);

constexpr uint32_t kEventRoaming = 146;

struct RoamingEvent {
    char mac[20]; // of the station, colon form
    le32 bandwidth;
    sle32 rssi;
    le32 connect_time;
    le32 reserved[2];
    le32 channel;
    char bssid[18]; // colon form
    le16 support_11k;
    le16 support_11v;
};
static_assert(sizeof(RoamingEvent) == 66);
static_assert(offsetof(RoamingEvent, bandwidth) == 20);
static_assert(offsetof(RoamingEvent, rssi) == 24);
static_assert(offsetof(RoamingEvent, connect_time) == 28);
static_assert(offsetof(RoamingEvent, channel) == 40);
static_assert(offsetof(RoamingEvent, bssid) == 44);
static_assert(offsetof(RoamingEvent, support_11k) == 62);
static_assert(offsetof(RoamingEvent, support_11v) == 64);

constexpr uint32_t kEventElinkSwitch = 169;

constexpr uint32_t kEventVsieNewRecord = 216;

struct VsieRecordEvent {
    le32 reserved;
    char mac[20]; // of the station, colon form
    le32 band;
    le32 length;
    uint8_t data[255];
    uint8_t oui[3];
};
static_assert(sizeof(VsieRecordEvent) == 290);
static_assert(offsetof(VsieRecordEvent, mac) == 4);
static_assert(offsetof(VsieRecordEvent, band) == 24);
static_assert(offsetof(VsieRecordEvent, length) == 28);
static_assert(offsetof(VsieRecordEvent, data) == 32);
static_assert(offsetof(VsieRecordEvent, oui) == 287);

// --- All events ---

// An event as the daemon, the lab and the tests know it.
struct EventKind {
    const char *name; // in the daemon's log
    uint32_t type;
    uint32_t size; // of its record, as far as a notification reads it; 0: a text of any length
};

// In the order in which they are notified.
constexpr EventKind kEvents[] = {
    {"New Sta", kEventNewStation, sizeof(StationEvent)},
    {"Sta on/offline", kEventStationState, sizeof(StationEvent)},
    {"wan ip change", kEventWanIpChange, sizeof(WanIpChangeEvent)},
    {"wan up/down", kEventWanUpDown, sizeof(WanUpDownEvent)},
    {"Led Switch", kEventLedSwitch, sizeof(SwitchEvent)},
    {"Wifi Switch", kEventWifiSwitch, sizeof(SwitchEvent)},
    {"Elink Switch", kEventElinkSwitch, sizeof(SwitchEvent)},
    {"Wps Switch", kEventWpsSwitch, sizeof(WpsSwitchEvent)},
    {"Wifi Pwd Err", kEventWifiPasswordError, sizeof(PasswordErrorEvent)},
    {"channel change", kEventChannelChange, sizeof(ChannelChangeEvent)},
    {"ssid change", kEventSsidChange, sizeof(SsidChangeEvent)},
    {"PingResult", kEventPingResult, sizeof(PingResultEvent)},
    {"TraceResult", kEventTraceResult, 0},
    {"RoamingNotifi", kEventRoaming, sizeof(RoamingEvent)},
    {"VsieNewRecord", kEventVsieNewRecord, sizeof(VsieRecordEvent)},
};
