// Shared by the daemon of the memory tests and the test that drives it: a file in the daemon's folder, mapped by both.
#pragma once

#include <atomic>
#include <cstdint>

constexpr const char *kMemoryControlFile = "memory";

// Zeroed: everything succeeds. The counts are those of the whole process.
struct MemoryControl {
    std::atomic<uint32_t> armed;       // from now on allocations are counted, and may fail
    std::atomic<uint32_t> first;       // the number of the first one that fails, from 1; 0: none
    std::atomic<uint32_t> last;        // and of the last one
    std::atomic<uint32_t> allocations; // since it was armed
    std::atomic<uint32_t> failures;
    std::atomic<int32_t> blocks;          // allocated and not freed
    std::atomic<uint32_t> threads;        // started, or not to be started, so far
    std::atomic<uint32_t> failing_thread; // the number of the one that cannot be started, from 1
};
