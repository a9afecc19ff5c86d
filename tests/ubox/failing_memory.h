// An allocator that a test lets fail, for the whole program, of which one file includes this.
#pragma once

#include <cstdlib>

extern "C" void *__libc_realloc(void *, size_t);
extern "C" void *__libc_calloc(size_t, size_t);

namespace
{

constexpr int kNever = -1;
int allocations_left = kNever; // before the one that fails; all after it fail too

bool fails()
{
    return allocations_left != kNever && (allocations_left == 0 || allocations_left-- == 0);
}

} // namespace

// The libraries' calls come here as well: the program's own symbols go first.
extern "C" void *realloc(void *memory, size_t size)
{
    return fails() ? nullptr : __libc_realloc(memory, size);
}

extern "C" void *calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __libc_calloc(count, size);
}

namespace
{

// Runs `action` with the first allocation failing, then the second, until it succeeds; how often it failed.
template <typename Action> int failures_of(Action action)
{
    for (int allowed = 0; allowed < 1000; allowed++) {
        allocations_left = allowed;
        bool succeeded = action();
        allocations_left = kNever;
        if (succeeded)
            return allowed;
    }
    return -1;
}

} // namespace
