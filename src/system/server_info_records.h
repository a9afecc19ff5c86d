// Records of the operator's management servers and the device's identity towards them.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetServerInfo = 165; // no request record
constexpr uint32_t kSetServerInfo = 166;

// Bits of the given fields.
constexpr uint32_t kGivenBssaddr = 1;
constexpr uint32_t kGivenAbiaddr = 2;
constexpr uint32_t kGivenDevtoken = 4;
constexpr uint32_t kGivenDevid = 8;
constexpr uint32_t kGivenBackup = 16;

struct ServerInfoRecord {
    char bssaddr[65];
    char abiaddr[65];
    char devtoken[65];
    char devid[65];
    char backup[16][65]; // server addresses; the first empty one ends the list
    le32 given_mask;     // which fields a set request gives
};
static_assert(sizeof(ServerInfoRecord) == 1304);
static_assert(offsetof(ServerInfoRecord, abiaddr) == 65);
static_assert(offsetof(ServerInfoRecord, devtoken) == 130);
static_assert(offsetof(ServerInfoRecord, devid) == 195);
static_assert(offsetof(ServerInfoRecord, backup) == 260);
static_assert(offsetof(ServerInfoRecord, given_mask) == 1300);
