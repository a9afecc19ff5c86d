// The allocator of a daemon whose memory runs out when a test wants it: the C library's, or a sanitizer's, behind a
// count. The libraries' calls, the C library's own among them, come here as well. The same of threads.
#include "tests/faults/memory_control.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
void *__interceptor_malloc(size_t size) __attribute__((weak));
void *__interceptor_calloc(size_t count, size_t size) __attribute__((weak));
void *__interceptor_realloc(void *memory, size_t size) __attribute__((weak));
void __interceptor_free(void *memory) __attribute__((weak));
int __interceptor_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) __attribute__((weak));
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void __libc_free(void *memory);
}

#ifndef __GLIBC__ // whose own functions have names of their own
namespace
{

template <typename Function> Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

void *__libc_malloc(size_t size)
{
    static auto *const own = next<void *(size_t)>("malloc");
    return own(size);
}

void *__libc_calloc(size_t count, size_t size)
{
    size_t length; // the library's own might call malloc, which would count once more
    void *memory = __builtin_mul_overflow(count, size, &length) ? nullptr : __libc_malloc(length);
    return memory ? memset(memory, 0, length) : nullptr;
}

void *__libc_realloc(void *memory, size_t size)
{
    static auto *const own = next<void *(void *, size_t)>("realloc");
    return own(memory, size);
}

void __libc_free(void *memory)
{
    static auto *const own = next<void(void *)>("free");
    own(memory);
}
#endif

namespace
{

MemoryControl before_main; // takes the counts until the file is there
MemoryControl *control = &before_main;

// Not before a thread's body runs: what its run-time library allocates first, a sanitizer's cannot do without.
thread_local bool counts;

__attribute__((constructor)) void map_control()
{
    char path[4096];
    snprintf(path, sizeof(path), "%s/%s", getenv("WEXOND_TEST_DIR"), kMemoryControlFile);
    int fd = open(path, O_RDWR | O_CLOEXEC);
    void *shared = mmap(nullptr, sizeof(MemoryControl), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (shared == MAP_FAILED)
        abort();
    close(fd);
    control = static_cast<MemoryControl *>(shared);
    counts = true;
}

bool fails()
{
    if (!control->armed || !counts)
        return false;
    uint32_t number = ++control->allocations;
    if (number < control->first || number > control->last)
        return false;
    control->failures++;
    errno = ENOMEM;
    return true;
}

void *count(void *memory)
{
    control->blocks += memory != nullptr;
    return memory;
}

} // namespace

extern "C" void *malloc(size_t size)
{
    if (fails())
        return nullptr;
    return count(__interceptor_malloc ? __interceptor_malloc(size) : __libc_malloc(size));
}

extern "C" void *calloc(size_t number, size_t size)
{
    if (fails())
        return nullptr;
    return count(__interceptor_calloc ? __interceptor_calloc(number, size) : __libc_calloc(number, size));
}

extern "C" void *realloc(void *memory, size_t size)
{
    if (fails())
        return nullptr;
    void *moved = __interceptor_realloc ? __interceptor_realloc(memory, size) : __libc_realloc(memory, size);
    return memory ? moved : count(moved);
}

extern "C" void free(void *memory)
{
    control->blocks -= memory != nullptr;
    __interceptor_free ? __interceptor_free(memory) : __libc_free(memory);
}

namespace
{

struct Start {
    void *(*body)(void *);
    void *argument;
};

Start starts[1024];

void *run(void *start)
{
    auto [body, argument] = *static_cast<Start *>(start);
    counts = true;
    return body(argument);
}

} // namespace

extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                              void *argument)
{
    uint32_t number = ++control->threads;
    if (number == control->failing_thread)
        return EAGAIN;
    static auto *real = __interceptor_pthread_create
                            ? &__interceptor_pthread_create
                            : reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    Start &start = starts[number % 1024];
    start = {body, argument};
    return real(thread, attributes, run, &start);
}
