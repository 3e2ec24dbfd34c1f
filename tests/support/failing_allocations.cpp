#include "tests/support/failing_allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

#ifdef _WIN32
#include <malloc.h>
#include <windows.h>

#include <psapi.h>
#endif

thread_local int allocations_until_failure = -1;
bool aligned_allocations_fail = false;

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

void* operator new(std::size_t size, std::align_val_t alignment,
                   const std::nothrow_t& /*tag*/) noexcept {
    if (aligned_allocations_fail) return nullptr;
    const auto boundary = static_cast<std::size_t>(alignment);
#ifdef _WIN32
    return _aligned_malloc(size, boundary);
#else
    return std::aligned_alloc(boundary, (size / boundary + 1) * boundary);
#endif
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
#ifdef _WIN32
    _aligned_free(memory);
#else
    std::free(memory);
#endif
}

#ifdef _WIN32

namespace {

// Puts `ours` wherever the library's table of imported functions has `theirs`.
void replace_import(HMODULE library, FARPROC theirs, ULONGLONG ours) {
    auto* base = reinterpret_cast<std::byte*>(library);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& table =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (table.Size == 0) return;
    const auto* from =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + table.VirtualAddress);
    for (; from->FirstThunk != 0; ++from) {
        auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + from->FirstThunk);
        for (; slot->u1.Function != 0; ++slot) {
            if (slot->u1.Function != reinterpret_cast<ULONGLONG>(theirs)) continue;
            DWORD protection = 0;
            VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
            slot->u1.Function = ours;
            VirtualProtect(slot, sizeof *slot, protection, &protection);
        }
    }
}

template <class... Arguments>
ULONGLONG address_of(void* (*function)(Arguments...)) {
    return reinterpret_cast<ULONGLONG>(function);
}

}  // namespace

void watch_allocations_of_libraries() {
    using nothrow = const std::nothrow_t&;
    const std::pair<const char*, ULONGLONG> replaced[] = {
        {"_Znwy", address_of<std::size_t>(&::operator new)},
        {"_ZnwyRKSt9nothrow_t", address_of<std::size_t, nothrow>(&::operator new)},
        {"_ZnwySt11align_val_tRKSt9nothrow_t",
         address_of<std::size_t, std::align_val_t, nothrow>(&::operator new)}};
    HMODULE libraries[256];
    DWORD bytes = 0;
    EnumProcessModules(GetCurrentProcess(), libraries, sizeof libraries, &bytes);
    HMODULE runtime = GetModuleHandleA("libstdc++-6.dll");
    for (DWORD i = 0; i < bytes / sizeof(HMODULE); ++i) {
        for (const auto& [name, ours] : replaced) {
            replace_import(libraries[i], GetProcAddress(runtime, name), ours);
        }
    }
}

#else

void watch_allocations_of_libraries() {}

#endif
