// Records of the radios and the Wi-Fi switches. The radio record itself (180, 181) is a shared record.
#pragma once

#include "core/shared_records.h"

constexpr uint32_t kDisassociate = 59;

struct DisassociateRecord {
    le32 count; // of filled slots
    le32 reserved[2];
    char macs[32][32]; // as given; a text may fill its slot
};
static_assert(sizeof(DisassociateRecord) == 1036);
static_assert(offsetof(DisassociateRecord, macs) == 12);

constexpr uint32_t kStartChannelScan = 60; // request: a channel score list with its band alone; flag 0, nothing read

struct ChannelScore {
    le32 channel;
    le32 score;
};
static_assert(sizeof(ChannelScore) == 8);
static_assert(offsetof(ChannelScore, score) == 4);

struct ChannelScoreList {
    le32 band;  // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 count; // answers only
    ChannelScore entries[32];
};
static_assert(sizeof(ChannelScoreList) == 264);
static_assert(offsetof(ChannelScoreList, count) == 4);
static_assert(offsetof(ChannelScoreList, entries) == 8);

// The switches: one word, an on/off code. The read requests carry no record.
struct SwitchRecord {
    le32 code;
};
static_assert(sizeof(SwitchRecord) == 4);

constexpr uint32_t kGetElinkSync = 167;
constexpr uint32_t kSetElinkSync = 168;
constexpr uint32_t kSetWifiSwitch = 177;
constexpr uint32_t kGetWifiSwitch = 178;

// Bits of a radio's change mask.
constexpr uint32_t kChangeEnable = 0x0001;
constexpr uint32_t kChangeBandwidth = 0x0040;
constexpr uint32_t kChangeTxPower = 0x1000;
constexpr uint32_t kChangeChannel = 0x2000;

constexpr uint32_t kSetWps = 196;
constexpr uint32_t kGetWps = 197; // request and answer

struct WpsRecord {
    le32 index; // always 0
    le32 code;
};
static_assert(sizeof(WpsRecord) == 8);
static_assert(offsetof(WpsRecord, code) == 4);

constexpr uint32_t kGetChannelScores = 198; // request: a channel score list with its band alone
