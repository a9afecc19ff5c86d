// Records of the WAN side: PPPoE account, time on line, the WAN port's state, rate and counters, IPv6. DHCP (28), WAN
// status (24) and port layout (91) are shared records.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetRunTime = 8; // no request record

struct RunTimeRecord {
    char reserved1[68];
    le32 online_time;
    char reserved2[32];
};
static_assert(sizeof(RunTimeRecord) == 104);
static_assert(offsetof(RunTimeRecord, online_time) == 68);

constexpr uint32_t kSetIpv6Enable = 25; // the one request here with flag 0

struct Ipv6EnableRecord {
    le32 enable; // 1 on, 0 off
};
static_assert(sizeof(Ipv6EnableRecord) == 4);

constexpr uint32_t kGetIpv6Info = 26; // no request record

struct Ipv6InfoRecord {
    le32 enable; // 1 on
    le32 link;   // link state code
    char address[64];
    char prefix[64];
    le32 prefix_length;
    char gateway[64];
    char dns1[64];
    char dns2[64];
    char reserved[24];
};
static_assert(sizeof(Ipv6InfoRecord) == 356);
static_assert(offsetof(Ipv6InfoRecord, link) == 4);
static_assert(offsetof(Ipv6InfoRecord, address) == 8);
static_assert(offsetof(Ipv6InfoRecord, prefix) == 72);
static_assert(offsetof(Ipv6InfoRecord, prefix_length) == 136);
static_assert(offsetof(Ipv6InfoRecord, gateway) == 140);
static_assert(offsetof(Ipv6InfoRecord, dns1) == 204);
static_assert(offsetof(Ipv6InfoRecord, dns2) == 268);

constexpr uint32_t kGetPppoe = 31; // no request record
constexpr uint32_t kSetPppoe = 32;
constexpr uint32_t kPppoeValue = 384; // the only value ever sent; its use lies in the service

struct PppoeRecord {
    char name[33];     // may fill its field
    char password[33]; // may fill its field
    char reserved[70];
    le32 value;
};
static_assert(sizeof(PppoeRecord) == 140);
static_assert(offsetof(PppoeRecord, password) == 33);
static_assert(offsetof(PppoeRecord, value) == 136);

// The three port requests go out with their first two words filled; the same record is the answer.
constexpr uint32_t kWanPortKind = 1;

constexpr uint32_t kGetPortStatus = 92;

struct PortStatusRecord {
    le32 kind;
    le32 port;
    le32 reserved;
    le32 duplex; // duplex mode code
    le32 rate;   // negotiated, in thousands
};
static_assert(sizeof(PortStatusRecord) == 20);
static_assert(offsetof(PortStatusRecord, port) == 4);
static_assert(offsetof(PortStatusRecord, duplex) == 12);
static_assert(offsetof(PortStatusRecord, rate) == 16);

constexpr uint32_t kGetPortTraffic = 93;

struct PortTrafficRecord {
    le32 kind;
    le32 port;
    le64 bytes_sent;
    le64 bytes_received;
    le64 packets_sent;
    le64 packets_received;
    le64 crc_errors;
    char reserved[24];
};
static_assert(sizeof(PortTrafficRecord) == 72);
static_assert(offsetof(PortTrafficRecord, port) == 4);
static_assert(offsetof(PortTrafficRecord, bytes_sent) == 8);
static_assert(offsetof(PortTrafficRecord, bytes_received) == 16);
static_assert(offsetof(PortTrafficRecord, packets_sent) == 24);
static_assert(offsetof(PortTrafficRecord, packets_received) == 32);
static_assert(offsetof(PortTrafficRecord, crc_errors) == 40);

constexpr uint32_t kGetPortRate = 94;

struct PortRateRecord {
    le32 kind;
    le32 port;
    le32 download;
    le32 upload;
};
static_assert(sizeof(PortRateRecord) == 16);
static_assert(offsetof(PortRateRecord, port) == 4);
static_assert(offsetof(PortRateRecord, download) == 8);
static_assert(offsetof(PortRateRecord, upload) == 12);
