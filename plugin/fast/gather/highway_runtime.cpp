// The part of Highway that is not in its headers: which vectors this processor has, and
// aligned memory.
//
// Debian has it as a shared library only, which the systems of artists lack and of which
// a host may have another version. It is small, so the bundle has its own.

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <hwy/aligned_allocator.h>
#include <hwy/targets.h>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

namespace hwy {

namespace {

constexpr std::align_val_t ALIGNMENT{HWY_ALIGNMENT};

#if HWY_ARCH_X86

// What not every compiler's function below knows by name.
bool has_f16c_and_lzcnt() {
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int features = 0;
    unsigned int d = 0;
    if (!__get_cpuid(1, &a, &b, &features, &d) || !(features & bit_F16C)) return false;
    return __get_cpuid(0x80000001, &a, &b, &features, &d) && (features & bit_LZCNT);
}

// What each kind of vectors is compiled for, and thus may use. The compiler's library
// looks at what the operating system saves as well.
std::int64_t detected_targets() {
    __builtin_cpu_init();
    std::int64_t targets = HWY_ENABLED_BASELINE;
    if (!__builtin_cpu_supports("ssse3")) return targets;
    targets |= HWY_SSSE3;
    if (!__builtin_cpu_supports("sse4.2") || !__builtin_cpu_supports("aes") ||
        !__builtin_cpu_supports("pclmul")) {
        return targets;
    }
    targets |= HWY_SSE4;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") ||
        !__builtin_cpu_supports("bmi") || !__builtin_cpu_supports("bmi2") ||
        !has_f16c_and_lzcnt()) {
        return targets;
    }
    targets |= HWY_AVX2;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512cd")) {
        targets |= HWY_AVX3;
    }
    return targets;
}

#else

// Others have what the compiler may use anyway.
std::int64_t detected_targets() { return HWY_ENABLED_BASELINE; }

#endif

}  // namespace

std::int64_t SupportedTargets() {
    static const std::int64_t targets = detected_targets();
    return targets;
}

ChosenTarget& GetChosenTarget() {
    static ChosenTarget chosen;
    return chosen;
}

void Abort(const char* file, int line, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "%s:%d: ", file, line);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::abort();
}

void* AllocateAlignedBytes(std::size_t bytes, AllocPtr /*allocate*/, void* /*opaque*/) {
    return ::operator new(bytes, ALIGNMENT, std::nothrow);
}

void FreeAlignedBytes(const void* memory, FreePtr /*free*/, void* /*opaque*/) {
    ::operator delete(const_cast<void*>(memory), ALIGNMENT);
}

}  // namespace hwy
