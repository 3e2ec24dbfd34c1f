#pragma once
// What the connections of a server share. Only the server's own sources include it.

#include <atomic>
#include <chrono>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "programs/page/request_rules.h"
#include "programs/page/server.h"

namespace focusfall {

namespace net = boost::asio;
using tcp = net::ip::tcp;

class server_connection;

// Lets so many through a second, on the average.
class rate_limit {
  public:
    explicit rate_limit(double a_second) : a_second_(a_second), left_(a_second) {}
    bool allows_one();

  private:
    using clock = std::chrono::steady_clock;

    double a_second_;
    double left_;
    clock::time_point last_ = clock::now();
};

struct server_core : std::enable_shared_from_this<server_core> {
    server_core(int wanted_port, page_application& application,
                const server_limits& limits);

    void accept_next();
    void add(tcp::socket socket);
    void remove(const std::shared_ptr<server_connection>& connection);
    void add_listener(const std::shared_ptr<server_connection>& connection);
    void tell_now(const std::string& event);
    void keep_alive();
    // Ends all that is under way, so that `io` runs out of work.
    void close();

    // Constant once constructed.
    page_application& application;
    server_limits limits;
    std::string token = random_token();
    int port = 0;

    net::io_context io{1};
    tcp::acceptor acceptor;
    net::steady_timer heartbeat;
    std::thread thread;

    // The server's thread alone, but for the two atomics.
    rate_limit rate;
    std::list<std::shared_ptr<server_connection>> connections;  // the oldest first
    std::set<std::shared_ptr<server_connection>> listeners;
    std::atomic<bool> has_listeners = false;
    std::atomic<std::int64_t> alone_since_ms = 0;  // 0: no page has listened yet
};

}  // namespace focusfall
