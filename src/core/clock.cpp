#include "core/clock.h"

#include <cerrno>
#include <ctime>

int64_t monotonic_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void pause_seconds(int seconds)
{
    timespec left = {seconds, 0};
    while (nanosleep(&left, &left) && errno == EINTR)
        ;
}
