// The pauses that the daemon's code makes, on whatever thread, while a test listens: they are noted and not waited for.
#pragma once

#include <cstddef>
#include <vector>

// Notes pauses until the object is gone.
class RecordedPauses
{
  public:
    // A signal ends the first `interruptions` pauses: a sleep when a thousand nanoseconds are left, one that watches
    // the bus at once.
    explicit RecordedPauses(int interruptions = 0);
    ~RecordedPauses();
    RecordedPauses(const RecordedPauses &) = delete;
    RecordedPauses &operator=(const RecordedPauses &) = delete;

    // In seconds, each up to its end; what was left of an interrupted one in negative nanoseconds.
    std::vector<long> taken() const;
};

// Holds pauses until the test ends them, in whatever order. When the object goes, all end.
class HeldPauses
{
  public:
    HeldPauses();
    ~HeldPauses();
    HeldPauses(const HeldPauses &) = delete;
    HeldPauses &operator=(const HeldPauses &) = delete;

    // Waits until so many have begun; false where they did not in time.
    bool wait_for(size_t count) const;

    // The pauses count from 0, in the order in which they began.
    void end(size_t number);
};
