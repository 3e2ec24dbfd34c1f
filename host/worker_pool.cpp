#include "host/worker_pool.h"

#include <algorithm>
#include <chrono>
#include <exception>

namespace headless {

namespace {

// Between reports while waiting: short enough that a frame which a host gives up while an
// artist drags a slider leaves the processors to the next one.
constexpr std::chrono::milliseconds REPORT_EVERY(10);

}  // namespace

struct worker_pool::job {
    job(std::int32_t count, const std::function<void(std::int32_t)>& function)
        : pieces(count), work(function) {}

    const std::int32_t pieces;
    const std::function<void(std::int32_t)>& work;
    std::atomic<std::int32_t> next = 0;
    std::atomic<std::int32_t> done = 0;
    int helpers = 0;  // workers inside, under the pool's mutex
    std::atomic<bool> has_failed = false;
    std::mutex failure_mutex;  // guards `failure`
    std::exception_ptr failure;

    // Does one piece; false when none is left to begin.
    bool do_piece() {
        const std::int32_t piece = next.load() < pieces ? next.fetch_add(1) : pieces;
        if (piece >= pieces) return false;
        try {
            work(piece);
        } catch (...) {
            fail();
        }
        ++done;
        return true;
    }

    // Keeps the exception that is being handled, and lets no further piece begin.
    void fail() {
        const std::scoped_lock lock(failure_mutex);
        if (!failure) failure = std::current_exception();
        has_failed = true;
        next = pieces;
    }
};

worker_pool::worker_pool(int threads) {
    if (threads < 1) threads = static_cast<int>(std::thread::hardware_concurrency());
    try {
        for (int i = 1; i < threads; ++i) workers_.emplace_back([this] { serve(); });
    } catch (const std::exception&) {
        // as many as the system and its memory give; the caller of run works in any case
    }
}

worker_pool::~worker_pool() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
    }
    work_came_.notify_all();
    for (std::thread& worker : workers_) worker.join();
}

void worker_pool::run(std::int32_t pieces, const std::function<void(std::int32_t)>& work,
                      const progress_function& progress) {
    job current(pieces, work);
    {
        const std::scoped_lock lock(mutex_);
        jobs_.push_back(&current);
    }
    work_came_.notify_all();

    const auto report = [&] {
        if (!progress || current.has_failed) return;
        try {
            progress(current.done, pieces);
        } catch (...) {
            current.fail();  // the workers still hold `current`: wait for them below
        }
    };
    while (current.do_piece()) report();

    std::unique_lock lock(mutex_);
    std::erase(jobs_, &current);
    const auto alone = [&current] { return current.helpers == 0; };
    while (!worker_left_.wait_for(lock, REPORT_EVERY, alone)) {
        lock.unlock();  // no lock is held while others' code runs
        report();
        lock.lock();
    }
    lock.unlock();
    if (current.failure) std::rethrow_exception(current.failure);
    if (progress) progress(pieces, pieces);
}

void worker_pool::serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
        work_came_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (stopping_) return;

        job* const current = jobs_.front();
        ++current->helpers;
        lock.unlock();
        while (current->do_piece()) {
        }
        lock.lock();
        // nothing is left to begin: no other worker needs to look at it
        std::erase(jobs_, current);
        if (--current->helpers == 0) worker_left_.notify_all();
    }
}

}  // namespace headless
