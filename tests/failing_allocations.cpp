#include "tests/failing_allocations.h"

#include <cstdlib>
#include <new>

thread_local int allocations_until_failure = -1;

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    const bool fails = allocations_until_failure == 0;
    if (allocations_until_failure >= 0) --allocations_until_failure;
    return fails ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* operator new(std::size_t size) {
    void* memory = ::operator new(size, std::nothrow);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
