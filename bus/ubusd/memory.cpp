#include "memory.h"

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

// Other C libraries give back by themselves, or have no way to be told.
void memory_init()
{
#ifdef __GLIBC__
    // NOLINTNEXTLINE(concurrency-mt-unsafe): before there is another thread
    mallopt(M_MMAP_THRESHOLD, 131072); // stays there, however large what is freed
#endif
}

void memory_give_back()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}
