// Message types of the Wi-Fi timers. The timer record and its list (98) are shared records.
#pragma once

#include "core/shared_records.h"

constexpr uint32_t kSetWifiTimer = 99;
constexpr uint32_t kGetWifiTimer = 100; // request: an index; answered by a timer record
constexpr uint32_t kAddWifiTimer = 101; // request: a timer record; answered by its index
constexpr uint32_t kDeleteWifiTimer = 102;

struct WifiTimerIndexRecord {
    le32 index;
};
static_assert(sizeof(WifiTimerIndexRecord) == 4);
