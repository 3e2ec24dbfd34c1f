#include "pipeline/process/memory_limit.h"

#include <unistd.h>

#include <cstdint>
#include <new>
#include <vector>

#include <gtest/gtest.h>

using namespace focusfall;

TEST(MemoryLimit, IsWithinWhatTheMachineHas) {
    EXPECT_GT(available_memory(), std::uint64_t{1} << 20);
    EXPECT_EQ(shown_bytes(2'500'000'000), "2.5 GB");
    EXPECT_EQ(shown_bytes(42'000'000), "42 MB");
}

// Not with the sanitizers, which end the process when memory runs out.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(MemoryLimit, MakesAllocationsFailInsteadOfTheProcess) {
    const auto grow = [] {
        guard_memory(std::uint64_t{1} << 28);
        std::vector<std::vector<char>> pieces;
        try {
            for (;;) pieces.emplace_back(1 << 24, 'x');
        } catch (const std::bad_alloc&) {
            // without destructors: the threads of the libraries are missing in a child
            _exit(pieces.size() >= 16 && pieces.size() < 400 ? 0 : 1);
        }
    };
    EXPECT_EXIT(grow(), testing::ExitedWithCode(0), "");
}
#endif
