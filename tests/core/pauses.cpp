#include "tests/core/pauses.h"

#include <cerrno>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <poll.h>
#include <set>

#include "tests/support/process.h"

static std::mutex mutex;
static bool recording;
static int interruptions_left;
static std::vector<long> pauses;

static bool holding;
static size_t begun;
static std::set<size_t> ended;
static std::condition_variable changed;

extern "C" int nanosleep(const timespec *time, timespec *left)
{
    std::unique_lock lock(mutex);
    if (holding) {
        size_t number = begun++;
        changed.notify_all();
        changed.wait(lock, [number] { return !holding || ended.contains(number); });
        return 0;
    }
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

// Start-up pauses by watching the bus for its end, and for nothing else.
extern "C" int poll(pollfd *entries, nfds_t count, int milliseconds)
{
    std::unique_lock lock(mutex);
    bool is_pause = recording && count == 1 && entries->events == POLLRDHUP && milliseconds > 0;
    if (!is_pause) {
        lock.unlock();
        timespec limit = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
        return ppoll(entries, count, milliseconds < 0 ? nullptr : &limit, nullptr);
    }
    if (interruptions_left > 0) {
        interruptions_left--;
        errno = EINTR;
        return -1;
    }
    entries->revents = 0;
    pauses.push_back((milliseconds + 999) / 1000);
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

HeldPauses::HeldPauses()
{
    std::lock_guard lock(mutex);
    holding = true;
    begun = 0;
    ended.clear();
}

HeldPauses::~HeldPauses()
{
    std::lock_guard lock(mutex);
    holding = false;
    changed.notify_all();
}

bool HeldPauses::wait_for(size_t count) const
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, test_support::kPatience, [count] { return begun >= count; });
}

void HeldPauses::end(size_t number)
{
    std::lock_guard lock(mutex);
    ended.insert(number);
    changed.notify_all();
}
