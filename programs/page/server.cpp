#include "programs/page/server.h"

#include <algorithm>
#include <utility>

#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/post.hpp>

#include "host/error.h"
#include "programs/page/server_connection.h"

namespace focusfall {

namespace {

using std::chrono::milliseconds;
using clock = std::chrono::steady_clock;

// So often pages hear something, and those that are gone without a word are noticed.
constexpr std::chrono::seconds HEARTBEAT{10};

std::int64_t now_ms() {
    return std::chrono::duration_cast<milliseconds>(clock::now().time_since_epoch())
        .count();
}

}  // namespace

bool rate_limit::allows_one() {
    const clock::time_point now = clock::now();
    left_ += a_second_ * std::chrono::duration<double>(now - last_).count();
    left_ = std::min(left_, a_second_);
    last_ = now;
    if (left_ < 1.0) return false;
    left_ -= 1.0;
    return true;
}

server_core::server_core(int wanted_port, page_application& answering,
                         const server_limits& given)
    : application(answering),
      limits(given),
      acceptor(io),
      heartbeat(io),
      rate(given.max_requests_a_second) {
    const tcp::endpoint here(net::ip::address_v4::loopback(),
                             static_cast<unsigned short>(wanted_port));
    boost::system::error_code error;
    acceptor.open(here.protocol());
    acceptor.set_option(net::socket_base::reuse_address(true));
    acceptor.bind(here, error);
    if (!error) acceptor.listen(net::socket_base::max_listen_connections, error);
    if (!error) port = acceptor.local_endpoint(error).port();
    if (error) {
        throw headless::host_error("port " + std::to_string(wanted_port) + ": " +
                                   error.message() +
                                   "; leave out --port, or give another");
    }
}

void server_core::accept_next() {
    acceptor.async_accept([this](boost::system::error_code error, tcp::socket socket) {
        if (!acceptor.is_open()) return;
        if (!error) add(std::move(socket));
        accept_next();
    });
}

// Where there are too many, the oldest that never said anything sensible goes.
void server_core::add(tcp::socket socket) {
    if (connections.size() >= limits.max_connections) {
        const auto stranger = std::ranges::find_if(
            connections, [](const auto& one) { return !one->is_trusted(); });
        if (stranger == connections.end()) return;
        const auto evicted = *stranger;  // it leaves the list while it is closed
        evicted->close();
    }
    boost::system::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    connections.push_back(
        std::make_shared<server_connection>(std::move(socket), shared_from_this()));
    connections.back()->start();
}

void server_core::remove(const std::shared_ptr<server_connection>& connection) {
    connections.remove(connection);
    if (listeners.erase(connection) == 0 || !listeners.empty()) return;
    alone_since_ms = now_ms();
    has_listeners = false;
}

void server_core::add_listener(const std::shared_ptr<server_connection>& connection) {
    listeners.insert(connection);
    has_listeners = true;
}

void server_core::tell_now(const std::string& event) {
    const auto all = listeners;  // one that takes nothing leaves them
    for (const auto& listener : all) listener->push(event);
}

void server_core::keep_alive() {
    heartbeat.expires_after(HEARTBEAT);
    heartbeat.async_wait([this](boost::system::error_code error) {
        if (error) return;
        tell_now(": still here\n\n");
        keep_alive();
    });
}

void server_core::close() {
    boost::system::error_code ignored;
    acceptor.close(ignored);
    heartbeat.cancel();
    const auto all = connections;  // each leaves the list while it is closed
    for (const auto& connection : all) connection->close();
}

page_server::page_server(int port, page_application& application, server_limits limits)
    : core_(std::make_shared<server_core>(port, application, limits)) {}

page_server::~page_server() { stop(); }

std::string page_server::address() const {
    return "http://127.0.0.1:" + std::to_string(core_->port) + "/" + core_->token + "/";
}

void page_server::start() {
    core_->accept_next();
    core_->keep_alive();
    core_->thread = std::thread([this] { core_->io.run(); });
}

void page_server::stop() {
    if (!core_->thread.joinable()) return;
    net::post(core_->io, [this] { core_->close(); });
    core_->thread.join();
}

page_link page_server::link() const {
    return {
        .tell =
            [core = core_](const std::string& event) {
                net::post(core->io,
                          [core = core.get(), event] { core->tell_now(event); });
            },
        .run = [core = core_](
                   std::function<void()> work) { net::post(core->io, std::move(work)); }};
}

milliseconds page_server::time_alone() const {
    const std::int64_t since = core_->alone_since_ms;
    if (core_->has_listeners || since == 0) return milliseconds(0);
    return milliseconds(now_ms() - since);
}

}  // namespace focusfall
