// Records of the mesh.
#pragma once

#include "core/wire.h"

constexpr uint32_t kSetMesh = 61;
constexpr uint32_t kGetMesh = 62; // no request record
constexpr uint32_t kChangeMeshMode = 0x2;

struct MeshRecord {
    le32 mode; // written with one vocabulary, read with another
    char al_mac[20];
    le32 online_time;
    le32 status; // yes/no code
    le32 change_mask;
};
static_assert(sizeof(MeshRecord) == 36);
static_assert(offsetof(MeshRecord, al_mac) == 4);
static_assert(offsetof(MeshRecord, online_time) == 24);
static_assert(offsetof(MeshRecord, status) == 28);
static_assert(offsetof(MeshRecord, change_mask) == 32);

constexpr uint32_t kGetBackhaulBss = 63; // no request record

struct BackhaulBssRecord {
    char ssid[32];
    char key[64];
    le32 auth;
    le32 encrypt;
};
static_assert(sizeof(BackhaulBssRecord) == 104);
static_assert(offsetof(BackhaulBssRecord, key) == 32);
static_assert(offsetof(BackhaulBssRecord, auth) == 96);
static_assert(offsetof(BackhaulBssRecord, encrypt) == 100);

constexpr uint32_t kGetTopology = 64;

struct TopologyRequest {
    char mac[18]; // the node's own in the topology; empty where it is not known
};
static_assert(sizeof(TopologyRequest) == 18);

struct TopologyBss {
    char bssid[18];
    char ssid[32];
};
static_assert(sizeof(TopologyBss) == 50);
static_assert(offsetof(TopologyBss, ssid) == 18);

// The fronthaul networks of one band.
struct TopologyBand {
    le32 count;
    TopologyBss entries[2];
};
static_assert(sizeof(TopologyBand) == 104);
static_assert(offsetof(TopologyBand, entries) == 4);

struct TopologyStation {
    le32 link;      // 0 Ethernet, 1 2.4 GHz, 2 5 GHz
    le32 bss_index; // position of its network within the band
    char reserved1[4];
    char mac[24];
    le32 seconds; // connected for
    char reserved2[148];
    le32 up_rate;
    le32 down_rate;
    char reserved3[8];
};
static_assert(sizeof(TopologyStation) == 204);
static_assert(offsetof(TopologyStation, bss_index) == 4);
static_assert(offsetof(TopologyStation, mac) == 12);
static_assert(offsetof(TopologyStation, seconds) == 36);
static_assert(offsetof(TopologyStation, up_rate) == 188);
static_assert(offsetof(TopologyStation, down_rate) == 192);

struct TopologyStations {
    le32 count;
    TopologyStation entries[64];
};
static_assert(sizeof(TopologyStations) == 13060);
static_assert(offsetof(TopologyStations, entries) == 4);

struct TopologyRecord {
    char reserved1[44];
    char backhaul_al_mac[104]; // of the peer
    le32 backhaul_type;        // link medium code
    le32 up_rate;
    le32 down_rate;
    char reserved2[4];
    TopologyBand band_2g;
    char reserved3[4];
    TopologyBand band_5g;
    TopologyStations stations;
    char reserved4[4];
};
static_assert(sizeof(TopologyRecord) == 13440);
static_assert(offsetof(TopologyRecord, backhaul_al_mac) == 44);
static_assert(offsetof(TopologyRecord, backhaul_type) == 148);
static_assert(offsetof(TopologyRecord, up_rate) == 152);
static_assert(offsetof(TopologyRecord, down_rate) == 156);
static_assert(offsetof(TopologyRecord, band_2g) == 164);
static_assert(offsetof(TopologyRecord, band_5g) == 272);
static_assert(offsetof(TopologyRecord, stations) == 376);

constexpr uint32_t kGetTopologyMap = 65; // no request record

struct TopologyMapEntry {
    char device_mac[18];
    char topology_mac[18];
    char reserved[44];
};
static_assert(sizeof(TopologyMapEntry) == 80);
static_assert(offsetof(TopologyMapEntry, topology_mac) == 18);

struct TopologyMap {
    le32 count;
    le32 reserved; // a reference within the service, without meaning here
    TopologyMapEntry entries[4];
};
static_assert(sizeof(TopologyMap) == 328);
static_assert(offsetof(TopologyMap, entries) == 8);

constexpr uint32_t kSetMeshRoaming = 66;
constexpr uint32_t kGetMeshRoaming = 67; // no request record
constexpr uint32_t kChangeMeshRoaming = 0x4;

struct MeshRoamingRecord {
    le32 roaming; // yes/no code
    le32 reserved[2];
    le32 change_mask;
};
static_assert(sizeof(MeshRoamingRecord) == 16);
static_assert(offsetof(MeshRoamingRecord, change_mask) == 12);
