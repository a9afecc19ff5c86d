// Records of the whole-device commands. Each is answered by a return code alone.
#pragma once

#include "core/wire.h"

constexpr uint32_t kReboot = 16;

struct RebootRecord {
    le32 reserved; // always 0
};
static_assert(sizeof(RebootRecord) == 4);

constexpr uint32_t kReset = 17; // no request record

constexpr uint32_t kUpgrade = 19;

struct UpgradeRecord {
    char url[384];   // at most 256 characters are sent
    sle32 file_size; // bytes
    char checksum[64];
    le32 reboot; // 1: reboot when the image is installed
};
static_assert(sizeof(UpgradeRecord) == 456);
static_assert(offsetof(UpgradeRecord, file_size) == 384);
static_assert(offsetof(UpgradeRecord, checksum) == 388);
static_assert(offsetof(UpgradeRecord, reboot) == 452);
