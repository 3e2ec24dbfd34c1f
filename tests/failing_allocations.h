#pragma once
// Allocations that fail on demand, in the whole program with its libraries.

// How many allocations of this thread succeed before one fails; below 0 none does.
extern thread_local int allocations_until_failure;
