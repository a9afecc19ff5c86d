#include "tests/core/pauses.h"

#include <cerrno>
#include <ctime>
#include <mutex>

static std::mutex mutex;
static bool recording;
static int interruptions_left;
static std::vector<long> pauses;

extern "C" int nanosleep(const timespec *time, timespec *left)
{
    std::unique_lock lock(mutex);
    if (!recording) {
        lock.unlock();
        errno = clock_nanosleep(CLOCK_REALTIME, 0, time, left);
        return errno ? -1 : 0;
    }
    if (interruptions_left > 0) {
        interruptions_left--;
        *left = {0, 1000};
        errno = EINTR;
        return -1;
    }
    pauses.push_back(time->tv_nsec ? -time->tv_nsec : time->tv_sec);
    return 0;
}

RecordedPauses::RecordedPauses(int interruptions)
{
    std::lock_guard lock(mutex);
    recording = true;
    interruptions_left = interruptions;
    pauses.clear();
}

RecordedPauses::~RecordedPauses()
{
    std::lock_guard lock(mutex);
    recording = false;
}

std::vector<long> RecordedPauses::taken() const
{
    std::lock_guard lock(mutex);
    return pauses;
}
