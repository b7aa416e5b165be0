// allocation_count.h - how often the process has asked for memory.

#ifndef BENCHMARKS_ALLOCATION_COUNT_H
#define BENCHMARKS_ALLOCATION_COUNT_H

/// Calls of malloc, calloc, realloc and the aligned ones since the start, operator new included, by whatever library.
/// Only there in programs that are built with allocation_count.cpp, which replaces the allocator's entry points.
extern "C" long allocationCount() __attribute__((weak));

#endif
