// Records of vendor-specific information elements: sent in beacons, watched for in probe requests, sent in probe
// responses.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetVsieLimits = 215; // no request record

struct VsieLimitsRecord {
    le32 beacon_entries;
    le32 beacon_concurrent;
    le32 probe_request_entries;
    le32 probe_response_entries;
};
static_assert(sizeof(VsieLimitsRecord) == 16);
static_assert(offsetof(VsieLimitsRecord, beacon_concurrent) == 4);
static_assert(offsetof(VsieLimitsRecord, probe_request_entries) == 8);
static_assert(offsetof(VsieLimitsRecord, probe_response_entries) == 12);

// An entry's number, in add answers and delete requests.
struct VsieIndexRecord {
    le32 index;
};
static_assert(sizeof(VsieIndexRecord) == 4);

// --- Sent in beacons ---

constexpr uint32_t kAddBeaconIe = 217;
constexpr uint32_t kDeleteBeaconIe = 218;
constexpr uint32_t kListBeaconIes = 219; // no request record

struct BeaconIeRecord {
    le32 index;            // 0 in an add request
    char service_name[64]; // may fill its field
    sle32 ssid_index;
    sle32 duration;
    le32 length;    // IE bytes
    le32 data[256]; // one IE byte in each
};
static_assert(sizeof(BeaconIeRecord) == 1104);
static_assert(offsetof(BeaconIeRecord, service_name) == 4);
static_assert(offsetof(BeaconIeRecord, ssid_index) == 68);
static_assert(offsetof(BeaconIeRecord, duration) == 72);
static_assert(offsetof(BeaconIeRecord, length) == 76);
static_assert(offsetof(BeaconIeRecord, data) == 80);

struct BeaconIeList {
    le32 count;
    BeaconIeRecord entries[8];
};
static_assert(sizeof(BeaconIeList) == 8836);
static_assert(offsetof(BeaconIeList, entries) == 4);

constexpr uint32_t kRunBeaconIe = 220;

struct BeaconIeRunRecord {
    le32 index;
    le32 run; // 1 start, 0 stop
};
static_assert(sizeof(BeaconIeRunRecord) == 8);
static_assert(offsetof(BeaconIeRunRecord, run) == 4);

// --- Watched for in probe requests ---

constexpr uint32_t kAddProbeWatch = 221;
constexpr uint32_t kDeleteProbeWatch = 222;
constexpr uint32_t kListProbeWatches = 223; // no request record

struct ProbeFrame {
    char reserved[4];
    char mac[20]; // of the station, colon form
    le32 band;
    le32 length;
    uint8_t data[260];
};
static_assert(sizeof(ProbeFrame) == 292);
static_assert(offsetof(ProbeFrame, mac) == 4);
static_assert(offsetof(ProbeFrame, band) == 24);
static_assert(offsetof(ProbeFrame, length) == 28);
static_assert(offsetof(ProbeFrame, data) == 32);

struct ProbeWatchRecord {
    le32 index;            // 0 in an add request, and in an empty slot of a list
    char service_name[64]; // may fill its field
    le32 band;             // 0 or 1 in requests
    uint8_t oui[3];
    char padding;
    le32 frame_count;
    ProbeFrame frames[8];
};
static_assert(sizeof(ProbeWatchRecord) == 2416);
static_assert(offsetof(ProbeWatchRecord, service_name) == 4);
static_assert(offsetof(ProbeWatchRecord, band) == 68);
static_assert(offsetof(ProbeWatchRecord, oui) == 72);
static_assert(offsetof(ProbeWatchRecord, frame_count) == 76);
static_assert(offsetof(ProbeWatchRecord, frames) == 80);

struct ProbeWatchList {
    le32 count;
    ProbeWatchRecord entries[3];
};
static_assert(sizeof(ProbeWatchList) == 7252);
static_assert(offsetof(ProbeWatchList, entries) == 4);

constexpr uint32_t kFlushProbeWatch = 224;

struct ProbeFlushRecord {
    char service_name[64]; // may fill its field
};
static_assert(sizeof(ProbeFlushRecord) == 64);

// --- Sent in probe responses ---

constexpr uint32_t kAddProbeResponseIe = 225;
constexpr uint32_t kDeleteProbeResponseIe = 226;
constexpr uint32_t kListProbeResponseIes = 227; // no request record

struct ProbeResponseIeRecord {
    le32 index;   // 0 in an add request, and in an empty slot of a list
    char mac[18]; // of the station, colon form; may fill its field
    char padding[2];
    le32 band; // not set in add requests
    le32 length;
    uint8_t data[256];
};
static_assert(sizeof(ProbeResponseIeRecord) == 288);
static_assert(offsetof(ProbeResponseIeRecord, mac) == 4);
static_assert(offsetof(ProbeResponseIeRecord, band) == 24);
static_assert(offsetof(ProbeResponseIeRecord, length) == 28);
static_assert(offsetof(ProbeResponseIeRecord, data) == 32);

struct ProbeResponseIeList {
    le32 count;
    ProbeResponseIeRecord entries[3];
};
static_assert(sizeof(ProbeResponseIeList) == 868);
static_assert(offsetof(ProbeResponseIeList, entries) == 4);
