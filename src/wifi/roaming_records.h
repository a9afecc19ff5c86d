// Records of roaming: the steering settings, signal queries and transition requests.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetRoaming = 141; // no request record
constexpr uint32_t kSetRoaming = 142;
constexpr uint32_t kChangeRoamingEnable = 0x01;
constexpr uint32_t kChangeRoamingThreshold = 0x42; // both places of the threshold
constexpr uint32_t kChangeRoamingInterval = 0x04;
constexpr uint32_t kChangeRoamingStartTime = 0x08;
constexpr uint32_t kChangeRoamingStartRssi = 0x10;

struct RoamingRecord {
    le32 enable; // yes/no code
    sle32 threshold_rssi;
    sle32 report_interval;
    sle32 start_time;
    sle32 start_rssi;
    le32 reserved;
    sle32 threshold_copy; // written with threshold_rssi
    le32 change_mask;
};
static_assert(sizeof(RoamingRecord) == 32);
static_assert(offsetof(RoamingRecord, threshold_rssi) == 4);
static_assert(offsetof(RoamingRecord, report_interval) == 8);
static_assert(offsetof(RoamingRecord, start_time) == 12);
static_assert(offsetof(RoamingRecord, start_rssi) == 16);
static_assert(offsetof(RoamingRecord, threshold_copy) == 24);
static_assert(offsetof(RoamingRecord, change_mask) == 28);

constexpr uint32_t kGetStationRssi = 143; // request and answer

struct StationRssiRecord {
    char mac[20]; // colon form
    sle32 rssi;
    le32 band; // measured on: 0 2.4 GHz, 1 5 GHz
};
static_assert(sizeof(StationRssiRecord) == 28);
static_assert(offsetof(StationRssiRecord, rssi) == 20);
static_assert(offsetof(StationRssiRecord, band) == 24);

// Addresses in the following requests are given in their compact form and copied up to this limit.
constexpr size_t kCompactMacLimit = 13;

constexpr uint32_t kQueryApRssi = 144;

struct ApRssiQueryEntry {
    char bssid[16];
    le32 channel;
};
static_assert(sizeof(ApRssiQueryEntry) == 20);
static_assert(offsetof(ApRssiQueryEntry, channel) == 16);

struct ApRssiQueryRecord {
    le32 count;
    char mac[16]; // of the station
    ApRssiQueryEntry entries[32];
};
static_assert(sizeof(ApRssiQueryRecord) == 660);
static_assert(offsetof(ApRssiQueryRecord, mac) == 4);
static_assert(offsetof(ApRssiQueryRecord, entries) == 20);

struct ApRssiEntry {
    char bssid[16];
    sle32 rssi;
};
static_assert(sizeof(ApRssiEntry) == 20);
static_assert(offsetof(ApRssiEntry, rssi) == 16);

struct ApRssiAnswer {
    le32 count;
    ApRssiEntry entries[32];
};
static_assert(sizeof(ApRssiAnswer) == 644);
static_assert(offsetof(ApRssiAnswer, entries) == 4);

constexpr uint32_t kRequestTransition = 145;

struct TransitionRecord {
    char mac[13];   // of the station; may fill its field
    char bssid[15]; // of the target
    le32 channel;   // of the target
};
static_assert(sizeof(TransitionRecord) == 32);
static_assert(offsetof(TransitionRecord, bssid) == 13);
static_assert(offsetof(TransitionRecord, channel) == 28);
