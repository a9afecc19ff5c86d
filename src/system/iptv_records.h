// Records of the IPTV VLAN: written whole, read whole.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetIptv = 137; // no request record
constexpr uint32_t kSetIptv = 138;

// Bit k of a mask stands for port or access point k.
struct IptvVlan {
    le32 vlan_id; // 0: not in use
    le32 ethernet_mask;
    le32 wifi_2g_mask;
    le32 wifi_5g_mask;
};
static_assert(sizeof(IptvVlan) == 16);
static_assert(offsetof(IptvVlan, ethernet_mask) == 4);
static_assert(offsetof(IptvVlan, wifi_2g_mask) == 8);
static_assert(offsetof(IptvVlan, wifi_5g_mask) == 12);

struct IptvRecord {
    le32 enable; // 1 yes
    IptvVlan vlans[2];
};
static_assert(sizeof(IptvRecord) == 36);
static_assert(offsetof(IptvRecord, vlans) == 4);
