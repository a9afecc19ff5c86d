// Families of the tests' own, and what the tests look at in them.
#pragma once

#include <cstdint>
#include <vector>

// The bands that channel scans were asked for, and how often the events were drained.
extern std::vector<uint32_t> scanned_bands;
extern int drains;

// The result of the event relay's start, which starts nothing.
extern int event_relay_result;

// Hands them to the core, objects and types as new.
void use_test_families();
