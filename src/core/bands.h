// The two radios, as records, object names and texts know them.
#pragma once

#include <cstdint>

struct RadioBand {
    uint32_t index;  // in records
    uint32_t number; // in object names
    const char *word;
    const char *default_ssid; // format of the name that a reset gives an access point; takes its index
};

constexpr RadioBand kRadioBands[] = {
    {0, 1, "2.4G", "KVQ_%d"},
    {1, 2, "5G", "KVQ_5G_%d"},
};
