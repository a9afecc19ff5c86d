// Records of the stations: the wired and wireless hosts attached to the router. A station is named by its MAC address
// text, as the service sent it.
#pragma once

#include "core/wire.h"

using StationMac = char[32];

constexpr uint32_t kListStations = 103; // no request record; answered by a station list

struct StationRecord {
    StationMac mac; // colon form
    char host_name[64];
    char device_name[64]; // given by the user
    char address[16];     // IPv4
    le32 medium;          // 0 2.4 GHz, 2 wired, any other value 5 GHz
    le32 port;
    char ssid[32];
    le32 active; // 1 on line
    le32 online_time;
    le32 changed_at; // of the last change of state, seconds since the epoch
    StationMac virtual_mac;
    char address6[64];
    char reserved1[36];
    char brand[32];
    char model[32];
    sle32 download_speed;
    sle32 upload_speed;
    sle32 rssi;
    le32 reserved2;
    le32 rate; // negotiated
    le32 reserved3;
    le32 duplex;          // duplex mode code
    le32 storage_access;  // 1 allowed
    le32 internet_access; // with wifi_access: see the reply
    le32 wifi_access;
    char reserved4[8];
    le64 bytes_received;
    le64 bytes_sent;
    le64 packets_received;
    le64 packets_sent;
    le64 retries_received;
    le64 retries_sent;
    le64 failures_received;
    le64 failures_sent;
    le64 packets_lost;
};
static_assert(sizeof(StationRecord) == 544);
static_assert(offsetof(StationRecord, host_name) == 32);
static_assert(offsetof(StationRecord, device_name) == 96);
static_assert(offsetof(StationRecord, address) == 160);
static_assert(offsetof(StationRecord, medium) == 176);
static_assert(offsetof(StationRecord, port) == 180);
static_assert(offsetof(StationRecord, ssid) == 184);
static_assert(offsetof(StationRecord, active) == 216);
static_assert(offsetof(StationRecord, online_time) == 220);
static_assert(offsetof(StationRecord, changed_at) == 224);
static_assert(offsetof(StationRecord, virtual_mac) == 228);
static_assert(offsetof(StationRecord, address6) == 260);
static_assert(offsetof(StationRecord, brand) == 360);
static_assert(offsetof(StationRecord, model) == 392);
static_assert(offsetof(StationRecord, download_speed) == 424);
static_assert(offsetof(StationRecord, upload_speed) == 428);
static_assert(offsetof(StationRecord, rssi) == 432);
static_assert(offsetof(StationRecord, rate) == 440);
static_assert(offsetof(StationRecord, duplex) == 448);
static_assert(offsetof(StationRecord, storage_access) == 452);
static_assert(offsetof(StationRecord, internet_access) == 456);
static_assert(offsetof(StationRecord, wifi_access) == 460);
static_assert(offsetof(StationRecord, bytes_received) == 472);
static_assert(offsetof(StationRecord, bytes_sent) == 480);
static_assert(offsetof(StationRecord, packets_received) == 488);
static_assert(offsetof(StationRecord, packets_sent) == 496);
static_assert(offsetof(StationRecord, retries_received) == 504);
static_assert(offsetof(StationRecord, retries_sent) == 512);
static_assert(offsetof(StationRecord, failures_received) == 520);
static_assert(offsetof(StationRecord, failures_sent) == 528);
static_assert(offsetof(StationRecord, packets_lost) == 536);

// Stands before the stations of a list answer.
struct StationListHeader {
    le32 count;
    le32 reserved;
};
static_assert(sizeof(StationListHeader) == 8);

constexpr uint32_t kGetStation = 104; // request: a station record that is all zero but for its MAC address

constexpr uint32_t kGetStationCounts = 105; // no request record

struct StationCountsRecord {
    le32 total;
    le32 reserved;
    le32 wired;
    le32 wifi_2g;
    le32 wifi_5g;
};
static_assert(sizeof(StationCountsRecord) == 20);
static_assert(offsetof(StationCountsRecord, wired) == 8);
static_assert(offsetof(StationCountsRecord, wifi_2g) == 12);
static_assert(offsetof(StationCountsRecord, wifi_5g) == 16);

constexpr uint32_t kSetStationName = 106;

struct StationNameRecord {
    StationMac mac;
    char device_name[64]; // may fill its field
};
static_assert(sizeof(StationNameRecord) == 96);
static_assert(offsetof(StationNameRecord, device_name) == 32);

constexpr uint32_t kSetStationModel = 107;

// Bits of the change mask.
constexpr uint32_t kChangeBrand = 1;
constexpr uint32_t kChangeModel = 2;

struct StationModelRecord {
    StationMac mac;
    char brand[32]; // may fill its field
    char model[32]; // may fill its field
    le32 change_mask;
};
static_assert(sizeof(StationModelRecord) == 100);
static_assert(offsetof(StationModelRecord, brand) == 32);
static_assert(offsetof(StationModelRecord, model) == 64);
static_assert(offsetof(StationModelRecord, change_mask) == 96);

constexpr uint32_t kSetInternetAccess = 123;
constexpr uint32_t kSetWifiAccess = 126;

struct StationAccessRecord {
    StationMac mac;
    le32 flag;
};
static_assert(sizeof(StationAccessRecord) == 36);
static_assert(offsetof(StationAccessRecord, flag) == 32);

constexpr uint32_t kGetRateLimit = 135; // request and answer
constexpr uint32_t kSetRateLimit = 136;

// Bits of the change mask.
constexpr uint32_t kChangeStationUpstream = 1;
constexpr uint32_t kChangeStationDownstream = 2;

struct StationRateLimitRecord {
    le32 limited; // answers only: 1 where a limit is set
    StationMac mac;
    char reserved[32];
    le32 downstream;
    le32 upstream;
    le32 change_mask; // set requests only
};
static_assert(sizeof(StationRateLimitRecord) == 80);
static_assert(offsetof(StationRateLimitRecord, mac) == 4);
static_assert(offsetof(StationRateLimitRecord, downstream) == 68);
static_assert(offsetof(StationRateLimitRecord, upstream) == 72);
static_assert(offsetof(StationRateLimitRecord, change_mask) == 76);
