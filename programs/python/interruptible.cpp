#include "programs/python/interruptible.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace focusfall {

namespace {

using namespace std::chrono_literals;

constexpr auto PAUSE = 10ms;  // between two looks for signals

// What the tick or a signal wants to be thrown; null when all is well.
std::exception_ptr wish_to_end(const std::function<void()>& tick) {
    const py::gil_scoped_acquire locked;
    try {
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        tick();
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

}  // namespace

void ask(const py::object& wish) {
    if (!wish.is_none() && py::bool_(wish())) throw cancelled();
}

void run_interruptibly(const std::function<void()>& work,
                       const std::function<void()>& tick,
                       const std::function<void()>& stop) {
    std::exception_ptr fault;
    std::exception_ptr wish;
    {
        const py::gil_scoped_release unlocked;
        std::mutex mutex;
        std::condition_variable ended;
        bool done = false;  // under the mutex
        std::thread worker([&] {
            try {
                work();
            } catch (...) {
                fault = std::current_exception();
            }
            const std::scoped_lock lock(mutex);
            done = true;
            ended.notify_one();
        });
        std::unique_lock lock(mutex);
        while (!ended.wait_for(lock, PAUSE, [&] { return done; })) {
            if (wish) continue;
            lock.unlock();  // the work may end meanwhile
            wish = wish_to_end(tick);
            lock.lock();
            if (wish && !done) stop();
        }
        lock.unlock();
        worker.join();
    }
    if (wish) std::rethrow_exception(wish);
    if (fault) std::rethrow_exception(fault);
}

}  // namespace focusfall
