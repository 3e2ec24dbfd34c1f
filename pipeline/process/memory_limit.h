#pragma once
// How much memory a render may take.

#include <cstdint>
#include <string>

namespace focusfall {

// Bytes that the machine, or the group of processes that this one is in, can still give,
// less a margin.
std::uint64_t available_memory();

// Makes every allocation fail by std::bad_alloc that takes the process `bytes`, and what
// its threads need, beyond what it uses now: before the system ends a process for want of
// memory.
void guard_memory(std::uint64_t bytes);

// "3.2 GB".
std::string shown_bytes(std::uint64_t bytes);

}  // namespace focusfall
