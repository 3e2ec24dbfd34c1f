#pragma once
// The threads that tools spread their work over.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "host/api/export.h"

namespace headless {

// Receives how many pieces of all are done, 0 <= done <= all.
using progress_function = std::function<void(std::int32_t done, std::int32_t all)>;

// Threads that are kept from one run to the next. Several threads may call run at once;
// they share the workers.
class HOST_API worker_pool {
  public:
    // `threads` counts the caller of run, so 1 starts no further thread; below 1: as many
    // as the machine has processors. When the system refuses threads, there are fewer.
    explicit worker_pool(int threads);
    ~worker_pool();
    worker_pool(const worker_pool&) = delete;
    worker_pool& operator=(const worker_pool&) = delete;

    // Threads that work at once in a run, its caller among them; at least 1. [any thread]
    int threads() const { return static_cast<int>(workers_.size()) + 1; }

    // Calls work(0) .. work(pieces - 1), each once, on this thread and the workers, and
    // returns when all have returned. After an exception no further piece is begun, and
    // the first exception is thrown here. `progress` is called on this thread with counts
    // that never fall: after each piece that it does, every 10 ms while it waits for the
    // others, the last time with all. What it throws counts as an exception of a piece. A
    // piece may call run too. [any thread]
    void run(std::int32_t pieces, const std::function<void(std::int32_t)>& work,
             const progress_function& progress);

  private:
    struct job;

    void serve();

    std::mutex mutex_;
    std::condition_variable work_came_;
    std::condition_variable worker_left_;
    std::deque<job*> jobs_;  // under mutex_, as is `stopping_`
    bool stopping_ = false;
    std::vector<std::thread> workers_;  // constant after construction
};

}  // namespace headless
