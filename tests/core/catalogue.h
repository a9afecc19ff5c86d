// What tests look at in their catalogue, besides what the daemon's code sees of it.
#pragma once

#include <cstdint>
#include <vector>

// The bands that channel scans were asked for, and how often the events were drained.
extern std::vector<uint32_t> scanned_bands;
extern int drains;

// What the start of the event relay returns; it starts nothing.
extern int event_relay_result;

// Makes objects and types as new, for another broker.
void catalogue_forget_bus();
