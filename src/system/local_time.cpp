#include "system/local_time.h"

#include <cstdio>
#include <ctime>

// Compiled with times of 64 bits; the bus libraries' headers, whose structures hold times of the default width, must
// not be included here.

void write_local_time(char *text, size_t size, uint32_t seconds)
{
    time_t moment = seconds;
    tm when{};
    localtime_r(&moment, &when);
    snprintf(text, size, "%4d-%02d-%02d %02d:%02d:%02d", when.tm_year + 1900, when.tm_mon + 1, when.tm_mday,
             when.tm_hour, when.tm_min, when.tm_sec);
}
