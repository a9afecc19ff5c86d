#include "tests/core/faults.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

// A sanitizer's allocator, where there is one, else the C library's.
extern "C" {
void *__interceptor_realloc(void *memory, size_t size) __attribute__((weak));
void *__interceptor_calloc(size_t count, size_t size) __attribute__((weak));
void *__libc_realloc(void *memory, size_t size);
void *__libc_calloc(size_t count, size_t size);
}

namespace
{

constexpr int kUnlimited = -1;

thread_local int calls_left = kUnlimited;
thread_local bool failed;

bool fails()
{
    if (calls_left == kUnlimited)
        return false;
    if (calls_left > 0) {
        calls_left--;
        return false;
    }
    failed = true;
    return true;
}

} // namespace

extern "C" void *realloc(void *memory, size_t size)
{
    if (fails())
        return nullptr;
    return __interceptor_realloc ? __interceptor_realloc(memory, size) : __libc_realloc(memory, size);
}

extern "C" void *calloc(size_t count, size_t size)
{
    if (fails())
        return nullptr;
    return __interceptor_calloc ? __interceptor_calloc(count, size) : __libc_calloc(count, size);
}

extern "C" int asprintf(char **text, const char *format, ...)
{
    if (fails())
        return -1;
    va_list arguments;
    va_start(arguments, format);
    int length = vasprintf(text, format, arguments);
    va_end(arguments);
    return length;
}

FailingMemory::FailingMemory(int calls)
{
    failed = false;
    calls_left = calls;
}

FailingMemory::~FailingMemory()
{
    calls_left = kUnlimited;
}

bool FailingMemory::has_failed() const
{
    return failed;
}
