// Records of one access point besides its basic settings (184, 185), which are a shared record. Read requests carry the
// answer's own record, zero but for what names the access point.
#pragma once

#include "core/shared_records.h"

// Bits of the basic settings' change mask.
constexpr uint32_t kChangeApEnable = 0x01;
constexpr uint32_t kChangeApSsid = 0x02;
constexpr uint32_t kChangeApKey = 0x04;
constexpr uint32_t kChangeApAuth = 0x08;
constexpr uint32_t kChangeApEncrypt = 0x10;
constexpr uint32_t kChangeApHide = 0x20;
constexpr uint32_t kChangeApAll = 0x3F;

constexpr uint32_t kGetApStatistics = 93;

struct ApStatisticsRecord {
    le32 interface_kind; // 3 for 2.4 GHz, 4 for 5 GHz
    le32 ap_index;
    le64 tx_bytes;
    le64 rx_bytes;
    le64 tx_packets;
    le64 rx_packets;
    le64 tx_errors;
    le64 rx_errors;
    le64 tx_drops;
    le64 rx_drops;
};
static_assert(sizeof(ApStatisticsRecord) == 72);
static_assert(offsetof(ApStatisticsRecord, ap_index) == 4);
static_assert(offsetof(ApStatisticsRecord, tx_bytes) == 8);
static_assert(offsetof(ApStatisticsRecord, rx_bytes) == 16);
static_assert(offsetof(ApStatisticsRecord, tx_packets) == 24);
static_assert(offsetof(ApStatisticsRecord, rx_packets) == 32);
static_assert(offsetof(ApStatisticsRecord, tx_errors) == 40);
static_assert(offsetof(ApStatisticsRecord, rx_errors) == 48);
static_assert(offsetof(ApStatisticsRecord, tx_drops) == 56);
static_assert(offsetof(ApStatisticsRecord, rx_drops) == 64);

constexpr uint32_t kSetApRateLimit = 188;
constexpr uint32_t kGetApRateLimit = 189;
constexpr uint32_t kChangeUpstream = 0x400;
constexpr uint32_t kChangeDownstream = 0x800;

struct ApRateLimitRecord {
    le32 band;
    le32 ap_index;
    le32 upstream;
    le32 downstream;
    le32 change_mask;
};
static_assert(sizeof(ApRateLimitRecord) == 20);
static_assert(offsetof(ApRateLimitRecord, ap_index) == 4);
static_assert(offsetof(ApRateLimitRecord, upstream) == 8);
static_assert(offsetof(ApRateLimitRecord, downstream) == 12);
static_assert(offsetof(ApRateLimitRecord, change_mask) == 16);

constexpr uint32_t kSetApAccessMode = 190;
constexpr uint32_t kGetApAccessMode = 191;

struct ApAccessModeRecord {
    le32 band;
    le32 ap_index;
    le32 mode;
};
static_assert(sizeof(ApAccessModeRecord) == 12);
static_assert(offsetof(ApAccessModeRecord, ap_index) == 4);
static_assert(offsetof(ApAccessModeRecord, mode) == 8);

constexpr uint32_t kSetApAccessRule = 192;
constexpr uint32_t kGetApAccessRule = 193;
constexpr uint32_t kRuleAllowList = 2; // the rule under which the list applies

struct AllowedAddress {
    char address[16]; // IPv4; may fill its field
    le32 port;
};
static_assert(sizeof(AllowedAddress) == 20);
static_assert(offsetof(AllowedAddress, port) == 16);

struct ApAccessRuleRecord {
    le32 band;
    le32 ap_index;
    le32 rule;
    le32 count;
    AllowedAddress entries[10];
};
static_assert(sizeof(ApAccessRuleRecord) == 216);
static_assert(offsetof(ApAccessRuleRecord, ap_index) == 4);
static_assert(offsetof(ApAccessRuleRecord, rule) == 8);
static_assert(offsetof(ApAccessRuleRecord, count) == 12);
static_assert(offsetof(ApAccessRuleRecord, entries) == 16);

constexpr uint32_t kGetDualBandSync = 235; // no request record

struct DualBandSyncRecord {
    le32 enable; // 1: the 5 GHz twin follows the 2.4 GHz basic settings
};
static_assert(sizeof(DualBandSyncRecord) == 4);

constexpr uint32_t kSetFactoryFlag = 240; // a factory flag record, always 0
