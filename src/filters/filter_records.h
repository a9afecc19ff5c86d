// Message types of the URL and DNS filter rules. Every request and answer carries the filter's rule record, which is a
// shared record; get and delete requests carry only its index.
#pragma once

#include "core/shared_records.h"

constexpr uint32_t kSetUrlFilter = 205; // 206 lists
constexpr uint32_t kDeleteUrlFilter = 207;
constexpr uint32_t kAddUrlFilter = 208;
constexpr uint32_t kGetUrlFilter = 209;

constexpr uint32_t kSetDnsFilter = 210; // 211 lists
constexpr uint32_t kDeleteDnsFilter = 212;
constexpr uint32_t kAddDnsFilter = 213;
constexpr uint32_t kGetDnsFilter = 214;
