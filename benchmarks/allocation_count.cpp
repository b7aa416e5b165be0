// allocation_count.cpp - the allocator's entry points, counted and passed on to glibc's.
//
//  - Built into a program of its own: the counting would add its instructions to what the other programs measure.

#include "allocation_count.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {

// glibc's own names for what the entry points below replace.
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
}

static std::atomic<long> allocations{0};

extern "C" {

long allocationCount()
{
    return allocations.load(std::memory_order_relaxed);
}

void *malloc(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}

void *realloc(void *block, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

void *memalign(std::size_t alignment, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_memalign(alignment, size);
}

void *aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void **block, std::size_t alignment, std::size_t size)
{
    *block = memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}
}
