// A process's holdings, read from outside.
#pragma once

#include <sys/types.h>

struct Holdings {
    long blocks = 0;    // of the heap, allocated and not freed: what only the process itself can count
    long bytes = 0;     // in these
    long anonymous = 0; // KiB of memory that is no file's: heap, stacks, data
    long descriptors = 0;
    long threads = 0;
};

// All but the heap.
Holdings holdings_of(pid_t process);
