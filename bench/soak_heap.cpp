// Loaded into the daemon before its libraries: the C library's allocator, counted.
#include "bench/soak_heap.h"

#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void __libc_free(void *memory);
}

namespace
{

HeapCount before_main; // takes the counts until the file is there
HeapCount *heap = &before_main;

__attribute__((constructor)) void map_count()
{
    const char *path = getenv(kHeapCountVariable);
    int fd = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    void *shared = mmap(nullptr, sizeof(HeapCount), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (fd < 0 || shared == MAP_FAILED)
        abort();
    close(fd);
    heap = static_cast<HeapCount *>(shared);
}

void *count_in(void *memory)
{
    if (memory) {
        heap->blocks++;
        heap->bytes += static_cast<int64_t>(malloc_usable_size(memory));
    }
    return memory;
}

void count_out(void *memory)
{
    if (memory) {
        heap->blocks--;
        heap->bytes -= static_cast<int64_t>(malloc_usable_size(memory));
    }
}

} // namespace

extern "C" void *malloc(size_t size)
{
    return count_in(__libc_malloc(size));
}

extern "C" void *calloc(size_t number, size_t size)
{
    return count_in(__libc_calloc(number, size));
}

extern "C" void *realloc(void *memory, size_t size)
{
    auto before = static_cast<int64_t>(memory ? malloc_usable_size(memory) : 0);
    void *moved = __libc_realloc(memory, size);
    if (moved) {
        heap->blocks += !memory;
        heap->bytes += static_cast<int64_t>(malloc_usable_size(moved)) - before;
    }
    return moved;
}

extern "C" void free(void *memory)
{
    count_out(memory);
    __libc_free(memory);
}
