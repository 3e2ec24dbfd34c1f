#pragma once
// Allocations that fail on demand, in the whole program with its libraries.

// How many allocations of this thread succeed before one fails; below 0 none does.
extern thread_local int allocations_until_failure;

// Whether those fail that ask for a boundary.
extern bool aligned_allocations_fail;

// Makes the libraries that are loaded now take part. Linux does so by itself; on Windows
// a library keeps to the allocations of the compiler's runtime otherwise.
void watch_allocations_of_libraries();
