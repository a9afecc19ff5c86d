// Records of the neighbouring access points that a radio hears.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetNeighbours = 195;

struct NeighbourRequest {
    le32 band; // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 reserved;
};
static_assert(sizeof(NeighbourRequest) == 8);

struct NeighbourRecord {
    char ssid[33];
    char bssid[35]; // colon form
    le32 channel;
    sle32 rssi;
    le32 standards; // bit set: 1 b, 2 g, 4 a, 8 n, 16 ac, 32 ax
    char reserved[12];
};
static_assert(sizeof(NeighbourRecord) == 92);
static_assert(offsetof(NeighbourRecord, bssid) == 33);
static_assert(offsetof(NeighbourRecord, channel) == 68);
static_assert(offsetof(NeighbourRecord, rssi) == 72);
static_assert(offsetof(NeighbourRecord, standards) == 76);

struct NeighbourList {
    le32 reserved;
    le32 count;
    NeighbourRecord entries[32];
};
static_assert(sizeof(NeighbourList) == 2952);
static_assert(offsetof(NeighbourList, entries) == 8);
