// Memory that runs out when a test wants it to.
#pragma once

// The next `calls` allocations (by realloc, calloc or asprintf) succeed and all later ones fail, until the object is
// gone; on the thread it was made on.
class FailingMemory
{
  public:
    explicit FailingMemory(int calls);
    ~FailingMemory();
    FailingMemory(const FailingMemory &) = delete;
    FailingMemory &operator=(const FailingMemory &) = delete;

    // Whether an allocation has failed.
    bool has_failed() const;
};
