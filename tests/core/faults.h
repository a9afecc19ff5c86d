// Memory and threads that run out when a test wants it.
#pragma once

#include <cstddef>

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

// While the object is there, malloc fails for this size.
class FailingMalloc
{
  public:
    explicit FailingMalloc(size_t size);
    ~FailingMalloc();
    FailingMalloc(const FailingMalloc &) = delete;
    FailingMalloc &operator=(const FailingMalloc &) = delete;
};

// While the object is there, no thread can be started.
class FailingThreads
{
  public:
    FailingThreads();
    ~FailingThreads();
    FailingThreads(const FailingThreads &) = delete;
    FailingThreads &operator=(const FailingThreads &) = delete;
};
