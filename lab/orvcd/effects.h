// The effects of a request besides its answer: events that are pushed to the daemon, and changes that come a moment
// later. Handlers ask for them while they run; they come about once the handler has returned kOk and its change is
// kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>

#include "home.h"

// A later change, on the home as it then is. It may ask for effects of its own.
using Change = std::function<void(Json &)>;

void announce(uint32_t event, std::string record);

template <typename Record>
requires std::is_class_v<Record> && std::is_trivially_copyable_v<Record>
void announce(uint32_t event, const Record &record)
{
    announce(event, std::string(reinterpret_cast<const char *>(&record), sizeof(record)));
}

void later(std::chrono::milliseconds delay, Change change);

// Seconds since the service was started: what counters and times on line advance by.
uint64_t seconds_up();
