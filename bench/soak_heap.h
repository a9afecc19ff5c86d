// The soaked daemon's memory, allocated and not freed: counted in the daemon (LD_PRELOAD), read by the soak, through a
// file that both map. Its path is in the daemon's environment.
#pragma once

#include <atomic>
#include <cstdint>

constexpr const char *kHeapCountVariable = "WEXOND_SOAK_HEAP";

struct HeapCount {
    std::atomic<int64_t> blocks;
    std::atomic<int64_t> bytes;
};
