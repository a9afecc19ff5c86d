// Records of the front-panel LEDs: one word, read and written.
#pragma once

#include "core/wire.h"

constexpr uint32_t kGetLedSwitch = 20; // no request record
constexpr uint32_t kSetLedSwitch = 21;

struct LedSwitchRecord {
    le32 status; // 1 on, 0 off
};
static_assert(sizeof(LedSwitchRecord) == 4);
