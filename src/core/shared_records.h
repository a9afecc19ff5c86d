// The records and message types that more than one family, or start-up and a family, exchange with the configuration
// service, in message-code order. Every record is little-endian; its offsets are asserted beside it. A word or a text
// whose use lies in the service alone is named `reserved`: it is zero in requests and passed over in answers.
#pragma once

#include "core/wire.h"

// --- Identity of the device (2, no request record) ---

constexpr uint32_t kGetManuInfo = 2;

struct ManuInfoRecord {
    char mac[18]; // the device's own MAC address, colon form
    char reserved[78];
};
static_assert(sizeof(ManuInfoRecord) == 96);

// --- WAN status (24, no request record) ---

constexpr uint32_t kGetWanStatus = 24;

struct WanStatusRecord {
    le32 work_mode; // work mode or, for WAN readers, connection type: one code serves both
    le32 link;      // IPv4 link state
    char address[16];
    char subnet_mask[16];
    char gateway[16];
    char reserved1[32];
    char dns1[16];
    char dns2[16];
    char reserved2[48];
};
static_assert(sizeof(WanStatusRecord) == 168);
static_assert(offsetof(WanStatusRecord, link) == 4);
static_assert(offsetof(WanStatusRecord, address) == 8);
static_assert(offsetof(WanStatusRecord, subnet_mask) == 24);
static_assert(offsetof(WanStatusRecord, gateway) == 40);
static_assert(offsetof(WanStatusRecord, dns1) == 88);
static_assert(offsetof(WanStatusRecord, dns2) == 104);

// --- DHCP on the WAN side (28): selects DHCP, and with it the router work mode ---

constexpr uint32_t kSetDhcp = 28;
constexpr uint32_t kDhcpValue = 1500; // the only value ever sent; its use lies in the service

struct SetDhcpRecord {
    le32 value;
};
static_assert(sizeof(SetDhcpRecord) == 4);

// --- Port layout (91, with or without an all-zero record as request) ---

constexpr uint32_t kGetPortNum = 91;

struct PortNumRecord {
    le32 lan_count;
    le32 lan_ports[8];
    le32 wan_count;
    le32 wan_ports[2];
};
static_assert(sizeof(PortNumRecord) == 48);
static_assert(offsetof(PortNumRecord, lan_ports) == 4);
static_assert(offsetof(PortNumRecord, wan_count) == 36);
static_assert(offsetof(PortNumRecord, wan_ports) == 40);

// --- Wi-Fi timers (98, no request record) ---

constexpr uint32_t kListWifiTimers = 98;

struct WifiTimerRecord {
    le32 index;  // assigned by the service; 0 in an add request
    le32 fixed1; // always 1 in requests, never reported
    le32 enable; // yes/no code
    le32 fixed2; // always 1 in requests, never reported
    sle32 hour;
    sle32 minute;
    le32 reserved[2];
    le32 weekday; // one bit: 0 Sunday, 1 to 6 Monday to Saturday
};
static_assert(sizeof(WifiTimerRecord) == 36);
static_assert(offsetof(WifiTimerRecord, fixed1) == 4);
static_assert(offsetof(WifiTimerRecord, enable) == 8);
static_assert(offsetof(WifiTimerRecord, fixed2) == 12);
static_assert(offsetof(WifiTimerRecord, hour) == 16);
static_assert(offsetof(WifiTimerRecord, minute) == 20);
static_assert(offsetof(WifiTimerRecord, weekday) == 32);

struct WifiTimerList {
    le32 count;
    WifiTimerRecord entries[32];
};
static_assert(sizeof(WifiTimerList) == 1156);
static_assert(offsetof(WifiTimerList, entries) == 4);

// --- Radios (180 set, 181 get: request and answer) ---

constexpr uint32_t kSetRadio = 180;
constexpr uint32_t kGetRadio = 181;

struct RadioRecord {
    le32 band;   // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 enable; // yes/no code
    le32 txpower;
    le32 channel;         // as configured
    le32 current_channel; // in use (answers only)
    le32 bandwidth;
    le32 mode; // bit set of standards (answers only)
    le32 reserved1;
    le32 ap_count; // access points of the band (answers only)
    le32 load;     // percent (answers only)
    le32 reserved2;
    le32 change_mask; // which fields a set request changes
};
static_assert(sizeof(RadioRecord) == 48);
static_assert(offsetof(RadioRecord, enable) == 4);
static_assert(offsetof(RadioRecord, txpower) == 8);
static_assert(offsetof(RadioRecord, channel) == 12);
static_assert(offsetof(RadioRecord, current_channel) == 16);
static_assert(offsetof(RadioRecord, bandwidth) == 20);
static_assert(offsetof(RadioRecord, mode) == 24);
static_assert(offsetof(RadioRecord, ap_count) == 32);
static_assert(offsetof(RadioRecord, load) == 36);
static_assert(offsetof(RadioRecord, change_mask) == 44);

// --- Access points, basic settings (184 set, 185 get: request and answer) ---

constexpr uint32_t kSetApBasic = 184;
constexpr uint32_t kGetApBasic = 185;

struct ApBasicRecord {
    le32 band;     // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 ap_index; // from 1
    le32 enable;   // yes/no code
    char ssid[32];
    char reserved1[32];
    char bssid[32]; // colon form (answers only)
    le32 auth;
    le32 encrypt;
    char key[64];
    le32 hide; // 1 hidden, 0 broadcast
    char reserved2[12];
    le32 change_mask; // which fields a set request changes
};
static_assert(sizeof(ApBasicRecord) == 200);
static_assert(offsetof(ApBasicRecord, ap_index) == 4);
static_assert(offsetof(ApBasicRecord, enable) == 8);
static_assert(offsetof(ApBasicRecord, ssid) == 12);
static_assert(offsetof(ApBasicRecord, bssid) == 76);
static_assert(offsetof(ApBasicRecord, auth) == 108);
static_assert(offsetof(ApBasicRecord, encrypt) == 112);
static_assert(offsetof(ApBasicRecord, key) == 116);
static_assert(offsetof(ApBasicRecord, hide) == 180);
static_assert(offsetof(ApBasicRecord, change_mask) == 196);

// --- Filter rules (206 URL, 211 DNS; no request record) ---

// Seconds after midnight. Start and end both 0 end the list of ranges.
struct TimeRange {
    le32 start;
    le32 end;
};
static_assert(sizeof(TimeRange) == 8);
static_assert(offsetof(TimeRange, end) == 4);

constexpr uint32_t kListUrlFilters = 206;

struct UrlFilterRecord {
    le32 index;        // assigned by the service; 0 in an add request
    le32 enable;       // yes/no code
    char urls[32][32]; // terminated; the first empty slot ends the list
    char name[32];     // terminated
    char macs[32][32]; // colon form; the first empty slot ends the list
    le32 mode;
    le32 weekdays; // bit 0 Sunday, bits 1 to 6 Monday to Saturday
    TimeRange ranges[3];
};
static_assert(sizeof(UrlFilterRecord) == 2120);
static_assert(offsetof(UrlFilterRecord, enable) == 4);
static_assert(offsetof(UrlFilterRecord, urls) == 8);
static_assert(offsetof(UrlFilterRecord, name) == 1032);
static_assert(offsetof(UrlFilterRecord, macs) == 1064);
static_assert(offsetof(UrlFilterRecord, mode) == 2088);
static_assert(offsetof(UrlFilterRecord, weekdays) == 2092);
static_assert(offsetof(UrlFilterRecord, ranges) == 2096);

struct UrlFilterList {
    le32 count;
    UrlFilterRecord entries[32];
};
static_assert(sizeof(UrlFilterList) == 67844);
static_assert(offsetof(UrlFilterList, entries) == 4);

constexpr uint32_t kListDnsFilters = 211;

struct DnsFilterRecord {
    le32 index;             // assigned by the service; 0 in an add request
    le32 enable;            // yes/no code
    char hostnames[32][32]; // may fill their slots; the first empty slot ends the list
    char name[32];          // may fill its field
    char mac[32];           // as given by the caller
    le32 action;
    le32 mode;
    le32 weekdays; // bit 0 Sunday, bits 1 to 6 Monday to Saturday
    TimeRange ranges[3];
};
static_assert(sizeof(DnsFilterRecord) == 1132);
static_assert(offsetof(DnsFilterRecord, enable) == 4);
static_assert(offsetof(DnsFilterRecord, hostnames) == 8);
static_assert(offsetof(DnsFilterRecord, name) == 1032);
static_assert(offsetof(DnsFilterRecord, mac) == 1064);
static_assert(offsetof(DnsFilterRecord, action) == 1096);
static_assert(offsetof(DnsFilterRecord, mode) == 1100);
static_assert(offsetof(DnsFilterRecord, weekdays) == 1104);
static_assert(offsetof(DnsFilterRecord, ranges) == 1108);

struct DnsFilterList {
    le32 count;
    DnsFilterRecord entries[32];
};
static_assert(sizeof(DnsFilterList) == 36228);
static_assert(offsetof(DnsFilterList, entries) == 4);

// --- Factory flag (239, no request record) ---

constexpr uint32_t kGetFactoryFlag = 239;

struct FactoryFlagRecord {
    le32 factory; // 1 while the device runs its factory settings
};
static_assert(sizeof(FactoryFlagRecord) == 4);
