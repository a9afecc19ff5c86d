// Records of the diagnostics: load, open ports, ping and traceroute jobs. The reading requests carry no record.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetCpuRate = 5;

struct CpuRateRecord {
    le32 usage;
    le32 temperature;
};
static_assert(sizeof(CpuRateRecord) == 8);
static_assert(offsetof(CpuRateRecord, temperature) == 4);

constexpr uint32_t kGetMemoryRate = 6;

struct MemoryRateRecord {
    le32 usage;
};
static_assert(sizeof(MemoryRateRecord) == 4);

constexpr uint32_t kGetFlashRate = 7;

struct FlashRateRecord {
    le32 free;
    le32 usage;
};
static_assert(sizeof(FlashRateRecord) == 8);
static_assert(offsetof(FlashRateRecord, usage) == 4);

constexpr uint32_t kGetTcpPorts = 9;
constexpr uint32_t kGetUdpPorts = 10;

struct OpenPortsRecord {
    le32 ports[32]; // 0: empty slot
};
static_assert(sizeof(OpenPortsRecord) == 128);

// A ping and a traceroute mark the same argument with different bits, and count their time-outs in different units:
// both are so on the service's side.
constexpr uint32_t kPing = 50;

// Bits of the given fields of both jobs.
constexpr uint32_t kGivenPingCount = 2;
constexpr uint32_t kGivenTimeout = 4;
constexpr uint32_t kGivenBlockSize = 8;
constexpr uint32_t kGivenTries = 16;
constexpr uint32_t kGivenMaxHops = 32;

struct PingRecord {
    char host[64]; // may fill its field
    le32 count;
    le32 timeout; // as given
    le32 block_size;
    char reserved[68];
    le32 given_mask; // which of the options a request gives
};
static_assert(sizeof(PingRecord) == 148);
static_assert(offsetof(PingRecord, count) == 64);
static_assert(offsetof(PingRecord, timeout) == 68);
static_assert(offsetof(PingRecord, block_size) == 72);
static_assert(offsetof(PingRecord, given_mask) == 144);

constexpr uint32_t kTraceroute = 51;

struct TracerouteRecord {
    char host[64]; // may fill its field
    le32 tries;
    le32 timeout; // a thousandth of what is given
    le32 block_size;
    le32 max_hops;
    le32 fixed; // always 1
    le32 given_mask;
};
static_assert(sizeof(TracerouteRecord) == 88);
static_assert(offsetof(TracerouteRecord, tries) == 64);
static_assert(offsetof(TracerouteRecord, timeout) == 68);
static_assert(offsetof(TracerouteRecord, block_size) == 72);
static_assert(offsetof(TracerouteRecord, max_hops) == 76);
static_assert(offsetof(TracerouteRecord, fixed) == 80);
static_assert(offsetof(TracerouteRecord, given_mask) == 84);
