#include "tests/core/faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>

// A sanitizer's allocator, where there is one, else the C library's.
extern "C" {
void *__interceptor_realloc(void *memory, size_t size) __attribute__((weak));
void *__interceptor_calloc(size_t count, size_t size) __attribute__((weak));
void *__interceptor_malloc(size_t size) __attribute__((weak));
int __interceptor_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) __attribute__((weak));
void *__libc_malloc(size_t size);
void *__libc_realloc(void *memory, size_t size);
void *__libc_calloc(size_t count, size_t size);
}

namespace
{

constexpr int kUnlimited = -1;

thread_local int calls_left = kUnlimited;
thread_local bool failed;
thread_local size_t failing_size = SIZE_MAX;
thread_local bool threads_fail;

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

extern "C" void *malloc(size_t size)
{
    if (size == failing_size)
        return nullptr;
    return __interceptor_malloc ? __interceptor_malloc(size) : __libc_malloc(size);
}

extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                              void *argument)
{
    if (threads_fail)
        return EAGAIN;
    static auto *real = __interceptor_pthread_create
                            ? &__interceptor_pthread_create
                            : reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return real(thread, attributes, body, argument);
}

extern "C" int asprintf(char **text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    int length = fails() ? -1 : vasprintf(text, format, arguments);
    va_end(arguments);
    return length;
}

// Called by a fortified build.
extern "C" int __asprintf_chk(char **text, int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    int length = fails() ? -1 : vasprintf(text, format, arguments);
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

FailingMalloc::FailingMalloc(size_t size)
{
    failing_size = size;
}

FailingMalloc::~FailingMalloc()
{
    failing_size = SIZE_MAX;
}

FailingThreads::FailingThreads()
{
    threads_fail = true;
}

FailingThreads::~FailingThreads()
{
    threads_fail = false;
}
