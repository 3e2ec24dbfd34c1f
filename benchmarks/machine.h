#pragma once
// What the machine can do, and what a benchmark takes of it.

// Single-precision multiply-adds a second, in 10^9, of that many threads at once that do
// nothing else, with the widest vectors that the blur uses. Takes a second.
double multiply_add_peak(int threads);

// Largest resident memory of the process since the last reset, in MB; 0 where the system
// does not tell.
double peak_memory_mb();
void reset_peak_memory();

// "model of the processor, N threads; compiler; build type", one a line, as Markdown.
void print_machine();
