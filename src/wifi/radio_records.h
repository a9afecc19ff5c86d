// Records of the radios, besides the radio record itself, which start-up shares.
#pragma once

#include "core/shared_records.h"

constexpr uint32_t kStartChannelScan = 60; // request: a channel score list with its band alone; flag 0, nothing read

struct ChannelScore {
    le32 channel;
    le32 score;
};
static_assert(sizeof(ChannelScore) == 8);

struct ChannelScoreList {
    le32 band;  // 0 the 2.4 GHz radio, 1 the 5 GHz radio
    le32 count; // answers only
    ChannelScore entries[32];
};
static_assert(sizeof(ChannelScoreList) == 264);
static_assert(offsetof(ChannelScoreList, entries) == 8);
