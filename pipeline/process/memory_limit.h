#pragma once
// How much memory the process can take, and a limit to it.

#include <cstdint>
#include <string>

namespace focusfall {

// Bytes that this process can still take, by the machine and by its control group, less a
// tenth as a margin. [any thread, as all here]
std::uint64_t available_memory();

// Limits the process to its present use plus `bytes` plus its threads' stacks. Beyond
// that, allocations throw std::bad_alloc; without a limit, the system would kill the
// process. Does nothing where the system does not tell the present use. [once, before
// threads start]
void guard_memory(std::uint64_t bytes);

// `bytes` for a person to read: "120 MB", or "3.2 GB" from 1 GB on.
std::string shown_bytes(std::uint64_t bytes);

}  // namespace focusfall
