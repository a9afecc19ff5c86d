// The pauses that the daemon's code makes, on whatever thread, while a test listens: they are noted and not waited for.
#pragma once

#include <vector>

// Notes pauses until the object is gone.
class RecordedPauses
{
  public:
    // A signal ends the first `interruptions` pauses when a thousand nanoseconds are left.
    explicit RecordedPauses(int interruptions = 0);
    ~RecordedPauses();
    RecordedPauses(const RecordedPauses &) = delete;
    RecordedPauses &operator=(const RecordedPauses &) = delete;

    // In seconds, each up to its end; what was left of an interrupted one in negative nanoseconds.
    std::vector<long> taken() const;
};
