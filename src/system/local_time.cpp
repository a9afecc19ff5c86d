// Where times have 32 bits unless a source file asks for more, they end in 2038. Only this file asks: the bus
// libraries' structures hold times of the default width, so their headers must not be included here.
#define _TIME_BITS 64

#include "system/local_time.h"

#include <cstdio>
#include <ctime>

void write_local_time(char *text, size_t size, uint32_t seconds)
{
    time_t moment = seconds;
    tm when{};
    localtime_r(&moment, &when);
    snprintf(text, size, "%4d-%02d-%02d %02d:%02d:%02d", when.tm_year + 1900, when.tm_mon + 1, when.tm_mday,
             when.tm_hour, when.tm_min, when.tm_sec);
}
