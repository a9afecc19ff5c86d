// A moment as the router's clock on the wall shows it.
#pragma once

#include <cstdint>

// Writes "2023-11-15 03:43:20" for a number of seconds since the epoch, in the time zone that tzset read last.
void write_local_time(char (&text)[20], uint32_t seconds);
