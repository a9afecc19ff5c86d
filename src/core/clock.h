// Time that nobody sets, and pauses.
#pragma once

#include <cstdint>

// Milliseconds of the monotonic clock.
int64_t monotonic_ms();

// Signals interrupt the pause and do not shorten it.
void pause_seconds(int seconds);
