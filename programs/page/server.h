#pragma once
// Serves one page to this machine alone.

#include <chrono>
#include <memory>
#include <string>

#include "programs/page/messages.h"

namespace focusfall {

// What the server puts up with. Tests lower it.
struct server_limits {
    std::size_t max_connections = 256;
    std::size_t max_header_bytes = 8192;
    std::size_t max_body_bytes = 65536;
    // a page that is dragged asks about 200 times a second
    double max_requests_a_second = 600.0;
    // for a whole request to arrive, or for the first byte of one on a new connection
    std::chrono::milliseconds patience{10'000};
};

struct server_core;

// Listens on the loopback address. One thread of its own takes requests, checks them
// (request_rules.h) and hands them to the application; answers may come later, from any
// thread, and so hundreds of connections cost nothing but memory.
class page_server {
  public:
    // `port` 0: any that is free. Throws headless::host_error when the port is taken.
    page_server(int port, page_application& application, server_limits limits = {});
    ~page_server();  // as stop
    page_server(const page_server&) = delete;
    page_server& operator=(const page_server&) = delete;

    // The address of the page, with its token.
    std::string address() const;
    // Begins to answer. Call it once.
    void start();
    // Ends all connections, and the thread; no call of the application follows.
    void stop();
    // For the application; also of use, without effect, when this object has gone.
    page_link link() const;
    // How long no page has listened, after one did; 0 before the first, and while one
    // does. [any thread]
    std::chrono::milliseconds time_alone() const;

  private:
    std::shared_ptr<server_core> core_;
};

}  // namespace focusfall
