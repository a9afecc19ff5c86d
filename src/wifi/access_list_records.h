// Records of the station access lists. Both lists have the same requests under message types of their own.
#pragma once

#include "core/wire.h"

struct AccessListRecord {
    le32 index; // assigned by the service; 0 in an add request
    char name[64];
    char mac[32]; // as given
};
static_assert(sizeof(AccessListRecord) == 100);
static_assert(offsetof(AccessListRecord, name) == 4);
static_assert(offsetof(AccessListRecord, mac) == 68);

struct AccessListIndexRecord {
    le32 index;
};
static_assert(sizeof(AccessListIndexRecord) == 4);

struct AccessListAnswer {
    le32 count;
    AccessListRecord entries[128];
};
static_assert(sizeof(AccessListAnswer) == 12804);
static_assert(offsetof(AccessListAnswer, entries) == 4);

constexpr uint32_t kAddBlacklist = 117;    // request and answer: an access list record
constexpr uint32_t kDeleteBlacklist = 118; // request: an index
constexpr uint32_t kListBlacklist = 119;   // no request record; answered by the list
constexpr uint32_t kAddWhitelist = 120;
constexpr uint32_t kDeleteWhitelist = 121;
constexpr uint32_t kListWhitelist = 122;
