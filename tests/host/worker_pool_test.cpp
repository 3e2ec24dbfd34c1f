#include "host/worker_pool.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>

namespace headless {
namespace {

TEST(WorkerPool, DoesEachPieceOnceAndReportsAllOfThemAtTheEnd) {
    for (const int threads : {1, 2, 8}) {
        worker_pool pool(threads);
        EXPECT_EQ(pool.threads(), threads);
        for (const std::int32_t pieces : {0, 1, 7, 1000}) {
            std::vector<std::atomic<int>> times(static_cast<std::size_t>(pieces));
            std::int32_t last = -1;
            const auto caller = std::this_thread::get_id();
            pool.run(
                pieces, [&](std::int32_t i) { ++times[static_cast<std::size_t>(i)]; },
                [&](std::int32_t done, std::int32_t all) {
                    EXPECT_EQ(std::this_thread::get_id(), caller);
                    EXPECT_EQ(all, pieces);
                    EXPECT_GE(done, last);
                    EXPECT_LE(done, all);
                    last = done;
                });
            EXPECT_EQ(last, pieces);
            for (const auto& count : times) EXPECT_EQ(count, 1) << pieces << " pieces";
        }
    }
}

// Eight pieces that wait for one another can only end on eight threads at once.
TEST(WorkerPool, UsesAllItsThreads) {
    worker_pool pool(8);
    std::atomic<int> waiting = 8;
    const auto meet = [&](std::int32_t) {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
    };
    pool.run(8, meet, {});
    EXPECT_EQ(waiting, 0);
}

TEST(WorkerPool, PassesOnTheExceptionOfAPieceOrOfTheProgressAndStaysUsable) {
    for (const int threads : {1, 2, 8}) {
        worker_pool pool(threads);
        std::atomic<int> begun = 0;
        // the later pieces take a while: to throw takes longer than to do thousands that
        // take no time at all
        const auto fail_at_ten = [&](std::int32_t piece) {
            ++begun;
            if (piece == 10) throw std::runtime_error("piece 10");
            if (piece > 10) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
        EXPECT_THROW(pool.run(100000, fail_at_ten, {}), std::runtime_error);
        EXPECT_LT(begun, 100000) << "pieces were begun after the failure";

        const auto nothing = [](std::int32_t) {};
        const auto fail = [](std::int32_t, std::int32_t) { throw std::string("enough"); };
        EXPECT_THROW(pool.run(1000, nothing, fail), std::string);

        std::atomic<int> done = 0;
        pool.run(100, [&](std::int32_t) { ++done; }, {});
        EXPECT_EQ(done, 100);
    }
}

// The other thread's piece ends only when the caller, which waits for it, has reported a
// few times; without that, it gives up.
TEST(WorkerPool, ReportsWhileItWaits) {
    worker_pool pool(2);
    const auto caller = std::this_thread::get_id();
    const auto too_late = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::atomic<bool> begun = false;
    std::atomic<int> reports = 0;
    const auto work = [&](std::int32_t) {
        const bool is_caller = std::this_thread::get_id() == caller;
        if (!is_caller) begun = true;
        while (is_caller ? !begun : reports < 4) {
            if (std::chrono::steady_clock::now() > too_late) return;
            std::this_thread::yield();
        }
    };
    pool.run(2, work, [&](std::int32_t, std::int32_t) { ++reports; });
    EXPECT_LT(std::chrono::steady_clock::now(), too_late);

    // what progress throws meanwhile is thrown when the pieces have ended
    begun = false;
    reports = 0;
    EXPECT_THROW(pool.run(2, work,
                          [&](std::int32_t, std::int32_t) {
                              if (++reports == 4) throw std::runtime_error("enough");
                          }),
                 std::runtime_error);
}

TEST(WorkerPool, IsSharedByConcurrentAndNestedRuns) {
    worker_pool pool(3);
    std::atomic<int> sum = 0;
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                const auto inner = [&](std::int32_t) { ++sum; };
                pool.run(5, [&](std::int32_t) { pool.run(3, inner, {}); }, {});
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_EQ(sum, 4 * 20 * 5 * 3);
}

}  // namespace
}  // namespace headless
