// A signal while a tool renders.

#include "pipeline/process/interruption.h"

#include <signal.h>
#include <unistd.h>

#include <thread>

#include "tests/support/tool_fixture.h"

using namespace focusfall;

namespace {

using interruptions = tool_test;

}  // namespace

// Libraries start threads before main does, and a signal may come to any of them.
TEST_F(interruptions, ComeFromASignalToAnyThread) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::signal(signal, SIG_DFL);
        const interruption stop(*tool);
        EXPECT_FALSE(stop.is_requested());
        std::thread([&] { pthread_kill(pthread_self(), signal); }).join();
        for (int i = 0; i < 10'000 && !stop.is_requested(); ++i) usleep(1000);
        EXPECT_TRUE(stop.is_requested());
        EXPECT_THROW(stop.check(), interrupted);
    }
    // what has ended takes no signal from the next
    const interruption stop(*tool);
    usleep(10'000);
    EXPECT_FALSE(stop.is_requested());
}
