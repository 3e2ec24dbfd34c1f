#include "programs/page/view_page.h"

#include <chrono>
#include <thread>

#include "programs/page/page_requests.h"
#include "programs/page/server.h"

namespace focusfall {

namespace {

using namespace std::chrono_literals;

// A page that is loaded again, or a machine that sleeps, is back sooner.
constexpr auto ALONE = 60s;

}  // namespace

void view_page(const shot_options& shot, session& opened, headless::tool& tool,
               const page_options& options) {
    page_requests requests(shot, opened, tool);
    page_server server(options.port, requests);
    requests.connect(server.link());
    server.start();
    options.announce(server.address());
    while (!options.is_stopped()) {
        if (!options.keeps_running && server.time_alone() > ALONE) break;
        std::this_thread::sleep_for(100ms);
    }
    server.stop();
}

}  // namespace focusfall
